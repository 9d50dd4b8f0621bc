#pragma once
// Every section and key of Morrowind.ini the program reads or writes, and the
// album numbering that ties the album indexes to the game's screenshot
// counter. There are no other keys.
#include <string>
#include <string_view>

namespace glintbook {

namespace section {
inline constexpr std::string_view General = "General";
inline constexpr std::string_view GameFiles = "Game Files";
inline constexpr std::string_view Own = "Glintbook";
}  // namespace section

namespace key {
// [General]: the game's screenshot settings.
inline constexpr std::string_view ScreenShotEnable = "Screen Shot Enable";
inline constexpr std::string_view ScreenShotIndex = "Screen Shot Index";
inline constexpr std::string_view ScreenShotBaseName = "Screen Shot Base Name";
// [Game Files]: the load list, GameFile0, GameFile1, ...
inline constexpr std::string_view GameFilePrefix = "GameFile";
// [Glintbook]: first-run marker.
inline constexpr std::string_view EverRun = "EverRun";
}  // namespace key

inline constexpr int AlbumCount = 4;
inline constexpr int AlbumCapacity = 25;

// Picture numbers 1..100 run over all albums; album k owns
// AlbumOffset(k)+1 .. AlbumOffset(k)+AlbumCapacity.
constexpr int AlbumOffset(int album) { return AlbumCapacity * (album - 1); }

// "Album1Index" .. "Album4Index".
std::string AlbumIndexKey(int album);

// "GameFile" followed by n.
std::string GameFileKey(int n);

// Whole numbers as the program writes them: digits, a minus sign when
// negative, no blank, no leading zeros.
std::string DecimalText(long long n);

}  // namespace glintbook
