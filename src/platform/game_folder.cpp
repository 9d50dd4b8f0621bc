#include "platform/game_folder.h"

#include "platform/failure.h"
#include "platform/files.h"

namespace glintbook::files {

namespace {

// Creating and removing a file of our own is the only sure test: Windows
// grants writes by a folder's access list, which attributes do not show.
bool CanWrite(const std::string& probe) {
    if (!TryWriteFileAtomic(probe, "")) return false;
    try {
        DeleteFile(probe);
    } catch (const Failure&) {
        // A second instance probing at the same moment may have removed it.
    }
    return true;
}

#ifdef _WIN32
constexpr char kRemedy[] =
    "\n\nMove the game to a folder such as C:\\Games\\Morrowind, or give your account write access to "
    "the game folder, then start Glintbook again.";
#else
constexpr char kRemedy[] = "\n\nGive your account write access to the game folder, then start Glintbook again.";
#endif

}  // namespace

std::optional<std::string> GameFolderProblem() {
    const std::string folder = CurrentDirectory();
    if (!CanWrite(GamePath("\\.glintbook-write-test"))) {
        return "Glintbook cannot write to the game folder " + folder +
#ifdef _WIN32
               ".\n\nIn a protected folder such as Program Files, Windows keeps what the game writes (its "
               "Morrowind.ini and its screenshots) in a separate copy that Glintbook does not see." +
#else
               ", where it keeps the album pictures and the game's settings." +
#endif
               kRemedy;
    }
    const std::string copy = VirtualStorePath(GamePath("\\Morrowind.ini"));
    if (!copy.empty() && FileExists(copy)) {
        return "Windows keeps a separate copy of the game's Morrowind.ini in " + copy +
               ".\n\nThe game uses that copy and puts its screenshots beside it, where Glintbook does not see "
               "them: the game folder was once protected, as in Program Files." +
               kRemedy;
    }
    return std::nullopt;
}

}  // namespace glintbook::files
