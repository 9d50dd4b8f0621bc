// The Start button's checks, their order and messages, and what a launch
// writes and starts.
#include "platform/failure.h"
#include "session/launch.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/controls.h"
#include "support/game_folder.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

namespace glintbook {
namespace {

using test::GameFolder;

Choices Album(int k) { return test::AlbumControls(k); }

// A stand-in game that notes where it was started and ends.
void InstallGame(const GameFolder& folder) {
    folder.write("Morrowind.exe", "#!/bin/sh\npwd > started.txt\n");
    std::filesystem::permissions(folder.file("Morrowind.exe"), std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add);
}

bool WaitFor(const GameFolder& folder, const std::string& name) {
    for (int i = 0; i < 200; ++i) {
        if (folder.exists(name) && !folder.read(name).empty()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

TEST(Launch, ChecksComeInOrderAndStopBeforeAnythingIsWritten) {
    GameFolder folder;
    const std::string ini = "[Glintbook]\r\nEverRun=1\r\nAlbum1Index=25\r\n";
    folder.write("Morrowind.ini", ini);
    // Game and plug-in missing, album full: only the game is named.
    EXPECT_EQ(LaunchGame(Album(1)), std::optional<std::string>(GameMissingText));
    InstallGame(folder);
    EXPECT_EQ(LaunchGame(Album(1)), std::optional<std::string>(PluginMissingText));
    folder.write("Data Files/Glintbook.esp", "");
    EXPECT_EQ(LaunchGame(Album(1)), std::optional<std::string>(AlbumFullText));
    EXPECT_EQ(folder.read("Morrowind.ini"), ini);
    EXPECT_FALSE(folder.exists("started.txt"));
    EXPECT_EQ(std::string(GameMissingText), "Morrowind.exe cannot be found in this folder.");
    EXPECT_EQ(std::string(PluginMissingText), "The appropriate Glintbook ESP could not be found.");
    EXPECT_EQ(std::string(AlbumFullText), "The currently selected album is full.");
}

TEST(Launch, TheOtherPluginVariantNeverCounts) {
    GameFolder folder;
    InstallGame(folder);
    folder.write("Data Files/Tribunal.esm", "");
    folder.write("Data Files/Glintbook.esp", "");
    EXPECT_EQ(LaunchGame(Album(1)), std::optional<std::string>(PluginMissingText));
    GameFolder other;
    InstallGame(other);
    other.write("Data Files/Glintbook_TB.esp", "");
    EXPECT_EQ(LaunchGame(Album(1)), std::optional<std::string>(PluginMissingText));
    EXPECT_FALSE(other.exists("Morrowind.ini"));
}

TEST(Launch, StartsTheGameInItsFolderAfterPreparingAndRegistering) {
    GameFolder folder;
    InstallGame(folder);
    folder.write("Data Files/Tribunal.esm", "");
    folder.write("Data Files/Glintbook_TB.esp", "");
    folder.write("Morrowind.ini", "[Game Files]\r\nGameFile0=Morrowind.esm\r\n[Glintbook]\r\nEverRun=1\r\nAlbum4Index=24\r\n");
    EXPECT_EQ(LaunchGame(Album(4)), std::nullopt);
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 99);
    EXPECT_EQ(ReadSettingText(section::GameFiles, "GameFile1"), "Glintbook_TB.esp");
    ASSERT_TRUE(WaitFor(folder, "started.txt"));
    EXPECT_EQ(folder.read("started.txt"), std::filesystem::canonical(folder.path()).string() + "\n");
}

TEST(Launch, AMissingIndexCountsAsZeroAndFirstRunResetsTheAlbums) {
    GameFolder folder;
    InstallGame(folder);
    folder.write("Data Files/Glintbook.esp", "");
    folder.write("Morrowind.ini", "[Glintbook]\r\nAlbum1Index=9\r\n");
    EXPECT_EQ(LaunchGame(Album(3)), std::nullopt);
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 50);
    EXPECT_EQ(ReadSettingInt(section::Own, "Album1Index"), 0);
    EXPECT_EQ(ReadSettingInt(section::Own, key::EverRun), 1);
    EXPECT_TRUE(WaitFor(folder, "started.txt"));
}

TEST(Launch, AGameThatCannotBeStartedIsAFailureAfterTheWrites) {
    GameFolder folder;
    folder.write("Morrowind.exe", "neither a program nor a Windows image");
    folder.write("Data Files/Glintbook.esp", "");
    folder.write("Morrowind.ini", "[Glintbook]\r\nEverRun=1\r\nAlbum2Index=7\r\n");
    EXPECT_THROW(LaunchGame(Album(2)), Failure);
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 32);
    EXPECT_EQ(ReadSettingText(section::GameFiles, "GameFile0"), "Glintbook.esp");
}

}  // namespace
}  // namespace glintbook
