#pragma once
// A home of the open engine's player inside a test's folder: its own HOME,
// no XDG variables, a folder with the engine's program first on PATH, and
// the configuration files a row asks for. On Windows the user folders lie
// in the Documents folder of the system (Wine's prefix in the tests), which
// is emptied of OpenMW's folder again at the end.
#include "support/game_folder.h"

#include <string>
#include <utility>
#include <vector>

namespace glintbook::test {

class OpenEngineHome {
public:
    // `files`: paths and contents, both with the tokens of here(). The
    // program is `program` copied, or a stand-in that does nothing.
    OpenEngineHome(const GameFolder& folder, const std::vector<std::pair<std::string, std::string>>& files,
                   const std::string& program = "");
    ~OpenEngineHome();
    OpenEngineHome(const OpenEngineHome&) = delete;
    OpenEngineHome& operator=(const OpenEngineHome&) = delete;

    // DATA: the game folder's Data Files; HOME: the player's home; DOCS:
    // Documents; BIN: the folder of the engine's program; ROOT: the test's
    // folder; APP: the Flatpak's folder below HOME.
    std::string here(std::string text) const;

private:
    std::vector<std::pair<std::string, std::string>> tokens_;
    std::string saved_[4];
    std::string docs_;
    void* documents_ = nullptr;  // Windows: held while this home owns Documents\My Games\OpenMW
};

}  // namespace glintbook::test
