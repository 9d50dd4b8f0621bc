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
#include <thread>
#include <utility>
#include <vector>

namespace glintbook {

namespace {

constexpr int BookArtSize = 512;

// The steps both engines' screenshots go through: the archive copy under the
// first free serial (earlier copies of the same number, from an album that
// started over, stay), the album texture t = p - 1 and the book art p, then
// the screenshot deleted. The picture loader tells the format by the content.
// The archive folder may already exist in another letter case (MGE XE's
// "screenshots", made under Wine): that one is it, never a second beside it.
void TakeIntoAlbum(const Choices& choices, const std::string& screenshot, long long p,
                   const std::function<std::string(long long serial)>& archivePath, std::optional<Picture> loaded) {
    for (const char* folder : {game::ArchiveFolder, game::BookArtFolder}) {
        const std::string path = files::ExistingSpelling(files::GamePath(folder));
        if (!files::FolderExists(path)) files::CreateFolder(path);
    }
    // No copy path: the screenshot already lies where it is kept.
    std::string copy;
    for (long long i = 0; archivePath && !archivePath(0).empty(); ++i) {
        copy = files::ExistingSpelling(files::GamePath(archivePath(i)));
        if (!files::FileExists(copy)) break;
    }
    // The archive copy is made on a thread of its own while the pictures are
    // made from the screenshot, which stays in place meanwhile: waiting for
    // its flush is the longest step of an import. Nothing is written under
    // the pictures' names before the copy is whole, so the files still
    // appear in the order of the steps.
    std::exception_ptr copyFailure;
    std::thread copier;
    if (!copy.empty())
        copier = std::thread([&] {
            try {
                files::CopyFile(screenshot, copy);
            } catch (...) {
                copyFailure = std::current_exception();
            }
        });
    std::vector<std::string> encoded;
    std::exception_ptr pictureFailure;
    try {
        // The screenshot is read once for both pictures, a few rows at a
        // time: no whole screenshot is held.
        const auto rows = loaded ? pictures::RowsOfPicture(std::move(*loaded)) : pictures::OpenRows(screenshot);
        std::vector<std::pair<int, int>> sizes{{BookArtSize, BookArtSize}};
        if (choices.textureSize != 0) sizes.insert(sizes.begin(), {choices.textureSize, choices.textureSize});
        for (const Picture& made : ResizeRows(*rows, sizes)) encoded.push_back(bmp::Encode24(made));
    } catch (...) {
        pictureFailure = std::current_exception();
    }
    if (copier.joinable()) copier.join();
    if (copyFailure) std::rethrow_exception(copyFailure);
    if (pictureFailure) std::rethrow_exception(pictureFailure);
    if (choices.textureSize != 0) files::WriteFileAtomic(files::GamePath(game::TexturePath(p - 1)), encoded.front());
    files::WriteFileAtomic(files::GamePath(game::BookArtPath(p)), encoded.back());
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
                         std::optional<Picture> loaded) {
    // MGE XE and the open engine do not count in Morrowind.ini; Glintbook
    // moves the counter on for them, as the original engine does after each
    // screenshot.
    const long long p = ReadSettingInt(section::General, key::ScreenShotIndex) + 1LL;
    const bool inPlace = source.archive(screenshot, 0).empty();
    TakeIntoAlbum(choices, screenshot, p, [&](long long i) { return source.archive(screenshot, i); }, std::move(loaded));
    // Counted before the screenshot goes: a stop in between takes a picture
    // twice at worst, never writes two onto one number.
    WriteSetting(section::General, key::ScreenShotIndex, DecimalText(p));
    if (!inPlace) files::DeleteFile(screenshot);
    return After(choices, p);
}

}  // namespace glintbook
