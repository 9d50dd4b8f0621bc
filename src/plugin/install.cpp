#include "plugin/install.h"

#include "imaging/bmp_format.h"
#include "imaging/picture_io.h"
#include "imaging/resample.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "plugin/photo_mesh.h"
#include "plugin/plugin_file.h"
#include "plugin/stock_picture.h"
#include "settings/catalogue.h"
#include "settings/game_files.h"

#include <optional>

namespace glintbook::plugin {

namespace {

constexpr int kPictures = AlbumCount * AlbumCapacity;

class Installer {
public:
    InstallReport run() {
        if (!files::FolderExists(files::GamePath(game::DataFiles)))
            throw Failure(ErrPathNotFound, "Path not found: " + files::GamePath(game::DataFiles) +
                                               " (this is not the game's folder)");
        for (const char* folder : {game::TexturesFolder, game::BookArtFolder, game::MeshesFolder, game::PhotoMeshFolder})
            if (!files::FolderExists(files::GamePath(folder))) files::CreateFolder(files::GamePath(folder));

        plugin(game::Plugin, {game::Master});
        plugin(game::ExpansionPlugin, {game::Master, game::ExpansionMaster});
        for (int t = 0; t < kPictures; ++t)
            place(Part::Mesh, game::PhotoMeshPath(t), PhotoMesh(game::TextureName(t)));

        const std::string stock = files::GamePath(game::StockTexture());
        if (files::FileExists(stock)) {
            report_.steps.push_back({Part::StockTexture, Outcome::LeftAlone, game::StockTexture()});
        } else {
            files::WriteFileAtomic(stock, bmp::Encode24(StockPicture()));
            report_.steps.push_back({Part::StockTexture, Outcome::Written, game::StockTexture()});
        }
        // Textures are copies of the stock file as it is, as clearing an
        // album makes them; book art is always 512 x 512.
        for (int t = 0; t < kPictures; ++t)
            if (missing(Part::Texture, game::TexturePath(t))) files::CopyFile(stock, files::GamePath(game::TexturePath(t)));
        for (int p = 1; p <= kPictures; ++p)
            if (missing(Part::BookArt, game::BookArtPath(p))) SavePicture(bookArt(stock), files::GamePath(game::BookArtPath(p)));
        return report_;
    }

private:
    // Both variants are written whatever is installed, each naming its
    // masters with their sizes as installed now: the game checks them.
    void plugin(const char* name, const std::vector<const char*>& masterNames) {
        std::vector<Master> masters;
        std::string named;
        for (const char* m : masterNames) {
            const std::optional<std::uint64_t> size = files::FileSize(files::GamePath(game::DataFile(m)));
            masters.push_back({m, size.value_or(0)});
            named += std::string(named.empty() ? "" : ", ") + m + " (" +
                     (size ? DecimalText(static_cast<long long>(*size)) + " bytes" : "not installed: size 0") + ")";
        }
        report_.notes.push_back(std::string(name) + ": masters " + named);
        place(Part::Plugin, game::DataFile(name), PluginFile(masters));
    }

    void place(Part part, const std::string& relative, const std::string& bytes) {
        const std::string path = files::GamePath(relative);
        Outcome outcome = Outcome::Written;
        if (files::FileExists(path)) {
            if (files::ReadFile(path) == bytes) {
                report_.steps.push_back({part, Outcome::Unchanged, relative});
                return;
            }
            std::string backup = relative + ".bak";
            for (int n = 2; files::FileExists(files::GamePath(backup)) || files::FolderExists(files::GamePath(backup)); ++n)
                backup = relative + ".bak" + DecimalText(n);
            files::CopyFile(path, files::GamePath(backup));
            report_.notes.push_back("kept the previous " + relative.substr(1) + " as " + backup.substr(1));
            outcome = Outcome::Replaced;
        }
        files::WriteFileAtomic(path, bytes);
        report_.steps.push_back({part, outcome, relative});
    }

    bool missing(Part part, const std::string& relative) {
        const bool there = files::FileExists(files::GamePath(relative));
        report_.steps.push_back({part, there ? Outcome::LeftAlone : Outcome::Written, relative});
        return !there;
    }

    const Picture& bookArt(const std::string& stock) {
        if (!bookArt_) {
            Picture p = LoadPicture(stock);
            if (p.width != kStockSide || p.height != kStockSide) p = ResizePicture(p, kStockSide, kStockSide);
            bookArt_ = std::move(p);
        }
        return *bookArt_;
    }

    InstallReport report_;
    std::optional<Picture> bookArt_;
};

}  // namespace

InstallReport InstallKit() { return Installer().run(); }

}  // namespace glintbook::plugin
