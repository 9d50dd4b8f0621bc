// The once-a-second monitor, ticked by hand with a process list the test
// controls: the sighting, imports only while the game runs, the close when
// it has gone, the critical stop.
#include "platform/failure.h"
#include "session/monitor.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

namespace glintbook::test {
namespace {

class Monitor : public ::testing::Test {
protected:
    TickOutcome Tick(Names names, int album = 1) {
        return MonitorTick(running, Choices{album, 512, false}, ProcessList(std::move(names)));
    }
    void Shot(const std::string& name) { SaveShot(folder, name, 32, 24); }
    int Counter() const { return ReadSettingInt(section::General, key::ScreenShotIndex); }
    GameFolder folder;
    bool running = false;
};

const std::string Veteran = "[Glintbook]\r\nEverRun=1\r\n";

TEST_F(Monitor, OnlyTheExactNameIsTheGame) {
    InstallGame(folder, "[General]\r\nScreen Shot Index=1\r\n");
    Shot(" 0.bmp");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(Tick({"bash", "morrowind.exe", "MORROWIND.EXE", "Morrowind.exe.bak", "C:\\Morrowind.exe"}),
                  TickOutcome::Continue);
    EXPECT_FALSE(running);
    EXPECT_TRUE(folder.exists(" 0.bmp"));
    EXPECT_EQ(folder.read("Morrowind.ini"), "[General]\r\nScreen Shot Index=1\r\n");
}

TEST_F(Monitor, TheSightingPreparesAndTheNextTickImports) {
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=Shot\r\n[Glintbook]\r\nAlbum2Index=3\r\n");
    Tick({"init", "Morrowind.exe"}, 2);
    EXPECT_TRUE(running);
    EXPECT_EQ(Counter(), 25);  // first run: the album starts empty
    Shot("Shot 25.bmp");
    WriteSetting(section::General, key::ScreenShotIndex, "26");  // as the game does
    Tick({"Morrowind.exe"}, 2);
    EXPECT_FALSE(folder.exists("Shot 25.bmp"));
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 26.bmp"));
    WriteSetting(section::General, key::ScreenShotIndex, "27");
    Tick({"Morrowind.exe"}, 2);
    EXPECT_EQ(Counter(), 27);  // prepared once only
}

TEST_F(Monitor, AScreenshotLyingThereWaitsForTheTickAfterTheSighting) {
    InstallGame(folder, "[General]\r\nScreen Shot Index=0\r\n" + Veteran + "Album1Index=4\r\n");
    Shot(" 3.bmp");
    Tick({"Morrowind.exe"});
    EXPECT_TRUE(folder.exists(" 3.bmp"));
    Tick({"Morrowind.exe"});
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 4.bmp"));
}

TEST_F(Monitor, TheGameGoneImportsItsLastScreenshotThenCloses) {
    InstallGame(folder, Veteran + "Album3Index=5\r\n");
    Tick({"Morrowind.exe"}, 3);
    Shot(" 55.bmp");
    WriteSetting(section::General, key::ScreenShotIndex, "56");
    EXPECT_THROW(Tick({"bash"}, 3), ProgramEnd);
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 56.bmp"));
    EXPECT_EQ(ReadSettingInt(section::Own, "Album3Index"), 6);
}

TEST_F(Monitor, TwoGamesCloseOnlyWhenBothAreGone) {
    InstallGame(folder, Veteran);
    Tick({"Morrowind.exe", "Morrowind.exe"});
    EXPECT_EQ(Tick({"x", "Morrowind.exe"}), TickOutcome::Continue);
    EXPECT_THROW(Tick({"x"}), ProgramEnd);
}

TEST_F(Monitor, TheExpectedScreenshotIsTheCounterLessOneAfterABlank) {
    InstallGame(folder, "[General]\r\nScreen Shot Index=3\r\n" + Veteran);
    running = true;
    Shot(" 2.bmp");
    Shot("ScreenShot 2.bmp");
    Tick({"Morrowind.exe"});
    EXPECT_FALSE(folder.exists(" 2.bmp"));
    EXPECT_TRUE(folder.exists("ScreenShot 2.bmp"));
    folder.write("Morrowind.ini", "[General]\r\n");  // no counter: number -1
    Shot(" -1.bmp");
    Tick({"Morrowind.exe"});
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 0.bmp"));
}

TEST_F(Monitor, AFullAlbumClosesFromTheImport) {
    InstallGame(folder, "[General]\r\nScreen Shot Index=25\r\n" + Veteran);
    running = true;
    Shot(" 24.bmp");
    EXPECT_THROW(Tick({"Morrowind.exe"}), ProgramEnd);
    EXPECT_EQ(ReadSettingInt(section::Own, "Album1Index"), 25);
}

TEST_F(Monitor, ASightingWithTheAlbumFullEndsWithoutStoring) {
    InstallGame(folder, Veteran + "Album1Index=25\r\n");
    EXPECT_THROW(Tick({"Morrowind.exe"}), ProgramEnd);
    EXPECT_FALSE(running);
    EXPECT_EQ(folder.read("Morrowind.ini"), Veteran + "Album1Index=25\r\n");
}

TEST_F(Monitor, NoSnapshotAsksForTheCriticalStopAndWritesNothing) {
    InstallGame(folder, "[General]\r\nScreen Shot Index=9\r\n");
    running = true;
    EXPECT_EQ(MonitorTick(running, Choices{}, [] { return std::optional<Names>(); }), TickOutcome::SnapshotFailed);
    EXPECT_EQ(folder.read("Morrowind.ini"), "[General]\r\nScreen Shot Index=9\r\n");
}

}  // namespace
}  // namespace glintbook::test
