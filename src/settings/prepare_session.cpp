#include "settings/prepare_session.h"

#include <string>

#include "platform/failure.h"
#include "platform/files.h"
#include "settings/album.h"
#include "settings/catalogue.h"
#include "settings/game_files.h"
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

}  // namespace

void PrepareSession(const Choices& choices, game::Engine engine) {
    WriteFirstRunDefaults();

    // The other variant never stands in for the one the installation needs.
    const std::string plugin = game::DataFile(game::WantedPlugin(game::ExpansionInstalled(engine)));
    if (!files::FileExists(files::GamePath(plugin))) throw ProgramEnd{0};

    const int album = choices.album;
    if (album == 0) return;

    // Every value is read when it is used: the game may be running and
    // writing the same file.
    const std::string indexKey = AlbumIndexKey(album);
    if (AlbumFull(ReadSettingInt(section::Own, indexKey))) throw ProgramEnd{0};
    WriteSetting(section::General, key::ScreenShotIndex, DecimalText(CounterFor(album, ReadSettingInt(section::Own, indexKey))));
}

}  // namespace glintbook
