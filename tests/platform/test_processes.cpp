// The process list and program start, with copies of the game simulator.
#include "platform/files.h"
#include "platform/processes.h"
#include "support/game_kit.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>
#ifdef _WIN32
#include <windows.h>
#else
#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace glintbook;
using namespace glintbook::test;
using processes::StartProgram;

namespace {

bool Running(const std::string& name) {
    const auto names = processes::ExecutableNames();
    return names && std::find(names->begin(), names->end(), name) != names->end();
}

// Whether `done` holds within about five seconds.
template <typename F>
bool Eventually(F done) {
    for (int tries = 0; tries < 1000 && !done(); ++tries) std::this_thread::sleep_for(5ms);
    return done();
}

#ifndef _WIN32
// A copy of the simulator named `name`, run with `argv`, not waited for.
pid_t Spawn(const GameFolder& folder, const std::string& name, std::vector<std::string> argv) {
    fs::copy_file(GAME_SIM_PATH, folder.file(name));
    std::vector<char*> args;
    for (auto& a : argv) args.push_back(a.data());
    args.push_back(nullptr);
    pid_t pid = -1;
    EXPECT_EQ(::posix_spawn(&pid, folder.file(name).c_str(), nullptr, nullptr, args.data(), environ), 0);
    return pid;
}
#endif

}  // namespace

// The name is longer than the kernel's short name of a process, and keeps its
// letter case.
TEST(StartProgram, RunsDetachedInItsFolderAndIsListedByItsWholeName) {
    GameFolder folder;
    const std::string name = "Game-" + fs::path(folder.path()).filename().string() + ".exe";
    folder.write("game/Morrowind.ini", "[General]\nScreen Shot Enable=1\nScreen Shot Base Name=S\n");
    fs::copy_file(GAME_SIM_PATH, folder.file("game/" + name));
    EXPECT_TRUE(StartProgram(folder.file("game/" + name), folder.file("game")));
#ifndef _WIN32
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "not our child, not even a finished one";
#endif
    ASSERT_TRUE(Eventually([&] { return Running(name); }));
    std::ofstream(folder.file("game/game-sim.commands"), std::ios::app) << "shot 8x8\n";
    EXPECT_TRUE(Eventually([&] { return folder.exists("game/S 0.bmp"); }));
#ifndef _WIN32  // Windows removes no running program
    fs::remove(folder.file("game/" + name));
    EXPECT_TRUE(Running(name));
#endif
    std::ofstream(folder.file("game/game-sim.commands"), std::ios::app) << "quit\n";
    EXPECT_TRUE(Eventually([&] { return !Running(name); }));
}

TEST(StartProgram, RefusesWithTheNumberOfWhatIsWrong) {
    // The file ("" for none), its permission to run where files have one,
    // the folder to start it in.
    struct Row { const char* name; std::string bytes; bool executable; const char* folder; int number; };
    std::vector<Row> rows = {{"garbage to run", std::string(64, 'x'), true, "", ErrBadCall},
                             {"missing", "", false, "", ErrFileNotFound},
                             {"no folder", std::string(64, 'x'), true, "no folder", ErrPathNotFound}};
#ifdef _WIN32  // Windows tells from its contents that it is no program; Wine, unlike Windows, would try a DOS one
    rows.push_back({"text", "not a program\n", false, "", ErrBadCall});
#else  // Linux runs no file without its permission to run; a DOS program (no PE header) does not go to wine
    rows.push_back({"text", "not a program\n", false, "", ErrPermissionDenied});
    rows.push_back({"DOS program", "MZ" + std::string(0x80, '\0'), false, "", ErrPermissionDenied});
#endif
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        GameFolder folder;
        if (!row.bytes.empty()) folder.write("program.exe", row.bytes);
        if (row.executable) fs::permissions(folder.file("program.exe"), fs::perms::owner_all);
        EXPECT_EQ(FailureOf([&] { (void)StartProgram(folder.file("program.exe"), folder.file(row.folder)); }).number(),
                  row.number);
    }
}

#ifdef _WIN32
// A program marked to run as administrator (the system's code 740 where it
// is started) goes through the shell, which asks the player: allowed, it
// runs; refused (1223), nothing runs and there is no failure; the shell's
// other failures are the start's.
TEST(StartProgram, AProgramToRunAsAdministratorAsksThePlayer) {
    struct Row { const char* name; int shell; bool runs; int number; };
    const Row rows[] = {{"allowed", 0, true, 0},
                        {"refused", ERROR_CANCELLED, false, 0},
                        {"shell_finds_no_file", ERROR_FILE_NOT_FOUND, false, ErrFileNotFound}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        GameFolder folder;
        const std::string name = "Admin-" + std::string(row.name) + "-" + fs::path(folder.path()).filename().string() + ".exe";
        fs::copy_file(GAME_SIM_PATH, folder.file(name));
        folder.write("Morrowind.ini", "[General]\r\n");
        files::SetFaultHook([&](std::string_view step, const std::string&) {
            return step == "start" ? 740 : step == "shell" ? row.shell : 0;
        });
        bool started = false;
        const int number = row.number ? FailureOf([&] { started = StartProgram(folder.file(name), folder.path()); }).number()
                                      : (started = StartProgram(folder.file(name), folder.path()), 0);
        files::SetFaultHook(nullptr);
        EXPECT_EQ(number, row.number);
        EXPECT_EQ(started, row.runs);
        if (row.runs) EXPECT_TRUE(Eventually([&] { return Running(name); }));
        else EXPECT_FALSE((std::this_thread::sleep_for(300ms), Running(name)));
        std::ofstream(folder.file("game-sim.commands"), std::ios::app) << "quit\n";
        EXPECT_TRUE(Eventually([&] { return !Running(name); }));
    }
}

// A request for the next entry that fails ends the walk as the list's end
// does, with what was listed before it; the list is still there.
TEST(ExecutableNames, AFailingRequestEndsTheWalk) {
    int requests = 0;
    files::SetFaultHook([&](std::string_view step, const std::string&) {
        return step == "next" && ++requests == 2 ? int(ERROR_INVALID_PARAMETER) : 0;
    });
    const auto names = processes::ExecutableNames();
    files::SetFaultHook(nullptr);
    ASSERT_TRUE(names.has_value());
    EXPECT_EQ(names->size(), 2u);
}
#else
TEST(StartProgram, WindowsProgramsGoThroughWineFromPath) {
    GameFolder folder;
    // A stand-in for wine that records its arguments, folder and input.
    const std::string log = folder.file("wine.log");
    folder.write("bin/wine", "#!/bin/sh\n{ printf '%s\\n' \"$@\"; pwd -P; readlink /proc/self/fd/0; } >'" + log +
                                 ".tmp' && mv '" + log + ".tmp' '" + log + "'\n");
    fs::permissions(folder.file("bin/wine"), fs::perms::owner_all);
    std::string pe = "MZ" + std::string(0x7E, '\0') + std::string("PE\0\0", 4);  // "PE" where 0x3C points
    pe[0x3C] = char(0x80);
    folder.write("My Game.exe", pe);
    SetEnvironment("PATH", folder.file("bin") + ":/usr/bin:/bin");
    int pipeFds[2];  // our input is not /dev/null, so the program's must be made so
    ASSERT_EQ(::pipe(pipeFds), 0);
    ::dup2(pipeFds[0], STDIN_FILENO);

    EXPECT_TRUE(StartProgram(folder.file("My Game.exe"), folder.file("bin")));
    ASSERT_TRUE(Eventually([&] { return folder.exists("wine.log"); }));
    EXPECT_EQ(folder.read("wine.log"),
              folder.file("My Game.exe") + "\n" + fs::canonical(folder.file("bin")).string() + "\n/dev/null\n");
    SetEnvironment("PATH", "/nonexistent");
    const Failure noWine = FailureOf([&] { (void)StartProgram(folder.file("My Game.exe"), folder.file("bin")); });
    EXPECT_EQ(noWine.number(), ErrFileNotFound);
    EXPECT_NE(noWine.description().find("wine was not found on PATH"), std::string::npos) << noWine.description();
}

// Wine's loader runs with the Windows program's path for argv[0]. An ended
// process not yet reaped (a zombie) is not running, though still listed by
// the system; its name is short enough for the kernel's short name to hold.
TEST(ExecutableNames, ShowTheWindowsNameUnderWineAndNoEndedProcess) {
    GameFolder folder;
    const std::string pid = std::to_string(::getpid()), windowsName = "Glint" + pid + ".exe", ended = "Z" + pid + ".exe";
    folder.write("quit", "quit\n");
    const pid_t loader = Spawn(folder, "wine64-preloader", {"C:\\Games\\Morrowind\\" + windowsName});
    const pid_t zombie = Spawn(folder, ended, {ended, "--script", "quit"});
    siginfo_t info{};
    ASSERT_TRUE(Eventually([&] {
        return ::waitid(P_PID, id_t(zombie), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
    }));
    EXPECT_TRUE(Running(windowsName));
    EXPECT_FALSE(Running("wine64-preloader"));
    EXPECT_FALSE(Running(ended));
    ::kill(loader, SIGKILL);
    ::waitpid(loader, nullptr, 0), ::waitpid(zombie, nullptr, 0);
}
#endif
