// The Win32 window driven by the messages Windows sends it: its size and
// captions, the state it starts in, Enter and Esc through the dialog manager,
// the options, the scroll bar and Set Index, and the timer.
#include "app/win32/frmMain.h"
#include "platform/instance.h"
#include "platform/windows_text.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace glintbook::test {
namespace {

struct Shown {
    std::string text, caption;
    MessageIcon icon;
};

std::string Text(HWND hwnd) {
    char text[256] = {};
    ::GetWindowTextA(hwnd, text, sizeof text);
    return text;
}

// The window with recorded boxes and end, shown, and the program's message
// loop for the messages waiting.
struct Window {
    std::vector<Shown> boxes;
    std::optional<int> endStatus;
    frmMain form{[this](const std::string& t, const std::string& c, MessageIcon i) { boxes.push_back({t, c, i}); },
                 [this](int status) { endStatus = status; }};

    Window() { form.show(), Pump(); }
    HWND operator[](form::Id id) const { return form.control(id); }
    void Pump() {
        MSG m;
        while (::PeekMessageW(&m, nullptr, 0, 0, PM_REMOVE))
            if (!::IsDialogMessageW(form.window(), &m)) ::DispatchMessageW(&m);
    }
    // A key pressed on `on`, as the keyboard sends it.
    void Key(form::Id on, WPARAM key) {
        ::SendMessageW(form.window(), WM_NEXTDLGCTL, WPARAM(form.control(on)), TRUE);
        ::PostMessageW(::GetFocus(), WM_KEYDOWN, key, 1);
        ::PostMessageW(::GetFocus(), WM_KEYUP, key, 0xC0000001);
        Pump();
    }
    void Click(form::Id id) { ::SendMessageW(form.control(id), BM_CLICK, 0, 0), Pump(); }
    bool Checked(form::Id id) const { return ::SendMessageW(form.control(id), BM_GETCHECK, 0, 0) == BST_CHECKED; }
};

// The state it starts in, its size at 96 dpi, and captions that fit.
TEST(Win32Window, StartsOnAlbumOneAt512WithCaptionsThatFit) {
    GameFolder folder;
    folder.write("Morrowind.ini", "[Glintbook]\r\nAlbum1Index=9\r\n");
    Window w;
    EXPECT_EQ(Text(w.form.window()), "Glintbook");
    EXPECT_TRUE(w.Checked(form::optAlbum1) && w.Checked(form::opt512) && !w.Checked(form::chkTwo));
    EXPECT_EQ(::GetFocus(), w[form::cmdStart]);
    EXPECT_EQ(::GetScrollPos(w[form::spnIndex], SB_CTL), 16);
    w.Key(form::txtIndex, VK_END);
    ::PostMessageW(w[form::txtIndex], WM_CHAR, '5', 1);  // it cannot be typed into
    w.Pump();
    EXPECT_EQ(Text(w[form::txtIndex]), "9");
    RECT client{};
    ::GetClientRect(w.form.window(), &client);
    POINT inFrame{0, 0};
    ::MapWindowPoints(w[form::opt1024], w.form.window(), &inFrame, 1);
    HDC dc = ::GetDC(w.form.window());
    if (::GetDeviceCaps(dc, LOGPIXELSY) == 96) {
        EXPECT_EQ(std::pair(client.right, client.bottom), std::pair(281L, 123L));
        EXPECT_EQ(std::pair(inFrame.x, inFrame.y), std::pair(200L, 104L));  // inside frmRes
    }
    for (int id = 0; id < form::ControlCount; ++id) {
        const std::string text = Text(w[form::Id(id)]);
        ::SelectObject(dc, HFONT(::SendMessageW(w[form::Id(id)], WM_GETFONT, 0, 0)));
        SIZE size{};
        ::GetTextExtentPoint32A(dc, text.c_str(), int(text.size()), &size);
        RECT box{};
        ::GetClientRect(w[form::Id(id)], &box);
        EXPECT_TRUE(size.cx <= box.right && size.cy <= box.bottom) << text;
    }
    ::ReleaseDC(w.form.window(), dc);
}

TEST(Win32Window, EnterPressesStartUnlessOnAnotherButton) {
    GameFolder folder;
    Window w;
    w.Key(form::chkTwo, VK_RETURN);
    w.Key(form::optAlbum2, VK_RETURN);
    ASSERT_EQ(w.boxes.size(), 2u);
    EXPECT_EQ(w.boxes[1].text, "Morrowind.exe cannot be found in this folder.");
    w.Key(form::cmdClear, VK_RETURN);  // Clear, and with no stock texture its failure ends the program
    ASSERT_EQ(w.boxes.size(), 3u);
    EXPECT_EQ(w.boxes[2].caption, "Glintbook");
    EXPECT_TRUE(w.boxes[2].icon == MessageIcon::Stop);
    EXPECT_EQ(w.endStatus, 1);
}

TEST(Win32Window, EscapeAndClosingEndWithoutWriting) {
    GameFolder folder;
    const std::string ini = "[General]\r\nScreen Shot Index=33\r\n[Glintbook]\r\nAlbum1Index=4\r\n";
    folder.write("Morrowind.ini", ini);
    Window escaped, closed;
    escaped.Key(form::spnIndex, VK_ESCAPE);
    EXPECT_EQ(escaped.endStatus, 0);
    EXPECT_FALSE(::IsWindowVisible(escaped.form.window()));
    ::SendMessageW(closed.form.window(), WM_CLOSE, 0, 0);
    EXPECT_EQ(closed.endStatus, 0);
    EXPECT_EQ(folder.read("Morrowind.ini"), ini);
}

TEST(Win32Window, OptionsArrowsAndSetIndex) {
    GameFolder folder;
    folder.write("Morrowind.ini", "[Glintbook]\r\nAlbum1Index=9\r\nAlbum2Index=4\r\n");
    Window w;
    w.Click(form::opt1024);
    w.Click(form::optAlbum2);
    w.Click(form::chkTwo);
    EXPECT_TRUE(w.Checked(form::opt1024) && w.Checked(form::optAlbum2) && !w.Checked(form::optAlbum1));
    EXPECT_TRUE((static_cast<const FormView&>(w.form).choices() == Choices{2, 1024, true}));  // what the session is told
    EXPECT_EQ(Text(w[form::txtIndex]), "4");
    for (int i = 0; i < 3; ++i) w.Key(form::spnIndex, VK_UP);
    EXPECT_EQ(Text(w[form::txtIndex]), "7");
    w.Click(form::cmdSetIndex);
    EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotIndex), "32");
    EXPECT_EQ(ReadSettingText(section::Own, "Album2Index"), "7");
}

TEST(Win32Window, TheTimerTicksOnceASecond) {
    GameFolder folder;
    Window w;
    int snapshots = 0;
    w.form.logic.processSource = [&snapshots] {
        ++snapshots;
        return std::optional<std::vector<std::string>>();
    };
    const auto start = std::chrono::steady_clock::now();
    while (!w.endStatus && std::chrono::steady_clock::now() - start < std::chrono::seconds(3)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        w.Pump();
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    EXPECT_EQ(snapshots, 1);
    ASSERT_EQ(w.boxes.size(), 1u);
    EXPECT_EQ(w.boxes[0].caption, "Critical Error");
    EXPECT_EQ(w.endStatus, 1);
}

// The program, installed in the folder, started a second time there: it
// brings the first one's window back and ends, leaving its writes alone.
TEST(Win32Window, ASecondGlintbookInTheFolderCallsTheFirstForwardAndEnds) {
    GameFolder folder;
    Window first;
    instance::FolderClaim claim;
    ASSERT_EQ(claim.state(), instance::FolderClaim::State::Held);
    claim.Publish(first.form.window());
    ::ShowWindow(first.form.window(), SW_MINIMIZE);
    first.Pump();
    ASSERT_TRUE(::IsIconic(first.form.window()));
    const std::string writing = ".Morrowind.ini.tmp-a1B2c3";  // a write of the first one, under way
    folder.write(writing, "[General]\r\n");
    std::filesystem::copy_file(GLINTBOOK_PATH, folder.file("glintbook.exe"));
    std::wstring program = windows::Widen(folder.file("glintbook.exe")), line = L"\"" + program + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION second{};
    ASSERT_TRUE(::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                                 &second));
    // Its call is a posted message: the window must take messages meanwhile.
    while (::MsgWaitForMultipleObjects(1, &second.hProcess, FALSE, 20000, QS_ALLINPUT) == WAIT_OBJECT_0 + 1) first.Pump();
    DWORD status = 1;
    ::GetExitCodeProcess(second.hProcess, &status);
    ::CloseHandle(second.hThread), ::CloseHandle(second.hProcess);
    EXPECT_EQ(status, 0u);
    first.Pump();
    EXPECT_TRUE(folder.exists(writing));
    EXPECT_FALSE(::IsIconic(first.form.window()));
}

// Moved to a monitor of twice the scale, the window lays its controls out
// again at that scale, in a larger font, in the frame Windows proposes.
TEST(Win32Window, LaysItselfOutAgainOnAMonitorOfAnotherScale) {
    GameFolder folder;
    Window w;
    HDC dc = ::GetDC(w.form.window());
    const int dpi = ::GetDeviceCaps(dc, LOGPIXELSY) * 2;
    ::ReleaseDC(w.form.window(), dc);
    const auto height = [&w] {
        LOGFONTW font{};
        ::GetObjectW(HFONT(::SendMessageW(w[form::cmdStart], WM_GETFONT, 0, 0)), sizeof font, &font);
        return std::abs(font.lfHeight);
    };
    const long before = height();
    RECT frame{10, 20, 900, 600};
    ::SendMessageW(w.form.window(), WM_DPICHANGED, MAKEWPARAM(dpi, dpi), reinterpret_cast<LPARAM>(&frame));
    const form::Control& start = form::Controls[form::cmdStart];
    RECT button{}, window{};
    ::GetWindowRect(w[form::cmdStart], &button);
    ::GetWindowRect(w.form.window(), &window);
    EXPECT_EQ(std::pair(button.right - button.left, button.bottom - button.top),
              std::pair(long(form::Pixels(start.width, dpi)), long(form::Pixels(start.height, dpi))));
    EXPECT_GT(height(), before * 3 / 2);
    EXPECT_EQ(std::pair(window.right - window.left, window.bottom - window.top), std::pair(890L, 580L));
}

}  // namespace
}  // namespace glintbook::test
