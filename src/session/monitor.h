#pragma once
// The once-a-second session monitor: imports the game's newest screenshots
// while a session runs, notices the game starting and ending. Either engine
// is recognised: the original by Morrowind.exe, the open engine by its
// process when its openmw.cfg plays this folder. Where screenshots appear is
// the business of the screenshot sources (shot_source.h).
#include "session/shot_source.h"
#include "settings/choices.h"
#include "settings/game_files.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace glintbook {

inline constexpr char CriticalErrorText[] = "Glintbook encountered a critical error and needs to close.";

// Notice: the tick has a message for the player in Session::notice; the
// session goes on.
enum class TickOutcome { Continue, SnapshotFailed, Notice };

// What the monitor keeps between ticks: the window's flag, set at the first
// sighting of the game and never cleared, the engine seen and the sources of
// its screenshots.
struct Session {
    bool gameRunning = false;
    game::Engine engine = game::Engine::Original;
    std::vector<shots::Source> sources;
    bool told = false;  // the player has heard why an open engine is not taken
    std::string notice;
};

// Where a tick gets the process list from; the system's by default.
using ProcessSource = std::function<std::optional<std::vector<std::string>>()>;

// One tick. The session routines it calls may end the program (ProgramEnd)
// or fail (Failure). SnapshotFailed asks the caller for the critical stop.
TickOutcome MonitorTick(Session& session, const Choices& choices, const ProcessSource& source = {});

}  // namespace glintbook
