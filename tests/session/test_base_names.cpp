// Screenshot names the program did not choose: base names that lead out of
// the game folder, long ones, counters at the ends of their range. Nothing
// outside the game folder is ever read from or written to.
#include "session/import.h"
#include "session/monitor.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;

// The game folder one level down, so that what lies beside it can be watched.
class BaseNames : public ::testing::Test {
protected:
    BaseNames() : game(outer.file("Morrowind")) {
        fs::create_directories(game + "/Data Files/Textures");
        fs::current_path(game);
    }
    void Ini(const std::string& base, const std::string& index) {
        outer.write("Morrowind/Morrowind.ini",
                    "[General]\r\nScreen Shot Base Name=" + base + "\r\nScreen Shot Index=" + index + "\r\n");
    }
    TickOutcome Tick(int album = 1) {
        bool running = true;
        return MonitorTick(running, Choices{album, 512, false}, ProcessList({"Morrowind.exe"}));
    }
    // Every file below the outer folder but outside the game folder.
    std::vector<std::string> Outside() const {
        std::vector<std::string> found;
        for (const auto& e : fs::recursive_directory_iterator(outer.path()))
            if (e.path().string().rfind(game, 0) != 0) found.push_back(e.path().string());
        return found;
    }
    GameFolder outer;
    std::string game;
};

TEST_F(BaseNames, ANameLeadingOutOfTheFolderIsNeverImported) {
    SaveShot(outer, "evil 4.bmp", 16, 16);  // where "..\evil 4.bmp" points
    outer.mkdir("Morrowind/sub");
    SaveShot(outer, "Morrowind/sub/pic 4.bmp", 16, 16);
    for (const char* base : {"..\\evil", "../evil", "sub/pic", "sub\\pic"}) {
        Ini(base, "5");
        EXPECT_EQ(Tick(), TickOutcome::Continue) << base;
        EXPECT_EQ(FailureOf([] { ImportScreenshot(Choices{}); }).number(), ErrBadFileName) << base;
    }
    EXPECT_TRUE(fs::exists(game + "/sub/pic 4.bmp"));
    EXPECT_EQ(Outside(), std::vector<std::string>{outer.file("evil 4.bmp")});
    EXPECT_FALSE(fs::exists(game + "/Screenshots"));
}

TEST_F(BaseNames, DotsWithoutASeparatorStayInTheFolder) {
    Ini("..", "1");
    SaveShot(outer, "Morrowind/.. 0.bmp", 8, 8);
    EXPECT_EQ(Tick(), TickOutcome::Continue);
    EXPECT_TRUE(fs::exists(game + "/Screenshots/.. 0_0.bmp"));
    EXPECT_EQ(Outside(), std::vector<std::string>{});
}

TEST_F(BaseNames, LongNamesAreCutOrFailCleanly) {
    Ini(std::string(300, 'x'), "1");  // read as 255: no such screenshot exists
    EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotBaseName), std::string(255, 'x'));
    EXPECT_EQ(Tick(), TickOutcome::Continue);
    const std::string fits(240, 'y');
    Ini(fits, "1");
    SaveShot(outer, "Morrowind/" + fits + " 0.bmp", 8, 8);
    EXPECT_EQ(Tick(), TickOutcome::Continue);
    EXPECT_TRUE(fs::exists(game + "/Screenshots/" + fits + " 0_0.bmp"));
    const std::string longer(248, 'z');  // the screenshot's name fits, its archive copy's does not
    Ini(longer, "1");
    SaveShot(outer, "Morrowind/" + longer + " 0.bmp", 8, 8);
    EXPECT_EQ(FailureOf([this] { Tick(); }).number(), ErrBadFileName);
    EXPECT_EQ(Outside(), std::vector<std::string>{});
}

TEST_F(BaseNames, CountersAtTheEndsOfTheirRange) {
    for (const char* counter : {"2147483647", "-2147483648", "0x7fffffff"}) {
        Ini("", counter);
        const long long p = ReadSettingInt(section::General, key::ScreenShotIndex);
        SaveShot(outer, "Morrowind/ " + DecimalText(p - 1) + ".bmp", 8, 8);
        if (p >= 100) {
            EXPECT_THROW(Tick(4), ProgramEnd) << counter;  // far past album 4's end
        } else {
            EXPECT_EQ(Tick(4), TickOutcome::Continue) << counter;
        }
        EXPECT_TRUE(fs::exists(game + "/Data Files/BookArt/Photo " + DecimalText(p) + ".bmp")) << counter;
    }
}

}  // namespace
}  // namespace glintbook::test
