#pragma once
// What the command-line tools share: their arguments and output in UTF-8,
// the program's own text, whatever the system's code page.
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace glintbook::command_line {

// The arguments after the program's name. On Windows they are read from the
// wide command line, so that a name the ANSI code page cannot spell (a
// folder named in another language) arrives whole, as UTF-8.
std::vector<std::string> Arguments(int argc, char** argv);

// Writes `text` to `stream`: to a Windows console as wide characters, which
// it shows whatever its code page; elsewhere the bytes as they are.
void Write(std::FILE* stream, std::string_view text);

// The folder the running program's file is in.
std::string ProgramFolder();

}  // namespace glintbook::command_line
