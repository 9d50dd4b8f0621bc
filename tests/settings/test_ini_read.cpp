// Reading: whole numbers, files that are odd, huge or not files at all, and
// that every call sees the file as it is now.
#include "settings/catalogue.h"
#include "settings/profile.h"
#include "support/game_folder.h"

#include <gtest/gtest.h>

#include <climits>
#include <sys/stat.h>

namespace glintbook::test {
namespace {

using namespace std::string_literals;

using profile::GetInt;
using profile::GetString;

TEST(IniRead, EveryNumberTheProgramWritesReadsBack) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    for (long long n : {0LL, 1LL, -1LL, -3LL, 99LL, 100LL, 2147483647LL, -2147483648LL, 65536LL, -65537LL}) {
        ASSERT_TRUE(profile::WriteString(file, "Glintbook", "Album1Index", DecimalText(n)));
        EXPECT_EQ(GetInt(file, "Glintbook", "Album1Index", 77), n);
    }
    EXPECT_EQ(GetInt(file, "Glintbook", "Missing", -3), -3);
    folder.write("Morrowind.ini", "[G]\nHex=0xFFFFFFFF\nQ=''\nBlank=\" \"\nBig=4294967299\n");
    EXPECT_EQ(GetInt(file, "G", "Hex", 77), -1);
    EXPECT_EQ(GetInt(file, "G", "Q", 77), 77);      // empty after its quotes
    EXPECT_EQ(GetInt(file, "G", "Blank", 77), 0);   // not empty: no digits
    EXPECT_EQ(GetInt(file, "G", "Big", 77), 3);
}

TEST(IniRead, OddBytesInTheFile) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    const std::string huge(10'000'000, 'x');
    folder.write("Morrowind.ini", "[A]\0\r\nK\0=v\0w\r\rL="s + huge + "\n[B]\rM=\xff\xfe\n\n[C]\nN=1");
    EXPECT_EQ(GetString(file, "A", "K\0"s, "d", 256), "v\0w"s);
    EXPECT_EQ(GetString(file, "A", "L", "d", 256), huge.substr(0, 255));
    EXPECT_EQ(GetString(file, "B", "M", "d", 256), "\xff\xfe");
    EXPECT_EQ(GetInt(file, "C", "N", 0), 1);  // the last line has no ending
    EXPECT_EQ(GetString(file, "C", "N", "d", 0), "");
}

TEST(IniRead, ManyLinesFindTheLastKey) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    std::string text;
    for (int i = 0; i < 200'000; ++i) text += "[S" + std::to_string(i) + "]\r\nKey=" + std::to_string(i) + "\r\n";
    folder.write("Morrowind.ini", text);
    EXPECT_EQ(GetInt(file, "S199999", "Key", -1), 199999);
    EXPECT_TRUE(profile::WriteString(file, "S199999", "Key", "x"));
    EXPECT_EQ(folder.read("Morrowind.ini"), text.substr(0, text.size() - 12) + "Key=x\r\n");
}

TEST(IniRead, PathsThatAreNotFilesGiveDefaults) {
    GameFolder folder;
    folder.mkdir("dir.ini");
    ASSERT_EQ(::mkfifo(folder.file("pipe.ini").c_str(), 0644), 0);
    for (const char* name : {"dir.ini", "pipe.ini", "absent.ini", "no/such/folder.ini"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(GetString(folder.file(name), "A", "B", "def", 256), "def");
        EXPECT_EQ(GetInt(folder.file(name), "A", "B", 5), 5);
        EXPECT_EQ(profile::GetSectionNames(folder.file(name), 16).bytes, std::string(1, '\0'));
    }
    EXPECT_FALSE(profile::WriteString(folder.file("pipe.ini"), "A", "B", "1"));
}

TEST(IniRead, DefaultsLoseTrailingSpacesThenOuterQuotes) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    EXPECT_EQ(GetString(file, "A", "B", "\"  quoted  \"  ", 256), "  quoted  ");
    EXPECT_EQ(GetString(file, "A", "B", "'mixed\"", 256), "'mixed\"");
    EXPECT_EQ(GetString(file, "A", "B", "'cut' ", 3), "cu");
}

TEST(IniRead, EveryCallReadsTheFileAfresh) {
    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=4\r\n");
    EXPECT_EQ(GetInt(file, "General", "Screen Shot Index", 0), 4);
    folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=5\r\n");  // as the game would
    EXPECT_EQ(GetInt(file, "General", "Screen Shot Index", 0), 5);
    EXPECT_EQ(GetString(file, "General", "Screen Shot Index", "", 256), "5");
}

}  // namespace
}  // namespace glintbook::test
