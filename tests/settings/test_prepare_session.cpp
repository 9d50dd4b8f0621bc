#include <gtest/gtest.h>

#include <string>

#include "platform/failure.h"
#include "settings/catalogue.h"
#include "settings/prepare_session.h"
#include "settings/settings_file.h"
#include "support/controls.h"
#include "support/game_folder.h"

namespace glintbook {
namespace {

Choices Album(int k) { return test::AlbumControls(k); }

std::string Own(const std::string& key) { return ReadSettingText(section::Own, key); }
int Counter() { return ReadSettingInt(section::General, key::ScreenShotIndex); }

// A game folder without the expansion and with the plug-in it needs.
struct PrepareSessionTest : ::testing::Test {
    test::GameFolder game;
    PrepareSessionTest() { game.write("Data Files/Glintbook.esp", ""); }
};

TEST_F(PrepareSessionTest, FirstRunWritesDefaultsInOrderAndPointsCounter) {
    PrepareSession(Album(3));
    const std::string ini = game.read("Morrowind.ini");
    const auto at = [&](const char* k) { return ini.find(std::string(k) + "="); };
    EXPECT_LT(at("Screen Shot Enable"), at("Screen Shot Index"));
    EXPECT_LT(at("Album1Index"), at("Album2Index"));
    EXPECT_LT(at("Album3Index"), at("Album4Index"));
    EXPECT_LT(at("Album4Index"), at("EverRun"));
    EXPECT_NE(at("EverRun"), std::string::npos);
    EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotEnable), "1");
    EXPECT_EQ(Counter(), 50);
    for (int k = 1; k <= 4; ++k) EXPECT_EQ(Own(AlbumIndexKey(k)), "0");
    EXPECT_EQ(Own("EverRun"), "1");
}

TEST_F(PrepareSessionTest, MarkerZeroOrAbsentResetsHandSetIndexes) {
    for (const char* marker : {"", "EverRun=0\r\n"}) {
        game.write("Morrowind.ini", std::string("[Glintbook]\r\n") + marker + "Album2Index=9\r\nAlbum4Index=3\r\n");
        PrepareSession(Album(2));
        EXPECT_EQ(Own("Album2Index"), "0") << marker;
        EXPECT_EQ(Own("Album4Index"), "0") << marker;
        EXPECT_EQ(Counter(), 25) << marker;
    }
}

TEST_F(PrepareSessionTest, LaterRunWritesOnlyTheCounter) {
    game.write("Morrowind.ini",
               "[General]\r\nScreen Shot Index=3\r\n[Glintbook]\r\nEverRun=1\r\nAlbum1Index=4\r\nAlbum2Index=7\r\n");
    PrepareSession(Album(2));
    EXPECT_EQ(game.read("Morrowind.ini"),
              "[General]\r\nScreen Shot Index=32\r\n[Glintbook]\r\nEverRun=1\r\nAlbum1Index=4\r\nAlbum2Index=7\r\n");
}

TEST_F(PrepareSessionTest, AnyNonZeroMarkerSkipsDefaults) {
    for (const char* marker : {"1", "2", "-1"}) {
        game.write("Morrowind.ini", std::string("[Glintbook]\r\nEverRun=") + marker + "\r\n");
        PrepareSession(Album(4));
        EXPECT_EQ(Counter(), 75) << marker;  // the absent index reads as 0
        EXPECT_EQ(Own("Album4Index"), "") << marker;
        EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotEnable), "") << marker;
        EXPECT_EQ(Own("EverRun"), marker);
    }
}

TEST(PrepareSessionPlugin, OnlyTheVariantTheInstallationNeedsCounts) {
    struct Case { bool expansion; const char* plugin; bool passes; };
    for (const Case& c : {Case{true, "Glintbook.esp", false}, Case{false, "Glintbook_TB.esp", false},
                          Case{true, "Glintbook_TB.esp", true}, Case{false, "Glintbook.esp", true}}) {
        test::GameFolder game;
        const std::string ini = "[General]\r\nScreen Shot Index=9\r\n[Glintbook]\r\nEverRun=1\r\nAlbum1Index=5\r\n";
        game.write("Morrowind.ini", ini);
        if (c.expansion) game.write("Data Files/Tribunal.esm", "");
        game.write(std::string("Data Files/") + c.plugin, "");
        if (c.passes) {
            PrepareSession(Album(1));
            EXPECT_EQ(Counter(), 5) << c.plugin;
        } else {
            EXPECT_THROW(PrepareSession(Album(1)), ProgramEnd) << c.plugin;
            EXPECT_EQ(game.read("Morrowind.ini"), ini) << c.plugin;
        }
    }
}

TEST(PrepareSessionPlugin, MissingPluginOnFirstRunKeepsDefaults) {
    test::GameFolder game;
    game.write("Morrowind.ini", "[Glintbook]\r\nAlbum3Index=12\r\n");
    try {
        PrepareSession(Album(3));
        ADD_FAILURE() << "the program should have ended";
    } catch (const ProgramEnd& end) {
        EXPECT_EQ(end.status, 0);
    }
    EXPECT_EQ(Own("EverRun"), "1");
    EXPECT_EQ(Own("Album3Index"), "0");
    EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotIndex), "0");
}

TEST_F(PrepareSessionTest, AlbumFullAtCapacityOnly) {
    struct Case { int album; const char* index; bool ends; int counter; };
    for (const Case& c : {Case{1, "25", true, 0}, Case{4, "25", true, 0}, Case{2, "1000", true, 0},
                          Case{4, "24", false, 99}, Case{2, "24", false, 49}, Case{1, "-3", false, -3},
                          Case{3, "-60", false, -10}}) {
        const std::string ini = "[General]\r\nScreen Shot Index=8\r\n[Glintbook]\r\nEverRun=1\r\n" +
                                AlbumIndexKey(c.album) + "=" + c.index + "\r\n";
        game.write("Morrowind.ini", ini);
        if (c.ends) {
            EXPECT_THROW(PrepareSession(Album(c.album)), ProgramEnd) << c.index;
            EXPECT_EQ(game.read("Morrowind.ini"), ini);
        } else {
            PrepareSession(Album(c.album));
            EXPECT_EQ(Counter(), c.counter) << c.album << " " << c.index;
        }
    }
}

TEST_F(PrepareSessionTest, FirstSelectedAlbumWinsAndNoneWritesNoCounter) {
    const std::string ini = "[General]\r\nScreen Shot Index=8\r\n[Glintbook]\r\nEverRun=1\r\nAlbum3Index=40\r\n";
    game.write("Morrowind.ini", ini);
    PrepareSession(Album(0));
    EXPECT_EQ(game.read("Morrowind.ini"), ini);
}

TEST_F(PrepareSessionTest, SecondCallSkipsFirstRunAndRewritesCounter) {
    PrepareSession(Album(1));
    WriteSetting(section::Own, "Album1Index", "6");  // as if edited between the two calls
    PrepareSession(Album(1));
    EXPECT_EQ(Own("Album1Index"), "6");
    EXPECT_EQ(Counter(), 6);
}

}  // namespace
}  // namespace glintbook
