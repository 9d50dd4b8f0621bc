#include "session/shot_source.h"

#include "platform/files.h"
#include "settings/catalogue.h"
#include "settings/mge_xe.h"
#include "settings/open_engine.h"
#include "settings/settings_file.h"

#include <algorithm>
#include <tuple>

namespace glintbook::shots {

namespace {

std::string ArchiveCopy(const std::string& shot, long long serial) {
    return game::ArchiveCopyPath(FileName(shot), serial);
}

// The files in `folder` whose names `mine` takes, oldest first. A writer
// that takes the first free number reuses the numbers Glintbook frees, so a
// low number may be newer than a high one: the time decides, the name only
// between equal times.
std::vector<std::string> Listed(const std::string& folder, const std::function<bool(const std::string&)>& mine) {
    std::vector<files::FileEntry> entries = files::ListFiles(folder);
    std::erase_if(entries, [&](const files::FileEntry& e) { return !mine(e.name); });
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return std::tie(a.changed, a.name) < std::tie(b.changed, b.name); });
    std::vector<std::string> paths;
#ifdef _WIN32
    const char separator = '\\';
#else
    const char separator = '/';
#endif
    for (const auto& e : entries) paths.push_back(folder + separator + e.name);
    return paths;
}

// The game's own: "<base name> <index - 1>.bmp" in the game folder, once the
// game has raised "Screen Shot Index" past it.
Source GameOwn() {
    Source s;
    s.label = "Morrowind";
    s.whole = Whole::WhenNamed;
    s.shots = [] {
        const std::string base = ReadSettingText(section::General, key::ScreenShotBaseName);
        const long long index = ReadSettingInt(section::General, key::ScreenShotIndex);
        const std::string path = files::GamePath(game::ScreenshotPath(base, index - 1));
        if (!game::PlainBaseName(base) || !files::FileExists(path)) return std::vector<std::string>{};
        return std::vector<std::string>{path};
    };
    s.archive = ArchiveCopy;
    return s;
}

Source MgeXe(const mge::Settings& settings) {
    Source s;
    s.label = "MGE XE";
    s.shots = [settings] {
        // Found afresh each time: on Linux the folder may appear in another
        // letter case than written once MGE XE makes it under Wine.
        const auto here = mge::Folder(settings);
        return here ? Listed(*here, [&](const std::string& n) { return mge::IsScreenshotName(settings, n); })
                    : std::vector<std::string>{};
    };
    // Saved into the archive folder, a screenshot is its own copy there.
    if (mge::SavesIntoArchive(settings))
        s.archive = [](const std::string&, long long) { return std::string(); };
    else
        s.archive = ArchiveCopy;
    return s;
}

Source OpenMw() {
    Source s;
    s.label = "OpenMW";
    const std::string format = openmw::ScreenshotFormat(), folder = openmw::ScreenshotFolder();
    s.shots = [format, folder] {
        return Listed(folder, [&](const std::string& n) { return openmw::ScreenshotNumber(n, format).has_value(); });
    };
    s.archive = ArchiveCopy;
    return s;
}

// OpenMW's launcher writes the content= lines from its own profile when the
// player saves there, which drops an entry Glintbook made.
std::string PluginMissingNotice() {
    const char* plugin = game::WantedPlugin(openmw::ExpansionLoaded());
    return std::string("OpenMW was started with a load list without ") + plugin +
           ", so the albums will not be in the game. In OpenMW's launcher, tick " + plugin +
           " in the Data Files list once; Glintbook still takes this session's screenshots.";
}

void NoteEarlier(Source& s) {
    for (const std::string& path : s.shots()) s.earlier.insert(FileName(path));
}

}  // namespace

// std::filesystem on Windows would read a UTF-8 name in the ANSI code page.
std::string FileName(const std::string& path) { return path.substr(path.find_last_of("/\\") + 1); }

Sources SourcesFor(game::Engine engine) {
    Sources out;
    if (engine == game::Engine::Open) {
        const auto state = openmw::ConfigForThisFolder();
        if (state != openmw::ConfigState::ThisFolder) {
            out.notice = "OpenMW is running, but " + openmw::LoadListProblem(state) +
                         ", so its screenshots do not go into this folder's albums.";
            return out;
        }
        out.live.push_back(OpenMw());
        if (!openmw::PluginLoaded()) out.notice = PluginMissingNotice();
    } else {
        // The game's own stay live beside MGE XE's: installed, MGE XE may
        // not be switched on.
        out.live.push_back(GameOwn());
        if (mge::Installed()) {
            const mge::Settings settings = mge::Read();
            if (mge::Folder(settings))
                out.live.push_back(MgeXe(settings));
            else
                out.notice = "MGE XE saves its screenshots into " + mge::FolderAsWritten(settings) +
                             ", which Glintbook cannot find on this system, so they do not go into the albums.";
        }
    }
    for (Source& s : out.live)
        if (s.whole == Whole::WhenSizeHolds) NoteEarlier(s);
    return out;
}

std::string Describe() {
    if (files::FileExists(files::GamePath(game::Executable)) && mge::Installed()) {
        const mge::Settings settings = mge::Read();
        std::string where = mge::FolderAsWritten(settings);
        if (!mge::Folder(settings)) return "MGE XE saves " + std::string(mge::FormatName(settings.format)) +
                                           " screenshots into " + where + ", which Glintbook cannot find on this system.";
        const bool inPlace = mge::SavesIntoArchive(settings);
        return "MGE XE saves " + std::string(mge::FormatName(settings.format)) + " screenshots into " + where +
               (inPlace ? " (the game folder's Screenshots): Glintbook takes each new one into the album and leaves it "
                          "there as its archive copy."
                        : ": Glintbook takes each new one into the album and moves it into Screenshots\\.");
    }
    if (files::FileExists(files::GamePath(game::Executable)))
        return "Morrowind saves its screenshots into the game folder: Glintbook takes each new one into the album "
               "and moves it into Screenshots\\.";
    std::string text = openmw::FoundInstallation().label + " saves " + openmw::ScreenshotFormat() +
                       " screenshots into " + openmw::ScreenshotFolder() +
                       ": Glintbook takes each new one into the album and moves it into Screenshots\\.";
    if (openmw::ConfigForThisFolder() == openmw::ConfigState::ThisFolder && !openmw::PluginLoaded()) {
        const char* plugin = game::WantedPlugin(openmw::ExpansionLoaded());
        text += std::string(" Its load list does not hold ") + plugin + " yet: Start enters it; when you start OpenMW "
                "from its launcher, tick " + plugin + " in the launcher's Data Files list once, as the launcher "
                "writes the list anew from its own.";
    }
    if (openmw::FoundInstallation().flatpak && openmw::FlatpakSeesThisFolder() == false)
        text += " " + openmw::FlatpakReachText() + ".";
    return text;
}

}  // namespace glintbook::shots
