#include "session/game_contract.h"

#include "platform/files.h"
#include "settings/catalogue.h"

namespace glintbook::game {

bool PlainBaseName(std::string_view base) { return base.find_first_of(std::string_view("/\\\0", 3)) == std::string_view::npos; }

std::string ScreenshotPath(std::string_view base, long long number) {
    return files::GamePath("\\" + std::string(base) + " " + DecimalText(number) + ".bmp");
}

std::string RequiredPlugin() {
    return files::FileExists(files::GamePath(Expansion)) ? PluginWithExpansion : PluginWithoutExpansion;
}

}  // namespace glintbook::game
