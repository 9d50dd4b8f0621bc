#include "system.h"

#include "platform/windows_text.h"

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <thread>
#include <windows.h>

namespace gamesim {

namespace {
volatile std::sig_atomic_t g_signal = 0;
void OnSignal(int sig) { g_signal = sig; }
}  // namespace

void PrepareProcess() {
    // The runtime turns Ctrl+C and Ctrl+Break into these signals.
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    std::signal(SIGBREAK, OnSignal);
}

int QuitRequest() { return g_signal; }

// Windows cannot wait on a console or pipe and a timeout at once: a thread
// of its own reads standard input and hands over what it read.
struct Input::State {
    std::mutex mutex;
    std::condition_variable arrived;
    std::string text;
    bool ended = false;
};

Input::Input() : state_(std::make_unique<State>()) {
    HANDLE in = ::GetStdHandle(STD_INPUT_HANDLE);
    if (in == nullptr || in == INVALID_HANDLE_VALUE || ::GetFileType(in) == FILE_TYPE_UNKNOWN) {
        state_->ended = true;
        return;
    }
    // Detached: it may be blocked in ReadFile when the program ends.
    std::thread([state = state_.get(), in] {
        char buf[4096];
        DWORD n = 0;
        while (::ReadFile(in, buf, sizeof buf, &n, nullptr) && n > 0) {
            const std::lock_guard lock(state->mutex);
            state->text.append(buf, n);
            state->arrived.notify_one();
        }
        const std::lock_guard lock(state->mutex);
        state->ended = true;
        state->arrived.notify_one();
    }).detach();
}

// The reader thread may still be blocked on the input at the end: what it
// uses is left to the end of the process.
Input::~Input() { (void)state_.release(); }

std::string Input::Wait(int ms) {
    State& s = *state_;
    std::unique_lock lock(s.mutex);
    s.arrived.wait_for(lock, std::chrono::milliseconds(ms),
                       [&] { return s.text.find('\n') != std::string::npos || (s.ended && !s.text.empty()); });
    if (s.ended) return std::move(s.text);
    std::string lines = s.text.substr(0, WholeLines(s.text));
    s.text.erase(0, lines.size());
    return lines;
}

struct ControlFile::State {
    std::wstring path;
    unsigned long long identity = 0;  // the file's index on its volume
    long long offset = 0;
};

ControlFile::ControlFile(std::string path) : state_(std::make_unique<State>()) {
    state_->path = glintbook::windows::WidePath(path);
}
ControlFile::~ControlFile() = default;

std::string ControlFile::Poll() {
    State& s = *state_;
    HANDLE h = ::CreateFileW(s.path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                             nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        s.identity = 0;
        s.offset = 0;
        return {};
    }
    std::string lines;
    BY_HANDLE_FILE_INFORMATION info{};
    if (::GetFileInformationByHandle(h, &info)) {
        const unsigned long long identity = (unsigned long long)info.nFileIndexHigh << 32 | info.nFileIndexLow;
        const long long size = (long long)info.nFileSizeHigh << 32 | info.nFileSizeLow;
        if (identity != s.identity || size < s.offset) {
            s.identity = identity;
            s.offset = 0;
        }
        std::string text(size_t(size - s.offset), '\0');
        OVERLAPPED at{};
        at.Offset = DWORD(s.offset);
        at.OffsetHigh = DWORD(s.offset >> 32);
        DWORD n = 0;
        if (text.empty() || !::ReadFile(h, text.data(), DWORD(text.size()), &n, &at)) n = 0;
        text.resize(n);
        lines = text.substr(0, WholeLines(text));
        s.offset += (long long)lines.size();
    }
    ::CloseHandle(h);
    return lines;
}

}  // namespace gamesim
