// The session: the Start button's checks and launch, and the once-a-second
// monitor, ticked by hand with a process list the test controls, including
// screenshot names the program did not choose.
#include "imaging/picture_io.h"
#include "imaging/resample.h"
#include "platform/files.h"
#include "session/import.h"
#include "session/launch.h"
#include "session/monitor.h"
#include "settings/catalogue.h"
#include "settings/open_engine.h"
#include "settings/ini_text.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"
#include "support/open_engine_home.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
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

// Ticks the monitor four times a second until the program ends, at most
// 30 s. Other games may run on this machine: the process list holds
// `process` while the stand-in's log says it runs.
bool PlayUntilTheEnd(Session& session, const Choices& choices, const GameFolder& folder, const std::string& process,
                     const std::string& log) {
    const auto standIn = [&] {
        const std::string text = folder.exists(log) ? folder.read(log) : "";
        return std::optional<Names>(text.find("start") != std::string::npos && text.find("quit") == std::string::npos
                                        ? Names{"bash", process}
                                        : Names{"bash"});
    };
    for (int i = 0; i < 120; ++i) {
        try {
            MonitorTick(session, choices, standIn);
        } catch (const ProgramEnd&) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
    return false;
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

// MGE XE in the game folder, played by the stand-in game. Before the session
// its folder holds a screenshot of its own name, which stays as it is. The
// game takes two screenshots, the first written slowly where `pause` is
// set; each becomes the album's next picture, made from the whole file, and
// ends up once in `kept`, where no second archive folder appears beside
// the game folder's Screenshots.
struct MgeCase {
    const char* name;
    std::string ini;      // MGE3/MGE.ini's [Render State]
    bool active;          // its d3d8.dll in the game folder
    std::string folder;   // where it saves, as the disk spells it
    std::string earlier;  // a screenshot there from before
    std::string kept;     // where the two end up
    bool copies;          // as numbered copies ("<stem>_0<ext>"), not as written
    std::string ext;
    const char* depth = "";  // 16: a 16-bit display mode
    const char* pause = "";  // ms the writer stops half way
};
void PrintTo(const MgeCase& c, std::ostream* os) { *os << c.name; }

class MgeSession : public ::testing::TestWithParam<MgeCase> {};

TEST_P(MgeSession, TakesEachNewScreenshotOnce) {
    const MgeCase& c = GetParam();
    GameFolder folder;
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=ScreenShot\r\nScreen Shot Enable=1\r\n[Glintbook]\r\nEverRun=1\r\n");
    fs::copy_file(GAME_SIM_PATH, folder.file(Game));
    folder.write("MGE3/MGE.ini", "[Render State]\r\n" + c.ini);
    if (c.active) folder.write("d3d8.dll", "");
    folder.mkdir(c.folder);
    SaveShot(folder, c.folder + "/" + c.earlier, 8, 6);
    SetEnvironment("GAME_SIM_SCRIPT", "wait 800; shot 96x64; wait 1200; shot 64x96; wait 1200; quit");
    SetEnvironment("GAME_SIM_LOG", "game.log");
    SetEnvironment("GAME_SIM_DEPTH", c.depth);
    SetEnvironment("GAME_SIM_PAUSE_MS", c.pause);
    const Choices choices{1, 512, false};
    EXPECT_EQ(LaunchGame(choices).value_or(""), "");
    for (const char* name : {"GAME_SIM_SCRIPT", "GAME_SIM_LOG", "GAME_SIM_DEPTH", "GAME_SIM_PAUSE_MS"}) SetEnvironment(name, "");
    Session session;
    EXPECT_TRUE(PlayUntilTheEnd(session, choices, folder, Game, "game.log")) << folder.read("game.log");

    EXPECT_EQ(ReadSettingInt(section::Own, "Album1Index"), 2) << folder.read("game.log") << folder.read("Morrowind.ini");
    EXPECT_TRUE(folder.exists(c.folder + "/" + c.earlier));
    EXPECT_FALSE(folder.exists("Data Files/BookArt/Photo 3.bmp"));
    std::vector<std::string> shots;
    for (const auto& e : fs::directory_iterator(folder.file(c.kept)))
        if (e.path().extension() == c.ext && e.path().filename() != c.earlier) shots.push_back(e.path().string());
    std::sort(shots.begin(), shots.end());
    ASSERT_EQ(shots.size(), 2u) << folder.read("game.log");
    for (const std::string& shot : shots) EXPECT_EQ(shot.ends_with("_0" + c.ext), c.copies) << shot;
    for (int p = 1; p <= 2; ++p)  // each album picture from its whole screenshot
        EXPECT_EQ(LoadPicture(folder.file("Data Files/BookArt/Photo " + std::to_string(p) + ".bmp")).pixels,
                  ResizePicture(LoadPicture(shots[size_t(p) - 1]), 512, 512).pixels) << shots[size_t(p) - 1];
    int archives = 0;
    for (const auto& e : fs::directory_iterator(folder.path()))
        archives += e.is_directory() && profile::ini::SameName(e.path().filename().string(), "screenshots");
    EXPECT_EQ(archives, 1);
    if (c.folder != c.kept) {  // moved, not copied
        EXPECT_EQ(std::distance(fs::directory_iterator(folder.file(c.folder)), fs::directory_iterator()), 1);
    }
}

const std::string Stamp = "Morrowind 2020-01-01 00.00.00.000";

INSTANTIATE_TEST_SUITE_P(Rows, MgeSession, ::testing::Values(
    MgeCase{"png_by_default_stays_in_screenshots", "", true, "screenshots", Stamp + ".png", "screenshots", false, ".png", "", "1300"},
    MgeCase{"jpeg_ordinal_moves_from_its_folder",
            "Screenshot Format=JPEG\r\nScreenshot Name Suffix=Ordinal\r\nScreenshot Output Directory=MGE Shots\r\n", true,
            "MGE Shots", "Morrowind 0007.jpg", "Screenshots", true, ".jpg", "", "1300"},
    MgeCase{"bmp_16_bit_character_and_ordinal",
            "Screenshot Format=BMP\r\nScreenshot Name Suffix=Character Name, Ordinal\r\nScreenshot Name Prefix=Vvardenfell\r\n",
            true, "Screenshots", "Vvardenfell Nerevar 0001.bmp", "Screenshots", false, ".bmp", "16"},
    MgeCase{"dds_game_time_in_a_relative_folder",
            "Screenshot Format=DDS\r\nScreenshot Name Suffix=Character Name, Game Time, Ordinal\r\n"
            "Screenshot Output Directory=.\\shots\r\n",
            true, "shots", "Morrowind Nerevar, Day 1, 08.00 0001.dds", "Screenshots", true, ".dds"},
    MgeCase{"dds_16_bit", "Screenshot Format=dds\r\n", true, "screenshots", Stamp + ".dds", "screenshots", false, ".dds", "16"},
    MgeCase{"tga_without_a_prefix", "Screenshot Format=TGA\r\nScreenshot Name Prefix=\r\nScreenshot Name Suffix=Ordinal\r\n",
            true, "screenshots", "0009.tga", "screenshots", false, ".tga"},
    MgeCase{"installed_but_off_the_games_own_go_on", "Screenshot Format=BMP\r\n", false, "screenshots", Stamp + ".bmp",
            "screenshots", true, ".bmp"}),
    [](const auto& info) { return std::string(info.param.name); });

// An open engine that plays another folder is not taken: the player hears
// it once, and nothing is prepared.
TEST_F(Monitor, AnOpenEngineOfAnotherFolderIsToldOnce) {
    InstallGame(folder, "[Glintbook]\r\nEverRun=1\r\n");
    OpenEngineHome home(folder, {{"HOME/.config/openmw/openmw.cfg", "data=/somewhere/else/Data Files\ncontent=Morrowind.esm\n"},
                                 {"DOCS/My Games/OpenMW/openmw.cfg", "data=/somewhere/else/Data Files\ncontent=Morrowind.esm\n"}});
    EXPECT_EQ(Tick({game::OpenProcessName}), TickOutcome::Notice);
    EXPECT_NE(session.notice.find("does not name this folder's Data Files"), std::string::npos) << session.notice;
    EXPECT_EQ(Tick({game::OpenProcessName}), TickOutcome::Continue);
    EXPECT_FALSE(session.gameRunning);
    EXPECT_EQ(folder.read("Morrowind.ini"), "[Glintbook]\r\nEverRun=1\r\n");
}

// OpenMW's launcher rewrote the load list without the plug-in: the player
// hears it at the sighting, and the session is taken all the same.
TEST_F(Monitor, AnOpenEngineWithoutThePluginIsToldAndTaken) {
    InstallGame(folder, "[Glintbook]\r\nEverRun=1\r\n", Kit{.expansion = true});
    OpenEngineHome home(folder, {{"HOME/.config/openmw/openmw.cfg", "data=DATA\ncontent=Morrowind.esm\ncontent=Tribunal.esm\n"},
                                 {"DOCS/My Games/OpenMW/openmw.cfg", "data=DATA\ncontent=Morrowind.esm\ncontent=Tribunal.esm\n"}});
    EXPECT_EQ(Tick({game::OpenProcessName}), TickOutcome::Notice);
    EXPECT_NE(session.notice.find("tick Glintbook_TB.esp"), std::string::npos) << session.notice;
    EXPECT_TRUE(session.gameRunning);
}

// What the engine leaves that is no picture (an empty file, where it found
// no encoder, or one cut short) never ends the program: when the game has
// gone it is left where it lies and the session closes as usual.
class LeftWhereItLies : public ::testing::TestWithParam<std::pair<const char*, std::string>> {};

TEST_P(LeftWhereItLies, WhenTheGameHasGone) {
    GameFolder folder;
    InstallGame(folder, "[Glintbook]\r\nEverRun=1\r\nAlbum1Index=3\r\n");
    OpenEngineHome home(folder, {{"HOME/.config/openmw/openmw.cfg", "data=DATA\ncontent=Glintbook.esp\n"},
                                 {"DOCS/My Games/OpenMW/openmw.cfg", "data=DATA\ncontent=Glintbook.esp\n"}});
    Session session;
    const Choices choices{1, 512, false};
    MonitorTick(session, choices, ProcessList({game::OpenProcessName}));
    ASSERT_TRUE(session.gameRunning);
    const std::string shot = openmw::ScreenshotFolder() + "/screenshot000.png";
    fs::create_directories(openmw::ScreenshotFolder());
    { std::ofstream(shot, std::ios::binary) << GetParam().second; }
    MonitorTick(session, choices, ProcessList({game::OpenProcessName}));
    EXPECT_THROW(MonitorTick(session, choices, ProcessList({"bash"})), ProgramEnd);
    EXPECT_TRUE(fs::exists(shot));
    EXPECT_FALSE(folder.exists("Data Files/BookArt/Photo 4.bmp"));
    EXPECT_EQ(ReadSettingInt(section::Own, "Album1Index"), 3);
}

INSTANTIATE_TEST_SUITE_P(Rows, LeftWhereItLies, ::testing::Values(
    std::pair<const char*, std::string>{"empty", ""},
    std::pair<const char*, std::string>{"cut_short", std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16)}),
    [](const auto& info) { return std::string(info.param.first); });

// A whole session with the open engine's stand-in in each layout: Start finds
// no Morrowind.exe but a load list that plays this folder, enters the plug-in
// in the user's openmw.cfg and starts the engine; the process list shows it.
// Its three screenshots, in the format its settings.cfg names, fill album 2,
// which starts over, and the third is the album's first again; when it
// quits, the index is stored. A screenshot there before the session stays.
// Where the writer stops half way through each file, no half file is taken.
struct EngineCase {
    const char* name;
    std::vector<std::pair<std::string, std::string>> files;
    std::string config;  // the user's openmw.cfg
    std::string shots;   // where the engine writes them
    std::string ext;
    const char* pause = "";
};
void PrintTo(const EngineCase& c, std::ostream* os) { *os << c.name; }

class OpenEngineSession : public ::testing::TestWithParam<EngineCase> {};

TEST_P(OpenEngineSession, FillsTheAlbumWithTheStandIn) {
    const EngineCase& c = GetParam();
    GameFolder folder;
    InstallGame(folder, "[Glintbook]\r\nEverRun=1\r\nAlbum2Index=23\r\n", Kit{.plugin = false});
    folder.write("Data Files/Glintbook_TB.esp", "");
    OpenEngineHome home(folder, c.files, OPENMW_SIM_PATH);
    // Its folder may lie outside the game folder (Windows' Documents).
    fs::create_directories(home.here(c.shots));
    SaveShot(folder, "earlier.bmp", 8, 6);
    fs::copy_file(folder.file("earlier.bmp"), home.here(c.shots) + "/screenshot000" + c.ext);
    SetEnvironment("GAME_SIM_SCRIPT", "wait 1000; shot 640x480; wait 1200; shot 320x200; wait 1200; shot; wait 1200; quit");
    SetEnvironment("GAME_SIM_LOG", home.here("ROOT/openmw.log"));
    SetEnvironment("GAME_SIM_PAUSE_MS", c.pause);
    const Choices choices{2, 512, true};
    EXPECT_EQ(LaunchGame(choices).value_or(""), "");
    for (const char* name : {"GAME_SIM_SCRIPT", "GAME_SIM_LOG", "GAME_SIM_PAUSE_MS"}) SetEnvironment(name, "");
    const std::string cfg = files::ReadFile(home.here(c.config));
    EXPECT_NE(cfg.find("content=Glintbook_TB.esp"), std::string::npos) << cfg;
    Session session;
    EXPECT_TRUE(PlayUntilTheEnd(session, choices, folder, game::OpenProcessName, "openmw.log"));
    EXPECT_EQ(ReadSettingInt(section::Own, "Album2Index"), 1) << folder.read("openmw.log");
    for (const std::string& made : std::vector<std::string>{"Data Files/BookArt/Photo 49.bmp", "Data Files/BookArt/Photo 50.bmp",
                                   "Data Files/BookArt/Photo 26.bmp", "Data Files/Textures/qor_tx_photo_48.bmp",
                                   "Data Files/Textures/qor_tx_photo_25.bmp", "Screenshots/screenshot001_0" + c.ext,
                                   "Screenshots/screenshot001_1" + c.ext, "Screenshots/screenshot001_2" + c.ext})
        EXPECT_TRUE(folder.exists(made)) << made << "\n" << folder.read("openmw.log");
    EXPECT_TRUE(fs::exists(home.here(c.shots) + "/screenshot000" + c.ext));
    EXPECT_FALSE(fs::exists(home.here(c.shots) + "/screenshot001" + c.ext));
    // Made from the whole last screenshot, however slowly it was written.
    EXPECT_EQ(LoadPicture(folder.file("Data Files/BookArt/Photo 26.bmp")).pixels,
              ResizePicture(LoadPicture(folder.file("Screenshots/screenshot001_2" + c.ext)), 512, 512).pixels);
}

const std::pair<std::string, std::string> Masters{"", "content=Morrowind.esm\ncontent=Tribunal.esm\n"};
// 0.48 and later: the file beside the program names the user's folder.
const std::pair<std::string, std::string> Chain048{"BIN/openmw.cfg", "user-data=\"?userdata?\"\nconfig=\"?userconfig?\"\n"};

const EngineCase kEngineCases[] = {
#ifdef _WIN32
    EngineCase{"windows_047", {{"DOCS/My Games/OpenMW/openmw.cfg", "data=\"DATA\"\r\n" + Masters.second}},
               "DOCS/My Games/OpenMW/openmw.cfg", "DOCS/My Games/OpenMW/screenshots", ".png"},
    EngineCase{"windows_049_unquoted_jpg_written_slowly",
               {Chain048, {"DOCS/My Games/OpenMW/openmw.cfg", "data=DATA\r\n" + Masters.second},
                {"DOCS/My Games/OpenMW/settings.cfg", "[General]\r\nscreenshot format = jpg\r\n"}},
               "DOCS/My Games/OpenMW/openmw.cfg", "DOCS/My Games/OpenMW/screenshots", ".jpg", "1300"},
#else
    EngineCase{"quoted_047", {{"HOME/.config/openmw/openmw.cfg", "data=\"DATA\"\n" + Masters.second}},
               "HOME/.config/openmw/openmw.cfg", "HOME/.local/share/openmw/screenshots", ".png"},
    EngineCase{"unquoted_049_written_slowly", {Chain048, {"HOME/.config/openmw/openmw.cfg", "data=DATA\n" + Masters.second}},
               "HOME/.config/openmw/openmw.cfg", "HOME/.local/share/openmw/screenshots", ".png", "1300"},
    EngineCase{"jpg_049_user_data_written_slowly",
               {Chain048, {"HOME/.config/openmw/openmw.cfg", "data=DATA\nuser-data=ROOT/saves\n" + Masters.second},
                {"HOME/.config/openmw/settings.cfg", "[General]\nscreenshot format = jpg\n"}},
               "HOME/.config/openmw/openmw.cfg", "ROOT/saves/screenshots", ".jpg", "1300"},
    EngineCase{"tga_050", {Chain048, {"HOME/.config/openmw/openmw.cfg", "data=DATA\n" + Masters.second},
                           {"HOME/.config/openmw/settings.cfg", "[General]\nscreenshot format = tga\n"}},
               "HOME/.config/openmw/openmw.cfg", "HOME/.local/share/openmw/screenshots", ".tga"},
    // The Flatpak: flatpak run starts the engine inside its folders.
    EngineCase{"flatpak", {{"APP/config/openmw/openmw.cfg", "data=DATA\n" + Masters.second},
                           {"BIN/flatpak", "#!/bin/sh\nXDG_CONFIG_HOME=APP/config XDG_DATA_HOME=APP/data exec BIN/openmw\n"}},
               "APP/config/openmw/openmw.cfg", "APP/data/openmw/screenshots", ".png"},
#endif
};
INSTANTIATE_TEST_SUITE_P(Rows, OpenEngineSession, ::testing::ValuesIn(kEngineCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace glintbook::test
