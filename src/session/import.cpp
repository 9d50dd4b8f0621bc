#include "session/import.h"

#include "imaging/picture_io.h"
#include "imaging/resample.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "settings/album.h"
#include "settings/catalogue.h"
#include "settings/game_files.h"
#include "settings/settings_file.h"
#include "session/shot_source.h"

#include <functional>

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
    const bool copied = archivePath && !archivePath(0).empty();
    for (long long i = 0; copied; ++i) {
        const std::string copy = files::ExistingSpelling(files::GamePath(archivePath(i)));
        if (!files::FileExists(copy)) {
            files::CopyFile(screenshot, copy);
            break;
        }
    }
    // The screenshot is loaded once for both pictures: nothing writes it
    // between the two, so a second load would read the same pixels.
    const Picture shot = loaded ? std::move(*loaded) : LoadPicture(screenshot);
    if (choices.textureSize != 0)
        SavePicture(ResizePicture(shot, choices.textureSize, choices.textureSize),
                    files::GamePath(game::TexturePath(p - 1)));
    SavePicture(ResizePicture(shot, BookArtSize, BookArtSize), files::GamePath(game::BookArtPath(p)));
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
