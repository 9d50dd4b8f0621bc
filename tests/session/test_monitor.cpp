// The session: the Start button's checks and launch, and the once-a-second
// monitor, ticked by hand with a process list the test controls, including
// screenshot names the program did not choose.
#include "platform/files.h"
#include "session/import.h"
#include "session/launch.h"
#include "session/monitor.h"
#include "settings/catalogue.h"
#include "settings/open_engine.h"
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
        return MonitorTick(session, Choices{album, 512, false}, ProcessList(std::move(names)));
    }
    GameFolder folder;
    Session session;
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
    session.gameRunning = true;
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

#ifndef _WIN32  // the open engine's folders come from the environment on Linux only
// The open engine's user folders inside the test's folder, and its load list.
struct OpenEngineFolders {
    explicit OpenEngineFolders(const GameFolder& folder, const std::string& cfg) {
        SetEnvironment("XDG_CONFIG_HOME", folder.file("config"));
        SetEnvironment("XDG_DATA_HOME", folder.file("data"));
        folder.write("config/openmw/openmw.cfg", cfg);
        folder.mkdir("data/openmw/screenshots");
    }
    ~OpenEngineFolders() {
        SetEnvironment("XDG_CONFIG_HOME", "");
        SetEnvironment("XDG_DATA_HOME", "");
    }
};

// An open engine that plays another folder is not taken: the player hears
// it once, and nothing is prepared.
TEST_F(Monitor, AnOpenEngineOfAnotherFolderIsToldOnce) {
    InstallGame(folder, "[Glintbook]\r\nEverRun=1\r\n");
    OpenEngineFolders open(folder, "data=/somewhere/else/Data Files\ncontent=Morrowind.esm\n");
    EXPECT_EQ(Tick({game::OpenProcessName}), TickOutcome::Notice);
    EXPECT_NE(session.notice.find("does not name this folder's Data Files"), std::string::npos) << session.notice;
    EXPECT_EQ(Tick({game::OpenProcessName}), TickOutcome::Continue);
    EXPECT_FALSE(session.gameRunning);
    EXPECT_EQ(folder.read("Morrowind.ini"), "[Glintbook]\r\nEverRun=1\r\n");
}

// A whole session with the open engine's stand-in: Start finds no
// Morrowind.exe but a load list that plays this folder, enters the plug-in
// there and starts openmw from the PATH; the real process list shows it.
// Its three screenshots fill album 2, which starts over, and the third is
// the album's first again; when it quits, the index is stored. A screenshot
// there before the session stays where it is.
TEST(OpenEngine, AWholeSessionWithTheStandIn) {
    GameFolder folder;
    InstallGame(folder, "[Glintbook]\r\nEverRun=1\r\nAlbum2Index=23\r\n", Kit{.plugin = false});
    folder.write("Data Files/Glintbook_TB.esp", "");
    OpenEngineFolders open(folder, "data=\"" + folder.file("Data Files") + "\"\ncontent=Morrowind.esm\ncontent=Tribunal.esm\n");
    fs::copy_file(fs::path(__FILE__).parent_path() / ".." / ".." / "fuzz/corpus/png/rgb8-8x6.png",
                  folder.file("data/openmw/screenshots/screenshot000.png"));
    const std::string path = std::getenv("PATH") ? std::getenv("PATH") : "";
    SetEnvironment("PATH", fs::path(OPENMW_SIM_PATH).parent_path().string() + ":" + path);
    SetEnvironment("GAME_SIM_SCRIPT", "wait 1200; shot 640x480; wait 1500; shot 320x200; wait 1500; shot; wait 1500; quit");
    SetEnvironment("GAME_SIM_LOG", "openmw.log");
    const Choices choices{2, 512, true};
    EXPECT_EQ(LaunchGame(choices).value_or(""), "");
    SetEnvironment("PATH", path);
    SetEnvironment("GAME_SIM_SCRIPT", "");
    SetEnvironment("GAME_SIM_LOG", "");
    // Other open engines may run on this machine: the process list holds the
    // stand-in's name while its log says it runs.
    const auto standIn = [&folder] {
        const std::string log = folder.exists("openmw.log") ? folder.read("openmw.log") : "";
        return std::optional<Names>(log.find("start") != std::string::npos && log.find("quit") == std::string::npos
                                        ? Names{"bash", game::OpenProcessName}
                                        : Names{"bash"});
    };
    EXPECT_EQ(folder.read("config/openmw/openmw.cfg"), "data=\"" + folder.file("Data Files") +
                                                          "\"\ncontent=Morrowind.esm\ncontent=Tribunal.esm\ncontent=Glintbook_TB.esp\n");
    Session session;
    bool ended = false;
    for (int i = 0; i < 120 && !ended; ++i) {
        try {
            MonitorTick(session, choices, standIn);
        } catch (const ProgramEnd&) {
            ended = true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
    EXPECT_TRUE(ended);
    EXPECT_EQ(ReadSettingInt(section::Own, "Album2Index"), 1);
    for (const char* made : {"Data Files/BookArt/Photo 49.bmp", "Data Files/BookArt/Photo 50.bmp",
                             "Data Files/BookArt/Photo 26.bmp", "Data Files/Textures/qor_tx_photo_48.bmp",
                             "Data Files/Textures/qor_tx_photo_25.bmp", "Screenshots/screenshot001_2.png",
                             "data/openmw/screenshots/screenshot000.png"})
        EXPECT_TRUE(folder.exists(made)) << made;
    EXPECT_FALSE(folder.exists("data/openmw/screenshots/screenshot001.png"));
}
#endif

}  // namespace
}  // namespace glintbook::test
