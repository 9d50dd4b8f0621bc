// game-sim: stands in for the game. Started in a game folder, it takes
// screenshots on command and keeps running until told to quit.
//
// Commands, one a line: "shot", "shot WxH", "wait MS", "quit". They come from
//   - standard input, when it is readable (its end does not quit);
//   - game-sim.commands in the game folder, read as lines are appended to it;
//   - a script run at the start: GAME_SIM_SCRIPT ("wait 500; shot; quit"),
//     then the lines of the file given with --script FILE.
// "wait" pauses only the source it came from. Every action is logged as one
// line on standard output. It ends on "quit", SIGTERM or SIGINT, or when its
// folder is removed.
#include "platform/files.h"
#include "screenshot.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kDefaultWidth = 800, kDefaultHeight = 600;
constexpr int kMaxSide = 16384;  // keeps a typo from asking for gigabytes
constexpr auto kControlFilePoll = 50ms;

volatile std::sig_atomic_t g_signal = 0;

void Log(const std::string& line) {
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

std::string_view Trim(std::string_view s) {
    const auto first = s.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(" \t\r\n") - first + 1);
}

std::optional<int> Number(std::string_view s) {
    int n = 0;
    const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), n);
    if (ec != std::errc() || end != s.data() + s.size()) return std::nullopt;
    return n;
}

// A source of commands, run in order; "wait" holds it until resumeAt.
struct Channel {
    std::deque<std::string> pending;
    Clock::time_point resumeAt{};

    void AddLines(std::string_view text, char separator) {
        while (!text.empty()) {
            const auto cut = std::min(text.find(separator), text.size());
            if (auto line = Trim(text.substr(0, cut)); !line.empty()) pending.emplace_back(line);
            text.remove_prefix(std::min(cut + 1, text.size()));
        }
    }
};

// Runs one command; returns false on "quit".
bool Execute(Channel& channel, std::string_view line) {
    const auto space = line.find(' ');
    const std::string_view verb = line.substr(0, space);
    const std::string_view arg = space == std::string_view::npos ? "" : Trim(line.substr(space + 1));
    if (verb == "quit" && arg.empty()) {
        Log("quit");
        return false;
    }
    if (verb == "wait") {
        if (const auto ms = Number(arg); ms && *ms >= 0) {
            channel.resumeAt = Clock::now() + std::chrono::milliseconds(*ms);
            Log("wait " + std::to_string(*ms));
            return true;
        }
    } else if (verb == "shot") {
        int width = kDefaultWidth, height = kDefaultHeight;
        if (!arg.empty()) {
            const auto x = arg.find('x');
            const auto w = Number(arg.substr(0, x));
            const auto h = x == std::string_view::npos ? std::nullopt : Number(arg.substr(x + 1));
            width = w.value_or(0);
            height = h.value_or(0);
        }
        if (width >= 1 && height >= 1 && width <= kMaxSide && height <= kMaxSide) {
            Log(gamesim::TakeScreenshot(width, height));
            return true;
        }
    }
    Log("bad command ignored: " + std::string(line));
    return true;
}

// game-sim.commands: complete lines appended since we last looked, from the
// start of the file, so that a writer may begin before the game is up. A file
// that was replaced or cut short is read again from its start; one left from
// an earlier run is the writer's to remove.
class ControlFile {
public:
    explicit ControlFile(std::string path) : path_(std::move(path)) {}

    void Poll(Channel& channel) {
        const int fd = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            inode_ = 0;
            offset_ = 0;
            return;
        }
        struct stat st {};
        if (::fstat(fd, &st) == 0) {
            if (st.st_ino != inode_ || st.st_size < offset_) {
                inode_ = st.st_ino;
                offset_ = 0;
            }
            std::string text(size_t(st.st_size - offset_), '\0');
            const ssize_t n = text.empty() ? 0 : ::pread(fd, text.data(), text.size(), offset_);
            text.resize(n > 0 ? size_t(n) : 0);
            const auto end = text.rfind('\n');
            if (end != std::string::npos) {
                channel.AddLines(std::string_view(text).substr(0, end + 1), '\n');
                offset_ += off_t(end + 1);
            }
        }
        ::close(fd);
    }

private:
    std::string path_;
    ino_t inode_ = 0;
    off_t offset_ = 0;
};

// Standard input, when there is one worth reading. Its end is not a quit:
// the game is normally started with /dev/null there.
class Input {
public:
    int fd() const { return fd_; }

    void Read(short revents, Channel& channel) {
        if (revents & POLLNVAL) {
            fd_ = -1;
            return;
        }
        char buf[4096];
        const ssize_t n = ::read(fd_, buf, sizeof buf);
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
        if (n <= 0) {
            channel.AddLines(partial_, '\n');
            partial_.clear();
            fd_ = -1;  // poll() skips a negative descriptor
            return;
        }
        partial_.append(buf, size_t(n));
        const auto end = partial_.rfind('\n');
        if (end == std::string::npos) return;
        channel.AddLines(std::string_view(partial_).substr(0, end + 1), '\n');
        partial_.erase(0, end + 1);
    }

private:
    int fd_ = STDIN_FILENO;
    std::string partial_;
};

void OnSignal(int sig) { g_signal = sig; }

}  // namespace

int main(int argc, char** argv) {
    // A closed standard descriptor would be taken by the next file we open.
    for (int fd = 0; fd < 3; ++fd)
        if (::fcntl(fd, F_GETFD) < 0) ::open("/dev/null", O_RDWR);
    struct sigaction sa {};
    sa.sa_handler = OnSignal;  // no SA_RESTART: poll() returns at once
    ::sigaction(SIGTERM, &sa, nullptr);
    ::sigaction(SIGINT, &sa, nullptr);
    std::signal(SIGPIPE, SIG_IGN);  // a reader of our log that went away must not end the game

    Channel script, input, control;
    if (const char* env = std::getenv("GAME_SIM_SCRIPT")) script.AddLines(env, ';');
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::string_view(argv[i]) != "--script") continue;
        if (auto text = glintbook::files::TryReadFile(argv[++i]))
            script.AddLines(*text, '\n');
        else
            Log("cannot read script " + std::string(argv[i]));
    }
    ControlFile controlFile(glintbook::files::GamePath("\\game-sim.commands"));
    Input stdinReader;
    Log("start in " + glintbook::files::CurrentDirectory());

    auto nextPoll = Clock::now();
    for (;;) {
        for (Channel* channel : {&script, &input, &control}) {
            while (!channel->pending.empty() && Clock::now() >= channel->resumeAt) {
                const std::string line = std::move(channel->pending.front());
                channel->pending.pop_front();
                if (!Execute(*channel, line)) return 0;
            }
        }
        if (g_signal) {
            Log("quit on signal " + std::to_string(g_signal));
            return 0;
        }

        // Sleep until stdin speaks, the control file is due, or a wait ends.
        auto wake = nextPoll;
        for (const Channel* channel : {&script, &input, &control})
            if (!channel->pending.empty()) wake = std::min(wake, channel->resumeAt);
        const auto ms = std::chrono::ceil<std::chrono::milliseconds>(wake - Clock::now()).count();
        pollfd pfd{stdinReader.fd(), POLLIN, 0};
        if (::poll(&pfd, 1, int(std::max<long long>(0, ms))) > 0) stdinReader.Read(pfd.revents, input);
        if (Clock::now() >= nextPoll) {
            // A game whose folder was removed (a test that ended without a
            // quit) would otherwise run on unseen for ever.
            struct stat here {};
            if (::stat(".", &here) != 0 || here.st_nlink == 0) {
                Log("quit: the game folder is gone");
                return 0;
            }
            controlFile.Poll(control);
            nextPoll = Clock::now() + kControlFilePoll;
        }
    }
}
