// The program's own access to Morrowind.ini in the current directory.
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace glintbook::test {
namespace {

TEST(SettingsFile, AbsentFileReadsZeroAndEmptyAndIsNotCreated) {
    GameFolder folder;
    EXPECT_EQ(SettingsFile(), folder.path() + "/Morrowind.ini");
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 0);
    EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotBaseName), "");
    EXPECT_FALSE(folder.exists("Morrowind.ini"));
}

TEST(SettingsFile, WritesCreateAndKeepTheirText) {
    GameFolder folder;
    WriteSetting(section::Own, AlbumIndexKey(2), DecimalText(-3));
    EXPECT_EQ(folder.read("Morrowind.ini"), "[Glintbook]\r\nAlbum2Index=-3\r\n");
    EXPECT_EQ(ReadSettingInt(section::Own, AlbumIndexKey(2)), -3);
    WriteSetting(section::Own, key::EverRun, "");
    EXPECT_EQ(folder.read("Morrowind.ini"), "[Glintbook]\r\nAlbum2Index=-3\r\nEverRun=\r\n");
    EXPECT_EQ(ReadSettingInt(section::Own, key::EverRun), 0);

    const std::string longText(300, 'n');
    WriteSetting(section::General, key::ScreenShotBaseName, longText);
    EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotBaseName), longText.substr(0, 255));
    EXPECT_NE(folder.read("Morrowind.ini").find(longText + "\r\n"), std::string::npos);
}

TEST(SettingsFile, FollowsTheCurrentDirectory) {
    GameFolder folder;
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=1\r\n");
    folder.write("Other/Morrowind.ini", "[General]\r\nScreen Shot Index=2\r\n");
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 1);
    std::filesystem::current_path(folder.file("Other"));
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 2);
    WriteSetting(section::General, key::ScreenShotIndex, "3");
    std::filesystem::current_path(folder.path());
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 1);
    EXPECT_EQ(folder.read("Other/Morrowind.ini"), "[General]\r\nScreen Shot Index=3\r\n");
}

TEST(SettingsFile, ReadOnlyFileIsLeftAloneSilently) {
    GameFolder folder;
    const std::string text = "[General]\r\nScreen Shot Index=1\r\n";
    folder.write("Morrowind.ini", text);
    ASSERT_EQ(::chmod(SettingsFile().c_str(), 0444), 0);
    EXPECT_NO_THROW(WriteSetting(section::General, key::ScreenShotIndex, "2"));
    EXPECT_NO_THROW(WriteSetting(section::Own, key::EverRun, "1"));
    EXPECT_EQ(folder.read("Morrowind.ini"), text);
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 1);
}

TEST(SettingsFile, ReadOnlyFolderIsLeftAloneSilently) {
    GameFolder folder;
    const std::string text = "[General]\r\nScreen Shot Index=1\r\n";
    folder.write("Morrowind.ini", text);
    ASSERT_EQ(::chmod(folder.path().c_str(), 0555), 0);
    if (::access(folder.path().c_str(), W_OK) == 0)
        GTEST_SKIP() << "this user (root) may write into a read-only folder; the read-only file case still runs";
    EXPECT_NO_THROW(WriteSetting(section::General, key::ScreenShotIndex, "2"));
    EXPECT_EQ(folder.read("Morrowind.ini"), text);
}

}  // namespace
}  // namespace glintbook::test
