// MGE XE's screenshots as its settings name and place them: which files in
// its folder are its screenshots, and where that folder is on this system.
#include "platform/files.h"
#include "settings/mge_xe.h"
#include "support/game_kit.h"

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;

struct Name {
    const char* name;
    std::string ini;  // [Render State] lines
    std::string file;
    bool its;
};
void PrintTo(const Name& c, std::ostream* os) { *os << c.name; }

class MgeNames : public ::testing::TestWithParam<Name> {};

TEST_P(MgeNames, AreItsScreenshots) {
    const Name& c = GetParam();
    EXPECT_EQ(mge::IsScreenshotName(mge::ReadFrom("[Render State]\r\n" + c.ini), c.file), c.its);
}

const std::string Ordinal = "Screenshot Name Suffix=Ordinal\r\n";
const std::string GameTime = "Screenshot Name Suffix=Character Name, Game Time, Ordinal\r\n";

INSTANTIATE_TEST_SUITE_P(Rows, MgeNames, ::testing::Values(
    Name{"time_stamp_by_default", "", "Morrowind 2024-05-01 18.30.05.123.png", true},
    Name{"extension_in_capitals", "", "Morrowind 2024-05-01 18.30.05.123.PNG", true},
    Name{"another_format_is_not", "", "Morrowind 2024-05-01 18.30.05.123.bmp", false},
    Name{"its_archive_copy_is_not", "", "Morrowind 2024-05-01 18.30.05.123_0.png", false},
    Name{"time_stamp_short_a_digit", "", "Morrowind 2024-05-01 18.30.05.12.png", false},
    Name{"format_word_in_any_case", "Screenshot Format=jpeg\r\n", "Morrowind 2024-05-01 18.30.05.123.jpg", true},
    Name{"unknown_format_is_png", "Screenshot Format=GIF\r\n", "Morrowind 2024-05-01 18.30.05.123.png", true},
    Name{"ordinal_of_four_digits", Ordinal, "Morrowind 0012.png", true},
    Name{"ordinal_of_five", Ordinal, "Morrowind 12345.png", true},
    Name{"ordinal_of_three_is_not", Ordinal, "Morrowind 012.png", false},
    Name{"ordinal_copy_is_not", Ordinal, "Morrowind 0012_1.png", false},
    Name{"prefix_ending_in_a_blank_gets_no_second", Ordinal + "Screenshot Name Prefix=Shot \r\n", "Shot 0001.png", true},
    Name{"empty_prefix", Ordinal + "Screenshot Name Prefix=\r\n", "0001.png", true},
    Name{"prefix_cut_to_31_characters_without_blank",
         Ordinal + "Screenshot Name Prefix=" + std::string(40, 'p') + "\r\n", std::string(31, 'p') + "0001.png", true},
    Name{"the_games_own_name_is_not", Ordinal, "ScreenShot 12.bmp", false},
    Name{"character_and_ordinal", "Screenshot Name Suffix=Character Name, Ordinal\r\n", "Morrowind Fargoth 0003.png", true},
    Name{"character_name_missing", "Screenshot Name Suffix=Character Name, Ordinal\r\n", "Morrowind 0003.png", false},
    Name{"game_time", GameTime, "Morrowind Fargoth, Day 12, 07.45 0003.png", true},
    Name{"game_time_in_another_language", GameTime, "Morrowind Fargoth, Tag 12, 07.45 0003.png", true},
    Name{"game_time_without_its_day", GameTime, "Morrowind Fargoth, 07.45 0003.png", false},
    Name{"game_time_minutes_short", GameTime, "Morrowind Fargoth, Day 12, 07.4 0003.png", false}),
    [](const auto& info) { return std::string(info.param.name); });

// Where the folder lies, relative to the test's folder (the game folder is
// `game` there); "" when it cannot be found, and whether it is the archive.
struct Place {
    const char* name;
    std::string folder;           // "Screenshot Output Directory"
    std::vector<std::string> made;  // folders there beforehand
    std::string want;
    bool archive = false;
    std::string game = "game";
};
void PrintTo(const Place& c, std::ostream* os) { *os << c.name; }

class MgeFolder : public ::testing::TestWithParam<Place> {};

TEST_P(MgeFolder, IsFoundAsTheGameFindsIt) {
    const Place& c = GetParam();
    GameFolder root;
    for (const std::string& made : c.made) root.mkdir(made);
    root.mkdir(c.game);
    fs::current_path(root.file(c.game));
    std::string written = c.folder;
    if (const auto at = written.find("ROOT"); at != std::string::npos) written.replace(at, 4, root.path());
    const mge::Settings settings = mge::ReadFrom("[Render State]\r\nScreenshot Output Directory=" + written + "\r\n");
    // As the system compares names: Windows in any letter case.
    const auto name = [](const std::string& path) {
        std::string s = fs::weakly_canonical(path).string();
#ifdef _WIN32
        for (char& ch : s) ch = char(std::tolower(static_cast<unsigned char>(ch)));
#endif
        return s;
    };
    const auto found = mge::Folder(settings);
    EXPECT_EQ(found ? name(*found) : "", c.want.empty() ? "" : name(root.file(c.want)));
    EXPECT_EQ(mge::SavesIntoArchive(settings), c.archive);
}

const Place kPlaces[] = {
    Place{"default_is_screenshots", "", {}, "game/screenshots", true},
    Place{"default_is_the_archive_in_any_case", "", {"game/Screenshots"}, "game/Screenshots", true},
    Place{"relative_with_backslashes", ".\\Shots\\MGE", {"game/shots/mge"}, "game/shots/mge"},
    Place{"parent_folder", "..\\pictures", {}, "pictures"}
#ifdef _WIN32
    , Place{"absolute", "ROOT\\elsewhere", {}, "elsewhere"}
#else
    // The game under Wine: drive letters through the prefix the game folder
    // lies in, and a network path, which no drive maps.
    , Place{"drive_letter_of_the_prefix", "Q:\\Pictures", {"pfx/dosdevices/q:"}, "pfx/dosdevices/q:/Pictures", false,
            "pfx/drive_c/Games/Morrowind"}
    , Place{"drive_letter_no_prefix_maps", "Q:\\Pictures", {}, ""}
    , Place{"network_path", "\\\\server\\share", {}, ""}
#endif
};
INSTANTIATE_TEST_SUITE_P(Rows, MgeFolder, ::testing::ValuesIn(kPlaces),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace glintbook::test
