// Reading and writing Morrowind.ini beyond the recorded cases: odd bytes and
// line endings, what a write must keep, writes that cannot be made, and the
// program's own access through the current directory.
#include "platform/files.h"
#include "settings/catalogue.h"
#include "settings/profile.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

struct Read {
    const char* name;
    std::string text, section, key, want, defaultValue = "d";
    int size = 256;
};
void PrintTo(const Read& c, std::ostream* os) { *os << c.name; }

class IniRead : public ::testing::TestWithParam<Read> {};

TEST_P(IniRead, Value) {
    const Read& c = GetParam();
    GameFolder folder;
    folder.write("Morrowind.ini", c.text);
    EXPECT_EQ(profile::GetString(folder.file("Morrowind.ini"), c.section, c.key, c.defaultValue, c.size), c.want);
}

INSTANTIATE_TEST_SUITE_P(Rows, IniRead, ::testing::Values(
    Read{"nul_bytes", "[A]\0\r\nK\0=v\0w\r\n"s, "A", "K\0"s, "v\0w"s},
    Read{"no_room", "[C]\nN=1", "C", "N", "", "d", 0},
    Read{"default_loses_trailing_spaces_then_quotes", "", "A", "B", "  quoted  ", "\"  quoted  \"  "}),
    [](const auto& info) { return std::string(info.param.name); });

using Setup = std::function<void(const GameFolder&)>;

struct Write {
    const char* name;
    std::string before, section, key, value, after;  // the file before and after
    bool ok = true;                                    // what the write returns
    int fault = 0;                                     // errno injected at `step` of the file layer
    const char* step = "";
    Setup setup = {};
    std::string file = "Morrowind.ini";
    Setup meanwhile = {};  // another program's write, each time ours is about to replace the file
};
void PrintTo(const Write& c, std::ostream* os) { *os << c.name; }

class IniWrite : public ::testing::TestWithParam<Write> {};

// A write replaces the file by a temporary renamed into place, keeping its
// permissions, or leaves it alone; a write that cannot be made says so, and
// the program's own writes then go on silently.
TEST_P(IniWrite, File) {
    const Write& c = GetParam();
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    folder.write("Morrowind.ini", c.before);
    fs::create_hard_link(file, folder.file("link"));  // a file replaced leaves the link its old bytes
    if (c.setup) c.setup(folder);
    const fs::perms perms = fs::status(file).permissions();
    {
        Fault fault(folder.path(), c.fault, c.step);
        if (c.meanwhile)
            files::SetFaultHook([&](std::string_view step, const std::string&) {
                if (step == "rename") c.meanwhile(folder);
                return 0;
            });
        EXPECT_EQ(profile::WriteString(folder.file(c.file), c.section, c.key, c.value), c.ok);
        if (!c.ok && c.file == "Morrowind.ini") WriteSetting(c.section, c.key, c.value);
    }
    EXPECT_EQ(folder.read("Morrowind.ini"), c.after);
    if (!c.meanwhile) {
        EXPECT_EQ(folder.read("link"), c.before) << "written in place";
    }
    EXPECT_EQ(Temporaries(folder), std::vector<std::string>{});
    EXPECT_EQ(fs::status(file).permissions(), perms);
}

const std::string Spaced = "\t[Sec]\n  Key  =  old  \n\n[Next]\nX=1\n", Shot = "[General]\r\nScreen Shot Index=1\r\n\r\n";

Write Refused(const char* name, int fault, const char* step, Setup setup = {}, std::string file = "Morrowind.ini") {
    return {name, Shot, "General", "Screen Shot Index", "2", Shot, false, fault, step, std::move(setup), file};
}
Setup Mode(fs::perms p) {
    return [p](const GameFolder& f) { fs::permissions(f.file("Morrowind.ini"), p); };
}
// The game taking its first screenshot: it raises the index from 1 to 2.
void GameShoots(const GameFolder& f) {
    if (f.read("Morrowind.ini").find("Index=1") != std::string::npos)
        f.write("Morrowind.ini", "[General]\r\nScreen Shot Index=2\r\n");
}

std::vector<Write> WriteRows() {
    std::vector<Write> rows = {
        {"value_only_changes", Spaced, "sec", "KEY", "new", "\t[Sec]\n  Key  =new\n\n[Next]\nX=1\n"},
        {"new_key_after_the_last_line", Spaced, "Sec", "Added", "a", "\t[Sec]\n  Key  =  old  \nAdded=a\n\n[Next]\nX=1\n"},
        {"key_without_equals_keeps_its_spelling", "[S]\r\nKey\r\n", "s", "KEY", "1", "[S]\r\nKey=1\r\n"},
        {"lone_cr_endings", "[Sec]\rA=1\rB=2", "Sec", "C", "3", "[Sec]\rA=1\rB=2\rC=3\r"},
        {"new_section_with_lone_cr", "[Sec]\rA=1\r", "New", "K", "v", "[Sec]\rA=1\r[New]\rK=v\r"},
        {"lone_cr_line_before_blank_lf_line", "[S]\rA=1\r\n\n[T]\r", "S", "K", "v", "[S]\rA=1\r\nK=v\r\n\n[T]\r"},
        {"general_after_sectionless_lines", "A=1\nB=2\n", "General", "B", "4", "A=1\nB=2\n[General]\nB=4\n"},
        // Any write would fail: the file must not be written at all.
        {"same_value_leaves_the_file_alone", "[General]\r\nIndex = 7 \r\n", "General", "index", "7",
         "[General]\r\nIndex = 7 \r\n", true, EACCES, "open"},
        {"permissions_kept", Shot, "General", "Screen Shot Index", "2", "[General]\r\nScreen Shot Index=2\r\n\r\n", true, 0,
         "", Mode(fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read)},
        Refused("read_only_file", 0, "", Mode(fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read)),
        Refused("access_denied", EACCES, "open"),
        // The game's write between our read and our replace stays; ours is made on its text.
        {"the_game_writes_meanwhile", Shot, "Glintbook", "Album1Index", "3",
         "[General]\r\nScreen Shot Index=2\r\n[Glintbook]\r\nAlbum1Index=3\r\n", true, 0, "", {}, "Morrowind.ini",
         GameShoots},
        Refused("unreadable", EIO, "read"),
        Refused("disk_full", ENOSPC, "write"),
        Refused("flush_fails", EIO, "sync"),
        Refused("missing_folder", 0, "", {}, "missing/Morrowind.ini"),
        Refused("a_folder_in_its_place", 0, "", [](const GameFolder& f) { f.mkdir("dir.ini"); }, "dir.ini")};
#ifndef _WIN32  // no named pipes among the files on Windows
    rows.push_back(Refused("a_pipe_in_its_place", 0, "",
                           [](const GameFolder& f) { ::mkfifo(f.file("pipe.ini").c_str(), 0644); }, "pipe.ini"));
#endif
    return rows;
}
INSTANTIATE_TEST_SUITE_P(Rows, IniWrite, ::testing::ValuesIn(WriteRows()),
    [](const auto& info) { return std::string(info.param.name); });

// The program's text reads come through a buffer of 256 characters.
TEST(SettingsFile, TextReadsKeep255Characters) {
    GameFolder folder;
    folder.write("Morrowind.ini", "[General]\r\nLong=" + std::string(300, 'x') + "\r\n");
    EXPECT_EQ(ReadSettingText(section::General, "Long"), std::string(255, 'x'));
}

}  // namespace
}  // namespace glintbook::test
