// Taking a screenshot into the album: archive copy, texture, book art,
// deletion, and the full-album rule.
#include "session/import.h"
#include "imaging/resample.h"
#include "import_fixture.h"
#include "platform/failure.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"

#include <gtest/gtest.h>

namespace glintbook {
namespace {

using test::AlbumControls;
using test::GameFolder;
using test::SaveShot;

class Import : public ::testing::Test {
protected:
    void SetUp() override { folder.mkdir("Data Files/Textures"); }
    void Ini(const std::string& general, const std::string& own = "") {
        ini = "[General]\r\nScreen Shot Enable=1\r\n" + general + "[Glintbook]\r\n" + own;
        folder.write("Morrowind.ini", ini);
    }
    GameFolder folder;
    std::string ini;
};

TEST_F(Import, FirstPictureOfAlbumOneWritesFourFilesAndNoSetting) {
    Ini("Screen Shot Base Name=ScreenShot\r\nScreen Shot Index=1\r\n", "Album1Index=0\r\n");
    SaveShot(folder, "ScreenShot 0.bmp", 800, 600);
    const std::string shotBytes = folder.read("ScreenShot 0.bmp");

    EXPECT_EQ(ImportScreenshot(AlbumControls(1)), ImportOutcome::Done);

    EXPECT_FALSE(folder.exists("ScreenShot 0.bmp"));
    EXPECT_EQ(folder.read("Screenshots/ScreenShot 0_0.bmp"), shotBytes);
    const Picture texture = LoadPicture(folder.file("Data Files/Textures/qor_tx_photo_0.bmp"));
    const Picture bookArt = LoadPicture(folder.file("Data Files/BookArt/Photo 1.bmp"));
    EXPECT_EQ(texture.width, 512);
    EXPECT_EQ(texture.height, 512);
    EXPECT_EQ(bookArt.width, 512);
    EXPECT_EQ(bookArt.height, 512);
    EXPECT_EQ(folder.read("Morrowind.ini"), ini);
}

TEST_F(Import, PicturesAreTheResamplersOutputForTheScreenshot) {
    Ini("Screen Shot Base Name=Shot\r\nScreen Shot Index=33\r\n");
    SaveShot(folder, "Shot 32.bmp", 1280, 720, 7);
    const Picture shot = LoadPicture(folder.file("Shot 32.bmp"));

    ImportScreenshot(AlbumControls(2, 1024));

    const Picture texture = LoadPicture(folder.file("Data Files/Textures/qor_tx_photo_32.bmp"));
    const Picture bookArt = LoadPicture(folder.file("Data Files/BookArt/Photo 33.bmp"));
    EXPECT_EQ(texture.width, 1024);
    EXPECT_TRUE(texture.pixels == ResizePicture(shot, 1024, 1024).pixels);
    EXPECT_EQ(bookArt.width, 512);
    EXPECT_TRUE(bookArt.pixels == ResizePicture(shot, 512, 512).pixels);
}

TEST_F(Import, ArchiveCopyTakesTheFirstFreeSerialNumber) {
    Ini("Screen Shot Base Name=ScreenShot\r\nScreen Shot Index=8\r\n");
    folder.write("Screenshots/ScreenShot 7_0.bmp", "first");
    folder.write("Screenshots/ScreenShot 7_1.bmp", "second");
    folder.write("Screenshots/ScreenShot 7_3.bmp", "fourth");
    SaveShot(folder, "ScreenShot 7.bmp", 64, 48);
    const std::string bytes = folder.read("ScreenShot 7.bmp");
    ImportScreenshot(AlbumControls(1));
    EXPECT_EQ(folder.read("Screenshots/ScreenShot 7_0.bmp"), "first");
    EXPECT_EQ(folder.read("Screenshots/ScreenShot 7_1.bmp"), "second");
    EXPECT_EQ(folder.read("Screenshots/ScreenShot 7_2.bmp"), bytes);
    EXPECT_EQ(folder.read("Screenshots/ScreenShot 7_3.bmp"), "fourth");
}

TEST_F(Import, WithoutAResolutionNoTextureIsWrittenOrReplaced) {
    Ini("Screen Shot Base Name=ScreenShot\r\nScreen Shot Index=5\r\n");
    folder.write("Data Files/Textures/qor_tx_photo_4.bmp", "stock");
    SaveShot(folder, "ScreenShot 4.bmp", 100, 80);
    Choices c = AlbumControls(1);
    c.textureSize = 0;
    ImportScreenshot(c);
    EXPECT_EQ(folder.read("Data Files/Textures/qor_tx_photo_4.bmp"), "stock");
    EXPECT_EQ(LoadPicture(folder.file("Data Files/BookArt/Photo 5.bmp")).width, 512);
    EXPECT_FALSE(folder.exists("ScreenShot 4.bmp"));
}

TEST_F(Import, AnEmptyBaseNameGivesNamesBeginningWithABlank) {
    Ini("Screen Shot Index=1\r\n");
    SaveShot(folder, " 0.bmp", 32, 32);
    ImportScreenshot(AlbumControls(1));
    EXPECT_TRUE(folder.exists("Screenshots/ 0_0.bmp"));
    EXPECT_FALSE(folder.exists(" 0.bmp"));
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 1.bmp"));
}

TEST_F(Import, AFullAlbumThatLoopsStartsOver) {
    struct Case { int album; int p; const char* counter; };
    for (const Case& c : {Case{1, 25, "0"}, Case{4, 100, "75"}}) {
        GameFolder own;
        own.mkdir("Data Files/Textures");
        own.write("Morrowind.ini", "[General]\r\nScreen Shot Index=" + std::to_string(c.p) + "\r\n[Glintbook]\r\nAlbum" +
                                       std::to_string(c.album) + "Index=24\r\n");
        SaveShot(own, " " + std::to_string(c.p - 1) + ".bmp", 40, 30);
        EXPECT_EQ(ImportScreenshot(AlbumControls(c.album, 512, true)), ImportOutcome::Done);
        EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotIndex), c.counter);
        EXPECT_EQ(ReadSettingText(section::Own, AlbumIndexKey(c.album)), "0");
        EXPECT_TRUE(own.exists("Data Files/BookArt/Photo " + std::to_string(c.p) + ".bmp"));
    }
}

TEST_F(Import, AFullAlbumThatDoesNotLoopAsksForTheSessionToClose) {
    for (int album : {1, 4}) {
        GameFolder own;
        own.mkdir("Data Files/Textures");
        const int p = 25 * album;
        const std::string text = "[General]\r\nScreen Shot Index=" + std::to_string(p) + "\r\n";
        own.write("Morrowind.ini", text);
        SaveShot(own, " " + std::to_string(p - 1) + ".bmp", 40, 30);
        EXPECT_EQ(ImportScreenshot(AlbumControls(album)), ImportOutcome::AlbumClosed);
        EXPECT_EQ(own.read("Morrowind.ini"), text);  // the close does the writing
        EXPECT_FALSE(own.exists(" " + std::to_string(p - 1) + ".bmp"));
    }
}

TEST_F(Import, AnAlbumWithRoomLeft) {
    Ini("Screen Shot Index=30\r\n", "Album2Index=4\r\n");
    SaveShot(folder, " 29.bmp", 40, 30);
    EXPECT_EQ(ImportScreenshot(AlbumControls(2)), ImportOutcome::Done);
    EXPECT_EQ(folder.read("Morrowind.ini"), ini);
    // Another album's picture number beyond its end is full for that album.
    Ini("Screen Shot Index=30\r\n");
    SaveShot(folder, " 29.bmp", 40, 30);
    EXPECT_EQ(ImportScreenshot(AlbumControls(1)), ImportOutcome::AlbumClosed);
}

TEST_F(Import, ABrokenScreenshotFailsAfterTheArchiveCopyAndKeepsIt) {
    Ini("Screen Shot Index=3\r\n");
    folder.write(" 2.bmp", "BM but not really a bitmap");
    try {
        ImportScreenshot(AlbumControls(1));
        FAIL() << "a broken screenshot must fail";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), ErrInvalidPicture);
    }
    EXPECT_EQ(folder.read("Screenshots/ 2_0.bmp"), "BM but not really a bitmap");
    EXPECT_TRUE(folder.exists(" 2.bmp"));  // the deletion comes later and never ran
    EXPECT_FALSE(folder.exists("Data Files/Textures/qor_tx_photo_2.bmp"));
    EXPECT_FALSE(folder.exists("Data Files/BookArt/Photo 3.bmp"));
}

TEST_F(Import, AVanishedScreenshotFailsAsFileNotFound) {
    Ini("Screen Shot Index=3\r\n");
    try {
        ImportScreenshot(AlbumControls(1));
        FAIL() << "a missing screenshot must fail";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), ErrFileNotFound);
    }
    EXPECT_TRUE(folder.exists("Screenshots"));
    EXPECT_TRUE(folder.exists("Data Files/BookArt"));
}

TEST_F(Import, AMissingTexturesFolderFailsBeforeTheBookArt) {
    GameFolder bare;
    bare.mkdir("Data Files");
    bare.write("Morrowind.ini", "[General]\r\nScreen Shot Index=1\r\n");
    SaveShot(bare, " 0.bmp", 40, 30);
    EXPECT_THROW(ImportScreenshot(AlbumControls(1)), Failure);
    EXPECT_TRUE(bare.exists("Screenshots/ 0_0.bmp"));
    EXPECT_FALSE(bare.exists("Data Files/BookArt/Photo 1.bmp"));
    EXPECT_TRUE(bare.exists(" 0.bmp"));
}

}  // namespace
}  // namespace glintbook
