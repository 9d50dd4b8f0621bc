#pragma once
// Readies Morrowind.ini for a photo session on the selected album.
#include "settings/choices.h"
#include "settings/game_files.h"

namespace glintbook {

// Writes the first-run defaults once per settings file, makes sure the
// companion plug-in matching the installation is present, makes sure the
// selected album has room, and points the game's screenshot counter at the
// album's next picture number. A missing plug-in or a full album ends the
// program (throws ProgramEnd) without a message. With no album selected it
// returns without touching the counter. The engine decides where the load
// list, and with it the expansion, is read.
void PrepareSession(const Choices& choices, game::Engine engine = game::Engine::Original);

}  // namespace glintbook
