#pragma once
// The player's kit, installed into the game folder (the current directory,
// like every path of the program): both plug-in variants, the photographs'
// meshes, the stock texture, and a stand-in for every album picture that is
// not there yet. Nothing already there is lost: pictures that exist are never
// touched, and a plug-in file or mesh that differs from ours is kept beside it
// as "<name>.bak" (or .bak2, .bak3, ...) before ours replaces it. A second run
// changes nothing. Every write is atomic; a failure throws Failure, and what
// was written before it stays.
#include <string>
#include <vector>

namespace glintbook::plugin {

enum class Part { Plugin, Mesh, StockTexture, Texture, BookArt };
enum class Outcome {
    Written,    // it was missing
    Unchanged,  // ours was already there
    LeftAlone,  // a picture that exists, the player's or an earlier stand-in
    Replaced,   // a different file was there; it is kept as a backup
};

struct Step {
    Part part;
    Outcome outcome;
    std::string path;  // relative to the game folder, the game's way: "\Data Files\..."
};

struct InstallReport {
    std::vector<Step> steps;
    std::vector<std::string> notes;  // the masters' sizes, a missing master, the backups made
};

// Throws Failure(ErrPathNotFound) without writing anything when the current
// directory has no "Data Files" folder: it is not a game folder.
InstallReport InstallKit();

}  // namespace glintbook::plugin
