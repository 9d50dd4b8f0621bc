#pragma once
// What the simulator needs of the system, one file per platform: its
// standard input in whole lines, the command file, and quit requests.
#include <memory>
#include <string>
#include <string_view>

namespace gamesim {

// The length of the whole lines at the start of `text`, up to its last '\n'.
inline std::size_t WholeLines(std::string_view text) {
    const auto end = text.rfind('\n');
    return end == std::string_view::npos ? 0 : end + 1;
}

// Readies the process: standard descriptors that are closed are opened on
// the null device; quit requests (SIGTERM and SIGINT, or Ctrl+C and
// Ctrl+Break on Windows) are noted for QuitRequest.
void PrepareProcess();

// The number of the quit request received, 0 while there is none.
int QuitRequest();

// Standard input, when there is one worth reading. Its end is not a quit:
// the game is normally started without one.
class Input {
public:
    Input();
    ~Input();
    // Waits up to `ms` (or until a quit request) for input; returns the
    // whole lines read, each with its '\n', and at the end of the input
    // whatever is left.
    std::string Wait(int ms);

private:
    struct State;
    std::unique_ptr<State> state_;
};

// game-sim.commands: complete lines appended since we last looked, from the
// start of the file, so that a writer may begin before the game is up. A file
// that was replaced or cut short is read again from its start; one left from
// an earlier run is the writer's to remove.
class ControlFile {
public:
    explicit ControlFile(std::string path);
    ~ControlFile();
    std::string Poll();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace gamesim
