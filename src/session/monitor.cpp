#include "session/monitor.h"

#include "platform/files.h"
#include "platform/processes.h"
#include "session/close_session.h"
#include "session/import.h"
#include "settings/catalogue.h"
#include "settings/open_engine.h"
#include "settings/prepare_session.h"
#include "settings/settings_file.h"

#include <algorithm>
#include <filesystem>
#include <tuple>

namespace glintbook {

namespace {

namespace fs = std::filesystem;

// The open engine's screenshots now in its folder, oldest first. The engine
// takes the first free number, and Glintbook frees the numbers it takes, so
// a low number may be newer than a higher one: the time decides, the number
// only between equal times.
std::vector<fs::path> EngineShots(const std::string& format) {
    std::vector<std::tuple<fs::file_time_type, long long, fs::path>> shots;
    std::error_code ec;
    for (fs::directory_iterator it(openmw::ScreenshotFolder(), ec), end; !ec && it != end; it.increment(ec)) {
        if (!it->is_regular_file(ec)) continue;
        if (const auto n = openmw::ScreenshotNumber(it->path().filename().string(), format))
            shots.emplace_back(it->last_write_time(ec), *n, it->path());
    }
    std::sort(shots.begin(), shots.end());
    std::vector<fs::path> paths;
    for (auto& shot : shots) paths.push_back(std::move(std::get<2>(shot)));
    return paths;
}

// The engine writes a screenshot in place, not through a rename: a new file
// is taken when its size has not changed since the last tick, or at once
// when the game has gone (`last`).
ImportOutcome ImportEngineShots(Session& session, const Choices& choices, bool last) {
    for (const fs::path& path : EngineShots(session.format)) {
        const std::string name = path.filename().string();
        if (session.earlier.contains(name)) continue;
        const auto size = files::FileSize(path.string()).value_or(0);
        const auto before = session.seen.find(name);
        const bool settled = before != session.seen.end() && before->second == size && size > 0;
        session.seen[name] = size;
        if (!settled && !last) continue;
        session.seen.erase(name);
        if (ImportEngineScreenshot(choices, path.string()) == ImportOutcome::AlbumClosed)
            return ImportOutcome::AlbumClosed;
    }
    return ImportOutcome::Done;
}

void BeginEngineSession(Session& session) {
    session.format = openmw::ScreenshotFormat();
    for (const fs::path& path : EngineShots(session.format)) session.earlier.insert(path.filename().string());
}

bool Seen(const std::vector<std::string>& names, game::Engine engine) {
    return std::any_of(names.begin(), names.end(), [engine](const std::string& n) { return game::EngineOfProcess(n) == engine; });
}

}  // namespace

TickOutcome MonitorTick(Session& session, const Choices& choices, const ProcessSource& source) {
    if (session.engine == game::Engine::Original) {
        const std::string base = ReadSettingText(section::General, key::ScreenShotBaseName);
        const long long index = ReadSettingInt(section::General, key::ScreenShotIndex);
        // Tested in every tick; before the game has been seen the answer has
        // no effect, so a screenshot lying there waits for the first tick after.
        if (game::PlainBaseName(base) && files::FileExists(files::GamePath(game::ScreenshotPath(base, index - 1))) &&
            session.gameRunning) {
            if (ImportScreenshot(choices) == ImportOutcome::AlbumClosed) CloseSession(choices);
        }
    }

    const auto names = source ? source() : processes::ExecutableNames();
    if (!names) return TickOutcome::SnapshotFailed;

    if (session.gameRunning) {
        const bool seen = Seen(*names, session.engine);
        if (session.engine == game::Engine::Open && ImportEngineShots(session, choices, !seen) == ImportOutcome::AlbumClosed)
            CloseSession(choices);
        if (!seen) CloseSession(choices);
        return TickOutcome::Continue;
    }

    if (Seen(*names, game::Engine::Original)) {
        PrepareSession(choices);
        session.gameRunning = true;
    } else if (Seen(*names, game::Engine::Open)) {
        const auto state = openmw::ConfigForThisFolder();
        if (state == openmw::ConfigState::ThisFolder) {
            PrepareSession(choices, game::Engine::Open);
            BeginEngineSession(session);
            session.engine = game::Engine::Open;
            session.gameRunning = true;
        } else if (!session.told) {
            // Said once: the engine plays another folder, or its load list
            // cannot be read; this window's albums get nothing from it.
            session.told = true;
            session.notice = "OpenMW is running, but " + openmw::LoadListProblem(state) +
                             ", so its screenshots do not go into this folder's albums.";
            return TickOutcome::Notice;
        }
    }
    return TickOutcome::Continue;
}

}  // namespace glintbook
