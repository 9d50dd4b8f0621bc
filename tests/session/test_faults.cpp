// Real faults and injected ones: read-only or missing folders and files, a
// full disk, a screenshot that vanishes. Each gives the failure with its
// number and description, earlier writes stay, and no temporary file of an
// interrupted write is left behind.
#include "session/clear_album.h"
#include "session/import.h"
#include "imaging/picture_io.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "session/monitor.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_folder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/mount.h>

namespace glintbook {
namespace {

namespace fs = std::filesystem;
using test::GameFolder;

// Injects `err` into every step of the operations on paths containing
// `where`, for the life of the object.
struct Fault {
    Fault(std::string where, int err, std::string step = "") {
        files::SetFaultHook([where, err, step](std::string_view s, const std::string& path) {
            return path.find(where) != std::string::npos && (step.empty() || s == step) ? err : 0;
        });
    }
    ~Fault() { files::SetFaultHook(nullptr); }
};

std::vector<std::string> Temporaries(const GameFolder& folder) {
    std::vector<std::string> found;
    for (const auto& e : fs::recursive_directory_iterator(folder.path()))
        if (e.path().filename().string().find(".tmp-") != std::string::npos) found.push_back(e.path().string());
    return found;
}

Picture Plain(int w, int h) { return Picture{w, h, std::vector<Colour>(size_t(w) * size_t(h), 0x00204080)}; }

class Faults : public ::testing::Test {
protected:
    void SetUp() override {
        folder.mkdir("Data Files/Textures");
        folder.write("Morrowind.ini", "[General]\r\nScreen Shot Base Name=Shot\r\nScreen Shot Index=8\r\n");
        SavePicture(Plain(320, 240), folder.file("Shot 7.bmp"));
    }
    // Runs the import and returns the failure it gives.
    Failure ImportFails() {
        try {
            ImportScreenshot(Choices{});
        } catch (const Failure& f) {
            return f;
        }
        ADD_FAILURE() << "the import should have failed";
        return Failure(0, "");
    }
    GameFolder folder;
};

TEST_F(Faults, ReadOnlySettingsFileIsNeverWrittenAndNothingElseBreaks) {
    folder.write("Data Files/Textures/qor_tx_photo_orig.bmp", "stock");
    const std::string before = folder.read("Morrowind.ini");
    fs::permissions(folder.file("Morrowind.ini"), fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    WriteSetting(section::General, key::ScreenShotIndex, "99");
    ClearAlbum(1);  // the copies are made; the settings writes go unnoticed
    EXPECT_EQ(folder.read("Morrowind.ini"), before);
    EXPECT_EQ(folder.read("Data Files/Textures/qor_tx_photo_24.bmp"), "stock");
    EXPECT_EQ(ImportScreenshot(Choices{}), ImportOutcome::Done);
    EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo 8.bmp"));
    EXPECT_TRUE(Temporaries(folder).empty());
}

TEST_F(Faults, ReadOnlyArchiveFolderStopsBeforeAnyPicture) {
    folder.mkdir("Screenshots");
    Fault readOnly("/Screenshots/", EACCES, "open");
    const Failure f = ImportFails();
    EXPECT_EQ(f.number(), ErrPermissionDenied);
    EXPECT_NE(f.description().find("Permission denied"), std::string::npos);
    EXPECT_NE(f.description().find("Shot 7_0.bmp"), std::string::npos);
    EXPECT_FALSE(folder.exists("Data Files/Textures/qor_tx_photo_7.bmp"));
    EXPECT_TRUE(folder.exists("Shot 7.bmp"));
}

TEST_F(Faults, ReadOnlyTexturesFolderKeepsTheArchiveCopy) {
    Fault readOnly("/Textures/", EACCES, "open");
    EXPECT_EQ(ImportFails().number(), ErrPermissionDenied);
    EXPECT_TRUE(folder.exists("Screenshots/Shot 7_0.bmp"));
    EXPECT_FALSE(folder.exists("Data Files/BookArt/Photo 8.bmp"));
    EXPECT_TRUE(folder.exists("Shot 7.bmp"));
}

TEST_F(Faults, ReadOnlyBookArtFolderKeepsTheTexture) {
    folder.mkdir("Data Files/BookArt");
    Fault readOnly("/BookArt/", EACCES, "open");
    EXPECT_EQ(ImportFails().number(), ErrPermissionDenied);
    EXPECT_TRUE(folder.exists("Data Files/Textures/qor_tx_photo_7.bmp"));
    EXPECT_TRUE(folder.exists("Shot 7.bmp"));
}

TEST_F(Faults, BookArtFolderThatCannotBeMade) {
    Fault cannot("/BookArt", EACCES, "mkdir");
    EXPECT_EQ(ImportFails().number(), ErrPermissionDenied);
    EXPECT_TRUE(folder.exists("Screenshots"));
    EXPECT_FALSE(folder.exists("Screenshots/Shot 7_0.bmp"));
}

TEST_F(Faults, MissingDataFilesFolder) {
    GameFolder bare;
    bare.write("Morrowind.ini", "[General]\r\nScreen Shot Index=1\r\n");
    SavePicture(Plain(8, 8), bare.file(" 0.bmp"));
    try {
        ImportScreenshot(Choices{});
        FAIL();
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), ErrPathNotFound);  // "Data Files\BookArt" cannot be made
    }
    EXPECT_TRUE(bare.exists("Screenshots"));
}

TEST_F(Faults, DiskFullWhileWritingATextureLeavesNoTemporaryFile) {
    for (const char* step : {"write", "sync", "rename"}) {
        Fault full("qor_tx_photo_7", ENOSPC, step);
        const Failure f = ImportFails();
        EXPECT_EQ(f.number(), ErrDiskFull) << step;
        EXPECT_NE(f.description().find("Disk full"), std::string::npos);
        EXPECT_FALSE(folder.exists("Data Files/Textures/qor_tx_photo_7.bmp"));
        EXPECT_TRUE(Temporaries(folder).empty()) << step;
    }
}

TEST_F(Faults, ARealFullDisk) {
    // A tiny file system for the textures: a 1024 texture does not fit.
    const std::string textures = folder.file("Data Files/Textures");
    if (::mount("tmpfs", textures.c_str(), "tmpfs", 0, "size=512k") != 0)
        GTEST_SKIP() << "cannot mount a small file system here: " << std::strerror(errno);
    Choices big;
    big.textureSize = 1024;
    Failure f(0, "");
    try {
        ImportScreenshot(big);
    } catch (const Failure& e) {
        f = e;
    }
    const auto temporaries = Temporaries(folder);
    const bool textureThere = folder.exists("Data Files/Textures/qor_tx_photo_7.bmp");
    ::umount2(textures.c_str(), MNT_DETACH);
    EXPECT_EQ(f.number(), ErrDiskFull);
    EXPECT_TRUE(temporaries.empty());
    EXPECT_FALSE(textureThere);
    EXPECT_TRUE(folder.exists("Screenshots/Shot 7_0.bmp"));
}

TEST_F(Faults, AScreenshotThatVanishesAfterTheMonitorSawIt) {
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Base Name=Shot\r\nScreen Shot Index=8\r\n[Glintbook]\r\nEverRun=1\r\n");
    // The game (or the player) removes it between the existence test and the copy.
    files::SetFaultHook([&](std::string_view step, const std::string& path) {
        if (step == "copy" && path.find("Shot 7_0") != std::string::npos) fs::remove(folder.file("Shot 7.bmp"));
        return 0;
    });
    bool running = true;
    try {
        MonitorTick(running, Choices{}, [] { return std::optional<std::vector<std::string>>({"Morrowind.exe"}); });
        ADD_FAILURE() << "the import should have failed";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), ErrFileNotFound);
        EXPECT_NE(f.description().find("Shot 7.bmp"), std::string::npos);
    }
    files::SetFaultHook(nullptr);
    EXPECT_FALSE(folder.exists("Screenshots/Shot 7_0.bmp"));
    EXPECT_FALSE(folder.exists("Data Files/BookArt/Photo 8.bmp"));
    EXPECT_TRUE(Temporaries(folder).empty());
}

TEST_F(Faults, ClearingWithAFullDiskStopsAtTheFailingCopy) {
    folder.write("Data Files/Textures/qor_tx_photo_orig.bmp", "stock");
    Fault full("qor_tx_photo_60", ENOSPC, "write");
    try {
        ClearAlbum(3);
        FAIL();
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), ErrDiskFull);
    }
    EXPECT_EQ(folder.read("Data Files/Textures/qor_tx_photo_59.bmp"), "stock");
    EXPECT_FALSE(folder.exists("Data Files/Textures/qor_tx_photo_60.bmp"));
    EXPECT_FALSE(folder.exists("Data Files/Textures/qor_tx_photo_61.bmp"));
    EXPECT_EQ(ReadSettingText(section::Own, "Album3Index"), "0");
    EXPECT_TRUE(Temporaries(folder).empty());
}

}  // namespace
}  // namespace glintbook
