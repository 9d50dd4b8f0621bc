#include "settings/open_engine.h"

#include "platform/command_line.h"
#include "platform/files.h"
#include "platform/processes.h"
#include "settings/game_files.h"
#include "settings/ini_text.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#ifdef _WIN32
#include "platform/windows_text.h"

#include <windows.h>
#include <knownfolders.h>
#endif

namespace glintbook::openmw {

namespace {

namespace fs = std::filesystem;
using profile::ini::SameName;

#ifdef _WIN32
std::string UserFolder() {
    const std::string documents = windows::KnownFolder(FOLDERID_Documents);
    return documents.empty() ? documents : documents + "\\My Games\\OpenMW";
}
#else
std::string Env(const char* name) {
    const char* v = std::getenv(name);
    return v ? v : "";
}

// An XDG folder: the variable when it holds an absolute path, else the
// default below the home folder.
std::string XdgFolder(const char* variable, const char* fallback) {
    const std::string set = Env(variable);
    if (!set.empty() && set.front() == '/') return set + "/openmw";
    return Env("HOME") + "/" + fallback + "/openmw";
}
#endif

std::string_view Trim(std::string_view s) {
    const auto first = s.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(" \t\r\n") - first + 1);
}

std::string Lower(std::string_view s) {
    std::string out(s);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return out;
}

// The file's lines, each with its line end.
std::vector<std::string_view> Lines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return lines;
}

// A key=value line as key and value, trimmed; blank lines and comments
// (a '#' first) give an empty key.
struct Entry {
    std::string_view key, value;
    bool bad = false;
};
Entry Parse(std::string_view line) {
    const std::string_view t = Trim(line);
    if (t.empty() || t.front() == '#') return {};
    const auto eq = t.find('=');
    if (eq == std::string_view::npos) return {{}, {}, true};
    return {Trim(t.substr(0, eq)), Trim(t.substr(eq + 1))};
}

bool EndsWith(std::string_view s, std::string_view tail) {
    return s.size() >= tail.size() && SameName(s.substr(s.size() - tail.size()), tail);
}

// Two folders are the same when their absolute, normal forms match (in any
// letter case on Windows, whose file names ignore it).
std::string Normal(const std::string& path) {
    std::error_code ec;
    fs::path p = fs::weakly_canonical(fs::absolute(fs::path(path), ec), ec);
    std::string s = p.lexically_normal().string();
    while (s.size() > 1 && (s.back() == '/' || s.back() == '\\')) s.pop_back();
#ifdef _WIN32
    s = Lower(s);
#endif
    return s;
}

}  // namespace

#ifdef _WIN32
// Without a Documents folder there is no open engine's folder either: the
// empty paths name nothing, so the load list counts as missing.
std::string ConfigFolder() { return UserFolder(); }
std::string ScreenshotFolder() { return UserFolder().empty() ? "" : UserFolder() + "\\screenshots"; }
std::string ConfigFile() { return ConfigFolder().empty() ? "" : ConfigFolder() + "\\openmw.cfg"; }
#else
std::string ConfigFolder() { return XdgFolder("XDG_CONFIG_HOME", ".config"); }
std::string ScreenshotFolder() { return XdgFolder("XDG_DATA_HOME", ".local/share") + "/screenshots"; }
std::string ConfigFile() { return ConfigFolder() + "/openmw.cfg"; }
#endif

std::string ScreenshotFormat() {
    const auto text = files::TryReadFile((fs::path(ConfigFolder()) / "settings.cfg").string());
    std::string section, format = "png";
    if (!text) return format;
    for (const std::string_view line : Lines(*text)) {
        const std::string_view t = Trim(line);
        if (t.starts_with('[') && t.ends_with(']')) section = Lower(Trim(t.substr(1, t.size() - 2)));
        const Entry e = Parse(line);
        if (section == "general" && SameName(e.key, "screenshot format") && !e.value.empty()) format = Lower(e.value);
    }
    return format;
}

std::optional<long long> ScreenshotNumber(std::string_view name, std::string_view format) {
    constexpr std::string_view stem = "screenshot";
    const std::string tail = "." + std::string(format);
    if (!name.starts_with(stem) || !EndsWith(name, tail) || name.size() <= stem.size() + tail.size()) return {};
    const std::string_view digits = name.substr(stem.size(), name.size() - stem.size() - tail.size());
    if (digits.size() > 15 || digits.find_first_not_of("0123456789") != std::string_view::npos) return {};
    return std::stoll(std::string(digits));
}

std::optional<std::string> PathValue(std::string_view value) {
    if (!value.starts_with('"')) return std::string(value);
    std::string out;
    for (size_t i = 1; i < value.size(); ++i) {
        if (value[i] == '&' && i + 1 < value.size()) out += value[++i];
        else if (value[i] == '"') return out;  // what follows is ignored, as the engine does
        else out += value[i];
    }
    return std::nullopt;
}

std::optional<LoadList> ParseConfig(std::string_view text) {
    if (text.find('\0') != std::string_view::npos) return std::nullopt;
    LoadList list;
    for (const std::string_view line : Lines(text)) {
        const Entry e = Parse(line);
        if (e.bad) return std::nullopt;
        if (e.key == "data") {
            auto path = PathValue(e.value);
            if (!path) return std::nullopt;
            list.data.push_back(std::move(*path));
        } else if (e.key == "content") {
            list.content.emplace_back(e.value);
        }
    }
    return list;
}

namespace {

std::optional<LoadList> ReadConfig(bool& missing) {
    const auto text = files::TryReadFile(ConfigFile());
    missing = !text;
    return text ? ParseConfig(*text) : std::nullopt;
}

bool HoldsExpansion(const LoadList& list) {
    return std::any_of(list.content.begin(), list.content.end(),
                       [](const std::string& c) { return SameName(c, game::ExpansionMaster); });
}

}  // namespace

ConfigState ConfigForThisFolder() {
    bool missing = false;
    const auto list = ReadConfig(missing);
    if (missing) return ConfigState::Missing;
    if (!list) return ConfigState::Damaged;
    const std::string here = Normal(files::GamePath(game::DataFiles));
    for (const std::string& data : list->data)
        if (Normal(data) == here) return ConfigState::ThisFolder;
    return ConfigState::OtherFolder;
}

std::string LoadListProblem(ConfigState state) {
    switch (state) {
    case ConfigState::Missing: return "OpenMW's load list " + ConfigFile() + " cannot be found";
    case ConfigState::Damaged:
        return "OpenMW's load list " + ConfigFile() + " is damaged (a line that is not key=value, or a quote not closed)";
    case ConfigState::OtherFolder: return "OpenMW's load list " + ConfigFile() + " does not name this folder's Data Files";
    case ConfigState::ThisFolder: break;
    }
    return {};
}

bool ExpansionLoaded() {
    bool missing = false;
    const auto list = ReadConfig(missing);
    return list && HoldsExpansion(*list);
}

std::optional<std::string> RegisterIn(std::string_view text, std::string_view wanted, std::string_view other) {
    if (!ParseConfig(text)) return std::nullopt;
    const std::vector<std::string_view> lines = Lines(text);
    std::vector<std::string_view> kept;
    bool holdsWanted = false;
    std::optional<size_t> lastMaster, lastContent;  // positions in `kept`, after which to enter
    for (const std::string_view line : lines) {
        const Entry e = Parse(line);
        if (e.key == "content") {
            // Names are matched as the engine does, in any letter case.
            if (SameName(e.value, other)) continue;
            if (SameName(e.value, wanted)) holdsWanted = true;
            if (EndsWith(e.value, ".esm") || EndsWith(e.value, ".omwgame")) lastMaster = kept.size();
            lastContent = kept.size();
        }
        kept.push_back(line);
    }
    const size_t newline = text.find('\n');
    const std::string_view firstEnd = newline != std::string_view::npos && newline > 0 && text[newline - 1] == '\r' ? "\r\n" : "\n";
    std::string out;
    const auto after = lastMaster ? lastMaster : lastContent ? lastContent
                                            : kept.empty()   ? std::nullopt
                                                             : std::optional<size_t>(kept.size() - 1);
    if (!holdsWanted && kept.empty()) out = "content=" + std::string(wanted) + std::string(firstEnd);
    for (size_t i = 0; i < kept.size(); ++i) {
        out += kept[i];
        if (holdsWanted || after != i) continue;
        // The new line ends as the one before it; one without an end (the
        // last of the file) gets the file's first kind of line end.
        std::string_view end = kept[i].ends_with("\r\n") ? "\r\n" : kept[i].ends_with('\n') ? "\n" : "";
        if (end.empty()) out += firstEnd, end = firstEnd;
        out += "content=" + std::string(wanted) + std::string(end);
    }
    return out;
}

std::optional<std::string> RegisterPlugin() {
    const std::string path = ConfigFile();
    const auto text = files::TryReadFile(path);
    if (!text) return LoadListProblem(ConfigState::Missing) + ", so the plug-in cannot be entered in it.";
    const auto list = ParseConfig(*text);
    if (!list) return LoadListProblem(ConfigState::Damaged) + "; it was left as it is.";
    const bool expansion = HoldsExpansion(*list);
    const auto after = RegisterIn(*text, game::WantedPlugin(expansion), game::WantedPlugin(!expansion));
    if (!after) return LoadListProblem(ConfigState::Damaged) + "; it was left as it is.";
    if (*after == *text) return std::nullopt;
    // The player's own file before Glintbook first changed it.
    if (files::KindOfPath(path + ".bak") == files::PathKind::Missing) files::WriteFileAtomic(path + ".bak", *text);
    files::WriteFileAtomic(path, *after);
    return std::nullopt;
}

std::string FindProgram() {
    const std::string beside = command_line::ProgramFolder();
    return processes::FindProgram(game::OpenProcessName,
                                  beside.empty() ? std::vector<std::string>{} : std::vector<std::string>{beside});
}

}  // namespace glintbook::openmw
