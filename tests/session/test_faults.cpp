// Faults, real and injected through the file layer: each gives its error
// number, what earlier steps wrote stays, later steps never run, and no
// temporary file of an interrupted write is left behind.
#include "imaging/picture_io.h"
#include "platform/files.h"
#include "session/clear_album.h"
#include "session/import.h"
#include "session/monitor.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#ifdef __linux__
#include <sys/mount.h>
#endif

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;

struct Case {
    const char* name;
    std::string where;  // the fault: errno `err` at `step` of operations on paths holding `where`
    int err;
    const char* step;
    int number;  // the failure's error number
    std::vector<std::string> present, absent;
    std::function<void(const GameFolder&)> setup = [](const GameFolder&) {};
    int clearAlbum = 0;  // clear this album instead of importing
};
void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

class Faults : public ::testing::TestWithParam<Case> {};

TEST_P(Faults, FailWithTheirNumberAndKeepWhatWasDone) {
    const Case& c = GetParam();
    GameFolder folder;
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=Shot\r\nScreen Shot Index=8\r\n", Kit{.stock = true});
    SaveShot(folder, "Shot 7.bmp", 320, 240);
    c.setup(folder);
    const Failure f = [&] {
        Fault fault(c.where, c.err, c.step);
        return FailureOf([&] { c.clearAlbum ? ClearAlbum(c.clearAlbum) : (void)ImportScreenshot(Choices{}); });
    }();
    EXPECT_EQ(f.number(), c.number) << f.description();
    for (const std::string& name : c.present) EXPECT_TRUE(folder.exists(name)) << name;
    for (const std::string& name : c.absent) EXPECT_FALSE(folder.exists(name)) << name;
    EXPECT_EQ(Temporaries(folder), std::vector<std::string>{});
}

const std::string Archive = "Screenshots/Shot 7_0.bmp", Shot = "Shot 7.bmp",
                  Texture = "Data Files/Textures/qor_tx_photo_7.bmp", BookArt = "Data Files/BookArt/Photo 8.bmp";

INSTANTIATE_TEST_SUITE_P(Rows, Faults, ::testing::Values(
    Case{"read_only_archive", "/Screenshots/", EACCES, "open", ErrPermissionDenied, {Shot}, {Texture},
         [](const GameFolder& f) { f.mkdir("Screenshots"); }},
    Case{"read_only_textures", "/Textures/", EACCES, "open", ErrPermissionDenied, {Archive, Shot}, {BookArt}},
    Case{"read_only_book_art", "/BookArt/", EACCES, "open", ErrPermissionDenied, {Texture, Shot}, {},
         [](const GameFolder& f) { f.mkdir("Data Files/BookArt"); }},
    Case{"book_art_folder_cannot_be_made", "/BookArt", EACCES, "mkdir", ErrPermissionDenied, {"Screenshots"}, {Archive}},
    Case{"disk_full_writing", "qor_tx_photo_7", ENOSPC, "write", ErrDiskFull, {Archive, Shot}, {Texture}},
    Case{"disk_full_flushing", "qor_tx_photo_7", ENOSPC, "sync", ErrDiskFull, {Archive, Shot}, {Texture}},
    Case{"disk_full_renaming", "qor_tx_photo_7", ENOSPC, "rename", ErrDiskFull, {Archive, Shot}, {Texture}},
    Case{"unreadable_screenshot", "Shot 7.bmp", EIO, "read", ErrPathFileAccess, {Shot}, {Archive, Texture}},
    Case{"broken_screenshot", "", 0, "", ErrInvalidPicture, {Archive, Shot}, {Texture, BookArt},
         [](const GameFolder& f) { f.write("Shot 7.bmp", "BM but not really a bitmap"); }},
    Case{"vanished_screenshot", "", 0, "", ErrFileNotFound, {"Screenshots", "Data Files/BookArt"}, {Archive},
         [](const GameFolder& f) { fs::remove(f.file("Shot 7.bmp")); }},
    Case{"missing_textures_folder", "", 0, "", ErrPathNotFound, {Archive, Shot}, {BookArt},
         [](const GameFolder& f) { fs::remove_all(f.file("Data Files/Textures")); }},
    Case{"missing_data_files", "", 0, "", ErrPathNotFound, {"Screenshots"}, {Archive},
         [](const GameFolder& f) { fs::remove_all(f.file("Data Files")); }},
    Case{"clearing_on_a_full_disk", "qor_tx_photo_60", ENOSPC, "write", ErrDiskFull,
         {"Data Files/Textures/qor_tx_photo_59.bmp"},
         {"Data Files/Textures/qor_tx_photo_60.bmp", "Data Files/Textures/qor_tx_photo_61.bmp"},
         [](const GameFolder&) {}, 3}),
    [](const auto& info) { return std::string(info.param.name); });

// The game (or the player) removes the screenshot between the monitor's
// existence test and the import's copy.
TEST(FaultsInATick, AScreenshotThatVanishesAfterTheMonitorSawIt) {
    GameFolder folder;
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=Shot\r\nScreen Shot Index=8\r\n[Glintbook]\r\nEverRun=1\r\n");
    SaveShot(folder, Shot, 64, 48);
    files::SetFaultHook([&](std::string_view step, const std::string& path) {
        if (step == "copy" && path.find("Shot 7_0") != std::string::npos) fs::remove(folder.file(Shot));
        return 0;
    });
    bool running = true;
    const Failure f = FailureOf([&] { MonitorTick(running, Choices{}, ProcessList({"Morrowind.exe"})); });
    files::SetFaultHook(nullptr);
    EXPECT_EQ(f.number(), ErrFileNotFound);
    EXPECT_NE(f.description().find(Shot), std::string::npos) << f.description();
    EXPECT_FALSE(folder.exists(Archive));
    EXPECT_FALSE(folder.exists(BookArt));
}

#ifdef __linux__  // a small file system of its own needs a tmpfs mount
TEST(FaultsOnDisk, ARealFullDisk) {
    GameFolder folder;
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=Shot\r\nScreen Shot Index=8\r\n");
    SaveShot(folder, Shot, 320, 240);
    // A file system too small for a 1024 texture.
    const std::string textures = folder.file("Data Files/Textures");
    if (::mount("tmpfs", textures.c_str(), "tmpfs", 0, "size=512k") != 0)
        GTEST_SKIP() << "cannot mount a small file system here: " << std::strerror(errno);
    const Failure f = FailureOf([] { ImportScreenshot(Choices{1, 1024, false}); });
    const auto temporaries = Temporaries(folder);
    const bool texture = folder.exists(Texture);
    ::umount2(textures.c_str(), MNT_DETACH);
    EXPECT_EQ(f.number(), ErrDiskFull);
    EXPECT_EQ(temporaries, std::vector<std::string>{});
    EXPECT_FALSE(texture);
    EXPECT_TRUE(folder.exists(Archive));
}
#endif

}  // namespace
}  // namespace glintbook::test
