#include "session/game_contract.h"

#include "platform/files.h"

namespace glintbook::game {

std::string RequiredPlugin() {
    return files::FileExists(files::GamePath(Expansion)) ? PluginWithExpansion : PluginWithoutExpansion;
}

}  // namespace glintbook::game
