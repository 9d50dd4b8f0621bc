// Reading and writing Morrowind.ini beyond the recorded cases: odd and huge
// files, what a write may change and what it must keep, writes that cannot
// be made, and the program's own access through the current directory.
#include "platform/files.h"
#include "settings/catalogue.h"
#include "settings/profile.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"
#include "test_ini_lines.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <random>
#include <sys/stat.h>
#ifdef _WIN32
#define NOMINMAX
#include <windows.h>
#endif

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;

// Which file a path names: its inode, or on Windows its index on the volume.
unsigned long long FileIdentity(const std::string& path) {
#ifdef _WIN32
    HANDLE h = ::CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_EXISTING, 0, nullptr);
    BY_HANDLE_FILE_INFORMATION info{};
    ::GetFileInformationByHandle(h, &info);
    ::CloseHandle(h);
    return (unsigned long long)info.nFileIndexHigh << 32 | info.nFileIndexLow;
#else
    struct stat st {};
    ::stat(path.c_str(), &st);
    return st.st_ino;
#endif
}

using namespace std::string_literals;
using profile::GetInt;
using profile::GetString;
using profile::WriteString;

struct Read {
    const char* name;
    std::string text;  // the file
    std::string section, key;
    std::string want;
    std::string defaultValue = "d";
    int size = 256;
};
void PrintTo(const Read& c, std::ostream* os) { *os << c.name; }

class IniRead : public ::testing::TestWithParam<Read> {};

TEST_P(IniRead, Value) {
    const Read& c = GetParam();
    GameFolder folder;
    folder.write("Morrowind.ini", c.text);
    EXPECT_EQ(GetString(folder.file("Morrowind.ini"), c.section, c.key, c.defaultValue, c.size), c.want);
}

const std::string Huge(10'000'000, 'x');

INSTANTIATE_TEST_SUITE_P(Rows, IniRead, ::testing::Values(
    Read{"nul_bytes", "[A]\0\r\nK\0=v\0w\r\n"s, "A", "K\0"s, "v\0w"s},
    Read{"cut_to_255", "[A]\r\nL=" + Huge + "\n[B]\n", "A", "L", Huge.substr(0, 255)},
    Read{"bytes_over_127", "[B]\rM=\xff\xfe\n", "B", "M", "\xff\xfe"},
    Read{"last_line_unended", "[C]\nN=1", "C", "N", "1"},
    Read{"no_room", "[C]\nN=1", "C", "N", "", "d", 0},
    Read{"default_loses_trailing_spaces_then_quotes", "", "A", "B", "  quoted  ", "\"  quoted  \"  "},
    Read{"mixed_quotes_stay", "", "A", "B", "'mixed\"", "'mixed\""},
    Read{"default_cut_too", "", "A", "B", "cu", "'cut' ", 3},
    Read{"sectionless_file_is_section_empty", "A=1\nB=2\n", "", "b", "2"},
    Read{"sectionless_is_not_general", "A=1\nB=2\n", "General", "B", "d"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(IniInt, EveryNumberTheProgramWritesReadsBack) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    for (long long n : {0LL, 1LL, -1LL, -3LL, 99LL, 2147483647LL, -2147483648LL, 65536LL, -65537LL}) {
        ASSERT_TRUE(WriteString(file, "Glintbook", "Album1Index", DecimalText(n)));
        EXPECT_EQ(GetInt(file, "Glintbook", "Album1Index", 77), n);
    }
    folder.write("Morrowind.ini", "[G]\nHex=0xFFFFFFFF\nQ=''\nBlank=\" \"\nBig=4294967299\n");
    for (auto [key, n] : {std::pair{"Hex", -1}, {"Q", 77}, {"Blank", 0}, {"Big", 3}, {"Missing", 77}})
        EXPECT_EQ(GetInt(file, "G", key, 77), n) << key;
}

struct Write {
    const char* name;
    std::string before;  // the file; "" for none
    std::string section, key, value;
    std::string after;
};
void PrintTo(const Write& c, std::ostream* os) { *os << c.name; }

class IniWrite : public ::testing::TestWithParam<Write> {};

TEST_P(IniWrite, File) {
    const Write& c = GetParam();
    GameFolder folder;
    if (!c.before.empty()) folder.write("Morrowind.ini", c.before);
    EXPECT_TRUE(WriteString(folder.file("Morrowind.ini"), c.section, c.key, c.value));
    EXPECT_EQ(folder.read("Morrowind.ini"), c.after);
}

const std::string Spaced = "\t[Sec]\n  Key  =  old  \n\n[Next]\nX=1\n";

INSTANTIATE_TEST_SUITE_P(Rows, IniWrite, ::testing::Values(
    Write{"new_file", "", "General", "Screen Shot Index", "1", "[General]\r\nScreen Shot Index=1\r\n"},
    Write{"value_only_changes", Spaced, "sec", "KEY", "new", "\t[Sec]\n  Key  =new\n\n[Next]\nX=1\n"},
    Write{"new_key_after_the_last_line", Spaced, "Sec", "Added", "a", "\t[Sec]\n  Key  =  old  \nAdded=a\n\n[Next]\nX=1\n"},
    Write{"lone_cr_endings", "[Sec]\rA=1\rB=2", "Sec", "C", "3", "[Sec]\rA=1\rB=2\rC=3\r"},
    Write{"new_section_with_lone_cr", "[Sec]\rA=1\r", "New", "K", "v", "[Sec]\rA=1\r[New]\rK=v\r"},
    Write{"lone_cr_line_before_blank_lf_line", "[S]\rA=1\r\n\n[T]\r", "S", "K", "v", "[S]\rA=1\r\nK=v\r\n\n[T]\r"},
    Write{"sectionless_file", "A=1\nB=2\n", "", "C", "3", "A=1\nB=2\nC=3\n"},
    Write{"general_after_sectionless_lines", "A=1\nB=2\n", "General", "B", "4", "A=1\nB=2\n[General]\nB=4\n"},
    Write{"empty_value", "[Glintbook]\r\nA=-3\r\n", "Glintbook", "EverRun", "", "[Glintbook]\r\nA=-3\r\nEverRun=\r\n"},
    Write{"long_value_whole", "[G]\r\n", "G", "N", std::string(300, 'n'), "[G]\r\nN=" + std::string(300, 'n') + "\r\n"}),
    [](const auto& info) { return std::string(info.param.name); });

// Every key the program writes, written one after another into the game's
// own file: each write changes or adds exactly one line, except that the
// first [Glintbook] write appends its header and key at the end.
TEST(IniWriteGameFile, CatalogueKeysTouchOneLineEach) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    folder.write("Morrowind.ini", TestData("Morrowind-sample.ini"));
    std::vector<std::pair<std::string_view, std::string>> keys = {
        {section::General, std::string(key::ScreenShotEnable)},
        {section::General, std::string(key::ScreenShotIndex)},
        {section::General, std::string(key::ScreenShotBaseName)}};
    for (int n = 0; n <= 3; ++n) keys.emplace_back(section::GameFiles, GameFileKey(n));  // 0..2 exist
    for (int album = 1; album <= AlbumCount; ++album) keys.emplace_back(section::Own, AlbumIndexKey(album));
    keys.emplace_back(section::Own, std::string(key::EverRun));

    for (std::size_t i = 0; i < keys.size(); ++i) {
        const auto& [sec, key] = keys[i];
        SCOPED_TRACE(key);
        const std::string before = folder.read("Morrowind.ini"), value = "v" + std::to_string(i);
        ASSERT_TRUE(WriteString(file, sec, key, value));
        const std::string after = folder.read("Morrowind.ini");
        EXPECT_EQ(GetString(file, sec, key, "", 256), value);
        if (sec == section::Own && keys[i - 1].first != section::Own) {
            EXPECT_EQ(after, before + "[Glintbook]\r\n" + key + "=" + value + "\r\n");
            continue;
        }
        const auto b = SplitLines(after);
        const LineDiff d = DiffLines(SplitLines(before), b);
        EXPECT_TRUE(d.endings_kept);
        ASSERT_EQ(d.added.size(), 1u);
        EXPECT_LE(d.removed.size(), 1u);
        EXPECT_EQ(b[d.added[0]].text, key + "=" + value);
        EXPECT_EQ(b[d.added[0]].ending, "\r\n");
    }
}

// Random files of awkward lines (NUL, bytes over 0x7F, every line ending,
// no final ending, broken headers, duplicates): a write reads back, keeps
// every line ending, and removes no line but the key's own.
TEST(IniWriteRandom, OneLineChangesAndReadsBack) {
    const std::vector<std::string> pieces = {"[A]", " [ b ] ; x", "[a]", "k=1", " K = 2 ", "; k=3", "", "   ",
                                             std::string("\0x=\xff", 4), "[broken", "=v", "k", "x=\"q\"", "[]"};
    const std::vector<std::string> endings = {"\n", "\r\n", "\r", ""};
    std::mt19937 rng(20240611);
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    for (int round = 0; round < 1500; ++round) {
        std::string text;
        for (int n = int(rng() % 12); n > 0; --n) text += pieces[rng() % pieces.size()] + endings[rng() % 3];
        if (rng() % 4 == 0) text += pieces[rng() % pieces.size()];
        folder.write("Morrowind.ini", text);
        const std::string sec = std::vector<std::string>{"A", "b", "", "C"}[rng() % 4];
        const std::string key = std::vector<std::string>{"k", "x", "new", ""}[rng() % 4];
        const std::string value = "v" + std::to_string(round);
        SCOPED_TRACE(testing::PrintToString(text) + " [" + sec + "] " + key);
        ASSERT_TRUE(WriteString(file, sec, key, value));
        EXPECT_EQ(GetString(file, sec, key, "<none>", 4096), value);
        const auto before = SplitLines(text);
        const LineDiff d = DiffLines(before, SplitLines(folder.read("Morrowind.ini")));
        EXPECT_TRUE(d.endings_kept);
        EXPECT_LE(d.removed.size(), 1u);
        EXPECT_LE(d.added.size(), d.removed.empty() ? 2u : 1u);
        for (std::size_t i : d.removed) EXPECT_EQ(NameOf(before[i].text).name, NameOf(key).name) << "removed line " << i;
    }
}

TEST(IniWriteUnchanged, SameValueLeavesTheFileAlone) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    folder.write("Morrowind.ini", "[General]\r\nIndex = 7 \r\n");
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    const unsigned long long before = FileIdentity(file);
    EXPECT_TRUE(WriteString(file, "General", "index", "7"));
    EXPECT_TRUE(profile::DeleteKey(file, "General", "Nope"));
    EXPECT_EQ(FileIdentity(file), before) << "the file was replaced";
    EXPECT_TRUE(WriteString(file, "General", "Index", "8"));
#ifndef _WIN32  // Windows keeps no permission bits
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640)) << "permissions not kept";
#endif
}

// A write that cannot be made changes nothing, leaves no temporary file and
// says so; the program's own writes go on silently.
struct Refused {
    const char* name;
    std::function<void(const GameFolder&)> setup;
    std::string file = "Morrowind.ini";
    int fault = 0;  // errno injected at `step` of the file layer
    const char* step = "";
};
void PrintTo(const Refused& c, std::ostream* os) { *os << c.name; }

class IniWriteRefused : public ::testing::TestWithParam<Refused> {};

TEST_P(IniWriteRefused, NothingChanges) {
    const Refused& c = GetParam();
    GameFolder folder;
    const std::string text = "[General]\r\nScreen Shot Index=1\r\n";
    folder.write("Morrowind.ini", text);
    c.setup(folder);
    {
        Fault fault(folder.path(), c.fault, c.step);
        EXPECT_FALSE(WriteString(folder.file(c.file), "General", "Screen Shot Index", "2"));
        if (c.file == "Morrowind.ini") WriteSetting(section::General, key::ScreenShotIndex, "3");
    }
    EXPECT_EQ(folder.read("Morrowind.ini"), text);
    EXPECT_EQ(Temporaries(folder), std::vector<std::string>{});
    EXPECT_FALSE(folder.exists("missing"));
}

const auto Nothing = [](const GameFolder&) {};
const auto ReadOnly = fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read;
std::vector<Refused> RefusedRows() {
    std::vector<Refused> rows = {
    Refused{"read_only_file", [](const GameFolder& f) { fs::permissions(f.file("Morrowind.ini"), ReadOnly); }},
    Refused{"read_only_folder", Nothing, "Morrowind.ini", EACCES, "open"},
    Refused{"disk_full", Nothing, "Morrowind.ini", ENOSPC, "write"},
    Refused{"flush_fails", Nothing, "Morrowind.ini", EIO, "sync"},
    Refused{"missing_folder", Nothing, "missing/Morrowind.ini"},
    Refused{"a_folder_in_its_place", [](const GameFolder& f) { f.mkdir("dir.ini"); }, "dir.ini"}};
#ifndef _WIN32  // no named pipes among the files on Windows
    rows.push_back(
        {"a_pipe_in_its_place", [](const GameFolder& f) { ::mkfifo(f.file("pipe.ini").c_str(), 0644); }, "pipe.ini"});
#endif
    return rows;
}
INSTANTIATE_TEST_SUITE_P(Rows, IniWriteRefused, ::testing::ValuesIn(RefusedRows()),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SettingsFile, AbsentFileReadsDefaultsAndIsNotCreated) {
    GameFolder folder;
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 0);
    EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotBaseName), "");
    EXPECT_FALSE(folder.exists("Morrowind.ini"));
}

TEST(SettingsFile, EveryAccessUsesTheCurrentDirectoryAndReadsAfresh) {
    GameFolder folder;
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=1\r\n");
    folder.write("Other/Morrowind.ini", "[General]\r\nScreen Shot Index=2\r\n");
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 1);
    std::filesystem::current_path(folder.file("Other"));
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 2);
    WriteSetting(section::General, key::ScreenShotIndex, "3");
    std::filesystem::current_path(folder.path());
    EXPECT_EQ(ReadSettingInt(section::General, key::ScreenShotIndex), 1);
    EXPECT_EQ(folder.read("Other/Morrowind.ini"), "[General]\r\nScreen Shot Index=3\r\n");
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=5\r\n");  // as the game would
    EXPECT_EQ(ReadSettingText(section::General, key::ScreenShotIndex), "5");
}

}  // namespace
}  // namespace glintbook::test
