#pragma once
// What the program relies on the game for: its executable, the process name
// it runs under, the expansion that decides which plug-in it loads.
#include <string>

namespace glintbook::game {

inline constexpr char Executable[] = "\\Morrowind.exe";
inline constexpr char ProcessName[] = "Morrowind.exe";
inline constexpr char Expansion[] = "\\Data Files\\Tribunal.esm";
inline constexpr char PluginWithExpansion[] = "\\Data Files\\Glintbook_TB.esp";
inline constexpr char PluginWithoutExpansion[] = "\\Data Files\\Glintbook.esp";

// The plug-in path the installation needs, by the expansion's presence now.
std::string RequiredPlugin();

}  // namespace glintbook::game
