#include "session/launch.h"

#include "platform/files.h"
#include "platform/processes.h"
#include "settings/album.h"
#include "settings/catalogue.h"
#include "settings/game_files.h"
#include "settings/open_engine.h"
#include "settings/prepare_session.h"
#include "settings/register_plugin.h"
#include "settings/settings_file.h"

namespace glintbook {

namespace {

// Which engine Start starts: the original when Morrowind.exe is here, else
// the open engine when its load list plays this folder. The program to
// start, or the message that says why there is none.
struct Game {
    game::Engine engine = game::Engine::Original;
    std::vector<std::string> command;  // the program and its arguments
    std::optional<std::string> message;
};

Game FindGame() {
    if (const std::string original = files::GamePath(game::Executable); files::FileExists(original))
        return {game::Engine::Original, {original}, std::nullopt};
    switch (const openmw::ConfigState state = openmw::ConfigForThisFolder()) {
    case openmw::ConfigState::Missing:
        return {game::Engine::Original, {}, GameMissingText};
    case openmw::ConfigState::OtherFolder:
    case openmw::ConfigState::Damaged:
        return {game::Engine::Original, {},
                std::string(GameMissingText) + " " + openmw::LoadListProblem(state) +
                    (state == openmw::ConfigState::OtherFolder ? " either." : ".")};
    case openmw::ConfigState::ThisFolder:
        break;
    }
    // The engine's program, or flatpak for the Flatpak's.
    const std::vector<std::string> command = openmw::StartCommand();
    if (command.empty()) return {game::Engine::Original, {}, OpenEngineMissingText};
    return {game::Engine::Open, command, std::nullopt};
}

}  // namespace

std::optional<std::string> LaunchGame(const Choices& choices) {
    // A missing game hides every later problem, a missing plug-in a full album.
    const Game found = FindGame();
    if (found.message) return found.message;
    const std::string plugin = game::DataFile(game::WantedPlugin(game::ExpansionInstalled(found.engine)));
    if (!files::FileExists(files::GamePath(plugin))) return PluginMissingText;
    const int album = choices.album;
    if (album == 0) return std::nullopt;
    const int index = ReadSettingInt(section::Own, AlbumIndexKey(album));
    if (AlbumFull(index)) return AlbumFullText;

    WriteSetting(section::General, key::ScreenShotIndex, DecimalText(CounterFor(album, index)));
    PrepareSession(choices, found.engine);
    if (found.engine == game::Engine::Original) {
        RegisterPlugin();
    } else if (auto problem = openmw::RegisterPlugin()) {
        // openmw.cfg went missing or was damaged since it was read above.
        return problem;
    }
    const std::vector<std::string> arguments(found.command.begin() + 1, found.command.end());
    if (!processes::StartProgram(found.command.front(), files::CurrentDirectory(), arguments)) return ElevationRefusedText;
    return std::nullopt;
}

}  // namespace glintbook
