// A process killed at any moment of a settings write, an import or an album
// clearing leaves every file as it was or as it is meant to be, never half
// written. Each operation runs in a child process that kills itself
// (SIGKILL, TerminateProcess on Windows) just before its k-th file-system
// step, for every k, and at random moments; the files are checked after
// each run.
#include "platform/files.h"
#include "session/clear_album.h"
#include "session/import.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <thread>
#ifdef _WIN32
#include <windows.h>
#else
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;  // relative path -> bytes

enum class Run { Killed, Finished };

#ifdef _WIN32
// A child costs a tenth of a second and more under Wine: the kills fall
// before every fifth step, which (five being prime to the six steps of a file
// copy) still meets every kind of step.
constexpr int kStride = 5;

// Windows has no fork: the test program runs again as the child, this test
// alone, in the same folder, told by GLINTBOOK_CRASH_STEP where to die; it
// signals the event GLINTBOOK_CRASH_READY names when its operation begins.
constexpr UINT kKilled = 137;

// In the child, runs `op` and ends the process; elsewhere returns.
void RunIfChild(const std::function<void()>& op) {
    const char* step = std::getenv("GLINTBOOK_CRASH_STEP");
    if (!step) return;
    int steps = 0;
    if (const int k = std::atoi(step); k > 0)
        files::SetFaultHook([&steps, k](std::string_view, const std::string&) {
            if (++steps == k) ::TerminateProcess(::GetCurrentProcess(), kKilled);
            return 0;
        });
    if (HANDLE ready = ::OpenEventA(EVENT_MODIFY_STATE, FALSE, std::getenv("GLINTBOOK_CRASH_READY"))) {
        ::SetEvent(ready);
        ::CloseHandle(ready);
    }
    try {
        op();
    } catch (...) {
        ::ExitProcess(3);
    }
    ::ExitProcess(0);
}

Run RunChild(int k, std::chrono::microseconds delay, const std::function<void()>&) {
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
    const bool started = ::CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr,
                                          nullptr, &startup, &child);
    const DWORD startError = ::GetLastError();
    ::SetEnvironmentVariableA("GLINTBOOK_CRASH_STEP", nullptr);
    ::SetEnvironmentVariableA("GLINTBOOK_CRASH_READY", nullptr);
    if (!started) {
        ::CloseHandle(readyEvent);
        ADD_FAILURE() << "the child cannot be started: error " << startError;
        return Run::Finished;
    }
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
    if (code == kKilled) return Run::Killed;
    EXPECT_EQ(code, 0u) << "the operation failed in the child";
    return Run::Finished;
}
#else
constexpr int kStride = 1;

void RunIfChild(const std::function<void()>&) {}

// Runs `op` in a child killed before its k-th file-system step (k >= 1), or
// after `delay` when k is 0.
Run RunChild(int k, std::chrono::microseconds delay, const std::function<void()>& op) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        int steps = 0;
        if (k > 0)
            files::SetFaultHook([&](std::string_view, const std::string&) {
                if (++steps == k) ::raise(SIGKILL);
                return 0;
            });
        try {
            op();
        } catch (...) {
            ::_exit(3);
        }
        ::_exit(0);
    }
    if (k == 0) {
        std::this_thread::sleep_for(delay);
        ::kill(pid, SIGKILL);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return Run::Killed;
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the operation failed in the child";
    return Run::Finished;
}
#endif

Files Snapshot(const GameFolder& folder) {
    Files out;
    for (const auto& e : fs::recursive_directory_iterator(folder.path()))
        if (e.is_regular_file()) out[fs::relative(e.path(), folder.path()).string()] = folder.read(fs::relative(e.path(), folder.path()).string());
    return out;
}

Files WithoutTemporaries(const Files& files) {
    Files out;
    for (const auto& [name, bytes] : files)
        if (fs::path(name).filename().string().find(".tmp-") == std::string::npos) out.emplace(name, bytes);
    return out;
}

// The folder as a whole must be in one of the states the operation passes
// through: as before, as after one of its steps, or as after. Temporary
// files of an interrupted write are hidden and never a target, so they are
// left out of the comparison.
void ExpectWholeStates(const Files& now, const std::vector<Files>& states, const std::string& context) {
    const Files seen = WithoutTemporaries(now);
    for (const Files& s : states)
        if (WithoutTemporaries(s) == seen) return;
    std::string names;
    for (const auto& [name, bytes] : seen) names += " " + name + " (" + std::to_string(bytes.size()) + " bytes)";
    ADD_FAILURE() << context << ": the folder is in no whole state:" << names;
}

// The whole states an operation passes through, recorded by running it in a
// folder of its own: the folder as it is whenever a file operation (a write,
// copy, deletion, folder creation or read) begins, and at the end. The
// moments inside a write are not states: a kill there must look like before.
std::vector<Files> States(const std::function<void(const GameFolder&)>& setup, const std::function<void()>& op) {
    GameFolder folder;
    setup(folder);
    std::vector<Files> states;
    files::SetFaultHook([&](std::string_view step, const std::string&) {
        if (step == "open" || step == "copy" || step == "delete" || step == "mkdir" || step == "read")
            states.push_back(Snapshot(folder));
        return 0;
    });
    op();
    files::SetFaultHook(nullptr);
    states.push_back(Snapshot(folder));
    return states;
}

// Kills the operation before each of its steps in turn, then at random
// moments, restoring the folder from `setup` each time.
void KillEverywhere(const std::function<void(const GameFolder&)>& setup, const std::function<void()>& op,
                    int randomRuns) {
    RunIfChild(op);
    const std::vector<Files> states = States(setup, op);
    int k = 1;
    for (;; k += kStride) {
        GameFolder folder;
        setup(folder);
        const Run run = RunChild(k, {}, op);
        ExpectWholeStates(Snapshot(folder), states, "killed before step " + std::to_string(k));
        if (run == Run::Finished) break;
        ASSERT_LT(k, 10000) << "the operation never finished";
    }
    EXPECT_GT(k, 3);
    std::mt19937 random(12345);
    for (int i = 0; i < randomRuns; ++i) {
        GameFolder folder;
        setup(folder);
        RunChild(0, std::chrono::microseconds(random() % 60000), op);
        ExpectWholeStates(Snapshot(folder), states, "killed at random");
    }
}

void SampleIni(const GameFolder& folder) { folder.write("Morrowind.ini", TestData("Morrowind-sample.ini")); }

TEST(CrashSafety, SettingsWrite) {
    const auto setup = [](const GameFolder& f) { SampleIni(f); };
    const auto op = [] { WriteSetting(section::General, key::ScreenShotIndex, "1234"); };
    KillEverywhere(setup, op, 30);
}

TEST(CrashSafety, ImportOfAFullAlbumThatStartsOver) {
    const auto setup = [](const GameFolder& f) {
        SampleIni(f);
        f.mkdir("Data Files/Textures");
        f.write("Data Files/Textures/qor_tx_photo_24.bmp", "old texture");
        f.write("Screenshots/ScreenShot 24_0.bmp", "older copy");
        WriteSetting(section::General, key::ScreenShotIndex, "25");
        SaveShot(f, "ScreenShot 24.bmp", 1280, 720);
    };
    const auto op = [] { ImportScreenshot(Choices{1, 1024, true}); };
    KillEverywhere(setup, op, 30);
}

TEST(CrashSafety, ClearingAnAlbum) {
    const auto setup = [](const GameFolder& f) {
        SampleIni(f);
        f.write("Data Files/Textures/qor_tx_photo_orig.bmp", std::string(20000, 's'));
        for (int t = 25; t < 50; t += 3) f.write("Data Files/Textures/qor_tx_photo_" + std::to_string(t) + ".bmp", "taken");
        WriteSetting(section::Own, "Album2Index", "13");
    };
    const auto op = [] { ClearAlbum(2); };
    KillEverywhere(setup, op, 20);
}

}  // namespace
}  // namespace glintbook::test
