// Glintbook for Windows: started in the game's folder, takes no arguments.
#include "app/win32/frmMain.h"
#include "platform/failure.h"
#include "platform/instance.h"
#include "platform/windows_text.h"
#include "session/leftovers.h"

#include <commctrl.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    // What fails outside the window's handlers (the window that cannot be
    // made, memory) shows the failure's box too, instead of ending unseen.
    try {
        INITCOMMONCONTROLSEX controls{sizeof controls, ICC_STANDARD_CLASSES | ICC_WIN95_CLASSES};
        ::InitCommonControlsEx(&controls);
        // One Glintbook per game folder: a later one brings the first forward.
        glintbook::instance::FolderClaim claim;
        if (claim.state() == glintbook::instance::FolderClaim::State::Taken) return claim.CallHolder(), 0;
        if (claim.state() == glintbook::instance::FolderClaim::State::Held)
            glintbook::RemoveLeftoverTemporaries();  // of writes a crash cut short
        glintbook::frmMain form;
        if (form.logic.ended()) return *form.logic.exitStatus();  // its load handler failed
        claim.Publish(form.window());
        form.show();
        // The dialog manager sees every message first: Tab, Enter, Esc and
        // the arrows work as in any dialog.
        MSG message;
        while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
            if (::IsDialogMessageW(form.window(), &message)) continue;
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
        return int(message.wParam);
    } catch (const glintbook::ProgramEnd& end) {
        return end.status;
    } catch (...) {
        const std::string text = glintbook::FailureMessage(glintbook::UnhandledFailure(std::current_exception()));
        ::MessageBoxW(nullptr, glintbook::windows::Widen(text).c_str(), L"Glintbook", MB_OK | MB_ICONERROR);
        return 1;
    }
}
