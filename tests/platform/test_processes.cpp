#include "platform/failure.h"
#include "platform/processes.h"
#include "sim_process.h"
#include "support/game_kit.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#ifdef _WIN32
#include <windows.h>
#endif

namespace fs = std::filesystem;
using namespace glintbook;
using namespace glintbook::test;
using processes::StartProgram;

namespace {

bool Running(const std::string& name) {
    const auto names = processes::ExecutableNames();
    return names && std::find(names->begin(), names->end(), name) != names->end();
}

std::string CopySim(const GameFolder& folder, const std::string& name) {
    fs::copy_file(GAME_SIM_PATH, folder.file(name));
    return folder.file(name);
}

#ifndef _WIN32
// The least that passes for a Windows program: "MZ", and "PE\0\0" at the
// offset stored at 0x3C.
std::string PeImage() {
    std::string bytes = "MZ" + std::string(0x7E, '\0') + std::string("PE\0\0", 4);
    bytes[0x3C] = char(0x80);
    return bytes;
}
#endif

std::string SelfName() {
#ifdef _WIN32
    char path[MAX_PATH];
    ::GetModuleFileNameA(nullptr, path, MAX_PATH);
    return fs::path(path).filename().string();
#else
    return fs::read_symlink("/proc/self/exe").filename();
#endif
}

int ProcessId() {
#ifdef _WIN32
    return int(::GetCurrentProcessId());
#else
    return int(::getpid());
#endif
}

// The number of the failure to start `program` in `folder`, or 0.
int StartFailure(const std::string& program, const std::string& folder, std::string* text = nullptr) {
    try {
        StartProgram(program, folder);
    } catch (const Failure& failure) {
        if (text) *text = failure.description();
        return failure.number();
    }
    return 0;
}

}  // namespace

TEST(ExecutableNames, ReportsWholeNamesOfLiveProcessesOnly) {
    GameFolder folder;
    const std::string self = SelfName();
    EXPECT_GT(self.size(), 15u);  // longer than the kernel's short name
    EXPECT_TRUE(Running(self));
#ifndef _WIN32  // Windows removes no running program, nor keeps an ended one

    const std::string deleted = "Deleted-" + std::to_string(::getpid()) + ".exe";
    ChildProcess running(CopySim(folder, deleted), {"game"});
    ASSERT_NE(running.WaitForLine("start"), "");
    fs::remove(folder.file(deleted));
    EXPECT_TRUE(Running(deleted));

    // Ended but not reaped: a zombie, with a name short enough to show whole.
    const std::string zombie = "Z" + std::to_string(::getpid()) + ".exe";
    ChildProcess ended(CopySim(folder, zombie), {zombie}, {"GAME_SIM_SCRIPT=quit"});
    ASSERT_EQ(ended.WaitForExit(5s, false), 0);
    EXPECT_FALSE(Running(zombie));
#endif
}

#ifndef _WIN32
TEST(ExecutableNames, ShowsTheWindowsNameOfAProgramUnderWine) {
    GameFolder folder;
    const std::string windowsName = "Glint" + std::to_string(::getpid()) + ".exe";
    ChildProcess loader(CopySim(folder, "wine64-preloader"), {"C:\\Games\\Morrowind\\" + windowsName});
    ASSERT_NE(loader.WaitForLine("start"), "");
    EXPECT_TRUE(Running(windowsName));
    EXPECT_FALSE(Running("wine64-preloader"));
}
#endif

TEST(StartProgram, RunsDetachedInItsFolderAndLeavesNoZombie) {
    GameFolder folder;
    folder.mkdir("game");
    const std::string name = "Glintbook-game-" + std::to_string(ProcessId()) + ".exe";
    folder.write("game/Morrowind.ini", "[General]\nScreen Shot Enable=1\nScreen Shot Base Name=S\n");

    StartProgram(CopySim(folder, "game/" + name), folder.file("game"));
#ifndef _WIN32
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);  // not our child, not even a finished one
    EXPECT_EQ(errno, ECHILD);
#endif
    EXPECT_TRUE(Eventually([&] { return Running(name); }, 1s));
    Append(folder.file("game/game-sim.commands"), "shot 8x8\n");
    EXPECT_TRUE(Eventually([&] { return folder.exists("game/S 0.bmp"); }));
    Append(folder.file("game/game-sim.commands"), "quit\n");
    EXPECT_TRUE(Eventually([&] { return !Running(name); }));
}

struct Refusal {
    const char* name;
    std::string bytes;  // the file; "" for none
    bool executable;    // its permission to run, where files have one
    const char* folder;
    int number;
};
void PrintTo(const Refusal& c, std::ostream* os) { *os << c.name; }

class StartRefused : public ::testing::TestWithParam<Refusal> {};

TEST_P(StartRefused, WithTheNumberOfWhatIsWrong) {
    const Refusal& c = GetParam();
    GameFolder folder;
    if (!c.bytes.empty()) folder.write("program.exe", c.bytes);
    if (c.executable) fs::permissions(folder.file("program.exe"), fs::perms::owner_all);
    EXPECT_EQ(StartFailure(folder.file("program.exe"), folder.file(c.folder)), c.number);
}

// Linux runs no file without its permission to run; Windows tells from its
// contents that it is no program.
#ifdef _WIN32
constexpr int NotAProgram = ErrBadCall;
#else
constexpr int NotAProgram = ErrPermissionDenied;
#endif

std::vector<Refusal> Refusals() {
    std::vector<Refusal> rows = {
        {"text", "not a program\n", false, "", NotAProgram},
        {"garbage_to_run", std::string(64, 'x'), true, "", ErrBadCall},
        {"missing", "", false, "", ErrFileNotFound},
        {"no_folder", std::string(64, 'x'), true, "no folder", ErrPathNotFound}};
#ifndef _WIN32  // Wine looks for its DOS support, which it lacks, where Windows refuses the program
    rows.push_back({"dos_program", "MZ" + std::string(0x80, '\0'), false, "", NotAProgram});  // no PE header
#endif
    return rows;
}

INSTANTIATE_TEST_SUITE_P(Rows, StartRefused, ::testing::ValuesIn(Refusals()),
    [](const auto& info) { return std::string(info.param.name); });

#ifndef _WIN32
TEST(StartProgram, WindowsProgramsGoThroughWineFromPath) {
    GameFolder folder;
    // A stand-in for wine that records its arguments, folder and input.
    const std::string log = folder.file("wine.log");
    folder.write("bin/wine", "#!/bin/sh\n{ printf '%s\\n' \"$@\"; pwd -P; readlink /proc/self/fd/0; } >'" + log +
                                 ".tmp' && mv '" + log + ".tmp' '" + log + "'\n");
    fs::permissions(folder.file("bin/wine"), fs::perms::owner_all);
    folder.write("My Game.exe", PeImage());
    folder.mkdir("sub");
    SetEnvironment("PATH", folder.file("bin") + ":/usr/bin:/bin");

    int pipeFds[2];  // our input is not /dev/null, so the program's must be made so
    ASSERT_EQ(::pipe(pipeFds), 0);
    ::dup2(pipeFds[0], STDIN_FILENO);
    EXPECT_EQ(StartFailure(folder.file("My Game.exe"), folder.file("sub")), 0);
    ASSERT_TRUE(Eventually([&] { return folder.exists("wine.log"); }));
    EXPECT_EQ(folder.read("wine.log"),
              folder.file("My Game.exe") + "\n" + fs::canonical(folder.file("sub")).string() + "\n/dev/null\n");

    std::string text;
    SetEnvironment("PATH", "/nonexistent");
    EXPECT_EQ(StartFailure(folder.file("My Game.exe"), folder.file("sub"), &text), ErrFileNotFound);
    EXPECT_NE(text.find("wine was not found on PATH"), std::string::npos) << text;
}
#endif
