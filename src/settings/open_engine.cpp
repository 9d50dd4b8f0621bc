#include "settings/open_engine.h"

#include "platform/command_line.h"
#include "platform/files.h"
#include "platform/processes.h"
#include "settings/game_files.h"
#include "settings/ini_text.h"
#include "settings/profile.h"

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

std::string Env(const char* name) {
    const char* v = std::getenv(name);
    return v ? v : "";
}

// `folder` and `name` joined by the system's separator.
std::string Join(const std::string& folder, std::string_view name, System system) {
    if (folder.empty()) return "";
    const char separator = system == System::Windows ? '\\' : '/';
    return folder + (folder.back() == separator ? "" : std::string(1, separator)) + std::string(name);
}

#ifdef _WIN32
constexpr System kThisSystem = System::Windows;
#elif defined(__APPLE__)
constexpr System kThisSystem = System::MacOs;
#else
constexpr System kThisSystem = System::Linux;
#endif

std::string Join(const std::string& folder, std::string_view name) { return Join(folder, name, kThisSystem); }

std::string FolderOf(const std::string& path) {
    const auto cut = path.find_last_of(kThisSystem == System::Windows ? "\\/" : "/");
    return cut == std::string::npos ? "" : path.substr(0, cut);
}

Environment ThisEnvironment() {
    Environment env{Env("HOME"), Env("XDG_CONFIG_HOME"), Env("XDG_DATA_HOME"), {}, FolderOf(FindProgram())};
#ifdef _WIN32
    env.documents = windows::KnownFolder(FOLDERID_Documents);
#endif
    return env;
}

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

Folders NativeFolders(System system, const Environment& env) {
    // An XDG variable counts when it holds an absolute path.
    const auto xdg = [&](const std::string& set, const char* fallback) {
        return Join(!set.empty() && set.front() == '/' ? set : Join(env.home, fallback, system), "openmw", system);
    };
    switch (system) {
    case System::Linux:
        return {xdg(env.xdgConfig, ".config"), xdg(env.xdgData, ".local/share"), "/etc/openmw", env.programFolder};
    case System::Windows: {
        // Without a Documents folder there is no user folder either: the
        // empty paths name nothing, so the load list counts as missing.
        const std::string user = Join(Join(env.documents, "My Games", system), "OpenMW", system);
        return {user, user, "", env.programFolder};
    }
    case System::MacOs:
        return {Join(env.home, "Library/Preferences/openmw", system),
                Join(env.home, "Library/Application Support/openmw", system), "/Library/Preferences/openmw",
                env.programFolder};
    }
    return {};
}

Folders FlatpakFolders(const Environment& env) {
    const std::string app = Join(env.home, std::string(".var/app/") + FlatpakId, System::Linux);
    // Inside its sandbox XDG_CONFIG_HOME and XDG_DATA_HOME point here; its
    // global file lies inside the sandbox, where the default chain leads to
    // the user's folder.
    return {app + "/config/openmw", app + "/data/openmw", "", ""};
}

std::vector<Installation> Installations() {
    const Environment env = ThisEnvironment();
    std::vector<Installation> found{{"OpenMW", NativeFolders(kThisSystem, env), false}};
    if (kThisSystem == System::Linux) {
        Installation flatpak{"OpenMW (Flatpak)", FlatpakFolders(env), true};
        if (files::FileExists(Join(flatpak.folders.userConfig, "openmw.cfg"))) found.push_back(std::move(flatpak));
    }
    return found;
}

std::optional<bool> FlatpakSeesThisFolder() {
    const std::string home = Env("HOME"), id = FlatpakId;
    const std::string user = home + "/.local/share/flatpak", system = "/var/lib/flatpak";
    std::optional<std::string> metadata = files::TryReadFile(user + "/app/" + id + "/current/active/metadata");
    if (!metadata) metadata = files::TryReadFile(system + "/app/" + id + "/current/active/metadata");
    if (!metadata) return std::nullopt;
    // What the app asks for, then what the system's and the player's
    // overrides grant or take away ("!name"), in that order.
    std::vector<std::string> granted;
    const auto read = [&](std::string_view text) {
        const std::string list(profile::text::GetStringBuffer(text, "Context", "filesystems", "", 1 << 16).text());
        for (size_t at = 0; at < list.size();) {
            const size_t end = std::min(list.find(';', at), list.size());
            std::string entry = list.substr(at, end - at);
            at = end + 1;
            entry = entry.substr(0, entry.find(':'));  // :ro, :rw, :create
            if (entry.starts_with('!')) std::erase(granted, entry.substr(1));
            else if (!entry.empty()) granted.push_back(entry);
        }
    };
    read(*metadata);
    for (const std::string& file : {system + "/overrides/global", system + "/overrides/" + id, user + "/overrides/global",
                                    user + "/overrides/" + id})
        if (const auto text = files::TryReadFile(file)) read(*text);
    const std::string game = Normal(files::CurrentDirectory());
    const std::string dataHome = !Env("XDG_DATA_HOME").empty() ? Env("XDG_DATA_HOME") : home + "/.local/share";
    const std::string configHome = !Env("XDG_CONFIG_HOME").empty() ? Env("XDG_CONFIG_HOME") : home + "/.config";
    for (const std::string& entry : granted) {
        std::string folder;
        if (entry == "host") return true;
        if (entry == "home") folder = home;
        else if (entry.starts_with("~/")) folder = home + entry.substr(1);
        else if (entry.starts_with('/')) folder = entry;
        else if (entry.starts_with("xdg-data")) folder = dataHome + entry.substr(8);
        else if (entry.starts_with("xdg-config")) folder = configHome + entry.substr(10);
        else if (entry.starts_with("xdg-documents")) folder = home + "/Documents" + entry.substr(13);
        else if (entry.starts_with("xdg-download")) folder = home + "/Downloads" + entry.substr(12);
        else continue;
        const std::string reach = Normal(folder);
        if (game == reach || game.starts_with(reach + "/")) return true;
    }
    return false;
}

std::string FlatpakReachText() {
    return "OpenMW's Flatpak cannot see this game folder. Let it, once, with: flatpak override --user --filesystem=\"" +
           files::CurrentDirectory() + "\" " + std::string(FlatpakId);
}

namespace {

// The time the engine last wrote its log in the user folder, that is, when
// it last ran; 0 without a log.
std::int64_t LastStarted(const std::string& userFolder) {
    for (const auto& e : files::ListFiles(userFolder))
        if (e.name == "openmw.log") return e.changed;
    return 0;
}

bool PlaysThisFolder(const Chain& chain) {
    const std::string here = Normal(files::GamePath(game::DataFiles));
    return std::any_of(chain.data.begin(), chain.data.end(), [&](const std::string& d) { return Normal(d) == here; });
}

}  // namespace

namespace {

// The installation Glintbook serves with the chain it was chosen by, read once.
struct Found {
    Installation installation;
    Chain chain;
};

Found FindInstallation() {
    std::vector<Installation> all = Installations();
    std::optional<Found> best;
    std::int64_t bestStart = 0;
    for (Installation& i : all) {
        Chain chain = ReadChain(i.folders);
        if (!PlaysThisFolder(chain)) continue;
        const std::int64_t started = LastStarted(chain.userFolder);
        if (!best || started > bestStart) best = Found{std::move(i), std::move(chain)}, bestStart = started;
    }
    if (best) return std::move(*best);
    Chain chain = ReadChain(all.front().folders);
    return {std::move(all.front()), std::move(chain)};
}

Chain FoundChain() { return FindInstallation().chain; }

}  // namespace

Installation FoundInstallation() { return FindInstallation().installation; }

std::string ConfigFolder() { return FoundChain().userFolder; }
std::string ConfigFile() { return Join(ConfigFolder(), "openmw.cfg"); }

std::string ScreenshotFolder() {
    const std::string userData = FoundChain().userData;
    const std::string screenshots = Join(userData, "screenshots");
    // The engine falls back on user-data itself when it cannot make the folder.
    return files::KindOfPath(screenshots) == files::PathKind::File ? userData : screenshots;
}

std::string ScreenshotFormat() {
    const auto text = files::TryReadFile(Join(ConfigFolder(), "settings.cfg"));
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
        if (e.key == "data" || e.key == "config" || e.key == "user-data") {
            auto path = PathValue(e.value);
            if (!path) return std::nullopt;
            if (e.key == "data") list.data.push_back(std::move(*path));
            else if (e.key == "config") list.config.push_back(std::move(*path));
            else list.userData = std::move(*path);
        } else if (e.key == "content") {
            list.content.emplace_back(e.value);
        } else if (e.key == "replace") {
            list.replace.emplace_back(e.value);
        }
    }
    return list;
}

namespace {

// A path of openmw.cfg as the engine takes it: a token at its start stands
// for that folder (an unknown one for nothing), a relative path is relative
// to the folder of the file that names it.
std::string Resolve(const std::string& value, const std::string& cfgFolder, const Folders& folders) {
    if (value.starts_with('?')) {
        const auto end = value.find('?', 1);
        if (end == std::string::npos) return "";
        const std::string token = value.substr(0, end + 1), rest = value.substr(end + 1);
        const std::string base = token == "?local?"        ? folders.local
                                 : token == "?global?"     ? folders.global
                                 : token == "?userconfig?" ? folders.userConfig
                                 : token == "?userdata?"   ? folders.userData
                                                           : "";
        return base.empty() || rest.empty() ? base : Join(base, rest);
    }
    const bool absolute = value.starts_with('/') || (kThisSystem == System::Windows && value.size() > 1 && value[1] == ':') ||
                          value.starts_with("\\\\");
    if (absolute || value.empty()) return value;
    // "a/b/../c" as "a/c"; through u8 strings, as the names are UTF-8.
    const std::string joined = Join(cfgFolder, value);
    const std::u8string normal = fs::path(std::u8string(joined.begin(), joined.end())).lexically_normal().u8string();
    return std::string(normal.begin(), normal.end());
}

bool Replaces(const LoadList& list, std::string_view what) {
    return std::any_of(list.replace.begin(), list.replace.end(), [&](const std::string& r) { return r == what; });
}

bool HoldsExpansion(const std::vector<std::string>& content) {
    return std::any_of(content.begin(), content.end(),
                       [](const std::string& c) { return SameName(c, game::ExpansionMaster); });
}

}  // namespace

Chain ReadChain(const Folders& folders) {
    Chain chain;
    struct Read {
        std::string folder;
        LoadList list;
    };
    std::vector<Read> read;
    // One folder's openmw.cfg; nothing when there is none or it is damaged.
    const auto load = [&](const std::string& folder) -> std::optional<LoadList> {
        if (folder.empty()) return std::nullopt;
        const std::string file = Join(folder, "openmw.cfg");
        const auto text = files::TryReadFile(file);
        if (!text) return std::nullopt;
        auto list = ParseConfig(*text);
        if (!list && chain.damaged.empty()) chain.damaged = file;
        return list;
    };
    std::string root = folders.local;
    std::optional<LoadList> first = load(root);
    if (!first) root = folders.global, first = load(root);
    std::vector<std::string> active;  // the folders of the chain, as the engine counts them
    if (first && !first->config.empty()) {
        active.push_back(root);
        read.push_back({root, *first});
        std::vector<std::string> pending;  // a stack: the first named is read first, and what it names before the next
        const auto name = [&](const Read& r) {
            for (auto it = r.list.config.rbegin(); it != r.list.config.rend(); ++it)
                pending.push_back(Resolve(*it, r.folder, folders));
        };
        name(read.back());
        std::vector<std::string> seen{root};
        while (!pending.empty()) {
            const std::string folder = pending.back();
            pending.pop_back();
            if (folder.empty() || std::find(seen.begin(), seen.end(), folder) != seen.end()) continue;
            seen.push_back(folder);
            auto list = load(folder);
            if (list && Replaces(*list, "config") && read.size() > 1) read.resize(1), active.resize(1);
            active.push_back(folder);
            if (list) {
                read.push_back({folder, std::move(*list)});
                name(read.back());
            }
        }
    } else {
        // Before 0.48 (no config= lines), or no file found above the user's:
        // the user's folder after the global file.
        if (first) read.push_back({root, *first});
        active.push_back(folders.userConfig);
        if (auto user = load(folders.userConfig)) read.push_back({folders.userConfig, std::move(*user)});
    }
    chain.userFolder = active.back();
    chain.userData = folders.userData;
    for (const Read& r : read) {
        chain.files.push_back(Join(r.folder, "openmw.cfg"));
        if (Replaces(r.list, "data")) chain.data.clear();
        if (Replaces(r.list, "content")) chain.content.clear();
        for (const std::string& d : r.list.data)
            if (std::string path = Resolve(d, r.folder, folders); !path.empty()) chain.data.push_back(std::move(path));
        chain.content.insert(chain.content.end(), r.list.content.begin(), r.list.content.end());
        if (r.list.userData)
            if (std::string path = Resolve(*r.list.userData, r.folder, folders); !path.empty()) chain.userData = path;
    }
    return chain;
}

ConfigState ConfigForThisFolder() {
    const Chain chain = FoundChain();
    if (files::KindOfPath(Join(chain.userFolder, "openmw.cfg")) != files::PathKind::File) return ConfigState::Missing;
    if (!chain.damaged.empty()) return ConfigState::Damaged;
    return PlaysThisFolder(chain) ? ConfigState::ThisFolder : ConfigState::OtherFolder;
}

std::string LoadListProblem(ConfigState state) {
    switch (state) {
    case ConfigState::Missing: return "OpenMW's load list " + ConfigFile() + " cannot be found";
    case ConfigState::Damaged: {
        const std::string damaged = FoundChain().damaged;
        return "OpenMW's load list " + (damaged.empty() ? ConfigFile() : damaged) +
               " is damaged (a line that is not key=value, or a quote not closed)";
    }
    case ConfigState::OtherFolder: return "OpenMW's load list " + ConfigFile() + " does not name this folder's Data Files";
    case ConfigState::ThisFolder: break;
    }
    return {};
}

bool ExpansionLoaded() { return HoldsExpansion(FoundChain().content); }

bool PluginLoaded() {
    const Chain chain = FoundChain();
    const char* wanted = game::WantedPlugin(HoldsExpansion(chain.content));
    return std::any_of(chain.content.begin(), chain.content.end(), [&](const std::string& c) { return SameName(c, wanted); });
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
    // The expansion may be loaded by a file earlier in the chain.
    const bool expansion = HoldsExpansion(list->content) || ExpansionLoaded();
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

std::vector<std::string> StartCommand() {
    if (FoundInstallation().flatpak) {
        const std::string flatpak = processes::FindProgram("flatpak");
        if (flatpak.empty()) return {};
        return {flatpak, "run", FlatpakId};
    }
    const std::string program = FindProgram();
    return program.empty() ? std::vector<std::string>{} : std::vector<std::string>{program};
}

}  // namespace glintbook::openmw
