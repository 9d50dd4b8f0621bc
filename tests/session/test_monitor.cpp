// The once-a-second monitor, ticked by hand with a process list the test
// controls: sighting, imports only while the game runs, closing when it has
// gone, the critical stop.
#include "import_fixture.h"
#include "platform/failure.h"
#include "session/monitor.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"

#include <gtest/gtest.h>

namespace glintbook {
namespace {

using Names = std::vector<std::string>;
using test::AlbumControls;
using test::GameFolder;
using test::SaveShot;

class Monitor : public ::testing::Test {
protected:
    void SetUp() override {
        folder.mkdir("Data Files/Textures");
        folder.write("Data Files/Glintbook.esp", "plug-in");
    }
    TickOutcome Tick(Names names, const Choices& c = AlbumControls(1)) {
        return MonitorTick(running, c, [names] { return std::optional<Names>(names); });
    }
    GameFolder folder;
    bool running = false;
};

TEST_F(Monitor, NoGameMeansNothingHappens) {
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=1\r\n[Glintbook]\r\nEverRun=1\r\n");
    SaveShot(folder, " 0.bmp", 20, 20);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Tick({"bash", "morrowind.exe", "MORROWIND.EXE", "Morrowind.exe.bak"}), TickOutcome::Continue);
    EXPECT_FALSE(running);
    EXPECT_TRUE(folder.exists(" 0.bmp"));
    EXPECT_FALSE(folder.exists("Screenshots"));
}

TEST_F(Monitor, FirstSightingPreparesTheSessionAndTheNextTickImports) {
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Base Name=Shot\r\n[Glintbook]\r\nAlbum2Index=3\r\n");
    Tick({"init", "Morrowind.exe"}, AlbumControls(2));
    EXPECT_TRUE(running);
    // First run defaults, then the counter pointed at album 2's next picture.
    EXPECT_EQ(ReadSettingInt(section::Own, key::EverRun), 1);
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 25);
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotEnable), 1);

    // The game saves picture 25 and raises its counter.
    SaveShot(folder, "Shot 25.bmp", 64, 64);
    WriteSetting(section::General, key::ScreenShotIndex, "26");
    Tick({"Morrowind.exe"}, AlbumControls(2));
    EXPECT_FALSE(folder.exists("Shot 25.bmp"));
    EXPECT_TRUE(folder.exists("Screenshots/Shot 25_0.bmp"));
    EXPECT_TRUE(folder.exists("Data Files/Textures/qor_tx_photo_25.bmp"));
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 26.bmp"));
    // A second sighting does not prepare again: a hand-made change survives.
    WriteSetting(section::General, key::ScreenShotIndex, "27");
    Tick({"Morrowind.exe"}, AlbumControls(2));
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 27);
}

TEST_F(Monitor, AScreenshotLyingThereBeforeTheSightingWaitsOneTick) {
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=0\r\n[Glintbook]\r\nEverRun=1\r\nAlbum1Index=4\r\n");
    SaveShot(folder, " 3.bmp", 30, 30);
    Tick({"Morrowind.exe"});
    EXPECT_TRUE(running);
    EXPECT_TRUE(folder.exists(" 3.bmp"));  // the test came before the flag was set
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 4);
    Tick({"Morrowind.exe"});
    EXPECT_FALSE(folder.exists(" 3.bmp"));
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 4.bmp"));
}

TEST_F(Monitor, GameGoneClosesTheSessionAfterImportingItsLastScreenshot) {
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=0\r\n[Glintbook]\r\nEverRun=1\r\nAlbum3Index=5\r\n");
    Tick({"Morrowind.exe"}, AlbumControls(3));
    SaveShot(folder, " 55.bmp", 30, 30);
    WriteSetting(section::General, key::ScreenShotIndex, "56");
    try {
        Tick({"bash"}, AlbumControls(3));
        FAIL() << "the session should have closed";
    } catch (const ProgramEnd& end) {
        EXPECT_EQ(end.status, 0);
    }
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 56.bmp"));
    EXPECT_EQ(ReadSettingInt(section::Own, "Album3Index"), 6);
}

TEST_F(Monitor, TwoGamesCloseOnlyWhenBothAreGone) {
    folder.write("Morrowind.ini", "[Glintbook]\r\nEverRun=1\r\n");
    Tick({"Morrowind.exe", "Morrowind.exe"});
    EXPECT_EQ(Tick({"x", "Morrowind.exe"}), TickOutcome::Continue);
    EXPECT_THROW(Tick({"x"}), ProgramEnd);
}

TEST_F(Monitor, ANameInAnotherCaseIsNeverSeenAndNeverCloses) {
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=1\r\n");
    const std::string before = folder.read("Morrowind.ini");
    Tick({"MORROWIND.EXE"});
    Tick({});
    EXPECT_FALSE(running);
    EXPECT_EQ(folder.read("Morrowind.ini"), before);
}

TEST_F(Monitor, TheExpectedNameUsesTheCounterLessOneAndABlank) {
    // No base name and counter 3: the newest screenshot is " 2.bmp".
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=3\r\n[Glintbook]\r\nEverRun=1\r\n");
    running = true;
    SaveShot(folder, " 2.bmp", 16, 16);
    SaveShot(folder, "ScreenShot 2.bmp", 16, 16);
    Tick({"Morrowind.exe"});
    EXPECT_FALSE(folder.exists(" 2.bmp"));
    EXPECT_TRUE(folder.exists("ScreenShot 2.bmp"));
    // No counter at all: the expected number is -1.
    folder.write("Morrowind.ini", "[General]\r\n");
    SaveShot(folder, " -1.bmp", 16, 16);
    Tick({"Morrowind.exe"});
    EXPECT_FALSE(folder.exists(" -1.bmp"));
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 0.bmp"));
}

TEST_F(Monitor, AFullAlbumWithoutLoopClosesFromTheImport) {
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=25\r\n[Glintbook]\r\nEverRun=1\r\n");
    running = true;
    SaveShot(folder, " 24.bmp", 16, 16);
    EXPECT_THROW(Tick({"Morrowind.exe"}), ProgramEnd);
    EXPECT_EQ(ReadSettingInt(section::Own, "Album1Index"), 25);
}

TEST_F(Monitor, ASightingWithTheAlbumFullEndsWithoutStoring) {
    folder.write("Morrowind.ini", "[Glintbook]\r\nEverRun=1\r\nAlbum1Index=25\r\n");
    const std::string before = folder.read("Morrowind.ini");
    EXPECT_THROW(Tick({"Morrowind.exe"}), ProgramEnd);
    EXPECT_FALSE(running);
    EXPECT_EQ(folder.read("Morrowind.ini"), before);
}

TEST_F(Monitor, ASnapshotThatCannotBeTakenAsksForTheCriticalStop) {
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=9\r\n");
    running = true;
    const auto outcome = MonitorTick(running, AlbumControls(1), [] { return std::optional<Names>(); });
    EXPECT_EQ(outcome, TickOutcome::SnapshotFailed);
    EXPECT_EQ(folder.read("Morrowind.ini"), "[General]\r\nScreen Shot Index=9\r\n");
}

}  // namespace
}  // namespace glintbook
