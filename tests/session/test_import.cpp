// The album's files: a screenshot taken into the album, an album cleared, a
// session closed. Each row is a game folder before and what it holds after.
#include "imaging/picture_io.h"
#include "imaging/resample_oracle.h"
#include "platform/failure.h"
#include "session/clear_album.h"
#include "session/close_session.h"
#include "session/import.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

namespace glintbook::test {
namespace {

using Files = std::map<std::string, std::string>;  // relative path -> bytes

struct Import {
    const char* name;
    std::string general;  // [General] lines after "Screen Shot Enable=1"
    std::string shot;     // the screenshot the game saved
    Choices choices;
    ImportOutcome outcome;
    std::string archive;                  // where the screenshot's copy goes
    std::vector<std::string> written;     // pictures the import writes
    std::string iniAfter = "";            // "" for unchanged
    Files before = {};                    // files already there, which stay as they are
};
void PrintTo(const Import& c, std::ostream* os) { *os << c.name; }

std::string Ini(const std::string& general) {
    return "[General]\r\nScreen Shot Enable=1\r\n" + general + "[Glintbook]\r\nAlbum1Index=24\r\nAlbum4Index=24\r\n";
}

class ImportTest : public ::testing::TestWithParam<Import> {};

TEST_P(ImportTest, FilesAndSettingsAfter) {
    const Import& c = GetParam();
    GameFolder folder;
    InstallGame(folder, Ini(c.general));
    for (const auto& [name, bytes] : c.before) folder.write(name, bytes);
    SaveShot(folder, c.shot, 96, 64);
    const std::string shot = folder.read(c.shot);

    EXPECT_EQ(ImportScreenshot(c.choices), c.outcome);

    EXPECT_FALSE(folder.exists(c.shot));
    EXPECT_EQ(folder.read(c.archive), shot);
    for (const std::string& name : c.written) EXPECT_TRUE(folder.exists(name)) << name;
    for (const auto& [name, bytes] : c.before) EXPECT_EQ(folder.read(name), bytes) << name;
    EXPECT_EQ(folder.read("Morrowind.ini"), c.iniAfter.empty() ? Ini(c.general) : c.iniAfter);
}

const std::string Texture0 = "Data Files/Textures/qor_tx_photo_0.bmp";
const Choices Album1{1, 512, false}, Loop1{1, 512, true}, Album4{4, 512, false}, Loop4{4, 512, true};

INSTANTIATE_TEST_SUITE_P(Rows, ImportTest, ::testing::Values(
    Import{"first_picture", "Screen Shot Base Name=ScreenShot\r\nScreen Shot Index=1\r\n", "ScreenShot 0.bmp", Album1,
           ImportOutcome::Done, "Screenshots/ScreenShot 0_0.bmp", {Texture0, "Data Files/BookArt/Photo 1.bmp"}},
    Import{"first_free_serial", "Screen Shot Base Name=ScreenShot\r\nScreen Shot Index=8\r\n", "ScreenShot 7.bmp", Album1,
           ImportOutcome::Done, "Screenshots/ScreenShot 7_2.bmp", {"Data Files/BookArt/Photo 8.bmp"}, "",
           {{"Screenshots/ScreenShot 7_0.bmp", "first"}, {"Screenshots/ScreenShot 7_1.bmp", "second"},
            {"Screenshots/ScreenShot 7_3.bmp", "fourth"}}},
    Import{"no_resolution_no_texture", "Screen Shot Index=5\r\n", " 4.bmp", Choices{1, 0, false}, ImportOutcome::Done,
           "Screenshots/ 4_0.bmp", {"Data Files/BookArt/Photo 5.bmp"}, "",
           {{"Data Files/Textures/qor_tx_photo_4.bmp", "stock"}}},
    Import{"no_base_name", "Screen Shot Index=1\r\n", " 0.bmp", Album1, ImportOutcome::Done, "Screenshots/ 0_0.bmp",
           {Texture0, "Data Files/BookArt/Photo 1.bmp"}},
    Import{"room_left", "Screen Shot Index=30\r\n", " 29.bmp", Choices{2, 512, false}, ImportOutcome::Done,
           "Screenshots/ 29_0.bmp", {"Data Files/BookArt/Photo 30.bmp"}},
    Import{"beyond_another_albums_end", "Screen Shot Index=30\r\n", " 29.bmp", Album1, ImportOutcome::AlbumClosed,
           "Screenshots/ 29_0.bmp", {"Data Files/BookArt/Photo 30.bmp"}},
    Import{"full_album_closes", "Screen Shot Index=25\r\n", " 24.bmp", Album1, ImportOutcome::AlbumClosed,
           "Screenshots/ 24_0.bmp", {"Data Files/BookArt/Photo 25.bmp"}},
    Import{"full_last_album_closes", "Screen Shot Index=100\r\n", " 99.bmp", Album4, ImportOutcome::AlbumClosed,
           "Screenshots/ 99_0.bmp", {"Data Files/BookArt/Photo 100.bmp"}},
    Import{"full_album_loops", "Screen Shot Index=25\r\n", " 24.bmp", Loop1, ImportOutcome::Done,
           "Screenshots/ 24_0.bmp", {"Data Files/BookArt/Photo 25.bmp"},
           "[General]\r\nScreen Shot Enable=1\r\nScreen Shot Index=0\r\n[Glintbook]\r\nAlbum1Index=0\r\nAlbum4Index=24\r\n"},
    Import{"full_last_album_loops", "Screen Shot Index=100\r\n", " 99.bmp", Loop4, ImportOutcome::Done,
           "Screenshots/ 99_0.bmp", {"Data Files/Textures/qor_tx_photo_99.bmp"},
           "[General]\r\nScreen Shot Enable=1\r\nScreen Shot Index=75\r\n[Glintbook]\r\nAlbum1Index=24\r\nAlbum4Index=0\r\n"}),
    [](const auto& info) { return std::string(info.param.name); });

// The pictures are the area averages of the screenshot, at the chosen size.
TEST(ImportPictures, AreTheOraclesAverages) {
    GameFolder folder;
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=Shot\r\nScreen Shot Index=33\r\n");
    const Picture shot = TestPicture(800, 600, 7);
    SavePicture(shot, folder.file("Shot 32.bmp"));
    ImportScreenshot(Choices{2, 1024, false});
    EXPECT_EQ(Differences(OracleResize(shot, 1024, 1024), LoadPicture(folder.file("Data Files/Textures/qor_tx_photo_32.bmp"))), "");
    EXPECT_EQ(Differences(OracleResize(shot, 512, 512), LoadPicture(folder.file("Data Files/BookArt/Photo 33.bmp"))), "");
}

struct Clear {
    const char* name;
    int album;
    bool stock;
    std::string before;        // Morrowind.ini; "" for none
    std::string after;         // Morrowind.ini afterwards; "" for none
    int failure = 0;           // the error number of a failing copy
    int stocked = 25;          // how many of the album's textures are the stock one afterwards
    int blocked = -1;          // a texture number with a folder in its place
    int presses = 1;
};
void PrintTo(const Clear& c, std::ostream* os) { *os << c.name; }

class ClearTest : public ::testing::TestWithParam<Clear> {};

std::string TexturePath(int t) { return "Data Files/Textures/qor_tx_photo_" + std::to_string(t) + ".bmp"; }

TEST_P(ClearTest, TexturesAndSettingsAfter) {
    const Clear& c = GetParam();
    GameFolder folder;
    InstallGame(folder, c.before, Kit{.stock = c.stock});
    if (c.before.empty()) std::filesystem::remove(folder.file("Morrowind.ini"));
    folder.write(TexturePath(24), "album 1's last picture");
    folder.write(TexturePath(50), "album 3's first picture");
    folder.write("Data Files/BookArt/Photo 31.bmp", "book art");
    if (c.blocked >= 0) folder.mkdir(TexturePath(c.blocked));
    for (int i = 0; i < c.presses; ++i) {
        if (c.failure) {
            EXPECT_EQ(FailureOf([&] { ClearAlbum(c.album); }).number(), c.failure);
        } else {
            ClearAlbum(c.album);
        }
    }
    const int first = AlbumOffset(c.album);
    for (int t = 0; t < 100; ++t) {
        const bool cleared = t >= first && t < first + c.stocked;
        if (cleared) {
            EXPECT_EQ(folder.read(TexturePath(t)), Stock) << t;
        } else if (t == 24 || t == 50) {
            EXPECT_NE(folder.read(TexturePath(t)), Stock) << t;
        } else if (t != c.blocked) {
            EXPECT_FALSE(folder.exists(TexturePath(t))) << t;
        }
    }
    EXPECT_EQ(folder.read("Data Files/BookArt/Photo 31.bmp"), "book art");
    EXPECT_EQ(folder.exists("Morrowind.ini") ? folder.read("Morrowind.ini") : "", c.after);
}

const std::string Thirteen = "[General]\r\nScreen Shot Index=38\r\n[Glintbook]\r\nAlbum1Index=6\r\nAlbum2Index=13\r\n";

INSTANTIATE_TEST_SUITE_P(Rows, ClearTest, ::testing::Values(
    Clear{"album_two", 2, true, Thirteen,
          "[General]\r\nScreen Shot Index=25\r\n[Glintbook]\r\nAlbum1Index=6\r\nAlbum2Index=0\r\n"},
    Clear{"twice_is_once", 4, true, "[Glintbook]\r\nAlbum4Index=9\r\n",
          "[Glintbook]\r\nAlbum4Index=0\r\n[General]\r\nScreen Shot Index=75\r\n", 0, 25, -1, 2},
    Clear{"album_one_copies_first", 1, true, "", "[General]\r\nScreen Shot Index=0\r\n[Glintbook]\r\nAlbum1Index=0\r\n"},
    Clear{"album_one_without_stock_keeps_its_settings", 1, false, Thirteen, Thirteen, ErrFileNotFound, 0},
    Clear{"album_two_without_stock_is_reset_already", 2, false, Thirteen,
          "[General]\r\nScreen Shot Index=25\r\n[Glintbook]\r\nAlbum1Index=6\r\nAlbum2Index=0\r\n", ErrFileNotFound, 0},
    Clear{"a_copy_failing_halfway_keeps_the_copies_before", 1, true, "", "", ErrPathFileAccess, 7, 7}),
    [](const auto& info) { return std::string(info.param.name); });

struct Close {
    int album;
    const char* counter;  // nullptr: no "Screen Shot Index"
    const char* stored;   // the album's index afterwards; nullptr: nothing stored
};
void PrintTo(const Close& c, std::ostream* os) { *os << "album " << c.album << " counter " << (c.counter ? c.counter : "none"); }

class CloseTest : public ::testing::TestWithParam<Close> {};

TEST_P(CloseTest, StoresTheCounterLessTheOffsetAndEnds) {
    const Close& c = GetParam();
    GameFolder folder;
    std::string ini = "[Glintbook]\r\nAlbum1Index=11\r\nAlbum2Index=12\r\nAlbum3Index=13\r\nAlbum4Index=14\r\n";
    if (c.counter) ini += std::string("[General]\r\nScreen Shot Index=") + c.counter + "\r\n";
    folder.write("Morrowind.ini", ini);
    try {
        CloseSession(Choices{c.album, 512, false});
        ADD_FAILURE() << "the program should have ended";
    } catch (const ProgramEnd& end) {
        EXPECT_EQ(end.status, 0);
    }
    for (int k = 1; k <= 4; ++k)
        EXPECT_EQ(ReadSettingText(section::Own, AlbumIndexKey(k)), k == c.album ? c.stored : DecimalText(10 + k)) << k;
}

INSTANTIATE_TEST_SUITE_P(Rows, CloseTest, ::testing::Values(
    Close{2, "32", "7"}, Close{1, "25", "25"}, Close{3, "12", "-38"}, Close{1, nullptr, "0"}, Close{4, nullptr, "-75"},
    Close{4, "100", "25"}, Close{0, "30", nullptr}));

}  // namespace
}  // namespace glintbook::test
