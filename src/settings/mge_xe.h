#pragma once
// What the program relies on MGE XE for, in one place. MGE XE runs inside
// Morrowind.exe: it switches the game's own screenshots off ("Screen Shot
// Index" never moves) and saves its own, named and placed by its settings
// file MGE3\MGE.ini in the game folder, into a folder of its own.
#include <optional>
#include <string>
#include <string_view>

namespace glintbook::mge {

inline constexpr char SettingsFile[] = "\\MGE3\\MGE.ini";

enum class Format { Bmp, Jpeg, Dds, Png, Tga };
enum class Suffix { Timestamp, Ordinal, NameOrdinal, NameGameTimeOrdinal };

// Its screenshot settings, as MGE XE reads them: a value it does not know
// is its default, text is cut to the size of its buffers.
struct Settings {
    Format format = Format::Png;
    std::string folder;  // "Screenshot Output Directory" as written; "" for ./screenshots
    std::string prefix;  // "Screenshot Name Prefix" with the blank MGE XE adds
    Suffix suffix = Suffix::Timestamp;
};

// Whether MGE3\MGE.ini is in the game folder.
bool Installed();
// Its settings from the game folder's MGE3\MGE.ini (defaults when missing).
Settings Read();
Settings ReadFrom(std::string_view text);

const char* FormatName(Format format);  // "PNG", as its settings name it
const char* Extension(Format format);   // ".png"

// Whether `name` is one of its screenshots under these settings: the prefix,
// the suffix's shape (a time stamp "2024-05-01 18.30.05.123", an ordinal of
// at least four digits, the character's name and an ordinal, or the name,
// the game's day and time and an ordinal), and the format's extension.
// Archive copies ("<stem>_<serial>.<ext>") never have that shape.
bool IsScreenshotName(const Settings& settings, std::string_view name);

// The folder it saves into, on this system: a relative folder below the game
// folder, an absolute one as written; on Linux, with the game under Wine,
// each part found without regard to letter case and a drive letter through
// the Wine prefix's dosdevices. Nothing when it cannot be placed here (a
// drive no prefix maps, a network path).
std::optional<std::string> Folder(const Settings& settings);

// Whether that folder is the game folder's Screenshots, where the archive
// copies go (names compared as Windows compares them).
bool SavesIntoArchive(const Settings& settings);

// "screenshots\" for the default, else the folder as written.
std::string FolderAsWritten(const Settings& settings);

}  // namespace glintbook::mge
