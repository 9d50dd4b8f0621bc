#include "session/import.h"

#include "imaging/picture_io.h"
#include "imaging/resample.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "settings/catalogue.h"
#include "settings/game_files.h"
#include "settings/settings_file.h"

namespace glintbook {

namespace {
constexpr int BookArtSize = 512;
}

ImportOutcome ImportScreenshot(const Choices& choices) {
    const std::string base = ReadSettingText(section::General, key::ScreenShotBaseName);
    const long long p = ReadSettingInt(section::General, key::ScreenShotIndex);
    if (!game::PlainBaseName(base)) throw Failure(ErrBadFileName, "Bad file name or number: " + base);
    const std::string screenshot = files::GamePath(game::ScreenshotPath(base, p - 1));

    for (const char* folder : {game::ArchiveFolder, game::BookArtFolder}) {
        const std::string path = files::GamePath(folder);
        if (!files::FolderExists(path)) files::CreateFolder(path);
    }

    // Earlier copies of the same number (an album that started over) stay:
    // the new copy takes the first free serial number.
    for (long long i = 0;; ++i) {
        const std::string copy = files::GamePath(game::ArchivePath(base, p - 1, i));
        if (!files::FileExists(copy)) {
            files::CopyFile(screenshot, copy);
            break;
        }
    }

    // The screenshot is loaded once for both pictures: nothing writes it
    // between the two, so a second load would read the same pixels.
    const Picture shot = LoadPicture(screenshot);
    if (choices.textureSize != 0)
        SavePicture(ResizePicture(shot, choices.textureSize, choices.textureSize),
                    files::GamePath(game::TexturePath(p - 1)));
    SavePicture(ResizePicture(shot, BookArtSize, BookArtSize), files::GamePath(game::BookArtPath(p)));

    files::DeleteFile(screenshot);

    const int album = choices.album;
    if (album == 0 || p < static_cast<long long>(AlbumCapacity) * album) return ImportOutcome::Done;
    if (choices.loop) {
        // "Loop Pictures": the album starts over at its first picture.
        WriteSetting(section::General, key::ScreenShotIndex, DecimalText(AlbumOffset(album)));
        WriteSetting(section::Own, AlbumIndexKey(album), "0");
        return ImportOutcome::Done;
    }
    return ImportOutcome::AlbumClosed;
}

}  // namespace glintbook
