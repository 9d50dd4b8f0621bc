#pragma once
// Ends a photo session and, with it, the program.
#include "settings/choices.h"

namespace glintbook {

// Stores the game's running screenshot number, less the selected album's
// offset, as that album's index, so that the next launch continues the album
// where this session stopped; then ends the program (throws ProgramEnd{0}).
// A game that is still running is not touched.
[[noreturn]] void CloseSession(const Choices& choices);

}  // namespace glintbook
