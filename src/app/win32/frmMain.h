#pragma once
// The program's window on Windows: the controls of the shared table made
// with CreateWindowEx and the common controls, in a window of the dialog
// class so that Enter, Esc, Tab and the arrows within an option group behave
// as in every Windows dialog. Events go to the toolkit-free handlers.
#include "app/form_layout.h"
#include "app/main_form.h"

#include <array>
#include <functional>
#include <optional>
#include <windows.h>

namespace glintbook {

class frmMain : public FormView {
public:
    // `showBox` shows the messages (MessageBox when empty); `endProgram` is
    // called once with the exit status when the program ends (by default it
    // posts the quit message that ends the message loop).
    explicit frmMain(ShowBox showBox = nullptr, std::function<void(int)> endProgram = nullptr);
    ~frmMain() override;
    frmMain(const frmMain&) = delete;
    frmMain& operator=(const frmMain&) = delete;

    // Centred on the screen, the focus on cmdStart.
    void show();
    HWND window() const { return hwnd_; }
    HWND control(form::Id id) const { return controls_[size_t(id)]; }

    MainForm logic;

private:
    static LRESULT CALLBACK Procedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
    std::optional<LRESULT> handle(UINT message, WPARAM wParam, LPARAM lParam);
    void layOut(int dpi);
    void clicked(int id);
    void scrolled(WORD request);
    bool checked(form::Id id) const;

    Choices choices() const override;
    std::string indexText() const override;
    void setIndexText(const std::string& text) override;
    int spinValue() const override;
    void setSpinValue(int value) override;
    void showMessage(const std::string& text, const std::string& caption, MessageIcon icon) override;
    void stopTimer() override;
    void unload(int status) override;

    ShowBox showBox_;
    std::function<void(int)> endProgram_;
    HWND hwnd_ = nullptr;
    std::array<HWND, form::ControlCount> controls_{};
    HFONT font_ = nullptr;
    int album_ = 1;  // the album option last set, whose click has run
};

}  // namespace glintbook
