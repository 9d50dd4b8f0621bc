#include <gtest/gtest.h>

#include <string>

#include "platform/failure.h"
#include "session/close_session.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/controls.h"
#include "support/game_folder.h"

namespace glintbook {
namespace {

Choices Album(int k) { return test::AlbumControls(k); }

const char* const OtherIndexes = "[Glintbook]\r\nAlbum1Index=11\r\nAlbum2Index=12\r\nAlbum3Index=13\r\nAlbum4Index=14\r\n";

TEST(CloseSession, StoresCounterLessOffsetUnderSelectedAlbumAndEnds) {
    struct Case { int album; const char* counter; const char* stored; };  // counter nullptr: key missing
    for (const Case& c : {Case{2, "32", "7"}, Case{1, "25", "25"}, Case{3, "12", "-38"}, Case{1, nullptr, "0"},
                          Case{4, nullptr, "-75"}, Case{4, "100", "25"}}) {
        test::GameFolder game;
        std::string ini = OtherIndexes;
        if (c.counter) ini += std::string("[General]\r\nScreen Shot Index=") + c.counter + "\r\n";
        game.write("Morrowind.ini", ini);
        try {
            CloseSession(Album(c.album));
            ADD_FAILURE() << "the program should have ended";
        } catch (const ProgramEnd& end) {
            EXPECT_EQ(end.status, 0);
        }
        for (int k = 1; k <= 4; ++k)
            EXPECT_EQ(ReadSettingText(section::Own, AlbumIndexKey(k)), k == c.album ? c.stored : DecimalText(10 + k))
                << "album " << c.album << ", key " << k;
    }
}

TEST(CloseSession, NoAlbumSelectedStoresNothingButStillEnds) {
    test::GameFolder game;
    const std::string ini = std::string(OtherIndexes) + "[General]\r\nScreen Shot Index=30\r\n";
    game.write("Morrowind.ini", ini);
    EXPECT_THROW(CloseSession(Album(0)), ProgramEnd);
    EXPECT_EQ(game.read("Morrowind.ini"), ini);
}

}  // namespace
}  // namespace glintbook
