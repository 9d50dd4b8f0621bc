// Glintbook for Windows: started in the game's folder, takes no arguments.
#include "app/win32/frmMain.h"
#include "session/leftovers.h"

#include <commctrl.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    INITCOMMONCONTROLSEX controls{sizeof controls, ICC_STANDARD_CLASSES | ICC_WIN95_CLASSES};
    ::InitCommonControlsEx(&controls);
    glintbook::RemoveLeftoverTemporaries();  // of writes a crash cut short
    glintbook::frmMain form;
    if (form.logic.ended()) return *form.logic.exitStatus();  // its load handler failed
    form.show();
    // The dialog manager sees every message first: Tab, Enter, Esc and the
    // arrows work as in any dialog.
    MSG message;
    while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (::IsDialogMessageW(form.window(), &message)) continue;
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
    return int(message.wParam);
}
