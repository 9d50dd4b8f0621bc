#pragma once
// The system's process list and starting programs.
#include <optional>
#include <string>
#include <vector>

namespace glintbook::processes {

// The executable file name of every process, as the platform reports it: the
// file name of the program without its folder ("Morrowind.exe"), in its own
// letter case. A Windows program running under Wine shows its Windows
// executable name. nullopt when no snapshot of the list can be taken.
std::optional<std::vector<std::string>> ExecutableNames();

// Starts the program at `path` with `arguments`, `workingDirectory` as its
// current directory, without waiting for it. On Linux a native executable
// starts directly and a Windows PE image through `wine` found on PATH.
// On Windows a program that must run as administrator is started through
// the shell, which asks the player; false when the player refused. Throws
// Failure (platform/failure.h) when it cannot be started.
[[nodiscard]] bool StartProgram(const std::string& path, const std::string& workingDirectory,
                                const std::vector<std::string>& arguments = {});

// The first program file `name` in the folders of PATH, then of `after`; ""
// when there is none. On Linux only an executable file counts. Empty PATH
// entries (the current directory) are skipped on purpose: the current
// directory is the game folder, not a place to pick programs from.
std::string FindProgram(const std::string& name, const std::vector<std::string>& after = {});

}  // namespace glintbook::processes
