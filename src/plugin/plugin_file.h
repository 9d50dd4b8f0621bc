#pragma once
// The companion plug-in: four album books that show the program's book-art
// pictures, a hundred photographs that show its textures, and the start
// script that gives the player the albums once. It adds records only and
// overrides none of the game's own. The two variants differ only in their
// masters.
#include <cstdint>
#include <string>
#include <vector>

namespace glintbook::plugin {

struct Master {
    std::string name;        // "Morrowind.esm"
    std::uint64_t size = 0;  // its size in bytes; 0 when it is not installed
};

// The records' ids.
std::string AlbumId(int album);    // "glintbook_album_<k>", k = 1..4
std::string PhotoId(long long t);  // "glintbook_photo_<t>", t = 0..99: shows texture t
inline constexpr char GuardGlobalId[] = "glintbook_albums_given";
inline constexpr char GiveScriptId[] = "glintbook_give_albums";

// The text of album k: its pictures in order, one a page.
std::string AlbumText(int album);

// The whole plug-in file.
std::string PluginFile(const std::vector<Master>& masters);

}  // namespace glintbook::plugin
