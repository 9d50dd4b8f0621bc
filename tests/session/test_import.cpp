// The album's files: a screenshot taken into the album, an album cleared, a
// session closed; the faults on the way, real ones and ones injected through
// the file layer; and a process killed at any moment of a clearing or an
// import, which leaves every file as it was or as it is meant to be, never
// half written, once the next start has removed its temporary files.
#include "imaging/picture_io.h"
#include "imaging/resample_oracle.h"
#include "platform/files.h"
#include "session/clear_album.h"
#include "session/close_session.h"
#include "session/import.h"
#include "session/leftovers.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <random>
#include <thread>
#include <utility>
#ifdef _WIN32
#include <windows.h>
#else
#include <csignal>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;

std::string TexturePath(long long t) { return "Data Files/Textures/qor_tx_photo_" + std::to_string(t) + ".bmp"; }
std::string BookArtPath(long long p) { return "Data Files/BookArt/Photo " + std::to_string(p) + ".bmp"; }

struct Import {
    const char* name;
    std::string base;  // "" for none
    long long counter;
    Choices choices;
    ImportOutcome outcome = ImportOutcome::Done;
    std::string iniAfter = "";    // "" for unchanged
    std::vector<int> taken = {};  // serials of earlier archive copies
    int serial = 0;               // the new copy's
};

void PrintTo(const Import& c, std::ostream* os) { *os << c.name; }

class ImportTest : public ::testing::TestWithParam<Import> {};

// The pictures are the area averages of the screenshot, held to the oracle.
TEST_P(ImportTest, FilesAndSettingsAfter) {
    const Import& c = GetParam();
    GameFolder folder;
    const std::string ini = "[General]\r\nScreen Shot Enable=1\r\n" +
                            (c.base.empty() ? "" : "Screen Shot Base Name=" + c.base + "\r\n") + "Screen Shot Index=" +
                            std::to_string(c.counter) + "\r\n[Glintbook]\r\nAlbum1Index=24\r\nAlbum4Index=24\r\n";
    InstallGame(folder, ini);
    const std::string stem = c.base + " " + std::to_string(c.counter - 1);
    const auto archive = [&](int serial) { return "Screenshots/" + stem + "_" + std::to_string(serial) + ".bmp"; };
    for (int s : c.taken) folder.write(archive(s), "earlier");
    const Picture shot = RandomPicture(800, 600, 7);
    SavePicture(shot, folder.file(stem + ".bmp"));
    const std::string bytes = folder.read(stem + ".bmp");

    EXPECT_EQ(ImportScreenshot(c.choices), c.outcome);

    EXPECT_FALSE(folder.exists(stem + ".bmp"));
    EXPECT_EQ(folder.read(archive(c.serial)), bytes);
    for (int s : c.taken) EXPECT_EQ(folder.read(archive(s)), "earlier") << s;
    const auto differences = [&](const std::string& name, int size) {
        return folder.exists(name) ? Differences(OracleResize(shot, size, size), LoadPicture(folder.file(name))) : "none";
    };
    EXPECT_EQ(differences(TexturePath(c.counter - 1), c.choices.textureSize), c.choices.textureSize ? "" : "none");
    EXPECT_EQ(differences(BookArtPath(c.counter), 512), "");
    EXPECT_EQ(folder.read("Morrowind.ini"), c.iniAfter.empty() ? ini : c.iniAfter);
}

const Choices Album1{1, 512, false}, NoAlbum{0, 0, false};

INSTANTIATE_TEST_SUITE_P(Rows, ImportTest, ::testing::Values(
    Import{"first_free_serial", "ScreenShot", 33, Choices{2, 1024, false}, ImportOutcome::Done, "", {0, 1, 3}, 2},
    Import{"no_album_no_texture", "", 5, NoAlbum},
    Import{"last_room", "", 24, Album1},
    Import{"full_album_closes", "", 25, Album1, ImportOutcome::AlbumClosed},
    Import{"beyond_its_end_closes", "", 30, Album1, ImportOutcome::AlbumClosed},
    Import{"full_album_loops", "", 25, Choices{1, 512, true}, ImportOutcome::Done,
           "[General]\r\nScreen Shot Enable=1\r\nScreen Shot Index=0\r\n[Glintbook]\r\nAlbum1Index=0\r\nAlbum4Index=24\r\n"},
    Import{"full_last_album_loops", "", 100, Choices{4, 512, true}, ImportOutcome::Done,
           "[General]\r\nScreen Shot Enable=1\r\nScreen Shot Index=75\r\n[Glintbook]\r\nAlbum1Index=24\r\nAlbum4Index=0\r\n"},
    Import{"dots_without_a_separator_stay_here", "..", 1, NoAlbum},
    Import{"a_long_base_name", std::string(240, 'y'), 1, NoAlbum},
    Import{"highest_counter", "", 2147483647, NoAlbum},
    Import{"lowest_counter", "", -2147483648LL, NoAlbum}),
    [](const auto& info) { return std::string(info.param.name); });

struct Clear {
    const char* name;
    int album;
    bool stock;
    std::string before, after;  // Morrowind.ini
    // The error number of a failing copy, how many of the album's textures
    // are the stock one afterwards, a texture number with a folder in its place.
    int failure = 0, stocked = 25, blocked = -1;
};

void PrintTo(const Clear& c, std::ostream* os) { *os << c.name; }

class ClearTest : public ::testing::TestWithParam<Clear> {};

// Every texture is there before: the clearing copies onto them.
TEST_P(ClearTest, TexturesAndSettingsAfter) {
    const Clear& c = GetParam();
    GameFolder folder;
    InstallGame(folder, c.before, Kit{.stock = c.stock});
    for (int t = 0; t < 100; ++t) t == c.blocked ? folder.mkdir(TexturePath(t)) : folder.write(TexturePath(t), "taken");
    if (!c.failure) ClearAlbum(c.album);
    else EXPECT_EQ(FailureOf([&] { ClearAlbum(c.album); }).number(), c.failure);
    for (int t = 0, first = AlbumOffset(c.album); t < 100; ++t) {
        if (t == c.blocked) continue;
        EXPECT_EQ(folder.read(TexturePath(t)), t >= first && t < first + c.stocked ? Stock : "taken") << t;
    }
    EXPECT_EQ(folder.read("Morrowind.ini"), c.after);
}

const std::string Thirteen = "[General]\r\nScreen Shot Index=38\r\n[Glintbook]\r\nAlbum1Index=6\r\nAlbum2Index=13\r\n",
                  TwoReset = "[General]\r\nScreen Shot Index=25\r\n[Glintbook]\r\nAlbum1Index=6\r\nAlbum2Index=0\r\n";

// A failing copy of album 1 leaves its settings; albums 2-4 are reset before.
INSTANTIATE_TEST_SUITE_P(Rows, ClearTest, ::testing::Values(
    Clear{"album_two", 2, true, Thirteen, TwoReset},
    Clear{"album_four", 4, true, "[Glintbook]\r\nAlbum4Index=9\r\n",
          "[Glintbook]\r\nAlbum4Index=0\r\n[General]\r\nScreen Shot Index=75\r\n"},
    Clear{"album_one_from_an_empty_file", 1, true, "", "[General]\r\nScreen Shot Index=0\r\n[Glintbook]\r\nAlbum1Index=0\r\n"},
    Clear{"album_one_without_stock_keeps_its_settings", 1, false, Thirteen, Thirteen, ErrFileNotFound, 0},
    Clear{"album_two_without_stock_is_reset_already", 2, false, Thirteen, TwoReset, ErrFileNotFound, 0},
    Clear{"a_copy_failing_halfway_keeps_the_copies_before", 1, true, "", "", ErrPathFileAccess, 7, 7}),
    [](const auto& info) { return std::string(info.param.name); });

// The game's counter less the album's offset becomes the album's index, and
// the program ends; without an album nothing is stored.
TEST(CloseSession, StoresTheCounterLessTheOffsetAndEnds) {
    const struct { int album; std::string counter, stored; } rows[] = {
        {2, "32", "7"}, {4, "100", "25"}, {4, "-2147483648", "-2147483723"}, {1, "", "0"}, {0, "30", ""}};
    for (const auto& [album, counter, stored] : rows) {
        GameFolder folder;
        folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=" + counter + "\r\n[Glintbook]\r\nAlbum1Index=11\r\n"
                                      "Album2Index=12\r\nAlbum3Index=13\r\nAlbum4Index=14\r\n");
        try {
            CloseSession(Choices{album, 512, false});
        } catch (const ProgramEnd& end) {
            EXPECT_EQ(end.status, 0) << counter;
        }
        for (int k = 0; k <= 4; ++k)  // there is no album 0, nor a key for it
            EXPECT_EQ(ReadSettingText(section::Own, AlbumIndexKey(k)), k == album ? stored : k ? DecimalText(10 + k) : "")
                << counter << " " << k;
    }
}

const std::string Archive = "Screenshots/Shot 7_0.bmp", Shot = "Shot 7.bmp", Texture = TexturePath(7),
                  BookArt = BookArtPath(8), TooLong(248, 'z');  // its screenshot's name fits, its copy's does not

struct FaultRow {
    const char* name;
    std::string where;  // errno `err` at `step` of operations on paths holding `where`
    int err;
    const char* step;
    int number;  // the failure's error number
    std::vector<std::string> present, absent;
    std::function<void(const GameFolder&)> setup = [](const GameFolder&) {};
    std::string says = "";  // in the failure's description
};

void PrintTo(const FaultRow& c, std::ostream* os) { *os << c.name; }

class Faults : public ::testing::TestWithParam<FaultRow> {};

// Each step's failure gives its number, what earlier steps wrote stays, later
// steps never run, and no temporary file is left behind.
TEST_P(Faults, FailWithTheirNumberAndKeepWhatWasDone) {
    const FaultRow& c = GetParam();
    GameFolder folder;
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=Shot\r\nScreen Shot Index=8\r\n");
    SaveShot(folder, Shot, 320, 240);
    c.setup(folder);
    Fault fault(c.where, c.err, c.step);
    const Failure f = FailureOf([] { ImportScreenshot(Choices{}); });
    EXPECT_EQ(f.number(), c.number) << f.description();
    EXPECT_NE(f.description().find(c.says), std::string::npos) << f.description();
    for (const std::string& name : c.present) EXPECT_TRUE(folder.exists(name)) << name;
    for (const std::string& name : c.absent) EXPECT_FALSE(folder.exists(name)) << name;
    EXPECT_EQ(Temporaries(folder), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Rows, Faults, ::testing::Values(
    FaultRow{"read_only_archive", "/Screenshots/", EACCES, "open", ErrPermissionDenied, {Shot}, {Texture},
             [](const GameFolder& f) { f.mkdir("Screenshots"); }},
    FaultRow{"read_only_textures", "/Textures/", EACCES, "open", ErrPermissionDenied, {Archive, Shot}, {BookArt}},
    FaultRow{"read_only_book_art", "/BookArt/", EACCES, "open", ErrPermissionDenied, {Texture, Shot}, {},
             [](const GameFolder& f) { f.mkdir("Data Files/BookArt"); }},
    FaultRow{"book_art_folder_cannot_be_made", "/BookArt", EACCES, "mkdir", ErrPermissionDenied, {"Screenshots"}, {Archive}},
    FaultRow{"disk_full_writing", "qor_tx_photo_7", ENOSPC, "write", ErrDiskFull, {Archive, Shot}, {Texture}},
    FaultRow{"disk_full_flushing", "qor_tx_photo_7", ENOSPC, "sync", ErrDiskFull, {Archive, Shot}, {Texture}},
    FaultRow{"disk_full_renaming", "qor_tx_photo_7", ENOSPC, "rename", ErrDiskFull, {Archive, Shot}, {Texture}},
    FaultRow{"unreadable_screenshot", "Shot 7.bmp", EIO, "read", ErrPathFileAccess, {Shot}, {Archive, Texture}},
    FaultRow{"broken_screenshot", "", 0, "", ErrInvalidPicture, {Archive, Shot}, {Texture, BookArt},
             [](const GameFolder& f) { f.write("Shot 7.bmp", "BM but not really a bitmap"); }},
    FaultRow{"vanished_screenshot", "", 0, "", ErrFileNotFound, {"Screenshots", "Data Files/BookArt"}, {Archive},
             [](const GameFolder& f) { fs::remove(f.file("Shot 7.bmp")); }},
    FaultRow{"missing_textures_folder", "", 0, "", ErrPathNotFound, {Archive, Shot}, {BookArt},
             [](const GameFolder& f) { fs::remove_all(f.file("Data Files/Textures")); }},
    FaultRow{"missing_data_files", "", 0, "", ErrPathNotFound, {"Screenshots"}, {Archive},
             [](const GameFolder& f) { fs::remove_all(f.file("Data Files")); }},
    FaultRow{"an_archive_name_too_long", "", 0, "", ErrBadFileName, {TooLong + " 7.bmp"}, {}, [](const GameFolder& f) {
                 f.write("Morrowind.ini", "[General]\r\nScreen Shot Base Name=" + TooLong + "\r\nScreen Shot Index=8\r\n");
                 SaveShot(f, TooLong + " 7.bmp", 8, 8);
             }}),
    [](const auto& info) { return std::string(info.param.name); });

#ifndef _WIN32  // the folder's flush after a rename; Windows writes the move through instead
INSTANTIATE_TEST_SUITE_P(Posix, Faults, ::testing::Values(
    FaultRow{"folder_flush_fails", "qor_tx_photo_7", EIO, "dirsync", ErrPathFileAccess, {Archive, Texture, Shot}, {BookArt}}),
    [](const auto& info) { return std::string(info.param.name); });
#endif

#ifdef _WIN32  // the system's own codes, negated, injected where the call would fail with them
INSTANTIATE_TEST_SUITE_P(Windows, Faults, ::testing::Values(
    FaultRow{"denied_in_the_textures_folder", "/Textures/", -ERROR_ACCESS_DENIED, "open", ErrPermissionDenied,
             {Archive, Shot}, {BookArt}, [](const GameFolder&) {}, "Permission denied"},
    FaultRow{"a_code_without_an_errno", "/Textures/", -ERROR_FILE_CORRUPT, "open", ErrPathFileAccess, {Archive, Shot},
             {BookArt}, [](const GameFolder&) {}, "Windows error 1392: "}),
    [](const auto& info) { return std::string(info.param.name); });

// Another program (a virus scanner, the search indexer, a sync tool) holds a
// file of the import open, without letting it be deleted or replaced: a
// moment is waited out; a hold longer than that is the failure it was.
struct Held {
    const char* name;
    std::string file;
    int milliseconds;
    int number;  // the failure's error number, 0 for none
};

void PrintTo(const Held& c, std::ostream* os) { *os << c.name; }

class HeldFiles : public ::testing::TestWithParam<Held> {};

TEST_P(HeldFiles, AMomentIsWaitedOut) {
    const Held& c = GetParam();
    GameFolder folder;
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=Shot\r\nScreen Shot Index=8\r\n");
    SaveShot(folder, Shot, 320, 240);
    folder.write(Texture, "old");
    HANDLE held = ::CreateFileW(std::filesystem::path(folder.file(c.file)).c_str(), GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    std::thread holder([&] {
        ::Sleep(DWORD(c.milliseconds));
        ::CloseHandle(held);
    });
    int number = 0;
    try {
        ImportScreenshot(Choices{1, 512, false});
    } catch (const Failure& f) {
        number = f.number();
    }
    holder.join();
    EXPECT_EQ(number, c.number);
    if (!c.number) {
        EXPECT_TRUE(!folder.exists(Shot) && folder.read(Texture) != "old");
    }
    EXPECT_EQ(Temporaries(folder), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Rows, HeldFiles, ::testing::Values(
    Held{"texture_a_moment", Texture, 300, 0},
    Held{"texture_too_long", Texture, 3000, ErrPermissionDenied},
    Held{"screenshot_a_moment", Shot, 300, 0},
    Held{"screenshot_too_long", Shot, 3000, ErrPathFileAccess}),
    [](const auto& info) { return std::string(info.param.name); });
#endif

#ifdef __linux__  // a file system too small for a 1024 texture, mounted on the textures folder
TEST(FaultsOnDisk, ARealFullDisk) {
    GameFolder folder;
    InstallGame(folder, "[General]\r\nScreen Shot Base Name=Shot\r\nScreen Shot Index=8\r\n");
    SaveShot(folder, Shot, 320, 240);
    if (::mount("tmpfs", folder.file("Data Files/Textures").c_str(), "tmpfs", 0, "size=512k") != 0)
        GTEST_SKIP() << "cannot mount a small file system here";
    // Braces: evaluated in order, the import first.
    const auto after = std::pair{FailureOf([] { ImportScreenshot({1, 1024, false}); }).number(), Temporaries(folder)};
    ::umount2(folder.file("Data Files/Textures").c_str(), MNT_DETACH);
    EXPECT_EQ(after, std::pair(int(ErrDiskFull), std::vector<std::string>{}));
    EXPECT_TRUE(folder.exists(Archive));
}
#endif

// Each operation runs in a child process that kills itself (SIGKILL,
// TerminateProcess on Windows) just before its k-th file-system step, for
// every k, and at random moments; the files are checked after each run.
using Files = std::map<std::string, std::string>;  // relative path -> bytes

#ifdef _WIN32
// A child costs a tenth of a second and more under Wine: the kills fall
// before every fifth step, which (five being prime to the six steps of a file
// copy) still meets every kind of step.
constexpr int kStride = 5;
constexpr UINT kKilled = 137;
void Die() { ::TerminateProcess(::GetCurrentProcess(), kKilled); }
void Exit(int code) { ::ExitProcess(code); }
#else
constexpr int kStride = 1;
void Die() { ::raise(SIGKILL); }
void Exit(int code) { ::_exit(code); }
#endif

// The child: dies just before its k-th file-system step (k >= 1), or runs
// `op` to its end.
void Child(int k, const std::function<void()>& op) {
    int steps = 0;
    if (k > 0)
        files::SetFaultHook([&steps, k](std::string_view, const std::string&) {
            if (++steps == k) Die();
            return 0;
        });
    try {
        op();
    } catch (...) {
        Exit(3);
    }
    Exit(0);
}

#ifdef _WIN32
// Windows has no fork: the test program runs again as the child, this test
// alone, in the same folder, told by GLINTBOOK_CRASH_STEP where to die; it
// signals the event GLINTBOOK_CRASH_READY names when its operation begins.
// A child that cannot be started ends the kills at the first step.
void RunIfChild(const std::function<void()>& op) {
    const char* step = std::getenv("GLINTBOOK_CRASH_STEP");
    if (!step) return;
    if (HANDLE ready = ::OpenEventA(EVENT_MODIFY_STATE, FALSE, std::getenv("GLINTBOOK_CRASH_READY"))) {
        ::SetEvent(ready);
        ::CloseHandle(ready);
    }
    Child(std::atoi(step), op);
}

// Whether the child was killed.
bool RunChild(int k, std::chrono::microseconds delay, const std::function<void()>&) {
    static int children = 0;
    const std::string ready =
        "glintbook-crash-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++children);
    HANDLE readyEvent = ::CreateEventA(nullptr, TRUE, FALSE, ready.c_str());
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    char self[MAX_PATH];
    ::GetModuleFileNameA(nullptr, self, MAX_PATH);
    std::string command =
        std::string("\"") + self + "\" --gtest_filter=" + test->test_suite_name() + "." + test->name();
    ::SetEnvironmentVariableA("GLINTBOOK_CRASH_STEP", std::to_string(k).c_str());
    ::SetEnvironmentVariableA("GLINTBOOK_CRASH_READY", ready.c_str());
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child{};
    ::CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr, nullptr, &startup,
                     &child);
    ::SetEnvironmentVariableA("GLINTBOOK_CRASH_STEP", nullptr);
    ::SetEnvironmentVariableA("GLINTBOOK_CRASH_READY", nullptr);
    if (k == 0) {
        HANDLE either[] = {readyEvent, child.hProcess};
        ::WaitForMultipleObjects(2, either, FALSE, 60000);
        std::this_thread::sleep_for(delay);
        ::TerminateProcess(child.hProcess, kKilled);
    }
    ::WaitForSingleObject(child.hProcess, INFINITE);
    DWORD code = 0;
    ::GetExitCodeProcess(child.hProcess, &code);
    ::CloseHandle(child.hThread);
    ::CloseHandle(child.hProcess);
    ::CloseHandle(readyEvent);
    EXPECT_TRUE(code == kKilled || code == 0) << "the operation failed in the child";
    return code == kKilled;
}
#else
void RunIfChild(const std::function<void()>&) {}

// Runs `op` in a child killed before its k-th step, or after `delay` when k is 0.
bool RunChild(int k, std::chrono::microseconds delay, const std::function<void()>& op) {
    const pid_t pid = ::fork();
    if (pid == 0) Child(k, op);
    if (k == 0) {
        std::this_thread::sleep_for(delay);
        ::kill(pid, SIGKILL);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return true;
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the operation failed in the child";
    return false;
}
#endif

// The folder's files, less the temporaries of writes under way (an import
// writes its files at once), which the next start removes.
Files Snapshot(const GameFolder& folder) {
    Files out;
    for (const auto& e : fs::recursive_directory_iterator(folder.path())) {
        const auto name = fs::relative(e.path(), folder.path()).string();
        const auto file = e.path().filename().string();
        if (e.is_regular_file() && !(file.starts_with('.') && file.find(".tmp-") != std::string::npos))
            out[name] = folder.read(name);
    }
    return out;
}

// The whole states an operation passes through, recorded by running it in a
// folder of its own: the folder as it is whenever a file operation (a write,
// copy, deletion, folder creation or read) begins or a written file is about
// to be put in place, and at the end. The moments inside a write are not
// states: a kill there must look like before once the next start has
// removed the temporary file.
std::vector<Files> States(const std::function<void(const GameFolder&)>& setup, const std::function<void()>& op) {
    GameFolder folder;
    setup(folder);
    std::vector<Files> states;
    files::SetFaultHook([&](std::string_view step, const std::string&) {
        if (step == "open" || step == "copy" || step == "place" || step == "delete" || step == "mkdir" || step == "read")
            states.push_back(Snapshot(folder));
        return 0;
    });
    op();
    files::SetFaultHook(nullptr);
    states.push_back(Snapshot(folder));
    return states;
}

void ExpectWholeStateAfterRestart(const GameFolder& folder, const std::vector<Files>& states, const std::string& context) {
    RemoveLeftoverTemporaries();
    const Files seen = Snapshot(folder);
    std::string names;
    for (const auto& [name, bytes] : seen) names += " " + name + " (" + std::to_string(bytes.size()) + " bytes)";
    EXPECT_TRUE(std::find(states.begin(), states.end(), seen) != states.end()) << context << ", in no whole state:" << names;
}

// A clearing of album 2, which points the counter at its first picture, then
// an import into album 1, which is full and starts over; killed before each
// of their steps in turn, then at random moments. Where a link can be made
// without a privilege, the settings file lives in another folder: it is
// replaced there, and its temporaries are made there.
TEST(CrashSafety, ClearingThenImport) {
    const auto setup = [](const GameFolder& f) {
#ifdef _WIN32
        f.write("Morrowind.ini", TestData("Morrowind-sample.ini"));
#else
        f.write("elsewhere/Morrowind.ini", TestData("Morrowind-sample.ini"));
        fs::create_symlink(f.file("elsewhere/Morrowind.ini"), f.file("Morrowind.ini"));
#endif
        f.write("Data Files/Textures/qor_tx_photo_orig.bmp", std::string(20000, 's'));
        for (int t = 24; t < 50; t += 3) f.write(TexturePath(t), "taken");
        f.write("Screenshots/ScreenShot 24_0.bmp", "older copy");
        WriteSetting(section::Own, "Album2Index", "13");
        SaveShot(f, "ScreenShot 24.bmp", 800, 600);
    };
    const auto op = [] { ClearAlbum(2); ImportScreenshot(Choices{1, 1024, true}); };
    RunIfChild(op);
    const std::vector<Files> states = States(setup, op);
    int k = 1;
    for (; k < 10000; k += kStride) {
        GameFolder folder;
        setup(folder);
        const bool killed = RunChild(k, {}, op);
        ExpectWholeStateAfterRestart(folder, states, "killed before step " + std::to_string(k));
        if (!killed) break;
    }
    EXPECT_TRUE(k > 3 && k < 10000) << "killed before step " << k << " the operation finished";
    std::mt19937 random(12345);
    for (int i = 0; i < 40; ++i) {
        GameFolder folder;
        setup(folder);
        RunChild(0, std::chrono::microseconds(random() % 60000), op);
        ExpectWholeStateAfterRestart(folder, states, "killed at random");
    }
}

// The next start removes exactly the files of the writer's own naming.
TEST(Leftovers, OnlyTheWritersOwnGo) {
    GameFolder folder;
    const std::string forty(40, 'n');  // the most of the target's name a temporary holds
    const std::vector<std::pair<std::string, bool>> names = {  // name, ours
        {".Morrowind.ini.tmp-a1B2c3", true}, {"." + forty + ".tmp-ZZZZZZ", true}, {"." + forty + "n.tmp-abcdef", false},
        {".Morrowind.ini.tmp-abcde", false}, {".Morrowind.ini.tmp-abcdefg", false}, {".Morrowind.ini.tmp-abc_ef", false},
        {"Morrowind.ini.tmp-abcdef", false}, {"..tmp-abcdef", false}, {".Morrowind.ini.bak", false}, {".hidden", false}};
    for (const auto& [name, ours] : names) folder.write(name, "x");
    RemoveLeftoverTemporaries();
    for (const auto& [name, ours] : names) EXPECT_EQ(folder.exists(name), !ours) << name;
}

}  // namespace
}  // namespace glintbook::test
