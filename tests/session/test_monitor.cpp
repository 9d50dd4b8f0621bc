// The session: the Start button's checks and launch, and the once-a-second
// monitor, ticked by hand with a process list the test controls, including
// screenshot names the program did not choose.
#include "platform/files.h"
#include "session/import.h"
#include "session/launch.h"
#include "session/monitor.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;

class Monitor : public ::testing::Test {
protected:
    TickOutcome Tick(Names names, int album = 1) {
        return MonitorTick(running, Choices{album, 512, false}, ProcessList(std::move(names)));
    }
    GameFolder folder;
    bool running = false;
};

// Only the exact process name is the game. Nothing is imported before it is
// sighted; the sighting prepares the session, once; a screenshot lying there
// at the sighting waits for the tick after; the import that fills the album
// ends the session.
TEST_F(Monitor, FromTheSightingToAFullAlbum) {
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=Shot\r\nScreen Shot Index=25\r\n[Glintbook]\r\nAlbum2Index=3\r\n");
    SaveShot(folder, "Shot 24.bmp", 32, 24);
    EXPECT_EQ(Tick({"bash", "morrowind.exe", "MORROWIND.EXE", "Morrowind.exe.bak", "C:\\Morrowind.exe"}, 2),
              TickOutcome::Continue);
    Tick({"init", "Morrowind.exe"}, 2);
    EXPECT_EQ(ReadSettingInt(section::Own, "Album2Index"), 0);  // first run: the album starts empty
    EXPECT_TRUE(folder.exists("Shot 24.bmp"));
    Tick({"Morrowind.exe"}, 2);
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 25.bmp"));
    WriteSetting(section::General, key::ScreenShotIndex, "27");
    Tick({"Morrowind.exe"}, 2);
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 27);  // not prepared again
    WriteSetting(section::General, key::ScreenShotIndex, "50");
    SaveShot(folder, "Shot 49.bmp", 32, 24);
    EXPECT_THROW(Tick({"Morrowind.exe"}, 2), ProgramEnd);
    EXPECT_EQ(ReadSettingInt(section::Own, "Album2Index"), 25);
}

TEST_F(Monitor, TheGameGoneImportsItsLastScreenshotThenCloses) {
    InstallGame(folder, "[Glintbook]\r\nEverRun=1\r\nAlbum3Index=5\r\n");
    Tick({"Morrowind.exe"}, 3);
    SaveShot(folder, " 55.bmp", 32, 24);
    WriteSetting(section::General, key::ScreenShotIndex, "56");
    EXPECT_THROW(Tick({"bash"}, 3), ProgramEnd);
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 56.bmp"));
    EXPECT_EQ(ReadSettingInt(section::Own, "Album3Index"), 6);
}

// A base name is read as 255 characters at most. One with a separator names
// a file elsewhere: neither the tick nor the import takes it.
TEST_F(Monitor, ABaseNameIsCutAndNeverAPath) {
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=" + std::string(300, 'x') + "\r\n");
    EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotBaseName), std::string(255, 'x'));
    folder.mkdir("game/sub");
    fs::current_path(folder.file("game"));
    for (const char* name : {"x 4.bmp", "game/sub/x 4.bmp"}) SaveShot(folder, name, 32, 24);  // beside it and below
    running = true;
    for (const std::string base : {"../x", "..\\x", "sub/x", "sub\\x"}) {
        folder.write("game/Morrowind.ini", "[General]\r\nScreen Shot Base Name=" + base + "\r\nScreen Shot Index=5\r\n");
        EXPECT_EQ(Tick({"Morrowind.exe"}), TickOutcome::Continue) << base;
        EXPECT_EQ(FailureOf([] { ImportScreenshot(Choices{}); }).number(), ErrBadFileName) << base;
    }
    EXPECT_TRUE(folder.exists("x 4.bmp") && folder.exists("game/sub/x 4.bmp"));
}

const std::string Game = "Morrowind.exe", Plain = "Data Files/Glintbook.esp", Tb = "Data Files/Glintbook_TB.esp",
                  Expansion = "Data Files/Tribunal.esm";

struct Launch {
    const char* name;
    std::string ini;
    std::vector<std::string> files;
    int album;
    std::string message, iniAfter = "";  // "" when the game starts; "" for unchanged
    // The system's codes of the start and of the start through the shell.
    int startCode = 0, shellCode = 0;
};

void PrintTo(const Launch& c, std::ostream* os) { *os << c.name; }

class LaunchTest : public ::testing::TestWithParam<Launch> {};

// The game simulator stands in for the game: it notes in started.txt where
// it was started, and quits.
TEST_P(LaunchTest, ChecksThenWritesAndStarts) {
    const Launch& c = GetParam();
    SetEnvironment("GAME_SIM_SCRIPT", "quit");
    SetEnvironment("GAME_SIM_LOG", "started.txt");
    GameFolder folder;
    folder.write("Morrowind.ini", c.ini);
    for (const std::string& f : c.files) folder.write(f, "");
    if (folder.exists(Game) && fs::remove(folder.file(Game))) fs::copy_file(GAME_SIM_PATH, folder.file(Game));
    files::SetFaultHook([&c](std::string_view step, const std::string&) {
        return step == "start" ? c.startCode : step == "shell" ? c.shellCode : 0;
    });
    EXPECT_EQ(LaunchGame(Choices{c.album, 512, false}).value_or(""), c.message);
    files::SetFaultHook(nullptr);
    EXPECT_EQ(folder.read("Morrowind.ini"), c.iniAfter.empty() ? c.ini : c.iniAfter);
    const std::string log = c.message.empty() ? "start in " + fs::canonical(folder.path()).string() + "\nquit\n" : "";
    for (int i = 0; i < 500 && !log.empty() && !(folder.exists("started.txt") && folder.read("started.txt") == log); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(folder.exists("started.txt") ? folder.read("started.txt") : "", log);
}

const std::string Full = "[Glintbook]\r\nEverRun=1\r\nAlbum1Index=25\r\n";

INSTANTIATE_TEST_SUITE_P(Rows, LaunchTest, ::testing::Values(
    Launch{"no_game_hides_everything_else", Full, {}, 1, GameMissingText},
    Launch{"no_plugin_hides_a_full_album", Full, {Game}, 1, PluginMissingText},
    Launch{"full_album", Full, {Game, Plain}, 1, AlbumFullText},
    Launch{"expansion_needs_its_own_plugin", "", {Game, Expansion, Plain}, 1, PluginMissingText},
    Launch{"starts_with_the_expansion", "[Game Files]\r\nGameFile0=Morrowind.esm\r\n[Glintbook]\r\nEverRun=1\r\nAlbum4Index=24\r\n",
           {Game, Expansion, Tb}, 4, "",
           "[Game Files]\r\nGameFile0=Morrowind.esm\r\nGameFile1=Glintbook_TB.esp\r\n[Glintbook]\r\nEverRun=1\r\n"
           "Album4Index=24\r\n[General]\r\nScreen Shot Index=99\r\n"},
    Launch{"first_run_resets_and_a_missing_index_is_zero", "[Glintbook]\r\nAlbum1Index=9\r\n", {Game, Plain}, 3, "",
           "[Glintbook]\r\nAlbum1Index=0\r\nAlbum2Index=0\r\nAlbum3Index=0\r\nAlbum4Index=0\r\nEverRun=1\r\n"
           "[General]\r\nScreen Shot Index=50\r\nScreen Shot Enable=1\r\n[Game Files]\r\nGameFile0=Glintbook.esp\r\n"}),
    [](const auto& info) { return std::string(info.param.name); });

#ifdef _WIN32  // a game marked to run as administrator (740), the player's refusal (1223)
INSTANTIATE_TEST_SUITE_P(Windows, LaunchTest, ::testing::Values(
    Launch{"refused_to_run_as_administrator_after_the_writes", "[Glintbook]\r\nEverRun=1\r\nAlbum2Index=7\r\n", {Game, Plain},
           2, ElevationRefusedText, "[Glintbook]\r\nEverRun=1\r\nAlbum2Index=7\r\n[General]\r\nScreen Shot Index=32\r\n"
           "[Game Files]\r\nGameFile0=Glintbook.esp\r\n", 740, 1223}),
    [](const auto& info) { return std::string(info.param.name); });
#endif

TEST(LaunchFailure, AGameThatCannotBeStartedFailsAfterTheWrites) {
    GameFolder folder;
    InstallGame(folder, "[Glintbook]\r\nEverRun=1\r\nAlbum2Index=7\r\n");
    folder.write(Game, "neither a program nor a Windows image");
    EXPECT_NE(FailureOf([] { LaunchGame(Choices{2, 512, false}); }).number(), 0);
    EXPECT_EQ(folder.read("Morrowind.ini"), "[Glintbook]\r\nEverRun=1\r\nAlbum2Index=7\r\n[General]\r\n"
                                            "Screen Shot Index=32\r\n[Game Files]\r\nGameFile0=Glintbook.esp\r\n");
}

}  // namespace
}  // namespace glintbook::test
