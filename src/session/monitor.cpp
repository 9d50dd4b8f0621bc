#include "session/monitor.h"

#include "session/import.h"
#include "platform/files.h"
#include "platform/processes.h"
#include "session/close_session.h"
#include "settings/catalogue.h"
#include "settings/game_files.h"
#include "settings/prepare_session.h"
#include "settings/settings_file.h"

#include <algorithm>

namespace glintbook {

TickOutcome MonitorTick(bool& gameRunning, const Choices& choices, const ProcessSource& source) {
    const std::string base = ReadSettingText(section::General, key::ScreenShotBaseName);
    const long long index = ReadSettingInt(section::General, key::ScreenShotIndex);

    // Tested in every tick; before the game has been seen the answer has no
    // effect, so a screenshot lying there waits for the first tick after.
    if (game::PlainBaseName(base) && files::FileExists(files::GamePath(game::ScreenshotPath(base, index - 1))) && gameRunning) {
        if (ImportScreenshot(choices) == ImportOutcome::AlbumClosed) CloseSession(choices);
    }

    const auto names = source ? source() : processes::ExecutableNames();
    if (!names) return TickOutcome::SnapshotFailed;
    const bool seen = std::find(names->begin(), names->end(), game::ProcessName) != names->end();
    if (seen) {
        if (!gameRunning) {
            PrepareSession(choices);
            gameRunning = true;
        }
    } else if (gameRunning) {
        CloseSession(choices);
    }
    return TickOutcome::Continue;
}

}  // namespace glintbook
