#include <cstddef>  // picture.h uses size_t without including it

#include "imaging/picture_io.h"
#include "platform/processes.h"
#include "sim_process.h"
#include "support/game_folder.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <utility>

using namespace glintbook::test;
using glintbook::LoadPicture;

namespace {

std::string Ini(const std::string& enable, const std::string& baseName, const std::string& index) {
    return "; the game's settings\r\n[General]\r\nScreen Shot Enable=" + enable +
           "\r\nScreen Shot Base Name=" + baseName + "\r\nScreen Shot Index=" + index +
           "\r\n\r\n[Game Files]\r\nGameFile0=Morrowind.esm\r\n";
}

struct GameSim : ::testing::Test {
    GameSim() { folder.write("Morrowind.ini", Ini("1", "ScreenShot", "7")); }
    using Strings = std::vector<std::string>;
    std::unique_ptr<ChildProcess> Start(Strings args = {"Morrowind.exe"}, Strings env = {}) {
        return std::make_unique<ChildProcess>(GAME_SIM_PATH, args, env);
    }
    void Command(const std::string& line) { Append(folder.file("game-sim.commands"), line + "\n"); }
    GameFolder folder;
};

}  // namespace

TEST_F(GameSim, EachShotIsWrittenWholeThenTheIndexMovesOn) {
    auto sim = Start();
    sim->Send("shot");
    EXPECT_EQ(sim->WaitForLine("shot"), "shot ScreenShot 7.bmp 800x600");
    const auto first = LoadPicture(folder.file("ScreenShot 7.bmp"));
    EXPECT_EQ(std::pair(first.width, first.height), std::pair(800, 600));
    EXPECT_EQ(folder.read("Morrowind.ini"), Ini("1", "ScreenShot", "8"));

    for (const char* bad : {"shot 0x5", "shot 20000x10", "shot 64", "shot 6x4x2", "wait -1", "jump", "quit now"}) {
        sim->Send(bad);
        EXPECT_EQ(sim->WaitForLine("bad"), std::string("bad command ignored: ") + bad);
    }
    sim->Send("  shot 64x48\r");
    EXPECT_EQ(sim->WaitForLine("shot"), "shot ScreenShot 8.bmp 64x48");
    EXPECT_EQ(LoadPicture(folder.file("ScreenShot 8.bmp")).width, 64);

    sim->Send("shot");
    EXPECT_EQ(sim->WaitForLine("shot"), "shot ScreenShot 9.bmp 800x600");
    EXPECT_NE(LoadPicture(folder.file("ScreenShot 9.bmp")).pixels, first.pixels);
    EXPECT_EQ(folder.read("Morrowind.ini"), Ini("1", "ScreenShot", "10"));

    sim->CloseInput();  // not a quit: it goes on with the control file
    Command("shot 8x8");
    EXPECT_EQ(sim->WaitForLine("shot"), "shot ScreenShot 10.bmp 8x8");
}

TEST_F(GameSim, SettingsAreReadAfreshForEveryShot) {
    auto sim = Start();
    for (const char* enable : {"0", "2", ""}) {
        folder.write("Morrowind.ini", Ini(enable, "ScreenShot", "7"));
        sim->Send("shot");
        EXPECT_EQ(sim->WaitForLine("shot"), "shot ignored: Screen Shot Enable is not 1");
        EXPECT_EQ(folder.read("Morrowind.ini"), Ini(enable, "ScreenShot", "7"));
    }
    folder.write("Morrowind.ini", Ini("1", "", "7"));
    sim->Send("shot 2x2");
    EXPECT_EQ(sim->WaitForLine("shot"), "shot  7.bmp 2x2");
    EXPECT_TRUE(folder.exists(" 7.bmp"));
    EXPECT_FALSE(folder.exists("ScreenShot 7.bmp"));

    folder.write("Morrowind.ini", Ini("1", "shots\\ScreenShot", "-1"));  // no such folder yet
    sim->Send("shot 2x2");
    EXPECT_EQ(sim->WaitForLine("shot").substr(0, 11), "shot failed");
    EXPECT_EQ(folder.read("Morrowind.ini"), Ini("1", "shots\\ScreenShot", "-1"));
    folder.mkdir("shots");
    sim->Send("shot 2x2");
    EXPECT_EQ(sim->WaitForLine("shot"), "shot shots\\ScreenShot -1.bmp 2x2");
    EXPECT_TRUE(folder.exists("shots/ScreenShot -1.bmp"));
    EXPECT_EQ(folder.read("Morrowind.ini"), Ini("1", "shots\\ScreenShot", "0"));
}

TEST_F(GameSim, ControlFileRunsEachCompleteLineOnce) {
    Append(folder.file("game-sim.commands"), "shot 16x16\nqu");  // written before the game was up
    auto sim = Start();
    EXPECT_EQ(sim->WaitForLine("shot"), "shot ScreenShot 7.bmp 16x16");
    Command("shot 8x8");  // completes "qushot 8x8"
    EXPECT_EQ(sim->WaitForLine("bad"), "bad command ignored: qushot 8x8");
    Command("quit");
    EXPECT_EQ(sim->WaitForExit(), 0);
    EXPECT_EQ(sim->WaitForLine("quit"), "quit");
    EXPECT_FALSE(folder.exists("ScreenShot 8.bmp"));
}

TEST_F(GameSim, ScriptsRunAtTheStartAndQuitEndsThem) {
    folder.write("script.txt", "wait 10\nshot 8x8\nquit\nshot\n");
    auto sim = Start({"Morrowind.exe", "--script", folder.file("script.txt")},
                     {"GAME_SIM_SCRIPT=shot 32x24;bogus ; "});
    EXPECT_EQ(sim->WaitForExit(), 0);
    sim->WaitForLine("start");
    for (const char* line : {"shot ScreenShot 7.bmp 32x24", "bad command ignored: bogus", "wait 10",
                             "shot ScreenShot 8.bmp 8x8", "quit"})
        EXPECT_EQ(sim->WaitForLine(""), line);
    EXPECT_EQ(sim->WaitForLine("", 0ms), "");
}

TEST_F(GameSim, SignalsEndItCleanly) {
    for (int sig : {SIGTERM, SIGINT}) {
        auto sim = Start();
        ASSERT_NE(sim->WaitForLine("start"), "");
        ASSERT_GT(sim->pid, 0);
        ::kill(sim->pid, sig);
        EXPECT_EQ(sim->WaitForExit(), 0);
        EXPECT_EQ(sim->WaitForLine("quit"), "quit on signal " + std::to_string(sig));
    }
}

TEST_F(GameSim, QuitsWhenItsFolderIsRemoved) {
    folder.mkdir("game");
    std::filesystem::current_path(folder.file("game"));
    auto sim = Start();
    std::filesystem::current_path(folder.path());
    ASSERT_NE(sim->WaitForLine("start"), "");
    std::filesystem::remove_all(folder.file("game"));
    EXPECT_EQ(sim->WaitForExit(), 0);
}

TEST_F(GameSim, TwoInstancesShareOneFolderUnderTheGamesName) {
    auto first = Start(), second = Start();
    ASSERT_NE(second->WaitForLine("start"), "");
    const auto names = glintbook::processes::ExecutableNames();
    EXPECT_GE(std::count(names->begin(), names->end(), "Morrowind.exe"), 2);
    first->Send("shot 4x4");
    EXPECT_EQ(first->WaitForLine("shot"), "shot ScreenShot 7.bmp 4x4");
    second->Send("shot 4x4");
    EXPECT_EQ(second->WaitForLine("shot"), "shot ScreenShot 8.bmp 4x4");
}
