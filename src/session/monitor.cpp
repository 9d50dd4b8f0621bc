#include "session/monitor.h"

#include "imaging/import.h"
#include "platform/files.h"
#include "platform/processes.h"
#include "session/close_session.h"
#include "session/game_contract.h"
#include "settings/catalogue.h"
#include "settings/prepare_session.h"
#include "settings/settings_file.h"

#include <algorithm>

namespace glintbook {

TickOutcome MonitorTick(bool& gameRunning, const Controls& controls, const ProcessSource& source) {
    const std::string base = ReadSettingText(section::General, key::ScreenShotBaseName);
    const long long index = ReadSettingInt(section::General, key::ScreenShotIndex);

    // Tested in every tick; before the game has been seen the answer has no
    // effect, so a screenshot lying there waits for the first tick after.
    if (game::PlainBaseName(base) && files::FileExists(game::ScreenshotPath(base, index - 1)) && gameRunning) {
        if (ImportScreenshot(controls) == ImportOutcome::AlbumClosed) CloseSession(controls);
    }

    const auto names = source ? source() : processes::ExecutableNames();
    if (!names) return TickOutcome::SnapshotFailed;
    const bool seen = std::find(names->begin(), names->end(), game::ProcessName) != names->end();
    if (seen) {
        if (!gameRunning) {
            PrepareSession(controls);
            gameRunning = true;
        }
    } else if (gameRunning) {
        CloseSession(controls);
    }
    return TickOutcome::Continue;
}

}  // namespace glintbook
