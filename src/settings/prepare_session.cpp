#include "settings/prepare_session.h"

#include <string>

#include "platform/failure.h"
#include "platform/files.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"

namespace glintbook {

namespace {

// The first time a settings file is used, switch the game's screenshots on
// and start every album empty. The marker goes last, so an interrupted run
// writes the defaults again next time.
void WriteFirstRunDefaults() {
    if (ReadSettingInt(section::Own, key::EverRun) != 0) return;
    WriteSetting(section::General, key::ScreenShotEnable, "1");
    WriteSetting(section::General, key::ScreenShotIndex, "0");
    for (int album = 1; album <= AlbumCount; ++album)
        WriteSetting(section::Own, AlbumIndexKey(album), "0");
    WriteSetting(section::Own, key::EverRun, "1");
}

// The plug-in variant the installation needs: the expansion changes which
// one the game can load, and the other one never stands in for it.
std::string RequiredPlugin() {
    return files::FileExists(files::GamePath("\\Data Files\\Tribunal.esm")) ? "\\Data Files\\Glintbook_TB.esp"
                                                                            : "\\Data Files\\Glintbook.esp";
}

}  // namespace

void PrepareSession(const Controls& controls) {
    WriteFirstRunDefaults();

    if (!files::FileExists(files::GamePath(RequiredPlugin()))) throw ProgramEnd{0};

    const int album = SelectedAlbum(controls);
    if (album == 0) return;

    // Every value is read when it is used: the game may be running and
    // writing the same file.
    const std::string indexKey = AlbumIndexKey(album);
    if (ReadSettingInt(section::Own, indexKey) >= AlbumCapacity) throw ProgramEnd{0};

    // Widened so that an index edited to an extreme value cannot overflow.
    const long long index = ReadSettingInt(section::Own, indexKey);
    WriteSetting(section::General, key::ScreenShotIndex, DecimalText(index + AlbumOffset(album)));
}

}  // namespace glintbook
