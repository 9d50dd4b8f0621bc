// Values the program did not write: album indexes edited by hand, odd base
// names, an overlong load list. Nothing crashes, nothing outside the game
// folder is written, and numbers convert as the settings layer reads them.
#include "session/import.h"
#include "imaging/picture_io.h"
#include "platform/failure.h"
#include "session/monitor.h"
#include "settings/catalogue.h"
#include "settings/prepare_session.h"
#include "settings/register_plugin.h"
#include "settings/settings_file.h"
#include "support/controls.h"
#include "support/game_folder.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace glintbook {
namespace {

namespace fs = std::filesystem;
using test::GameFolder;

Choices Album(int k) { return test::AlbumControls(k); }

// Every file below `root` other than those below `inside`.
std::vector<std::string> FilesOutside(const std::string& root, const std::string& inside) {
    std::vector<std::string> found;
    for (const auto& e : fs::recursive_directory_iterator(root))
        if (e.path().string().rfind(inside, 0) != 0 && e.path().string() != inside) found.push_back(e.path().string());
    return found;
}

TEST(HostileValues, HandEditedAlbumIndexesConvertAsTheLayerReadsThem) {
    struct Case {
        const char* stored;
        int album;
        long long counter;  // -1: the album counts as full and the program ends
    };
    const Case cases[] = {
        {"abc", 2, 25},          {"3.7", 2, 28},       {"0x10", 1, 16},     {"-5", 3, 45},
        {" 12 ", 4, 87},         {"1e3", 1, 1},        {"\"7\"", 2, 32},    {"99999999999", 1, -1},
        {"2147483647", 4, -1},   {"-2147483648", 4, -2147483648LL + 75}, {"4294967296", 3, 50},
        {"25", 1, -1},           {"24", 4, 99},
    };
    for (const Case& c : cases) {
        GameFolder folder;
        folder.write("Data Files/Glintbook.esp", "");
        folder.write("Morrowind.ini", "[Glintbook]\r\nEverRun=1\r\n" + AlbumIndexKey(c.album) + "=" + c.stored + "\r\n");
        if (c.counter == -1) {
            EXPECT_THROW(PrepareSession(Album(c.album)), ProgramEnd) << c.stored;
            EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotIndex), "") << c.stored;
        } else {
            PrepareSession(Album(c.album));
            EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotIndex), DecimalText(c.counter)) << c.stored;
        }
    }
}

class BaseNames : public ::testing::Test {
protected:
    BaseNames() {
        game = outer.file("Morrowind");
        fs::create_directories(game + "/Data Files/Textures");
        fs::current_path(game);
    }
    void Ini(const std::string& base, int index) {
        outer.write("Morrowind/Morrowind.ini", "[General]\r\nScreen Shot Base Name=" + base +
                                                   "\r\nScreen Shot Index=" + std::to_string(index) + "\r\n");
    }
    TickOutcome Tick() {
        bool running = true;
        return MonitorTick(running, Album(1), [] { return std::optional<std::vector<std::string>>({"Morrowind.exe"}); });
    }
    GameFolder outer;  // the game folder is one level down, so that "outside" can be watched
    std::string game;
};

TEST_F(BaseNames, ABaseNameThatLeadsOutOfTheFolderIsNeverImported) {
    const Picture shot{16, 16, std::vector<Colour>(256, 0x00112233)};
    SavePicture(shot, outer.file("evil 4.bmp"));  // where "..\evil 4.bmp" points
    fs::create_directories(game + "/sub");
    SavePicture(shot, game + "/sub/pic 4.bmp");
    for (const char* base : {"..\\evil", "../evil", "sub/pic", "sub\\pic"}) {
        Ini(base, 5);
        EXPECT_EQ(Tick(), TickOutcome::Continue) << base;
        try {
            ImportScreenshot(Album(1));
            ADD_FAILURE() << "imported from " << base;
        } catch (const Failure& f) {
            EXPECT_EQ(f.number(), ErrBadFileName) << base;
        }
    }
    EXPECT_TRUE(fs::exists(outer.file("evil 4.bmp")));
    EXPECT_TRUE(fs::exists(game + "/sub/pic 4.bmp"));
    EXPECT_EQ(FilesOutside(outer.path(), game), std::vector<std::string>{outer.file("evil 4.bmp")});
    EXPECT_FALSE(fs::exists(game + "/Screenshots"));
}

TEST_F(BaseNames, DotsWithoutASeparatorStayInTheFolder) {
    Ini("..", 1);
    SavePicture(Picture{8, 8, std::vector<Colour>(64, 0)}, game + "/.. 0.bmp");
    EXPECT_EQ(Tick(), TickOutcome::Continue);
    EXPECT_TRUE(fs::exists(game + "/Screenshots/.. 0_0.bmp"));
    EXPECT_FALSE(fs::exists(game + "/.. 0.bmp"));
    EXPECT_EQ(FilesOutside(outer.path(), game), std::vector<std::string>{});
}

TEST_F(BaseNames, LongBaseNames) {
    // 300 characters read as 255: no such screenshot can exist, nothing happens.
    Ini(std::string(300, 'x'), 1);
    EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotBaseName), std::string(255, 'x'));
    EXPECT_EQ(Tick(), TickOutcome::Continue);
    // 240 characters: every name still fits, and the import works.
    const std::string base(240, 'y');
    Ini(base, 1);
    SavePicture(Picture{8, 8, std::vector<Colour>(64, 0)}, game + "/" + base + " 0.bmp");
    EXPECT_EQ(Tick(), TickOutcome::Continue);
    EXPECT_TRUE(fs::exists(game + "/Screenshots/" + base + " 0_0.bmp"));
    // 248: the screenshot's name fits, the archive copy's does not.
    const std::string longer(248, 'z');
    Ini(longer, 1);
    SavePicture(Picture{8, 8, std::vector<Colour>(64, 0)}, game + "/" + longer + " 0.bmp");
    try {
        Tick();
        ADD_FAILURE() << "an archive name over the limit must fail";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), ErrBadFileName);
    }
    EXPECT_EQ(FilesOutside(outer.path(), game), std::vector<std::string>{});
}

TEST(HostileValues, CountersAtTheEndsOfTheirRange) {
    for (const char* counter : {"2147483647", "-2147483648", "0x7fffffff"}) {
        GameFolder folder;
        folder.mkdir("Data Files/Textures");
        folder.write("Morrowind.ini", std::string("[General]\r\nScreen Shot Index=") + counter + "\r\n");
        const long long p = ReadSettingInt(section::General, key::ScreenShotIndex);
        SavePicture(Picture{8, 8, std::vector<Colour>(64, 0)}, folder.file(" " + DecimalText(p - 1) + ".bmp"));
        bool running = true;
        const auto tick = [&] {
            return MonitorTick(running, Album(4), [] { return std::optional<std::vector<std::string>>({"Morrowind.exe"}); });
        };
        if (p >= 100) {
            EXPECT_THROW(tick(), ProgramEnd) << counter;  // far past album 4's end: full, no loop
        } else {
            EXPECT_EQ(tick(), TickOutcome::Continue) << counter;
        }
        EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo " + DecimalText(p) + ".bmp")) << counter;
    }
}

TEST(HostileValues, ALoadListOfThreeHundredEntries) {
    GameFolder folder;
    std::string ini = "[Game Files]\r\n";
    for (int i = 0; i < 300; ++i) ini += "GameFile" + std::to_string(i) + "=Mod" + std::to_string(i) + ".esp\r\n";
    folder.write("Morrowind.ini", ini);
    RegisterPlugin();  // no free place within reach: left as it is
    EXPECT_EQ(folder.read("Morrowind.ini"), ini);
}

}  // namespace
}  // namespace glintbook
