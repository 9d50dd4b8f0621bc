// The Start button: its checks in their order with their messages, and what
// a launch writes and starts.
#include "platform/failure.h"
#include "session/launch.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace glintbook::test {
namespace {

const std::string Game = "Morrowind.exe", Plain = "Data Files/Glintbook.esp", Tb = "Data Files/Glintbook_TB.esp",
                  Expansion = "Data Files/Tribunal.esm";

struct Launch {
    const char* name;
    std::string ini;
    std::vector<std::string> files;
    int album;
    std::string message;   // "" when the game starts
    std::string iniAfter = "";  // "" for unchanged
};
void PrintTo(const Launch& c, std::ostream* os) { *os << c.name; }

// The game simulator stands in for the game: it notes in started.txt where
// it was started, and quits.
class LaunchTest : public ::testing::TestWithParam<Launch> {
protected:
    LaunchTest() {
        SetEnvironment("GAME_SIM_SCRIPT", "quit");
        SetEnvironment("GAME_SIM_LOG", "started.txt");
    }
    ~LaunchTest() override {
        SetEnvironment("GAME_SIM_SCRIPT", "");
        SetEnvironment("GAME_SIM_LOG", "");
    }
};

TEST_P(LaunchTest, ChecksThenWritesAndStarts) {
    const Launch& c = GetParam();
    GameFolder folder;
    folder.write("Morrowind.ini", c.ini);
    for (const std::string& f : c.files) folder.write(f, "");
    if (folder.exists(Game) && std::filesystem::remove(folder.file(Game)))
        std::filesystem::copy_file(GAME_SIM_PATH, folder.file(Game));
    EXPECT_EQ(LaunchGame(Choices{c.album, 512, false}).value_or(""), c.message);
    EXPECT_EQ(folder.read("Morrowind.ini"), c.iniAfter.empty() ? c.ini : c.iniAfter);
    if (!c.message.empty()) {
        EXPECT_FALSE(folder.exists("started.txt"));
        return;
    }
    const std::string log = "start in " + std::filesystem::canonical(folder.path()).string() + "\nquit\n";
    for (int i = 0; i < 500 && !(folder.exists("started.txt") && folder.read("started.txt") == log); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(folder.read("started.txt"), log);
}

const std::string Full = "[Glintbook]\r\nEverRun=1\r\nAlbum1Index=25\r\n";
const std::string GameMissing = "Morrowind.exe cannot be found in this folder.",
                  PluginMissing = "The appropriate Glintbook ESP could not be found.",
                  AlbumFull = "The currently selected album is full.";

INSTANTIATE_TEST_SUITE_P(Rows, LaunchTest, ::testing::Values(
    Launch{"no_game_hides_everything_else", Full, {}, 1, GameMissing},
    Launch{"no_plugin_hides_a_full_album", Full, {Game}, 1, PluginMissing},
    Launch{"full_album", Full, {Game, Plain}, 1, AlbumFull},
    Launch{"expansion_needs_its_own_plugin", "", {Game, Expansion, Plain}, 1, PluginMissing},
    Launch{"no_expansion_needs_the_plain_plugin", "", {Game, Tb}, 1, PluginMissing},
    Launch{"starts_with_the_expansion", "[Game Files]\r\nGameFile0=Morrowind.esm\r\n[Glintbook]\r\nEverRun=1\r\nAlbum4Index=24\r\n",
           {Game, Expansion, Tb}, 4, "",
           "[Game Files]\r\nGameFile0=Morrowind.esm\r\nGameFile1=Glintbook_TB.esp\r\n[Glintbook]\r\nEverRun=1\r\n"
           "Album4Index=24\r\n[General]\r\nScreen Shot Index=99\r\n"},
    Launch{"first_run_resets_and_a_missing_index_is_zero", "[Glintbook]\r\nAlbum1Index=9\r\n", {Game, Plain}, 3, "",
           "[Glintbook]\r\nAlbum1Index=0\r\nAlbum2Index=0\r\nAlbum3Index=0\r\nAlbum4Index=0\r\nEverRun=1\r\n"
           "[General]\r\nScreen Shot Index=50\r\nScreen Shot Enable=1\r\n[Game Files]\r\nGameFile0=Glintbook.esp\r\n"}),
    [](const auto& info) { return std::string(info.param.name); });

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
