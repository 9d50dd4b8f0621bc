#pragma once
// The window's handlers and the program's ways out, without a toolkit. The
// Qt window and the Win32 window each implement FormView and pass their
// controls' events to a MainForm, so both behave alike.
#include "session/monitor.h"
#include "settings/choices.h"

#include <exception>
#include <functional>
#include <optional>
#include <string>

namespace glintbook {

class Failure;

enum class MessageIcon { None, Stop };

// Shows a modal message box with one OK button; returns when it has been
// dismissed. The windows take one, so that tests can answer the boxes.
using ShowBox = std::function<void(const std::string& text, const std::string& caption, MessageIcon icon)>;

// What the handlers need of the window.
class FormView {
public:
    virtual ~FormView() = default;
    // The album, resolution and loop controls as they are set now.
    virtual Choices choices() const = 0;
    virtual std::string indexText() const = 0;
    virtual void setIndexText(const std::string& text) = 0;
    virtual int spinValue() const = 0;
    // Moves the scroll bar without running spnIndex_Change: the handlers run
    // it themselves where a change must.
    virtual void setSpinValue(int value) = 0;
    // A modal box with one OK button; returns when it has been dismissed.
    virtual void showMessage(const std::string& text, const std::string& caption, MessageIcon icon) = 0;
    virtual void stopTimer() = 0;
    // Hides the window and ends the program with `status`.
    virtual void unload(int status) = 0;
};

// Whatever a handler let through, as the failure its box shows: a Failure
// as it is, anything else an internal error.
Failure UnhandledFailure(const std::exception_ptr& error);

class MainForm {
public:
    explicit MainForm(FormView& view) : view_(view) {}

    // Event handlers; the windows run each through dispatch().
    void Form_Load();
    void cmdStart_Click();
    void cmdClear_Click();
    void cmdSetIndex_Click();
    void cmdExit_Click();
    void optAlbum_Click(int album);  // optAlbum1_Click .. optAlbum4_Click
    void spnIndex_Change();
    void Timer1_Timer();

    // Runs a handler as the event loop does: an unhandled failure shows its
    // box and ends the program; a routine that ends the program unloads the
    // window. A handler called from inside another is part of it: its
    // failure ends the outer one too. Nothing runs once the program has ended.
    void dispatch(const std::function<void()>& handler);
    // What dispatch does with what a handler let through, for a window
    // procedure that caught it where it must go no further (the system's
    // frames lie between it and the handler that sent the message).
    void settle(const std::exception_ptr& error);

    bool GameRunning() const { return session_.gameRunning; }
    bool ended() const { return exitStatus_.has_value(); }
    std::optional<int> exitStatus() const { return exitStatus_; }

    // Where the monitor reads the process list; the system's when empty.
    ProcessSource processSource;

private:
    void refreshIndex(int album);
    bool warnAboutFolder();
    void message(const std::string& text, const std::string& caption, MessageIcon icon);
    void fail(const Failure& failure);
    void unload(int status);

    FormView& view_;
    Session session_;
    bool halted_ = false;  // a failure or the critical stop is under way
    int depth_ = 0;        // handlers running, one inside another
    bool inBox_ = false;   // a handler's modal box is open
    std::optional<int> exitStatus_;
};

}  // namespace glintbook
