// glintbook-ini: reads and sets keys of a settings file the way the program
// does, for players and scripts that check or repair album indexes.
// Arguments are used as given, byte for byte, but for the file's name, which
// on Windows is read from the wide command line so that any name arrives.
#include "platform/command_line.h"
#include "settings/profile.h"

#include <charconv>
#include <climits>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr const char* kUsage =
    "usage: glintbook-ini FILE get-int SECTION KEY [DEFAULT]\n"
    "       glintbook-ini FILE get-string SECTION KEY [DEFAULT [SIZE]]\n"
    "       glintbook-ini FILE set SECTION KEY VALUE\n"
    "\n"
    "get-int     prints the key as a whole number (DEFAULT, 0 if not given,\n"
    "            when the key is missing or empty)\n"
    "get-string  prints the text the program would read into a buffer of SIZE\n"
    "            characters (default 256: at most 255 characters)\n"
    "set         sets the key, creating the file, section or key when missing\n"
    "            and leaving every other line as it is\n";

int Usage(const std::string& problem) {
    if (!problem.empty()) glintbook::command_line::Write(stderr, "glintbook-ini: " + problem + "\n");
    std::fputs(kUsage, stderr);
    return 2;
}

// A whole decimal number from lowest to INT_MAX; nothing else in the text.
std::optional<int> Number(std::string_view s, int lowest) {
    if (!s.empty() && s.front() == '+') s.remove_prefix(1);
    int n = 0;
    const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), n);
    if (s.empty() || ec != std::errc() || end != s.data() + s.size() || n < lowest) return std::nullopt;
    return n;
}

void PrintLine(std::string_view text) { glintbook::command_line::Write(stdout, std::string(text) + "\n"); }

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return Usage(argc == 1 ? "" : "missing request");
    const std::string file = glintbook::command_line::Arguments(argc, argv).at(0);
    const std::string_view request = argv[2];
    const int extra = argc - 3;  // arguments after the request

    if (request == "get-int") {
        if (extra < 2 || extra > 3) return Usage("get-int takes SECTION KEY [DEFAULT]");
        const std::optional<int> def = extra == 3 ? Number(argv[5], INT_MIN) : 0;
        if (!def) return Usage("DEFAULT must be a whole number from -2147483648 to 2147483647");
        std::printf("%d\n", glintbook::profile::GetInt(file, argv[3], argv[4], *def));
        return 0;
    }
    if (request == "get-string") {
        if (extra < 2 || extra > 4) return Usage("get-string takes SECTION KEY [DEFAULT [SIZE]]");
        const std::string_view def = extra >= 3 ? argv[5] : "";
        const std::optional<int> size = extra == 4 ? Number(argv[6], 1) : 256;
        if (!size) return Usage("SIZE must be a whole number from 1 to 2147483647");
        PrintLine(glintbook::profile::GetString(file, argv[3], argv[4], def, *size));
        return 0;
    }
    if (request == "set") {
        if (extra != 3) return Usage("set takes SECTION KEY VALUE");
        if (glintbook::profile::WriteString(file, argv[3], argv[4], argv[5])) return 0;
        glintbook::command_line::Write(
            stderr, "glintbook-ini: cannot write " + file + " (read-only, unreadable or no such folder)\n");
        return 1;
    }
    return Usage("unknown request '" + std::string(request) + "'");
}
