#include "platform/game_folder.h"

namespace glintbook::files {

// Only Windows redirects a program's writes.
std::string VirtualStorePath(const std::string&) { return {}; }

}  // namespace glintbook::files
