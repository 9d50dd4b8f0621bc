#pragma once
// A program run as a child of the test, with pipes on its standard input and
// output: the test waits for the lines it logs (POSIX only).
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>
#ifndef _WIN32
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace glintbook::test {

using namespace std::chrono_literals;

// Polls `done` every few milliseconds until it holds or `timeout` passes.
template <typename F>
bool Eventually(F done, std::chrono::milliseconds timeout = 5s) {
    for (const auto end = std::chrono::steady_clock::now() + timeout; !done(); std::this_thread::sleep_for(5ms))
        if (std::chrono::steady_clock::now() > end) return false;
    return true;
}

// Appends without rewriting what is there, as a writer of commands does.
inline void Append(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::app) << text;
}

#ifndef _WIN32
struct ChildProcess {
    // `argv` includes argv[0]; `env` ("NAME=value") is added to ours.
    ChildProcess(const std::string& program, std::vector<std::string> argv, std::vector<std::string> env = {}) {
        for (char** e = environ; *e; ++e) env.emplace_back(*e);
        std::vector<char*> args, vars;
        for (auto& a : argv) args.push_back(a.data());
        for (auto& v : env) vars.push_back(v.data());
        args.push_back(nullptr), vars.push_back(nullptr);
        int in[2], out[2];
        ::pipe2(in, O_CLOEXEC), ::pipe2(out, O_CLOEXEC);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], 0);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        if (::posix_spawn(&pid, program.c_str(), &actions, nullptr, args.data(), vars.data()) != 0) pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        ::close(in[0]), ::close(out[1]);
        input = in[1], output = out[0];
    }
    ~ChildProcess() {
        ::close(input), ::close(output);
        if (pid > 0 && !reaped) ::kill(pid, SIGKILL), ::waitpid(pid, nullptr, 0);  // never kill(-1)
    }

    // The next logged line that starts with `prefix`, or "" after `timeout`.
    std::string WaitForLine(const std::string& prefix, std::chrono::milliseconds timeout = 5s) {
        for (const auto end = std::chrono::steady_clock::now() + timeout;;) {
            for (size_t nl; (nl = text.find('\n', scanned)) != std::string::npos;) {
                std::string line = text.substr(scanned, nl - scanned);
                scanned = nl + 1;
                if (line.starts_with(prefix)) return line;
            }
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
            pollfd pfd{output, POLLIN, 0};
            char buf[4096];
            ssize_t n = 0;
            if (left.count() < 0 || ::poll(&pfd, 1, int(left.count())) <= 0) return {};
            if ((n = ::read(output, buf, sizeof buf)) <= 0) return {};
            text.append(buf, size_t(n));
        }
    }

    // The exit status (128 + N for signal N), or -1 after `timeout`. Without
    // `reap` an ended child is left a zombie.
    int WaitForExit(std::chrono::milliseconds timeout = 5s, bool reap = true) {
        siginfo_t info{};
        const int flags = WEXITED | WNOHANG | (reap ? 0 : WNOWAIT);
        auto ended = [&] { return ::waitid(P_PID, id_t(pid), &info, flags) != 0 || info.si_pid != 0; };
        if (!Eventually(ended, timeout)) return -1;
        reaped = reap;
        return info.si_code == CLD_EXITED ? info.si_status : 128 + info.si_status;
    }

    pid_t pid = -1;
    int input = -1, output = -1;
    bool reaped = false;
    std::string text;  // what it logged so far
    size_t scanned = 0;
};
#endif

}  // namespace glintbook::test
