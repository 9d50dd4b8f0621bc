// game-sim: stands in for the game. Started in a game folder, it takes
// screenshots on command and keeps running until told to quit. Named
// openmw, it stands in for the open engine and writes its screenshots as
// that engine does (screenshot.h).
//
// Commands, one a line: "shot", "shot WxH", "wait MS", "quit". They come from
//   - standard input, when it is readable (its end does not quit);
//   - game-sim.commands in the game folder, read as lines are appended to it;
//   - a script run at the start: GAME_SIM_SCRIPT ("wait 500; shot; quit"),
//     then the lines of the file given with --script FILE.
// "wait" pauses only the source it came from. Every action is logged as one
// line on standard output, and appended to the file GAME_SIM_LOG names (a
// game started detached has no output to read). It ends on "quit", SIGTERM
// or SIGINT (Ctrl+C or Ctrl+Break on Windows), or when its folder is removed.
#include "platform/files.h"
#include "settings/game_files.h"
#include "screenshot.h"
#include "system.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace {

// Built as openmw, the simulator stands in for the open engine.
bool openEngine = false;

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kDefaultWidth = 800, kDefaultHeight = 600;
constexpr int kMaxSide = 16384;  // keeps a typo from asking for gigabytes
constexpr auto kControlFilePoll = 50ms;

void Log(const std::string& line) {
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
    if (const char* log = std::getenv("GAME_SIM_LOG")) {
        if (FILE* f = std::fopen(log, "ab")) {
            std::fputs((line + "\n").c_str(), f);
            std::fclose(f);
        }
    }
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
            Log(openEngine             ? gamesim::TakeEngineScreenshot(width, height)
                : gamesim::MgeActive() ? gamesim::TakeMgeScreenshot(width, height)
                                       : gamesim::TakeScreenshot(width, height));
            return true;
        }
    }
    Log("bad command ignored: " + std::string(line));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    gamesim::PrepareProcess();
    const std::string self = argc > 0 ? argv[0] : "";
    const std::string program = self.substr(self.find_last_of("/\\") + 1);
    openEngine = glintbook::game::EngineOfProcess(program) == glintbook::game::Engine::Open;

    Channel script, input, control;
    if (const char* env = std::getenv("GAME_SIM_SCRIPT")) script.AddLines(env, ';');
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::string_view(argv[i]) != "--script") continue;
        if (auto text = glintbook::files::TryReadFile(argv[++i]))
            script.AddLines(*text, '\n');
        else
            Log("cannot read script " + std::string(argv[i]));
    }
    gamesim::ControlFile controlFile(glintbook::files::GamePath("\\game-sim.commands"));
    gamesim::Input stdinReader;
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
        if (const int quit = gamesim::QuitRequest()) {
            Log("quit on signal " + std::to_string(quit));
            return 0;
        }

        // Sleep until stdin speaks, the control file is due, or a wait ends.
        auto wake = nextPoll;
        for (const Channel* channel : {&script, &input, &control})
            if (!channel->pending.empty()) wake = std::min(wake, channel->resumeAt);
        const auto ms = std::chrono::ceil<std::chrono::milliseconds>(wake - Clock::now()).count();
        input.AddLines(stdinReader.Wait(int(std::max<long long>(0, ms))), '\n');
        if (Clock::now() >= nextPoll) {
            // A game whose folder was removed (a test that ended without a
            // quit) would otherwise run on unseen for ever.
            if (!glintbook::files::FolderExists(glintbook::files::CurrentDirectory())) {
                Log("quit: the game folder is gone");
                return 0;
            }
            control.AddLines(controlFile.Poll(), '\n');
            nextPoll = Clock::now() + kControlFilePoll;
        }
    }
}
