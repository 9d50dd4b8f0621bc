#include "app/win32/frmMain.h"

#include "platform/instance.h"
#include "platform/windows_text.h"
#include "settings/catalogue.h"

#include <algorithm>
#include <commctrl.h>
#include <exception>
#include <stdexcept>
#include <utility>

namespace glintbook {

namespace {

using windows::Narrow;
using windows::Widen;

constexpr wchar_t ClassName[] = L"GlintbookForm";
constexpr UINT_PTR Timer1 = 1;
constexpr int FirstId = 100;  // control ids follow the table; 1 and 2 are IDOK and IDCANCEL
constexpr int IconId = 1;     // in glintbook.rc
constexpr int PageStep = 5;

struct Made {
    const wchar_t* windowClass;
    DWORD style;
    DWORD exStyle;
};

// Each control starts a group of its own, but for the album options after
// the first; the tab stops are the controls that take the focus.
Made StyleOf(const form::Control& c, int id) {
    const DWORD child = WS_CHILD | WS_VISIBLE;
    switch (c.kind) {
    case form::Kind::CommandButton: {
        const DWORD look = id == form::cmdStart ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON;
        return {WC_BUTTONW, child | WS_GROUP | WS_TABSTOP | look, 0};
    }
    case form::Kind::CheckBox: return {WC_BUTTONW, child | WS_GROUP | WS_TABSTOP | BS_AUTOCHECKBOX, 0};
    case form::Kind::OptionButton: {
        const bool first = id == form::optAlbum1 || id == form::opt512;
        return {WC_BUTTONW, child | BS_AUTORADIOBUTTON | (first ? WS_GROUP | WS_TABSTOP : 0), 0};
    }
    case form::Kind::TextBox:
        return {WC_EDITW, child | WS_GROUP | WS_TABSTOP | ES_READONLY | ES_LEFT | ES_AUTOHSCROLL, WS_EX_CLIENTEDGE};
    case form::Kind::Label: return {WC_STATICW, child | WS_GROUP | SS_LEFT | SS_NOPREFIX, 0};
    case form::Kind::ScrollBar: return {WC_SCROLLBARW, child | WS_GROUP | WS_TABSTOP | SBS_VERT, 0};
    case form::Kind::Frame:
        // Borderless and captionless: it only holds the resolution options,
        // which the dialog manager reaches through WS_EX_CONTROLPARENT.
        return {WC_STATICW, child | WS_GROUP, WS_EX_CONTROLPARENT};
    }
    return {WC_STATICW, child, 0};
}

int ScreenDpi() {
    HDC screen = ::GetDC(nullptr);
    const int dpi = ::GetDeviceCaps(screen, LOGPIXELSY);
    ::ReleaseDC(nullptr, screen);
    return dpi > 0 ? dpi : 96;
}

// Whether every caption fits its control in `font`: a push button's with
// room for its edges, an option's or check box's beside its mark, a label's
// as it is.
bool Fits(HFONT font, const std::array<HWND, form::ControlCount>& controls, int dpi) {
    HDC dc = ::GetDC(nullptr);
    HGDIOBJ previous = ::SelectObject(dc, font);
    TEXTMETRICW metrics{};
    ::GetTextMetricsW(dc, &metrics);
    const int mark = ::GetSystemMetrics(SM_CXMENUCHECK) + ::MulDiv(6, dpi, 96);
    bool fits = true;
    for (int id = 0; id < form::ControlCount && fits; ++id) {
        const form::Control& c = form::Controls[size_t(id)];
        if (!*c.caption) continue;
        const std::wstring text = Widen(c.caption);
        SIZE size{};
        ::GetTextExtentPoint32W(dc, text.c_str(), int(text.size()), &size);
        RECT box{};
        ::GetClientRect(controls[size_t(id)], &box);
        const int pad = c.kind == form::Kind::CommandButton ? ::MulDiv(8, dpi, 96)
                        : c.kind == form::Kind::Label       ? 0
                                                            : mark;
        fits = size.cx + pad <= box.right && metrics.tmHeight <= box.bottom;
    }
    ::SelectObject(dc, previous);
    ::ReleaseDC(nullptr, dc);
    return fits;
}

// The classic dialog font at 8 points, the size the layout was drawn for;
// where a caption would not fit, a little smaller.
HFONT DialogFont(const std::array<HWND, form::ControlCount>& controls, int dpi) {
    for (int tenths = 80;; tenths -= 5) {
        HFONT font = ::CreateFontW(-::MulDiv(tenths, dpi, 720), 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE,
                                   DEFAULT_CHARSET, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY,
                                   DEFAULT_PITCH | FF_DONTCARE, L"MS Shell Dlg 2");
        if (tenths <= 60 || Fits(font, controls, dpi)) return font;
        ::DeleteObject(font);
    }
}

void RegisterFormClass(HINSTANCE instance, WNDPROC procedure) {
    WNDCLASSEXW wc{};
    wc.cbSize = sizeof wc;
    if (::GetClassInfoExW(instance, ClassName, &wc)) return;
    wc = WNDCLASSEXW{};
    wc.cbSize = sizeof wc;
    wc.lpfnWndProc = procedure;
    wc.cbWndExtra = DLGWINDOWEXTRA;  // the dialog manager's own data
    wc.hInstance = instance;
    wc.hIcon = ::LoadIconW(instance, MAKEINTRESOURCEW(IconId));
    wc.hIconSm = static_cast<HICON>(::LoadImageW(instance, MAKEINTRESOURCEW(IconId), IMAGE_ICON,
                                                 ::GetSystemMetrics(SM_CXSMICON), ::GetSystemMetrics(SM_CYSMICON), 0));
    wc.hCursor = ::LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));  // IDC_ARROW
    wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_3DFACE + 1);
    wc.lpszClassName = ClassName;
    ::RegisterClassExW(&wc);
}

}  // namespace

frmMain::frmMain(ShowBox showBox, std::function<void(int)> endProgram)
    : logic(*this),
      showBox_(std::move(showBox)),
      endProgram_(endProgram ? std::move(endProgram) : [](int status) { ::PostQuitMessage(status); }) {
    HINSTANCE instance = ::GetModuleHandleW(nullptr);
    RegisterFormClass(instance, &Procedure);
    const int dpi = ScreenDpi();
    const auto px = [dpi](int twips) { return form::Pixels(twips, dpi); };

    // Fixed single border with a title, the system menu and the minimise
    // button; not resizable.
    const DWORD style = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX | WS_CLIPCHILDREN;
    const DWORD exStyle = WS_EX_CONTROLPARENT | WS_EX_APPWINDOW;
    RECT frame{0, 0, px(form::ClientWidth), px(form::ClientHeight)};
    ::AdjustWindowRectEx(&frame, style, FALSE, exStyle);
    ::CreateWindowExW(exStyle, ClassName, Widen(form::Title).c_str(), style, CW_USEDEFAULT, CW_USEDEFAULT,
                      frame.right - frame.left, frame.bottom - frame.top, nullptr, nullptr, instance, this);
    if (!hwnd_) throw std::runtime_error("the window cannot be created");

    // Created in tab order, which is the order of the table.
    for (int id = 0; id < form::ControlCount; ++id) {
        const form::Control& c = form::Controls[size_t(id)];
        const Made made = StyleOf(c, id);
        HWND parent = c.inFrame ? controls_[form::frmRes] : hwnd_;
        controls_[size_t(id)] = ::CreateWindowExW(made.exStyle, made.windowClass, Widen(c.caption).c_str(), made.style,
                                                  0, 0, 0, 0, parent,
                                                  reinterpret_cast<HMENU>(INT_PTR(FirstId + id)), instance, nullptr);
    }
    layOut(dpi);

    // One tooltip control for all; long tips wrap.
    HWND tips = ::CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP | TTS_NOPREFIX,
                                  CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, hwnd_, nullptr, instance,
                                  nullptr);
    ::SendMessageW(tips, TTM_SETMAXTIPWIDTH, 0, px(5400));
    for (int id = 0; id < form::ControlCount; ++id) {
        const form::Control& c = form::Controls[size_t(id)];
        if (!*c.tooltip) continue;
        std::wstring text = Widen(c.tooltip);
        TTTOOLINFOW tool{};
        tool.cbSize = TTTOOLINFOW_V2_SIZE;  // understood by every version of the common controls
        tool.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
        tool.hwnd = ::GetParent(controls_[size_t(id)]);
        tool.uId = reinterpret_cast<UINT_PTR>(controls_[size_t(id)]);
        tool.lpszText = text.data();
        ::SendMessageW(tips, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
    }

    SCROLLINFO range{sizeof range, SIF_RANGE | SIF_POS, 0, AlbumCapacity, 0, 0, 0};
    ::SetScrollInfo(control(form::spnIndex), SB_CTL, &range, FALSE);
    ::SendMessageW(control(form::optAlbum1), BM_SETCHECK, BST_CHECKED, 0);
    ::SendMessageW(control(form::opt512), BM_SETCHECK, BST_CHECKED, 0);
    ::SendMessageW(hwnd_, DM_SETDEFID, FirstId + form::cmdStart, 0);

    // The load handler fills the index box before the window is first shown.
    logic.dispatch([this] { logic.Form_Load(); });
    if (!logic.ended()) ::SetTimer(hwnd_, Timer1, form::TimerInterval, nullptr);
}

// The controls and their font at `dpi`: at creation, and again when the
// window moves to a monitor of another scale.
void frmMain::layOut(int dpi) {
    const auto px = [dpi](int twips) { return form::Pixels(twips, dpi); };
    for (int id = 0; id < form::ControlCount; ++id) {
        const form::Control& c = form::Controls[size_t(id)];
        ::SetWindowPos(controls_[size_t(id)], nullptr, px(c.left), px(c.top), px(c.width), px(c.height),
                       SWP_NOZORDER | SWP_NOACTIVATE);
    }
    HFONT previous = std::exchange(font_, DialogFont(controls_, dpi));
    for (HWND control : controls_) ::SendMessageW(control, WM_SETFONT, WPARAM(font_), TRUE);
    if (previous) ::DeleteObject(previous);
}

frmMain::~frmMain() {
    ::SetWindowLongPtrW(hwnd_, GWLP_USERDATA, 0);
    ::DestroyWindow(hwnd_);
    if (font_) ::DeleteObject(font_);
}

void frmMain::show() {
    RECT work{}, frame{};
    ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    ::GetWindowRect(hwnd_, &frame);
    const int w = frame.right - frame.left, h = frame.bottom - frame.top;
    const int left = work.left + (work.right - work.left - w) / 2, top = work.top + (work.bottom - work.top - h) / 2;
    ::SetWindowPos(hwnd_, nullptr, left, top, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    ::ShowWindow(hwnd_, SW_SHOWNORMAL);
    ::SetForegroundWindow(hwnd_);
    ::SendMessageW(hwnd_, WM_NEXTDLGCTL, WPARAM(control(form::cmdStart)), TRUE);
}

LRESULT CALLBACK frmMain::Procedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        auto* created = static_cast<frmMain*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
        created->hwnd_ = hwnd;
        ::SetWindowLongPtrW(hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(created));
    }
    auto* self = reinterpret_cast<frmMain*>(::GetWindowLongPtrW(hwnd, GWLP_USERDATA));
    if (self) {
        // Nothing may leave a window procedure, not even the failure of a
        // handler run inside another through a sent message: it cannot
        // cross the system's frames back to the outer one, so it ends the
        // program here.
        try {
            if (const std::optional<LRESULT> result = self->handle(message, wParam, lParam)) return *result;
        } catch (...) {
            self->logic.settle(std::current_exception());
            return 0;
        }
    }
    return ::DefDlgProcW(hwnd, message, wParam, lParam);
}

std::optional<LRESULT> frmMain::handle(UINT message, WPARAM wParam, LPARAM lParam) {
    // A later Glintbook started in this folder asks for this window and ends.
    static const UINT comeForward = ::RegisterWindowMessageW(instance::kComeForward);
    if (message == comeForward) {
        if (::IsIconic(hwnd_)) ::ShowWindow(hwnd_, SW_RESTORE);
        ::SetForegroundWindow(hwnd_);
        return 0;
    }
    switch (message) {
    case WM_COMMAND:
        // Esc anywhere comes as IDCANCEL: it presses Exit Program.
        if (LOWORD(wParam) == IDCANCEL) {
            clicked(form::cmdExit);
            return 0;
        }
        if (HIWORD(wParam) == BN_CLICKED && LOWORD(wParam) >= FirstId) {
            clicked(LOWORD(wParam) - FirstId);
            return 0;
        }
        break;
    case WM_VSCROLL:
        if (reinterpret_cast<HWND>(lParam) == control(form::spnIndex)) {
            scrolled(LOWORD(wParam));
            return 0;
        }
        break;
    case WM_TIMER:
        if (wParam == Timer1) {
            logic.dispatch([this] { logic.Timer1_Timer(); });
            return 0;
        }
        break;
    case WM_DPICHANGED: {
        // Moved to a monitor of another scale: Windows proposes the frame.
        const RECT* frame = reinterpret_cast<const RECT*>(lParam);
        layOut(HIWORD(wParam));
        ::SetWindowPos(hwnd_, nullptr, frame->left, frame->top, frame->right - frame->left, frame->bottom - frame->top,
                       SWP_NOZORDER | SWP_NOACTIVATE);
        return 0;
    }
    case WM_CLOSE:
        // Closing the window by the system's means is Exit Program.
        if (!logic.ended()) logic.dispatch([this] { logic.cmdExit_Click(); });
        return 0;
    }
    return std::nullopt;
}

void frmMain::clicked(int id) {
    switch (id) {
    case form::cmdStart: logic.dispatch([this] { logic.cmdStart_Click(); }); break;
    case form::cmdClear: logic.dispatch([this] { logic.cmdClear_Click(); }); break;
    case form::cmdSetIndex: logic.dispatch([this] { logic.cmdSetIndex_Click(); }); break;
    case form::cmdExit: logic.dispatch([this] { logic.cmdExit_Click(); }); break;
    default:
        // An option's click runs only when it becomes set, not on a click of
        // the option that already is.
        if (form::IsAlbumOption(id) && checked(form::Id(id))) {
            const int album = id - form::optAlbum1 + 1;
            if (album == album_) return;
            album_ = album;
            logic.dispatch([this, album] { logic.optAlbum_Click(album); });
        }
    }
}

void frmMain::scrolled(WORD request) {
    const int now = spinValue();
    int next = now;
    switch (request) {
    case SB_LINEUP: next = now - 1; break;
    case SB_LINEDOWN: next = now + 1; break;
    case SB_PAGEUP: next = now - PageStep; break;
    case SB_PAGEDOWN: next = now + PageStep; break;
    case SB_TOP: next = 0; break;
    case SB_BOTTOM: next = AlbumCapacity; break;
    case SB_THUMBTRACK:
    case SB_THUMBPOSITION: {
        SCROLLINFO info{sizeof info, SIF_TRACKPOS, 0, 0, 0, 0, 0};
        ::GetScrollInfo(control(form::spnIndex), SB_CTL, &info);
        next = info.nTrackPos;
        break;
    }
    default: return;
    }
    next = std::clamp(next, 0, int(AlbumCapacity));
    if (next == now) return;
    setSpinValue(next);
    logic.dispatch([this] { logic.spnIndex_Change(); });
}

bool frmMain::checked(form::Id id) const {
    return ::SendMessageW(control(id), BM_GETCHECK, 0, 0) == BST_CHECKED;
}

Choices frmMain::choices() const {
    return form::ChoicesFrom([this](form::Id id) { return checked(id); });
}

std::string frmMain::indexText() const {
    HWND box = control(form::txtIndex);
    std::wstring text(size_t(::GetWindowTextLengthW(box)) + 1, L'\0');
    text.resize(size_t(::GetWindowTextW(box, text.data(), int(text.size()))));
    return Narrow(text);
}

void frmMain::setIndexText(const std::string& text) { ::SetWindowTextW(control(form::txtIndex), Widen(text).c_str()); }

int frmMain::spinValue() const { return ::GetScrollPos(control(form::spnIndex), SB_CTL); }

// SetScrollPos sends no WM_VSCROLL, so no change handler runs.
void frmMain::setSpinValue(int value) { ::SetScrollPos(control(form::spnIndex), SB_CTL, value, TRUE); }

void frmMain::showMessage(const std::string& text, const std::string& caption, MessageIcon icon) {
    if (showBox_) return showBox_(text, caption, icon);
    ::MessageBoxW(hwnd_, Widen(text).c_str(), Widen(caption).c_str(),
                  MB_OK | (icon == MessageIcon::Stop ? MB_ICONERROR : 0));
}

void frmMain::stopTimer() { ::KillTimer(hwnd_, Timer1); }

void frmMain::unload(int status) {
    ::ShowWindow(hwnd_, SW_HIDE);
    endProgram_(status);
}

}  // namespace glintbook
