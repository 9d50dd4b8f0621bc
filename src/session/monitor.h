#pragma once
// The once-a-second session monitor: imports the game's newest screenshot
// while a session runs, notices the game starting and ending.
#include "settings/choices.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace glintbook {

inline constexpr char CriticalErrorText[] = "Glintbook encountered a critical error and needs to close.";

enum class TickOutcome { Continue, SnapshotFailed };

// Where a tick gets the process list from; the system's by default.
using ProcessSource = std::function<std::optional<std::vector<std::string>>()>;

// One tick. `gameRunning` is the window's flag, set at the first sighting
// of the game and never cleared. The session routines it calls may end the
// program (ProgramEnd) or fail (Failure). SnapshotFailed asks the caller for
// the critical stop.
TickOutcome MonitorTick(bool& gameRunning, const Choices& choices, const ProcessSource& source = {});

}  // namespace glintbook
