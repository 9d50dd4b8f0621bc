#include "platform/command_line.h"

#include <climits>
#include <unistd.h>

namespace glintbook::command_line {

std::vector<std::string> Arguments(int argc, char** argv) { return {argv + (argc > 0), argv + argc}; }

void Write(std::FILE* stream, std::string_view text) { std::fwrite(text.data(), 1, text.size(), stream); }

std::string ProgramFolder() {
    char path[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path);
    const std::string exe(path, n > 0 ? std::size_t(n) : 0);
    return exe.substr(0, exe.find_last_of('/'));
}

}  // namespace glintbook::command_line
