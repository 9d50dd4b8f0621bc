#pragma once
// What the tests of the game folder share: a folder laid out as a player has
// it, pictures with distinct pixels, expected failures and injected faults.
#include "imaging/picture.h"
#include "platform/failure.h"
#include "support/game_folder.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace glintbook::test {

// A screenshot of random colours.
void SaveShot(const GameFolder& folder, const std::string& name, int width, int height, unsigned seed = 1);

// A game folder: Morrowind.ini with `ini`, and what `what` asks for.
struct Kit {
    bool textures = true;   // Data Files\Textures
    bool plugin = true;     // the plug-in the installation needs
    bool expansion = false; // Tribunal.esm
    bool stock = false;     // the stock texture, STOCK's bytes
};
inline const std::string Stock = "BM stock texture";
void InstallGame(const GameFolder& folder, const std::string& ini, Kit what = {});

// The failure `fn` throws; number 0 and a test failure when it throws none.
Failure FailureOf(const std::function<void()>& fn);

// Makes every file operation at `step` ("" for all steps) on a path holding
// `where` fail with errno `err`, for the life of the object.
struct Fault {
    Fault(std::string where, int err, std::string step = "");
    ~Fault();
};

// The hidden temporary files of interrupted writes below the folder.
std::vector<std::string> Temporaries(const GameFolder& folder);

// Sets a variable of this process's environment, which programs it starts
// inherit; an empty value removes it.
void SetEnvironment(const std::string& name, const std::string& value);

// A process list holding `names`, for the monitor.
using Names = std::vector<std::string>;
inline std::function<std::optional<Names>()> ProcessList(Names names) {
    return [names] { return std::optional<Names>(names); };
}

}  // namespace glintbook::test
