// Writing: what changes in the file and what must not.
#include "settings/catalogue.h"
#include "settings/profile.h"
#include "support/game_folder.h"
#include "test_ini_lines.h"

#include <gtest/gtest.h>

#include <random>
#include <sys/stat.h>

namespace glintbook::test {
namespace {

using profile::GetString;
using profile::WriteString;

std::string ReadOf(const std::string& file, std::string_view section, std::string_view key) {
    return GetString(file, section, key, "<none>", 4096);
}

// Every key the program writes, written one after another into the game's
// own file: each write changes or adds exactly one line, except that the
// first [Glintbook] write appends its header and key at the end.
TEST(IniWrite, CatalogueKeysTouchOneLineOfTheGameFile) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    const std::string sample = TestData("Morrowind-sample.ini");
    ASSERT_EQ(sample.size(), 26797u);
    folder.write("Morrowind.ini", sample);
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
        const auto a = SplitLines(before), b = SplitLines(after);
        const LineDiff d = DiffLines(a, b);
        EXPECT_TRUE(d.endings_kept);
        EXPECT_EQ(ReadOf(file, sec, key), value);
        const bool newSection = sec == section::Own && i > 0 && keys[i - 1].first != section::Own;
        if (newSection) {
            EXPECT_EQ(after, before + "[Glintbook]\r\n" + key + "=" + value + "\r\n");
            continue;
        }
        ASSERT_EQ(d.added.size(), 1u);
        EXPECT_LE(d.removed.size(), 1u);
        EXPECT_EQ(b[d.added[0]].text, key + "=" + value);
        EXPECT_EQ(b[d.added[0]].ending, "\r\n");
    }
}

TEST(IniWrite, ChangesOnlyTheValueAndKeepsTheFilesLineEndings) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    folder.write("Morrowind.ini", "\t[Sec]\n  Key  =  old  \n\n[Next]\nX=1\n");
    EXPECT_TRUE(WriteString(file, "sec", "KEY", "new"));
    EXPECT_TRUE(WriteString(file, "Sec", "Added", "a"));
    EXPECT_EQ(folder.read("Morrowind.ini"), "\t[Sec]\n  Key  =new\nAdded=a\n\n[Next]\nX=1\n");

    folder.write("Morrowind.ini", "[Sec]\rA=1\rB=2");  // lone CR ends lines too
    EXPECT_EQ(ReadOf(file, "Sec", "B"), "2");
    EXPECT_TRUE(WriteString(file, "Sec", "C", "3"));
    EXPECT_TRUE(WriteString(file, "New", "K", "v"));
    EXPECT_EQ(folder.read("Morrowind.ini"), "[Sec]\rA=1\rB=2\rC=3\r[New]\rK=v\r");
}

TEST(IniWrite, SectionlessFileIsSectionEmptyName) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    folder.write("Morrowind.ini", "A=1\nB=2\n");
    EXPECT_EQ(ReadOf(file, "", "b"), "2");
    EXPECT_EQ(ReadOf(file, "General", "B"), "<none>");
    EXPECT_TRUE(WriteString(file, "", "C", "3"));
    EXPECT_TRUE(WriteString(file, "General", "B", "4"));
    EXPECT_EQ(folder.read("Morrowind.ini"), "A=1\nB=2\nC=3\n[General]\nB=4\n");
}

struct stat StatOf(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::stat(path.c_str(), &st), 0);
    return st;
}

TEST(IniWrite, SameValueOrNothingToDeleteWritesNothing) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    folder.write("Morrowind.ini", "[General]\r\nIndex = 7 \r\n");
    const struct stat before = StatOf(file);
    EXPECT_TRUE(WriteString(file, "General", "Index", "7"));
    EXPECT_TRUE(WriteString(file, "General", "Index", " 7 "));  // other value, same bytes
    EXPECT_TRUE(profile::DeleteKey(file, "General", "Nope"));
    EXPECT_TRUE(profile::DeleteSection(file, "Nope"));
    ::chmod(file.c_str(), 0444);  // nothing to write, so nothing refused
    EXPECT_TRUE(WriteString(file, "General", "index", "7"));
    const struct stat after = StatOf(file);
    EXPECT_EQ(after.st_ino, before.st_ino) << "the file was replaced";
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(folder.read("Morrowind.ini"), "[General]\r\nIndex = 7 \r\n");
}

TEST(IniWrite, RefusedWritesChangeNothing) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    folder.write("Morrowind.ini", "[General]\r\nA=1\r\n");
    ::chmod(file.c_str(), 0640);
    EXPECT_TRUE(WriteString(file, "General", "A", "2"));
    EXPECT_EQ(StatOf(file).st_mode & 07777, 0640u) << "permissions not kept";
    ::chmod(file.c_str(), 0444);
    EXPECT_FALSE(WriteString(file, "General", "A", "3"));
    EXPECT_FALSE(profile::DeleteSection(file, "General"));
    EXPECT_EQ(folder.read("Morrowind.ini"), "[General]\r\nA=2\r\n");
    EXPECT_FALSE(WriteString(folder.file("missing/Morrowind.ini"), "General", "A", "1"));
    folder.mkdir("Morrowind.ini.d");  // a folder where the file should be
    EXPECT_FALSE(WriteString(folder.file("Morrowind.ini.d"), "General", "A", "1"));
    EXPECT_FALSE(folder.exists("missing"));
}

// Random files of awkward lines (NUL, bytes over 0x7F, lone CR, no final
// ending, broken headers, duplicates): a write to a plain name reads back
// and touches one line, or appends a section.
TEST(IniWrite, RandomFilesWriteOneLineAndReadBack) {
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
        EXPECT_EQ(ReadOf(file, sec, key), value);
        const LineDiff d = DiffLines(SplitLines(text), SplitLines(folder.read("Morrowind.ini")));
        EXPECT_TRUE(d.endings_kept);
        EXPECT_LE(d.removed.size(), 1u);
        EXPECT_LE(d.added.size(), d.removed.empty() ? 2u : 1u);
    }
}

}  // namespace
}  // namespace glintbook::test
