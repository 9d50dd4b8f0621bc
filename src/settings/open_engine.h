#pragma once
// What the program relies on the open engine (OpenMW) for, in one place: its
// user folders, its load list openmw.cfg, its screenshot names and format,
// and where its program is found. Glintbook still runs from the game folder;
// the engine plays that folder when openmw.cfg names its "Data Files" among
// its data= folders.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glintbook::openmw {

// $XDG_CONFIG_HOME/openmw (default ~/.config/openmw) on Linux, Documents\My
// Games\OpenMW on Windows; openmw.cfg and settings.cfg live there.
std::string ConfigFolder();
std::string ConfigFile();
// $XDG_DATA_HOME/openmw/screenshots (default ~/.local/share/openmw/screenshots)
// on Linux, Documents\My Games\OpenMW\screenshots on Windows.
std::string ScreenshotFolder();

// [General] "screenshot format" of settings.cfg, lower case; "png" when unset.
std::string ScreenshotFormat();
// The number of a screenshot named "screenshot<digits>.<format>"; nothing for
// any other name.
std::optional<long long> ScreenshotNumber(std::string_view name, std::string_view format);

// The load list: data= folders (unquoted) and content= names, in order.
struct LoadList {
    std::vector<std::string> data, content;
};
// Nothing for a damaged file: a NUL byte, a line that is neither blank, a
// comment nor key=value, or a quoted data= value without its closing quote.
std::optional<LoadList> ParseConfig(std::string_view text);
// A data= value as the engine reads it: one in double quotes, where '&'
// takes the next character as it is, ends at the closing quote; any other
// is taken verbatim.
std::optional<std::string> PathValue(std::string_view value);

enum class ConfigState { Missing, Damaged, OtherFolder, ThisFolder };
// Whether openmw.cfg exists, can be read, and names this folder's Data Files.
ConfigState ConfigForThisFolder();
// Why the load list does not let the engine play this folder, for a sentence
// about it ("OpenMW's load list <file> cannot be found"); "" for ThisFolder.
std::string LoadListProblem(ConfigState state);
// Whether Tribunal.esm is in openmw.cfg's content= list.
bool ExpansionLoaded();

// The text with `wanted` entered after the masters (the last content= line
// naming an .esm, else the last content= line, else the end) unless it is
// there, and every content= line naming `other` removed; every other line
// stays byte for byte. Nothing when the text is damaged.
std::optional<std::string> RegisterIn(std::string_view text, std::string_view wanted, std::string_view other);

// Enters the plug-in the load list needs in openmw.cfg, through a temporary
// file renamed into place, keeping the first original as openmw.cfg.bak.
// Returns the message for the player when openmw.cfg is missing or damaged;
// nothing is written then. A write that fails throws Failure.
std::optional<std::string> RegisterPlugin();

// The engine's program: on PATH, else beside Glintbook; "" when neither.
std::string FindProgram();

}  // namespace glintbook::openmw
