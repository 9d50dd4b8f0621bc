#pragma once
// The Start button: checks the installation and the album, readies the
// settings, registers the plug-in and starts the game without waiting: the
// original engine when Morrowind.exe is in the folder, else the open engine
// when its load list plays this folder.
#include "settings/choices.h"

#include <optional>
#include <string>

namespace glintbook {

inline constexpr char GameMissingText[] = "Morrowind.exe cannot be found in this folder.";
inline constexpr char PluginMissingText[] = "The appropriate Glintbook ESP could not be found.";
inline constexpr char AlbumFullText[] = "The currently selected album is full.";
inline constexpr char OpenEngineMissingText[] =
    "OpenMW's load list names this folder's Data Files, but the program openmw cannot be found on the PATH or "
    "beside Glintbook.";
inline constexpr char ElevationRefusedText[] =
    "Morrowind was not started: it is set to run as administrator, and that was not allowed.";

// Returns the message to show when a check fails (nothing is then written or
// started) or when the player refused to let the game run as administrator
// (the settings are then written), nullopt when the game was started. Session preparation may end
// the program (ProgramEnd); a game that cannot be started throws Failure.
std::optional<std::string> LaunchGame(const Choices& choices);

}  // namespace glintbook
