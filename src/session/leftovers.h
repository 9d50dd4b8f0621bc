#pragma once

namespace glintbook {

// Removes the temporary files that writes cut short by a crash or a kill
// left in the folders the program writes: beside Morrowind.ini (the game
// folder, or the folder of the file it links to), the archive folder, the
// textures and the book art. Called at start, before anything is written;
// never fails, a folder that cannot be read is skipped.
void RemoveLeftoverTemporaries();

}  // namespace glintbook
