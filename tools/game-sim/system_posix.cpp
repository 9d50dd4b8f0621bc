#include "system.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace gamesim {

namespace {
volatile std::sig_atomic_t g_signal = 0;
void OnSignal(int sig) { g_signal = sig; }
}  // namespace

void PrepareProcess() {
    // A closed standard descriptor would be taken by the next file we open.
    for (int fd = 0; fd < 3; ++fd)
        if (::fcntl(fd, F_GETFD) < 0) ::open("/dev/null", O_RDWR);
    struct sigaction sa {};
    sa.sa_handler = OnSignal;  // no SA_RESTART: poll() returns at once
    ::sigaction(SIGTERM, &sa, nullptr);
    ::sigaction(SIGINT, &sa, nullptr);
    std::signal(SIGPIPE, SIG_IGN);  // a reader of our log that went away must not end the game
}

int QuitRequest() { return g_signal; }

struct Input::State {
    int fd = STDIN_FILENO;
    std::string partial;
};

Input::Input() : state_(std::make_unique<State>()) {}
Input::~Input() = default;

std::string Input::Wait(int ms) {
    State& s = *state_;
    pollfd pfd{s.fd, POLLIN, 0};  // poll() skips a negative descriptor and only waits
    if (::poll(&pfd, 1, ms) <= 0) return {};
    if (pfd.revents & POLLNVAL) {
        s.fd = -1;
        return {};
    }
    char buf[4096];
    const ssize_t n = ::read(s.fd, buf, sizeof buf);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return {};
    if (n <= 0) {
        s.fd = -1;
        return std::move(s.partial);
    }
    s.partial.append(buf, size_t(n));
    std::string lines = s.partial.substr(0, WholeLines(s.partial));
    s.partial.erase(0, lines.size());
    return lines;
}

struct ControlFile::State {
    std::string path;
    ino_t inode = 0;
    off_t offset = 0;
};

ControlFile::ControlFile(std::string path) : state_(std::make_unique<State>()) { state_->path = std::move(path); }
ControlFile::~ControlFile() = default;

std::string ControlFile::Poll() {
    State& s = *state_;
    const int fd = ::open(s.path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        s.inode = 0;
        s.offset = 0;
        return {};
    }
    std::string lines;
    struct stat st {};
    if (::fstat(fd, &st) == 0) {
        if (st.st_ino != s.inode || st.st_size < s.offset) {
            s.inode = st.st_ino;
            s.offset = 0;
        }
        std::string text(size_t(st.st_size - s.offset), '\0');
        const ssize_t n = text.empty() ? 0 : ::pread(fd, text.data(), text.size(), s.offset);
        text.resize(n > 0 ? size_t(n) : 0);
        lines = text.substr(0, WholeLines(text));
        s.offset += off_t(lines.size());
    }
    ::close(fd);
    return lines;
}

}  // namespace gamesim
