#pragma once
// The game's files and folders, each written once here. Paths are relative to
// the game folder and written the game's way ("\Data Files\..."); callers pass
// them through files::GamePath. Names without a folder are the bare file names
// the load list and the plug-in's texts use.
#include <optional>
#include <string>
#include <string_view>

namespace glintbook::game {

// Two engines play a game folder. The original is Morrowind.exe in the
// folder: it numbers its screenshots from Morrowind.ini and reads its load
// list there. The open engine (OpenMW) is installed elsewhere: its load list
// is openmw.cfg in the user's configuration folder and it writes screenshots
// into its user data folder (settings/open_engine.h has both).
enum class Engine { Original, Open };

inline constexpr char Executable[] = "\\Morrowind.exe";
inline constexpr char ProcessName[] = "Morrowind.exe";  // as the process list shows it
#ifdef _WIN32
inline constexpr char OpenProcessName[] = "openmw.exe";
#else
inline constexpr char OpenProcessName[] = "openmw";
#endif

// The engine a process list name stands for, exactly as written above.
std::optional<Engine> EngineOfProcess(std::string_view name);
inline constexpr char SettingsFile[] = "\\Morrowind.ini";
inline constexpr char DataFiles[] = "\\Data Files";
inline constexpr char Master[] = "Morrowind.esm";
inline constexpr char ExpansionMaster[] = "Tribunal.esm";
inline constexpr char Plugin[] = "Glintbook.esp";             // for a game without the expansion
inline constexpr char ExpansionPlugin[] = "Glintbook_TB.esp";  // for a game with it
inline constexpr char TexturesFolder[] = "\\Data Files\\Textures";
inline constexpr char BookArtFolder[] = "\\Data Files\\BookArt";
inline constexpr char MeshesFolder[] = "\\Data Files\\Meshes";
inline constexpr char PhotoMeshFolder[] = "\\Data Files\\Meshes\\glintbook";  // the plug-in's own meshes
inline constexpr char ArchiveFolder[] = "\\Screenshots";
inline constexpr char StockTextureName[] = "qor_tx_photo_orig.bmp";

// "\Data Files\<name>".
std::string DataFile(std::string_view name);

// Whether "\Data Files\Tribunal.esm" exists now; it decides which plug-in the
// game can load.
bool ExpansionInstalled();
// For the open engine the load list decides: Tribunal.esm among the content=
// lines of openmw.cfg.
bool ExpansionInstalled(Engine engine);
// The plug-in the installation needs, bare: Glintbook_TB.esp or Glintbook.esp.
const char* WantedPlugin(bool expansion);

// Album texture t (0..99) and book-art picture p (1..100), bare and as paths.
std::string TextureName(long long t);  // "qor_tx_photo_<t>.bmp"
std::string TexturePath(long long t);  // "\Data Files\Textures\qor_tx_photo_<t>.bmp"
std::string StockTexture();            // "\Data Files\Textures\qor_tx_photo_orig.bmp"
std::string BookArtName(long long p);  // "Photo <p>.bmp"
std::string BookArtPath(long long p);  // "\Data Files\BookArt\Photo <p>.bmp"

// The plug-in's mesh of the photograph that shows texture t (0..99): as its
// record names it, relative to the meshes folder, and as a path.
std::string PhotoMeshModel(long long t);  // "glintbook\photo_<t>.nif"
std::string PhotoMeshPath(long long t);   // "\Data Files\Meshes\glintbook\photo_<t>.nif"

// The game names its screenshots "<base name> <number>.bmp" in its folder; the
// archive copies are "<base name> <number>_<serial>.bmp" in the archive folder.
std::string ScreenshotPath(std::string_view base, long long number);
std::string ArchivePath(std::string_view base, long long number, long long serial);
// Any other writer's screenshot "<stem>.<extension>" keeps its name and
// format in the archive: "<stem>_<serial>.<extension>".
std::string ArchiveCopyPath(std::string_view name, long long serial);

// A base name with a folder separator (either kind: the game is a Windows
// program) or a NUL would name a file elsewhere; such a name is never the
// game's screenshot, and nothing is written from it.
bool PlainBaseName(std::string_view base);

}  // namespace glintbook::game
