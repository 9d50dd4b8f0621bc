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

// Where an installation keeps its files, as the engine works them out on
// each system; "" where a system has no such folder.
struct Folders {
    std::string userConfig;  // the user's openmw.cfg, settings.cfg and openmw.log
    std::string userData;    // ?userdata?: saves, and screenshots below it
    std::string global;      // ?global?'s openmw.cfg, read when none is beside the program
    std::string local;       // ?local?: the program's own folder
};
enum class System { Linux, Windows, MacOs };
// What a system's folders are made of: HOME, XDG_CONFIG_HOME and
// XDG_DATA_HOME (used when absolute), Windows' Documents folder, the folder
// the program is in.
struct Environment {
    std::string home, xdgConfig, xdgData, documents, programFolder;
};
Folders NativeFolders(System system, const Environment& env);
// The Flatpak org.openmw.OpenMW: its XDG folders below ~/.var/app.
Folders FlatpakFolders(const Environment& env);
inline constexpr char FlatpakId[] = "org.openmw.OpenMW";

// An installation on this machine: the native one, and the Flatpak when
// ~/.var/app/org.openmw.OpenMW holds a configuration.
struct Installation {
    std::string label;  // "OpenMW", "OpenMW (Flatpak)"
    Folders folders;
    bool flatpak = false;
};
std::vector<Installation> Installations();
// The one Glintbook serves: of those whose configuration plays this folder,
// the one whose engine was started last (its openmw.log written last); with
// none, the first.
Installation FoundInstallation();

// Whether the Flatpak's sandbox may see the game folder, by the filesystems
// its installed metadata and the overrides (flatpak override) grant: host,
// home, ~/..., absolute folders, xdg-data/... and the like; nothing when its
// metadata cannot be found.
std::optional<bool> FlatpakSeesThisFolder();
// The sentence telling the player how to let it.
std::string FlatpakReachText();

// The user's configuration folder of the installation found (the last of
// its chain) and its openmw.cfg, where the launcher writes the load list.
std::string ConfigFolder();
std::string ConfigFile();
// <user-data>/screenshots of the installation found.
std::string ScreenshotFolder();

// [General] "screenshot format" of settings.cfg, lower case; "png" when unset.
std::string ScreenshotFormat();
// The number of a screenshot named "screenshot<digits>.<format>"; nothing for
// any other name.
std::optional<long long> ScreenshotNumber(std::string_view name, std::string_view format);

// One openmw.cfg: data= folders and config= folders (unquoted, as
// written), content= names, replace= words and the last user-data=.
struct LoadList {
    std::vector<std::string> data, content, config, replace;
    std::optional<std::string> userData;
};
// Nothing for a damaged file: a NUL byte, a line that is neither blank, a
// comment nor key=value, or a quoted data= value without its closing quote.
std::optional<LoadList> ParseConfig(std::string_view text);
// A data= value as the engine reads it: one in double quotes, where '&'
// takes the next character as it is, ends at the closing quote; any other
// is taken verbatim.
std::optional<std::string> PathValue(std::string_view value);

// The configuration as the engine reads it from its folders: the openmw.cfg
// beside the program, else the global one, then each folder its config=
// lines name, depth first (a replace=config drops all but the first file
// read); data= and content= gathered in that order (a replace=data or
// replace=content drops the earlier ones), the last user-data= taken. Paths
// with a token (?local?, ?global?, ?userconfig?, ?userdata?) or relative to
// the file that names them become absolute. An engine before 0.48 has no
// config= lines: its user folder is read after the global file.
struct Chain {
    std::vector<std::string> files;  // every openmw.cfg read; the last is the user's
    std::vector<std::string> data, content;
    std::string userData;
    std::string userFolder;
    std::string damaged;  // the first file that cannot be read as settings
};
Chain ReadChain(const Folders& folders);

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
// How Start starts the installation found: its program, or flatpak with
// "run org.openmw.OpenMW"; empty when it cannot be found.
std::vector<std::string> StartCommand();

// Whether the merged content= list of the installation found holds the
// plug-in this folder needs; the launcher rewrites that list from its own
// profile when the player saves there.
bool PluginLoaded();

}  // namespace glintbook::openmw
