#include "session/import.h"

#include "imaging/bmp_format.h"
#include "imaging/picture_rows.h"
#include "imaging/resize_rows.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "settings/album.h"
#include "settings/catalogue.h"
#include "settings/game_files.h"
#include "settings/settings_file.h"
#include "session/shot_source.h"

#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace glintbook {

namespace {

constexpr int BookArtSize = 512;

// A file step run on a thread of its own: Wait() says whether it put its
// file in place (true for no step at all), Rethrow() passes on its failure.
class Placed {
public:
    explicit Placed(std::function<void()> step) {
        if (!step) {
            placed_ = true;
            return;
        }
        thread_ = std::thread([this, step = std::move(step)] {
            try {
                step();
                placed_ = true;
            } catch (...) {
                failure_ = std::current_exception();
            }
        });
    }
    ~Placed() { Wait(); }
    Placed(const Placed&) = delete;
    Placed& operator=(const Placed&) = delete;

    bool Wait() {
        std::call_once(joined_, [this] {
            if (thread_.joinable()) thread_.join();
        });
        return placed_;
    }
    void Rethrow() {
        Wait();
        if (failure_) std::rethrow_exception(failure_);
    }

private:
    std::thread thread_;
    std::once_flag joined_;
    bool placed_ = false;
    std::exception_ptr failure_;
};

// The steps both engines' screenshots go through: the archive copy under the
// first free serial (earlier copies of the same number, from an album that
// started over, stay), the album texture t = p - 1 and the book art p, then
// the screenshot deleted. The picture loader tells the format by the content.
// The archive folder may already exist in another letter case (MGE XE's
// "screenshots", made under Wine): that one is it, never a second beside it.
void TakeIntoAlbum(const Choices& choices, const std::string& screenshot, long long p,
                   const std::function<std::string(long long serial)>& archivePath,
                   std::unique_ptr<pictures::RowSource> opened) {
    for (const char* folder : {game::ArchiveFolder, game::BookArtFolder}) {
        const std::string path = files::ExistingSpelling(files::GamePath(folder));
        if (!files::FolderExists(path)) files::CreateFolder(path);
    }
    // No copy path: the screenshot already lies where it is kept.
    std::string copy;
    const bool copied = archivePath && !archivePath(0).empty();
    for (long long i = 0; copied; ++i) {
        copy = files::ExistingSpelling(files::GamePath(archivePath(i)));
        if (!files::FileExists(copy)) break;
    }
    // Each file is written and flushed on a thread of its own, all at once,
    // waiting for a flush being the longest part of an import; each is put
    // in place only after the one before it, so the files still appear in
    // the order of the steps, and one that failed keeps those after it out.
    // The pictures are made from the screenshot, which stays in place,
    // while the archive copy is flushed.
    using Step = std::function<void()>;
    Placed archived(copy.empty() ? Step() : [&] { files::CopyFile(screenshot, copy); });
    std::vector<std::string> encoded;
    std::exception_ptr pictureFailure;
    try {
        // Read once for both pictures, a few rows at a time: no whole
        // screenshot is held.
        const auto rows = opened ? std::move(opened) : pictures::OpenRows(screenshot);
        std::vector<std::pair<int, int>> sizes{{BookArtSize, BookArtSize}};
        if (choices.textureSize != 0) sizes.insert(sizes.begin(), {choices.textureSize, choices.textureSize});
        for (const Picture& made : ResizeRows(*rows, sizes)) encoded.push_back(bmp::Encode24(made));
    } catch (...) {
        pictureFailure = std::current_exception();
    }
    if (pictureFailure) {
        archived.Rethrow();  // the earlier step's failure first
        std::rethrow_exception(pictureFailure);
    }
    const auto after = [](Placed& before, const std::string& path, const std::string& bytes) {
        return Step([&before, path, &bytes] { files::WriteFileAtomicAfter(path, bytes, [&before] { return before.Wait(); }); });
    };
    Placed textured(choices.textureSize == 0 ? Step()
                                             : after(archived, files::GamePath(game::TexturePath(p - 1)), encoded.front()));
    Placed bookArt(after(choices.textureSize == 0 ? archived : textured, files::GamePath(game::BookArtPath(p)),
                         encoded.back()));
    // The first failure in the order of the steps is the import's.
    for (Placed* step : {&archived, &textured, &bookArt}) step->Rethrow();
}

ImportOutcome After(const Choices& choices, long long p) {
    return TakePictureNumber(choices, p) == AfterPicture::Full ? ImportOutcome::AlbumClosed : ImportOutcome::Done;
}

}  // namespace

ImportOutcome ImportScreenshot(const Choices& choices) {
    const std::string base = ReadSettingText(section::General, key::ScreenShotBaseName);
    const long long p = ReadSettingInt(section::General, key::ScreenShotIndex);
    if (!game::PlainBaseName(base)) throw Failure(ErrBadFileName, "Bad file name or number: " + base);
    const std::string screenshot = files::GamePath(game::ScreenshotPath(base, p - 1));
    TakeIntoAlbum(choices, screenshot, p, [&](long long i) { return game::ArchivePath(base, p - 1, i); }, {});
    files::DeleteFile(screenshot);
    return After(choices, p);
}

ImportOutcome ImportShot(const Choices& choices, const shots::Source& source, const std::string& screenshot,
                         std::unique_ptr<pictures::RowSource> opened) {
    // MGE XE and the open engine do not count in Morrowind.ini; Glintbook
    // moves the counter on for them, as the original engine does after each
    // screenshot.
    const long long p = ReadSettingInt(section::General, key::ScreenShotIndex) + 1LL;
    const bool inPlace = source.archive(screenshot, 0).empty();
    TakeIntoAlbum(choices, screenshot, p, [&](long long i) { return source.archive(screenshot, i); }, std::move(opened));
    // Counted before the screenshot goes: a stop in between takes a picture
    // twice at worst, never writes two onto one number.
    WriteSetting(section::General, key::ScreenShotIndex, DecimalText(p));
    if (!inPlace) files::DeleteFile(screenshot);
    return After(choices, p);
}

}  // namespace glintbook
