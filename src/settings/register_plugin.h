#pragma once
// Enters the companion plug-in in the game's load list ([Game Files] of
// Morrowind.ini) so that the game loads it.

namespace glintbook {

// "Glintbook_TB.esp" when the expansion is installed, otherwise
// "Glintbook.esp". Replaces the other variant in place, appends the wanted
// name at the end of the list, or removes a duplicate. Never shows a message
// and never ends the program.
void RegisterPlugin();

}  // namespace glintbook
