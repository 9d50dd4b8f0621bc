#include "imaging/import.h"

#include "imaging/mod_image.h"
#include "imaging/picture_io.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "session/game_contract.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"

namespace glintbook {

namespace {
constexpr int BookArtSize = 512;
}

ImportOutcome ImportScreenshot(const Controls& controls) {
    const std::string base = ReadSettingText(section::General, key::ScreenShotBaseName);
    const long long p = ReadSettingInt(section::General, key::ScreenShotIndex);
    if (!game::PlainBaseName(base)) throw Failure(ErrBadFileName, "Bad file name or number: " + base);
    const std::string shotNumber = DecimalText(p - 1);
    const std::string screenshot = game::ScreenshotPath(base, p - 1);

    const std::string archiveFolder = files::GamePath("\\Screenshots");
    if (!files::FolderExists(archiveFolder)) files::CreateFolder(archiveFolder);
    const std::string bookArtFolder = files::GamePath("\\Data Files\\BookArt");
    if (!files::FolderExists(bookArtFolder)) files::CreateFolder(bookArtFolder);

    // Earlier copies of the same number (an album that started over) stay:
    // the new copy takes the first free serial number.
    for (long long i = 0;; ++i) {
        const std::string copy = files::GamePath("\\Screenshots\\" + base + " " + shotNumber + "_" + DecimalText(i) + ".bmp");
        if (!files::FileExists(copy)) {
            files::CopyFile(screenshot, copy);
            break;
        }
    }

    // The screenshot is loaded once for both pictures: nothing writes it
    // between the two, so a second load would read the same pixels.
    const int textureSize = controls.opt512 ? 512 : controls.opt1024 ? 1024 : 0;
    const Picture shot = LoadPicture(screenshot);
    if (textureSize != 0)
        SavePicture(ResizePicture(shot, textureSize, textureSize),
                    files::GamePath("\\Data Files\\Textures\\qor_tx_photo_" + shotNumber + ".bmp"));
    SavePicture(ResizePicture(shot, BookArtSize, BookArtSize),
                files::GamePath("\\Data Files\\BookArt\\Photo " + DecimalText(p) + ".bmp"));

    files::DeleteFile(screenshot);

    const int album = SelectedAlbum(controls);
    if (album == 0 || p < static_cast<long long>(AlbumCapacity) * album) return ImportOutcome::Done;
    if (controls.chkTwo) {
        // "Loop Pictures": the album starts over at its first picture.
        WriteSetting(section::General, key::ScreenShotIndex, DecimalText(AlbumOffset(album)));
        WriteSetting(section::Own, AlbumIndexKey(album), "0");
        return ImportOutcome::Done;
    }
    return ImportOutcome::AlbumClosed;
}

}  // namespace glintbook
