#pragma once
// Whether the game and this program see the same files in the game folder.
// Windows gives an old 32-bit program that may not write to its folder (as
// in Program Files) a per-user copy of what it writes there, the
// VirtualStore; this program is never redirected, so it would read a stale
// settings file and wait for screenshots that appear elsewhere.
#include <optional>
#include <string>

namespace glintbook::files {

// Where Windows keeps a redirected copy of the file `path` for this user;
// empty where there is no such thing (other systems, a path without a drive
// letter, no per-user folder).
std::string VirtualStorePath(const std::string& path);

// The explanation to show when the game and this program would see different
// files in the game folder (the current directory): it cannot be written, or
// Windows keeps a copy of its Morrowind.ini. Nothing when all is well.
std::optional<std::string> GameFolderProblem();

}  // namespace glintbook::files
