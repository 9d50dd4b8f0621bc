#include "app/main_form.h"

#include "app/index_text.h"
#include "platform/failure.h"
#include "platform/game_folder.h"
#include "session/clear_album.h"
#include "session/launch.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"

#include <new>
#include <stdexcept>
#include <utility>

namespace glintbook {

namespace {
// Unwinds a handler whose program ended while one of its boxes was open.
struct Stopped {};
}  // namespace

void MainForm::dispatch(const std::function<void()>& handler) {
    if (ended() || halted_) return;
    // Called from inside a handler, not by the event loop under an open box:
    // it is part of that handler and fails with it.
    if (depth_ > 0 && !inBox_) {
        handler();
        return;
    }
    const bool underBox = inBox_;
    inBox_ = false;
    ++depth_;
    try {
        handler();
    } catch (...) {
        settle(std::current_exception());
    }
    --depth_;
    inBox_ = underBox;
}

void MainForm::settle(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const ProgramEnd& end) {
        unload(end.status);
    } catch (const Stopped&) {
    } catch (...) {
        fail(UnhandledFailure(std::current_exception()));
    }
}

Failure UnhandledFailure(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const Failure& failure) {
        return failure;
    } catch (const std::bad_alloc&) {
        return Failure(ErrOutOfMemory, "Out of memory");
    } catch (const std::exception& e) {
        return Failure(ErrInternal, std::string("Internal error: ") + e.what());
    } catch (...) {
        return Failure(ErrInternal, "Internal error");
    }
}

void MainForm::message(const std::string& text, const std::string& caption, MessageIcon icon) {
    // The box runs an event loop of its own, in which ticks go on.
    inBox_ = true;
    view_.showMessage(text, caption, icon);
    inBox_ = false;
    if (ended() || halted_) throw Stopped{};
}

void MainForm::fail(const Failure& failure) {
    if (ended()) return;
    // Stop everything before the box opens, so that no tick or click runs
    // between the failure and the end.
    halted_ = true;
    view_.stopTimer();
    view_.showMessage(FailureMessage(failure), "Glintbook", MessageIcon::Stop);
    unload(1);
}

void MainForm::unload(int status) {
    if (ended()) return;
    exitStatus_ = status;
    view_.stopTimer();
    view_.unload(status);
}

// --- Index display ---------------------------------------------------------

void MainForm::refreshIndex(int album) {
    const int n = ReadSettingInt(section::Own, AlbumIndexKey(album));
    view_.setIndexText(DecimalText(n));
    const long long v = AlbumCapacity - WholePart(TextValue(view_.indexText()));
    if (v >= 0 && v <= AlbumCapacity) {
        // Setting the value it already has changes nothing and runs nothing.
        if (v != view_.spinValue()) {
            view_.setSpinValue(int(v));
            spnIndex_Change();
        }
    } else {
        // A stored index outside 0..25 (edited by hand, or a negative one a
        // session left) is shown as it is; the scroll bar rests at its
        // nearest end without rewriting the box, and the arrows step from
        // there.
        view_.setSpinValue(v < 0 ? 0 : AlbumCapacity);
    }
}

void MainForm::Form_Load() {
    refreshIndex(1);
    warnAboutFolder();
}

// A folder where the game and Glintbook would see different files is told
// at load, and again at Start, which it stops.
bool MainForm::warnAboutFolder() {
    const auto problem = files::GameFolderProblem();
    if (problem) message(*problem, "Glintbook", MessageIcon::Stop);
    return problem.has_value();
}

void MainForm::optAlbum_Click(int album) { refreshIndex(album); }

void MainForm::spnIndex_Change() { view_.setIndexText(DecimalText(AlbumCapacity - view_.spinValue())); }

void MainForm::cmdSetIndex_Click() {
    const int album = view_.choices().album;
    if (album == 0) return;
    WriteSetting(section::Own, AlbumIndexKey(album), view_.indexText());
    const double n = TextValue(view_.indexText());
    WriteSetting(section::General, key::ScreenShotIndex, DecimalText(WholePart(n + AlbumOffset(album))));
}

// --- Clearing, exit ----------------------------------------------------------

void MainForm::cmdClear_Click() {
    const int album = view_.choices().album;
    if (album == 0) return;
    ClearAlbum(album);
    optAlbum_Click(album);
}

void MainForm::cmdExit_Click() {
    // Stores nothing; a running game is left alone.
    throw ProgramEnd{0};
}

// --- Session -------------------------------------------------------------------

void MainForm::cmdStart_Click() {
    if (warnAboutFolder()) return;
    if (const auto text = LaunchGame(view_.choices())) message(*text, "Glintbook", MessageIcon::None);
}

void MainForm::Timer1_Timer() {
    const TickOutcome outcome = MonitorTick(session_, view_.choices(), processSource);
    if (outcome == TickOutcome::Notice) message(std::exchange(session_.notice, {}), "Glintbook", MessageIcon::None);
    if (outcome == TickOutcome::SnapshotFailed) {
        halted_ = true;  // no further ticks while the box is open
        view_.stopTimer();
        view_.showMessage(CriticalErrorText, "Critical Error", MessageIcon::Stop);
        throw ProgramEnd{1};
    }
}

}  // namespace glintbook
