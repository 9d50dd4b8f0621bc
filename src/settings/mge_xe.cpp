#include "settings/mge_xe.h"

#include "platform/files.h"
#include "settings/game_files.h"
#include "settings/ini_text.h"
#include "settings/profile.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>

namespace glintbook::mge {

namespace {

using profile::ini::SameName;

constexpr char kSection[] = "Render State";

// Its buffers: 32 bytes for the prefix, 208 for the folder.
constexpr size_t kPrefixSize = 32, kFolderSize = 208;

// A setting with a fixed set of values, each one row, as MGE XE keeps them.
template <typename T>
struct Word {
    const char* text;
    T value;
};
constexpr std::array<Word<Format>, 5> kFormats{{
    {"BMP", Format::Bmp}, {"JPEG", Format::Jpeg}, {"DDS", Format::Dds}, {"PNG", Format::Png}, {"TGA", Format::Tga}}};
constexpr std::array<const char*, 5> kExtensions{".bmp", ".jpg", ".dds", ".png", ".tga"};
constexpr std::array<Word<Suffix>, 4> kSuffixes{{{"Timestamp", Suffix::Timestamp},
                                                 {"Ordinal", Suffix::Ordinal},
                                                 {"Character Name, Ordinal", Suffix::NameOrdinal},
                                                 {"Character Name, Game Time, Ordinal", Suffix::NameGameTimeOrdinal}}};

// Words compare without letter case; one it does not know is the default.
template <typename T, size_t N>
T Lookup(const std::array<Word<T>, N>& words, std::string_view text, T fallback) {
    for (const auto& w : words)
        if (SameName(text, w.text)) return w.value;
    return fallback;
}

std::string Text(std::string_view text, const char* key, const char* fallback, size_t size) {
    std::string value(profile::text::GetStringBuffer(text, kSection, key, fallback, 4096).text());
    if (value.size() >= size) value.resize(size - 1);
    return value;
}

bool Digits(std::string_view s, size_t least = 1) {
    return s.size() >= least && s.find_first_not_of("0123456789") == std::string_view::npos;
}

// Matches `s` against a shape where 'D' is one digit and anything else itself.
bool Shape(std::string_view s, std::string_view shape) {
    if (s.size() != shape.size()) return false;
    for (size_t i = 0; i < s.size(); ++i)
        if (shape[i] == 'D' ? !Digits(s.substr(i, 1)) : s[i] != shape[i]) return false;
    return true;
}

// Cuts " <ordinal>" (at least four digits) off the end of `s`.
bool CutOrdinal(std::string_view& s) {
    const auto blank = s.rfind(' ');
    if (blank == std::string_view::npos || !Digits(s.substr(blank + 1), 4)) return false;
    s = s.substr(0, blank);
    return true;
}

bool Absolute(std::string_view p) {
    return (p.size() >= 3 && std::isalpha(static_cast<unsigned char>(p[0])) && p[1] == ':' &&
            (p[2] == '\\' || p[2] == '/')) ||
           p.starts_with("\\\\") || p.starts_with("//");
}

#ifndef _WIN32
// The folders a Wine prefix maps a drive letter to: the prefix above the game
// folder (the game installed inside it), Steam's prefix for the game beside
// its folder, then $WINEPREFIX and ~/.wine.
std::optional<std::string> DriveFolder(char letter) {
    namespace fs = std::filesystem;
    std::vector<fs::path> prefixes;
    const fs::path game = fs::path(files::CurrentDirectory());
    for (fs::path p = game; p.has_relative_path(); p = p.parent_path())
        if (fs::is_directory(p / "dosdevices")) prefixes.push_back(p);
    prefixes.push_back(game.parent_path().parent_path() / "compatdata" / "22320" / "pfx");
    if (const char* wp = std::getenv("WINEPREFIX"); wp && *wp) prefixes.emplace_back(wp);
    if (const char* home = std::getenv("HOME"); home && *home) prefixes.push_back(fs::path(home) / ".wine");
    const std::string device = std::string(1, char(std::tolower(static_cast<unsigned char>(letter)))) + ":";
    for (const fs::path& prefix : prefixes) {
        std::error_code ec;
        const fs::path target = fs::canonical(prefix / "dosdevices" / device, ec);
        if (!ec) return target.string();
    }
    return std::nullopt;
}
#endif

}  // namespace

bool Installed() { return files::FileExists(files::ExistingSpelling(files::GamePath(SettingsFile))); }

Settings Read() {
    return ReadFrom(files::TryReadFile(files::ExistingSpelling(files::GamePath(SettingsFile))).value_or(""));
}

Settings ReadFrom(std::string_view text) {
    Settings s;
    s.format = Lookup(kFormats, Text(text, "Screenshot Format", "PNG", 64), Format::Png);
    s.suffix = Lookup(kSuffixes, Text(text, "Screenshot Name Suffix", "Timestamp", 64), Suffix::Timestamp);
    s.folder = Text(text, "Screenshot Output Directory", "", kFolderSize);
    s.prefix = Text(text, "Screenshot Name Prefix", "Morrowind", kPrefixSize);
    // One blank after a prefix, where its buffer has room for it.
    if (!s.prefix.empty() && s.prefix.back() != ' ' && s.prefix.size() + 2 <= kPrefixSize) s.prefix += ' ';
    return s;
}

const char* FormatName(Format format) { return kFormats[size_t(format)].text; }
const char* Extension(Format format) { return kExtensions[size_t(format)]; }

bool IsScreenshotName(const Settings& settings, std::string_view name) {
    const std::string_view ext = Extension(settings.format);
    if (name.size() < ext.size() || !SameName(name.substr(name.size() - ext.size()), ext)) return false;
    name.remove_suffix(ext.size());
    if (!name.starts_with(settings.prefix)) return false;
    std::string_view rest = name.substr(settings.prefix.size());
    switch (settings.suffix) {
    case Suffix::Timestamp: return Shape(rest, "DDDD-DD-DD DD.DD.DD.DDD");
    case Suffix::Ordinal: return Digits(rest, 4);
    case Suffix::NameOrdinal: return CutOrdinal(rest) && !rest.empty();
    case Suffix::NameGameTimeOrdinal: {
        // "<name>, <the game's word for Day> <day>, HH.MM <ordinal>", read from its end.
        if (!CutOrdinal(rest) || rest.size() < 7 || !Shape(rest.substr(rest.size() - 7), ", DD.DD")) return false;
        rest.remove_suffix(7);
        const auto blank = rest.rfind(' ');
        if (blank == std::string_view::npos || !Digits(rest.substr(blank + 1))) return false;
        rest = rest.substr(0, blank);
        const auto comma = rest.rfind(", ");
        return comma != std::string_view::npos && comma > 0 && comma + 2 < rest.size();
    }
    }
    return false;
}

std::optional<std::string> Folder(const Settings& settings) {
    const std::string written = settings.folder.empty() ? "./screenshots" : settings.folder;
#ifdef _WIN32
    if (Absolute(written)) return written;
    return files::GamePath("\\" + written);
#else
    std::string path;
    std::string_view rest = written;
    if (Absolute(written)) {
        if (written[1] != ':') return std::nullopt;  // a network path
        const auto drive = DriveFolder(written[0]);
        if (!drive) return std::nullopt;
        path = *drive;
        rest.remove_prefix(2);
    } else {
        path = files::CurrentDirectory() + "/";
    }
    for (char c : rest) path += c == '\\' ? '/' : c;
    return files::ExistingSpelling(std::filesystem::path(path).lexically_normal().string());
#endif
}

bool SavesIntoArchive(const Settings& settings) {
    namespace fs = std::filesystem;
    const auto folder = Folder(settings);
    if (!folder) return false;
    const auto normal = [](const std::string& p) {
        std::string s = fs::path(p).lexically_normal().string();
        while (s.size() > 1 && (s.back() == '/' || s.back() == '\\')) s.pop_back();
        return s;
    };
    return SameName(normal(*folder), normal(files::GamePath(game::ArchiveFolder)));
}

std::string FolderAsWritten(const Settings& settings) {
    return settings.folder.empty() ? "screenshots\\" : settings.folder;
}

}  // namespace glintbook::mge
