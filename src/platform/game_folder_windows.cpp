#include "platform/game_folder.h"

#include "platform/windows_text.h"

#include <windows.h>
#include <knownfolders.h>

namespace glintbook::files {

// %LOCALAPPDATA%\VirtualStore followed by the path without its drive.
std::string VirtualStorePath(const std::string& path) {
    if (path.size() < 3 || path[1] != ':' || (path[2] != '\\' && path[2] != '/')) return {};
    const std::string folder = windows::KnownFolder(FOLDERID_LocalAppData);
    if (folder.empty()) return {};
    return folder + "\\VirtualStore" + path.substr(2);
}

}  // namespace glintbook::files
