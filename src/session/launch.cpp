#include "session/launch.h"

#include "platform/files.h"
#include "platform/processes.h"
#include "session/game_contract.h"
#include "settings/catalogue.h"
#include "settings/prepare_session.h"
#include "settings/register_plugin.h"
#include "settings/settings_file.h"

namespace glintbook {

std::optional<std::string> LaunchGame(const Controls& controls) {
    // A missing game hides every later problem, a missing plug-in a full album.
    if (!files::FileExists(files::GamePath(game::Executable))) return GameMissingText;
    if (!files::FileExists(files::GamePath(game::RequiredPlugin()))) return PluginMissingText;
    const int album = SelectedAlbum(controls);
    if (album == 0) return std::nullopt;
    const int index = ReadSettingInt(section::Own, AlbumIndexKey(album));
    if (index >= AlbumCapacity) return AlbumFullText;

    WriteSetting(section::General, key::ScreenShotIndex, DecimalText(static_cast<long long>(index) + AlbumOffset(album)));
    PrepareSession(controls);
    RegisterPlugin();
    processes::StartProgram(files::GamePath(game::Executable), files::CurrentDirectory());
    return std::nullopt;
}

}  // namespace glintbook
