// The window's handlers without a toolkit, on a window that records what it
// is told: the index display and "Set Index", clearing, a failure under
// Start's box, the monitor's critical stop, and the one way out of an
// unhandled failure.
#include "app/main_form.h"
#include "platform/failure.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace glintbook::test {
namespace {

struct Box {
    std::string text, caption;
    MessageIcon icon;
    bool timerRunning;
    bool operator==(const Box&) const = default;
};
std::ostream& operator<<(std::ostream& os, const Box& b) { return os << b.caption << ": " << b.text; }

// A window as the program makes it (loaded, album 1 and 512 chosen) that
// records what the handlers do to it.
struct Window : FormView {
    Choices chosen;
    std::string text;
    int spin = 0;
    std::vector<Box> boxes;
    std::optional<int> unloaded;
    int unloads = 0;
    bool timerRunning = true;
    std::function<void()> duringBox;  // what the event loop runs while a box is open
    std::function<void()> onSetText;  // a fault of the text box
    MainForm form{*this};

    explicit Window(bool load = true) {
        if (load) run(&MainForm::Form_Load);
    }
    Choices choices() const override { return chosen; }
    std::string indexText() const override { return text; }
    void setIndexText(const std::string& t) override {
        if (onSetText) onSetText();
        text = t;
    }
    int spinValue() const override { return spin; }
    void setSpinValue(int v) override { spin = v; }
    void showMessage(const std::string& t, const std::string& caption, MessageIcon icon) override {
        boxes.push_back({t, caption, icon, timerRunning});
        if (auto event = std::exchange(duringBox, nullptr)) event();
    }
    void stopTimer() override { timerRunning = false; }
    void unload(int status) override { unloaded = status, ++unloads; }

    void run(void (MainForm::*handler)()) { form.dispatch([this, handler] { (form.*handler)(); }); }
    void select(int album) {  // 0: no option set, which no click can do
        chosen.album = album;
        if (album) form.dispatch([this, album] { form.optAlbum_Click(album); });
    }
    // The scroll bar's arrows: the upper one lowers its value, which stops at 0 and 25.
    void arrows(int up) {
        for (int i = 0; i < std::abs(up); ++i) {
            const int v = std::clamp(spin + (up > 0 ? -1 : 1), 0, 25);
            if (v != spin) spin = v, form.dispatch([this] { form.spnIndex_Change(); });
        }
    }
};

struct Display {
    const char* name;
    std::string before;  // Morrowind.ini
    int album;
    int arrows;          // up (+) or down (-) presses
    std::string text;
    int spin;
    std::string after = "";  // after "Set Index"; "" when it is not pressed
};
void PrintTo(const Display& c, std::ostream* os) { *os << c.name; }

class IndexDisplay : public ::testing::TestWithParam<Display> {};

// Selecting shows the stored index, the arrows step the display and write
// nothing, "Set Index" writes the album's key and then the counter.
TEST_P(IndexDisplay, ShowsStepsAndStores) {
    const Display& c = GetParam();
    GameFolder folder;
    folder.write("Morrowind.ini", c.before);
    Window w;
    if (c.album != 1) w.select(c.album);
    w.arrows(c.arrows);
    EXPECT_EQ(std::pair(w.text, w.spin), std::pair(c.text, c.spin));
    if (!c.after.empty()) w.run(&MainForm::cmdSetIndex_Click);
    EXPECT_EQ(folder.read("Morrowind.ini"), c.after.empty() ? c.before : c.after);
    EXPECT_EQ(w.boxes, std::vector<Box>{});
}

const std::string G = "[Glintbook]\r\n";

INSTANTIATE_TEST_SUITE_P(Rows, IndexDisplay, ::testing::Values(
    Display{"at_start", G + "Album1Index=7\r\nAlbum2Index=3\r\n", 1, 0, "7", 18},
    Display{"no_key", G, 1, 0, "0", 25},
    Display{"upper_arrow_at_25", G + "Album1Index=25\r\n", 1, 1, "25", 0},
    Display{"lower_arrow_at_0", G + "Album2Index=0\r\n", 2, -1, "0", 25},
    Display{"two_down", G + "Album3Index=9\r\n", 3, -2, "7", 18},
    Display{"above_range_shown_as_it_is", G + "Album1Index=30\r\n", 1, 0, "30", 0},
    Display{"above_range_steps_from_the_end", G + "Album1Index=30\r\n", 1, -1, "24", 1},
    Display{"below_range_steps_from_the_end", G + "Album2Index=-3\r\n", 2, 1, "1", 24},
    Display{"not_a_number", G + "Album3Index=oops\r\n", 3, 0, "0", 25},
    Display{"set_album_three", G, 3, 7, "7", 18, G + "Album3Index=7\r\n[General]\r\nScreen Shot Index=57\r\n"},
    Display{"set_album_four_full", G + "Album4Index=3\r\n", 4, 30, "25", 0,
            G + "Album4Index=25\r\n[General]\r\nScreen Shot Index=100\r\n"},
    Display{"set_album_one_empty", "[General]\r\nScreen Shot Index=12\r\n" + G + "Album1Index=5\r\n", 1, -30, "0", 25,
            "[General]\r\nScreen Shot Index=0\r\n" + G + "Album1Index=0\r\n"},
    Display{"set_below_range_unchanged", G + "Album2Index=-3\r\n", 2, 0, "-3", 25,
            G + "Album2Index=-3\r\n[General]\r\nScreen Shot Index=22\r\n"},
    Display{"set_without_album_writes_nothing", G + "Album1Index=4\r\n", 0, 0, "4", 21, G + "Album1Index=4\r\n"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Clear, RefreshesTheDisplayOrFailsBeforeIt) {
    GameFolder folder;
    InstallGame(folder, "[Glintbook]\r\nAlbum2Index=13\r\n", Kit{.stock = true});
    Window w;
    w.select(2);
    w.run(&MainForm::cmdClear_Click);
    EXPECT_EQ(std::pair(w.text, w.spin), std::pair(std::string("0"), 25));
    folder.write("Morrowind.ini", "[Glintbook]\r\nAlbum3Index=15\r\n");
    std::filesystem::remove(folder.file("Data Files/Textures/qor_tx_photo_orig.bmp"));
    w.select(3);
    w.run(&MainForm::cmdClear_Click);
    EXPECT_EQ(w.text, "15");  // the refresh never ran
    EXPECT_EQ(w.unloaded, 1);
    ASSERT_EQ(w.boxes.size(), 1u);
    EXPECT_EQ(w.boxes[0].text.rfind("Run-time error '53':\n\nFile not found: ", 0), 0u) << w.boxes[0];
}

struct Unhandled {
    const char* name;
    std::function<void(Window&, bool& after)> scene;  // on a window not yet loaded
    std::string shown;
};
void PrintTo(const Unhandled& c, std::ostream* os) { *os << c.name; }

// Thrown two handlers deep, after the window has loaded.
std::function<void(Window&, bool&)> Nested(std::function<void()> fault) {
    return [fault](Window& w, bool& after) {
        w.run(&MainForm::Form_Load);
        w.form.dispatch([&] {
            w.form.dispatch([&] { fault(), after = true; });
            after = true;
        });
    };
}

class Failures : public ::testing::TestWithParam<Unhandled> {};

// An unhandled failure stops the timer, shows its box, ends the program with
// status 1, and nothing runs after it: not the rest of its handler, not a
// handler it was called from or that opened a box, not a later event.
TEST_P(Failures, ShowTheirBoxAndEndTheProgram) {
    const Unhandled& c = GetParam();
    GameFolder folder;
    Window w(false);
    bool after = false;
    c.scene(w, after);
    w.form.dispatch([&] { after = true; });
    EXPECT_FALSE(after);
    ASSERT_FALSE(w.boxes.empty());
    EXPECT_EQ(w.boxes.back(), (Box{c.shown, "Glintbook", MessageIcon::Stop, false}));
    EXPECT_EQ(std::tuple(w.unloaded, w.unloads, w.form.exitStatus()), std::tuple(std::optional(1), 1, std::optional(1)));
}

INSTANTIATE_TEST_SUITE_P(Rows, Failures, ::testing::Values(
    Unhandled{"failure", Nested([] { throw Failure(ErrPathNotFound, "Path not found: x"); }), "Run-time error '76':\n\nPath not found: x"},
    Unhandled{"out_of_memory", Nested([] { throw std::bad_alloc(); }), "Run-time error '7':\n\nOut of memory"},
    Unhandled{"anything_else", Nested([] { throw std::out_of_range("index"); }), "Run-time error '51':\n\nInternal error: index"},
    Unhandled{"not_even_an_exception", Nested([] { throw 42; }), "Run-time error '51':\n\nInternal error"},
    Unhandled{"at_load_before_the_window_shows", [](Window& w, bool&) {
        w.onSetText = [] { throw Failure(ErrOutOfMemory, "Out of memory"); };
        w.run(&MainForm::Form_Load);
    }, "Run-time error '7':\n\nOut of memory"},
    Unhandled{"under_the_box_of_start", [](Window& w, bool& after) {
        w.run(&MainForm::Form_Load);
        w.duringBox = [&w] { w.form.dispatch([] { throw Failure(ErrDiskFull, "Disk full"); }); };
        w.form.dispatch([&] { w.form.cmdStart_Click(), after = true; });
    }, "Run-time error '61':\n\nDisk full"}),
    [](const auto& info) { return std::string(info.param.name); });

struct Folder {
    const char* name;
    // Makes the folder one the game would see otherwise; what it holds lasts the test.
    std::function<std::shared_ptr<void>(const GameFolder&)> make;
    std::string told;  // how the box begins; "" for none
    bool windowsOnly = false;
};
void PrintTo(const Folder& c, std::ostream* os) { *os << c.name; }

class GameFolderCheck : public ::testing::TestWithParam<Folder> {};

// A game folder the game and Glintbook would see differently is told at load
// and again at Start, which then writes and starts nothing.
TEST_P(GameFolderCheck, IsToldAtLoadAndStopsStart) {
    const Folder& c = GetParam();
#ifndef _WIN32
    if (c.windowsOnly) GTEST_SKIP() << "only Windows redirects a program's writes";
#endif
    GameFolder folder;
    const std::string ini = "[General]\r\nScreen Shot Index=3\r\n";
    InstallGame(folder, ini);  // without Morrowind.exe: a Start that goes on says so
    const auto made = c.make(folder);
    Window w;
    w.run(&MainForm::cmdStart_Click);
    if (c.told.empty()) {
        EXPECT_EQ(w.boxes, (std::vector<Box>{{"Morrowind.exe cannot be found in this folder.", "Glintbook",
                                              MessageIcon::None, true}}));
    } else {
        ASSERT_EQ(w.boxes.size(), 2u);
        EXPECT_EQ(w.boxes[0].text.rfind(c.told, 0), 0u) << w.boxes[0];
        EXPECT_EQ(w.boxes[1], w.boxes[0]);
        EXPECT_EQ(w.boxes[0].icon, MessageIcon::Stop);
    }
    EXPECT_EQ(w.unloaded, std::nullopt);
    EXPECT_EQ(folder.read("Morrowind.ini"), ini);
}

INSTANTIATE_TEST_SUITE_P(Rows, GameFolderCheck, ::testing::Values(
    Folder{"writable", [](const GameFolder&) { return nullptr; }, ""},
    Folder{"not_writable", [](const GameFolder&) {
        return std::make_shared<Fault>(".glintbook-write-test", EACCES, "open");
    }, "Glintbook cannot write to the game folder "},
    // Windows' per-user copy of a protected folder's files, where the game
    // would keep its settings.
    Folder{"settings_in_virtual_store", [](const GameFolder& f) -> std::shared_ptr<void> {
        const char* local = std::getenv("LOCALAPPDATA");
        if (!local) throw std::runtime_error("no LOCALAPPDATA");
        const std::string path = f.path();
        const auto copy = std::filesystem::path(std::string(local) + "\\VirtualStore" + path.substr(path.find(':') + 1));
        std::filesystem::create_directories(copy);
        std::ofstream(copy / "Morrowind.ini") << "[General]\r\n";
        return std::shared_ptr<void>(nullptr, [copy](void*) { std::filesystem::remove_all(copy); });
    }, "Windows keeps a separate copy of the game's Morrowind.ini in ", true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Monitor, TheCriticalStopStopsTheTimerFirstAndWritesNothing) {
    GameFolder folder;
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=7\r\n");
    Window w;
    w.form.processSource = [] { return std::optional<Names>(); };
    w.run(&MainForm::Timer1_Timer);
    w.run(&MainForm::Timer1_Timer);
    EXPECT_EQ(w.boxes, (std::vector<Box>{{"Glintbook encountered a critical error and needs to close.", "Critical Error",
                                          MessageIcon::Stop, false}}));
    EXPECT_EQ(w.unloaded, 1);
    EXPECT_EQ(folder.read("Morrowind.ini"), "[General]\r\nScreen Shot Index=7\r\n");
}

}  // namespace
}  // namespace glintbook::test
