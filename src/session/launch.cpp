#include "session/launch.h"

#include "platform/files.h"
#include "platform/processes.h"
#include "settings/catalogue.h"
#include "settings/game_files.h"
#include "settings/prepare_session.h"
#include "settings/register_plugin.h"
#include "settings/settings_file.h"

namespace glintbook {

std::optional<std::string> LaunchGame(const Choices& choices) {
    // A missing game hides every later problem, a missing plug-in a full album.
    if (!files::FileExists(files::GamePath(game::Executable))) return GameMissingText;
    const std::string plugin = game::DataFile(game::WantedPlugin(game::ExpansionInstalled()));
    if (!files::FileExists(files::GamePath(plugin))) return PluginMissingText;
    const int album = choices.album;
    if (album == 0) return std::nullopt;
    const int index = ReadSettingInt(section::Own, AlbumIndexKey(album));
    if (index >= AlbumCapacity) return AlbumFullText;

    WriteSetting(section::General, key::ScreenShotIndex, DecimalText(static_cast<long long>(index) + AlbumOffset(album)));
    PrepareSession(choices);
    RegisterPlugin();
    if (!processes::StartProgram(files::GamePath(game::Executable), files::CurrentDirectory()))
        return ElevationRefusedText;
    return std::nullopt;
}

}  // namespace glintbook
