#include "processes.h"

#include "failure.h"
#include "files.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#if __has_include(<linux/close_range.h>)
#include <linux/close_range.h>
#endif

namespace glintbook::processes {

namespace {

// Reads a small file below /proc. Returns the number of bytes read, or -1
// when the file is gone or unreadable.
ssize_t ReadSmall(int procFd, const std::string& name, char* buf, size_t size) {
    const int fd = ::openat(procFd, name.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -1;
    ssize_t n;
    do n = ::read(fd, buf, size);
    while (n < 0 && errno == EINTR);
    ::close(fd);
    return n;
}

std::string BaseName(std::string_view path, bool windowsToo) {
    const auto cut = path.find_last_of(windowsToo ? std::string_view("/\\") : std::string_view("/"));
    return std::string(cut == std::string_view::npos ? path : path.substr(cut + 1));
}

bool IsWineLoader(std::string_view name) {
    return name == "wine" || name == "wine64" || name == "wine-preloader" || name == "wine64-preloader";
}

// The name of one process, or nothing when it has ended (a zombie) or
// vanished while we looked.
std::optional<std::string> NameOf(int procFd, const std::string& pid) {
    // A readable exe link means a live process (a zombie has none), which
    // saves reading stat for almost every process.
    char link[4096];
    const ssize_t linkLen = ::readlinkat(procFd, (pid + "/exe").c_str(), link, sizeof link);
    std::string exe;
    if (linkLen > 0) {
        std::string_view target(link, size_t(linkLen));
        constexpr std::string_view deleted = " (deleted)";
        if (target.ends_with(deleted)) target.remove_suffix(deleted.size());
        exe = BaseName(target, false);
        if (!IsWineLoader(exe)) return exe;
    }

    // stat is "PID (comm) S ...": comm may itself hold ')' and blanks, so the
    // state follows the last ')'.
    std::string_view comm;
    char stat[512];
    if (exe.empty()) {
        const ssize_t statLen = ReadSmall(procFd, pid + "/stat", stat, sizeof stat);
        const std::string_view statText(stat, statLen > 0 ? size_t(statLen) : 0);
        const auto open = statText.find('(');
        const auto close = statText.rfind(')');
        if (open == std::string_view::npos || close == std::string_view::npos || close < open ||
            close + 2 >= statText.size() || statText[close + 2] == 'Z')
            return std::nullopt;
        comm = statText.substr(open + 1, close - open - 1);
    }

    // argv[0] stands in when the link is unreadable (another user's process)
    // or names a wine loader, whose argv[0] is the Windows program's path.
    char cmd[4096];
    const ssize_t cmdLen = ReadSmall(procFd, pid + "/cmdline", cmd, sizeof cmd);
    if (cmdLen > 0) {
        std::string argv0 = BaseName(std::string_view(cmd, strnlen(cmd, size_t(cmdLen))), true);
        if (!argv0.empty()) return argv0;
    }
    return exe.empty() ? std::string(comm) : exe;
}

// What the child reports through the pipe when it cannot go on.
struct ChildError {
    int step;  // one of the Step values
    int err;
};
enum Step : int { StepFork = 1, StepChdir, StepExec };

bool IsPeImage(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    unsigned char head[0x40];
    bool pe = false;
    if (::pread(fd, head, sizeof head, 0) == ssize_t(sizeof head) && head[0] == 'M' && head[1] == 'Z') {
        const uint32_t offset = uint32_t(head[0x3C]) | uint32_t(head[0x3D]) << 8 | uint32_t(head[0x3E]) << 16 |
                                uint32_t(head[0x3F]) << 24;
        char sig[4];
        pe = ::pread(fd, sig, 4, off_t(offset)) == 4 && std::memcmp(sig, "PE\0\0", 4) == 0;
    }
    ::close(fd);
    return pe;
}

// Runs in the grandchild, between fork and exec: only async-signal-safe calls.
[[noreturn]] void ExecDetached(const char* program, char* const* argv, const char* workingDirectory, int errFd) {
    auto fail = [errFd](int step) {
        const ChildError e{step, errno};
        [[maybe_unused]] ssize_t n = ::write(errFd, &e, sizeof e);
        ::_exit(127);
    };
    ::setsid();  // its own session: our terminal's Ctrl+C and hang-up are not its business
    if (::chdir(workingDirectory) != 0) fail(StepChdir);
    const int null = ::open("/dev/null", O_RDONLY);
    if (null >= 0 && null != STDIN_FILENO) {
        ::dup2(null, STDIN_FILENO);
        ::close(null);
    }
#ifdef CLOSE_RANGE_CLOEXEC
    // Our other descriptors (pipes, sockets, files) are not the program's.
    ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
#endif
    // Ignored signals and the blocked mask survive exec; give the program a
    // clean start.
    struct sigaction dfl {};
    dfl.sa_handler = SIG_DFL;
    for (int sig = 1; sig < NSIG; ++sig) ::sigaction(sig, &dfl, nullptr);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execv(program, argv);
    fail(StepExec);
    ::_exit(127);
}

}  // namespace

std::optional<std::vector<std::string>> ExecutableNames() {
    const int procFd = ::open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (procFd < 0) return std::nullopt;
    DIR* dir = ::fdopendir(procFd);
    if (!dir) {
        ::close(procFd);
        return std::nullopt;
    }
    std::vector<std::string> names;
    std::string pid;
    while (const dirent* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        if (name[0] < '1' || name[0] > '9') continue;  // not a process folder
        if (auto exe = NameOf(procFd, pid.assign(name))) names.push_back(std::move(*exe));
    }
    ::closedir(dir);
    return names;
}

bool StartProgram(const std::string& path, const std::string& workingDirectory, const std::vector<std::string>& arguments) {
    // The child changes directory before exec, so a relative path is made
    // absolute against ours first.
    const std::string program = path.starts_with('/') ? path : files::CurrentDirectory() + "/" + path;
    if (::access(program.c_str(), F_OK) != 0) throw FailureFromErrno(errno, path);

    std::string wine;
    std::vector<std::string> args{program};
    if (IsPeImage(program)) {
        wine = FindProgram("wine");
        if (wine.empty())
            throw Failure(ErrFileNotFound, path + " is a Windows program and wine was not found on PATH");
        args = {"wine", program};
    }
    args.insert(args.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    const char* exe = wine.empty() ? program.c_str() : wine.c_str();

    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0) throw FailureFromErrno(errno, "starting " + path);

    // Double fork: the middle child ends at once and is reaped here, so the
    // program is adopted by init and never lingers as our zombie.
    const pid_t child = ::fork();
    if (child < 0) {
        const int err = errno;
        ::close(pipeFds[0]);
        ::close(pipeFds[1]);
        throw FailureFromErrno(err, "starting " + path);
    }
    if (child == 0) {
        ::close(pipeFds[0]);
        const pid_t grandchild = ::fork();
        if (grandchild == 0) ExecDetached(exe, argv.data(), workingDirectory.c_str(), pipeFds[1]);
        if (grandchild < 0) {
            const ChildError e{StepFork, errno};
            [[maybe_unused]] ssize_t n = ::write(pipeFds[1], &e, sizeof e);
        }
        ::_exit(0);
    }
    ::close(pipeFds[1]);
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }

    // The pipe closes on a successful exec (O_CLOEXEC) with nothing written.
    ChildError e{};
    ssize_t n;
    do n = ::read(pipeFds[0], &e, sizeof e);
    while (n < 0 && errno == EINTR);
    ::close(pipeFds[0]);
    if (n != ssize_t(sizeof e)) return true;

    switch (e.step) {
    case StepChdir:
        if (e.err == ENOENT) throw Failure(ErrPathNotFound, "Path not found: " + workingDirectory);
        throw FailureFromErrno(e.err, workingDirectory);
    case StepExec:
        if (e.err == ENOEXEC) throw Failure(ErrBadCall, "Invalid procedure call or argument: " + path +
                                                           " is not a program this system can run");
        throw FailureFromErrno(e.err, wine.empty() ? path : wine);
    default: throw FailureFromErrno(e.err, "starting " + path);
    }
}

}  // namespace glintbook::processes
