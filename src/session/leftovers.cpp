#include "session/leftovers.h"

#include "platform/files.h"
#include "settings/game_files.h"

#include <filesystem>

namespace glintbook {

void RemoveLeftoverTemporaries() {
    try {
        // A linked settings file is replaced where it lives, so its
        // temporaries are made there.
        std::error_code ec;
        const auto settings = std::filesystem::canonical(files::GamePath(game::SettingsFile), ec);
        if (!ec) files::RemoveLeftovers(settings.parent_path().string());
        for (const char* folder : {"", game::ArchiveFolder, game::TexturesFolder, game::BookArtFolder})
            files::RemoveLeftovers(files::GamePath(folder));
    } catch (const std::exception&) {
        // Out of memory at worst: the leftovers stay, the program goes on.
    }
}

}  // namespace glintbook
