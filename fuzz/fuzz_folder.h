#pragma once
// A scratch folder for one fuzzing process, made on first use and removed at
// exit, and the way a target reports a broken promise: print it and abort,
// which libFuzzer records as a crash with the input that caused it.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace glintbook::fuzzing {

struct Scratch {
    std::string path;
    Scratch() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "glintbook-fuzz-XXXXXX").string();
        if (!::mkdtemp(tmpl.data())) {
            std::perror("mkdtemp");
            std::abort();
        }
        path = tmpl;
    }
    ~Scratch() {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
};

inline const std::string& ScratchFolder() {
    static const Scratch scratch;
    return scratch.path;
}

inline void AbortOnProblems(const std::vector<std::string>& problems) {
    if (problems.empty()) return;
    for (const std::string& p : problems) std::fprintf(stderr, "broken promise: %s\n", p.c_str());
    std::abort();
}

}  // namespace glintbook::fuzzing
