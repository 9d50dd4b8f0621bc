#pragma once
// Where a running game's screenshots appear and how each is taken, settled
// once when the game is seen: the monitor asks this, not which engine runs.
// Three writers exist: the original engine itself, MGE XE inside it, and the
// open engine.
#include "settings/game_files.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace glintbook::shots {

// The original engine names a shot only once it is written, and counts its
// shots in Morrowind.ini itself. The others write in place: a file is whole
// when its size held above zero for a tick, or when the game has gone; and
// Glintbook moves the album's count on for them.
enum class Whole { WhenNamed, WhenSizeHolds };

struct Source {
    std::string label;  // "MGE XE", "OpenMW": for sentences to the player
    Whole whole = Whole::WhenSizeHolds;
    // The screenshots there now, full paths, oldest first; never an archive
    // copy, should the archive be the same folder.
    std::function<std::vector<std::string>()> shots;
    // Where the copy of a screenshot goes under a serial (from 0 up, the
    // first free one is taken), relative to the game folder; empty when the
    // screenshot already lies where it is kept and stays there.
    std::function<std::string(const std::string& shot, long long serial)> archive;

    // What the monitor keeps of this source between ticks.
    std::set<std::string> earlier;               // there before the session, or taken in place: left alone
    std::map<std::string, std::uint64_t> sizes;  // new ones and their sizes at the last tick
    std::map<std::string, std::uint64_t> refused;  // held, yet no picture at that size: left until they change
};

// The sources of a session of `engine`, or the sentence for the player why
// this folder's albums get nothing from it. Each source's earlier files are
// noted here.
struct Sources {
    std::vector<Source> live;
    std::string notice;  // "" when nothing needs saying
};
Sources SourcesFor(game::Engine engine);

// The file name at the end of a path, split by hand: names are UTF-8.
std::string FileName(const std::string& path);

// The sentence that names the screenshot writer the game folder has and what
// Glintbook watches there, for the player's install report.
std::string Describe();

}  // namespace glintbook::shots
