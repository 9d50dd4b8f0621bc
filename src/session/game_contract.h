#pragma once
// What the program relies on the game for: its executable, the process name
// it runs under, the expansion that decides which plug-in it loads.
#include <string>
#include <string_view>

namespace glintbook::game {

inline constexpr char Executable[] = "\\Morrowind.exe";
inline constexpr char ProcessName[] = "Morrowind.exe";
inline constexpr char Expansion[] = "\\Data Files\\Tribunal.esm";
inline constexpr char PluginWithExpansion[] = "\\Data Files\\Glintbook_TB.esp";
inline constexpr char PluginWithoutExpansion[] = "\\Data Files\\Glintbook.esp";

// The game names its screenshots "<base name> <number>.bmp" in its folder.
// A base name with a folder separator (either kind: the game is a Windows
// program) or a NUL would name a file elsewhere; such a name is never the
// game's screenshot, and nothing is written from it.
bool PlainBaseName(std::string_view base);
std::string ScreenshotPath(std::string_view base, long long number);

// The plug-in path the installation needs, by the expansion's presence now.
std::string RequiredPlugin();

}  // namespace glintbook::game
