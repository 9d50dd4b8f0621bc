// Installing the kit into a game folder: everything the game needs is there
// afterwards, nothing that was there is lost, a second run changes nothing,
// and each photograph's mesh shows its own texture.
#include "imaging/picture_io.h"
#include "platform/failure.h"
#include "plugin/install.h"
#include "support/game_folder.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <regex>

namespace glintbook::plugin {
namespace {

namespace fs = std::filesystem;

TEST(Install, FillsAFreshGameFolderAndASecondRunChangesNothing) {
    test::GameFolder folder;
    folder.mkdir("Data Files");
    InstallKit();
    std::map<std::string, fs::file_time_type> first;
    for (const auto& e : fs::recursive_directory_iterator(folder.path())) first[e.path().string()] = e.last_write_time();
    for (int n = 0; n < 100; ++n) {
        EXPECT_TRUE(folder.exists("Data Files/Textures/qor_tx_photo_" + std::to_string(n) + ".bmp")) << n;
        EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo " + std::to_string(n + 1) + ".bmp")) << n + 1;
    }
    const Picture stock = LoadPicture(folder.file("Data Files/Textures/qor_tx_photo_orig.bmp"));
    EXPECT_EQ(std::pair(stock.width, stock.height), std::pair(512, 512));
    for (const Step& step : InstallKit().steps)
        EXPECT_TRUE(step.outcome == Outcome::Unchanged || step.outcome == Outcome::LeftAlone) << step.path;
    std::map<std::string, fs::file_time_type> second;
    for (const auto& e : fs::recursive_directory_iterator(folder.path())) second[e.path().string()] = e.last_write_time();
    EXPECT_EQ(second, first);
}

TEST(Install, RefusesAFolderWithoutDataFilesAndWritesNothing) {
    test::GameFolder folder;
    EXPECT_THROW(InstallKit(), Failure);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

struct Existing {
    std::string path;    // below the game folder
    std::string backup;  // where the old bytes must be afterwards; empty: still in place
};
void PrintTo(const Existing& e, std::ostream* os) { *os << e.path; }

class ExistingFile : public ::testing::TestWithParam<Existing> {};

// An earlier backup stays too: the new one takes the next free name.
TEST_P(ExistingFile, IsNeverLost) {
    test::GameFolder folder;
    folder.write(GetParam().path, "the player's own");
    if (!GetParam().backup.empty()) folder.write(GetParam().backup, "an earlier backup");
    InstallKit();
    EXPECT_EQ(folder.read(GetParam().backup.empty() ? GetParam().path : GetParam().backup + "2"), "the player's own");
    if (!GetParam().backup.empty()) {
        EXPECT_EQ(folder.read(GetParam().backup), "an earlier backup");
    }
}

INSTANTIATE_TEST_SUITE_P(Files, ExistingFile,
                         ::testing::Values(Existing{"Data Files/Textures/qor_tx_photo_99.bmp", ""},
                                           Existing{"Data Files/BookArt/Photo 1.bmp", ""},
                                           Existing{"Data Files/Glintbook_TB.esp", "Data Files/Glintbook_TB.esp.bak"},
                                           Existing{"Data Files/Meshes/glintbook/photo_3.nif",
                                                    "Data Files/Meshes/glintbook/photo_3.nif.bak"}));

// Each mesh against its header's block count (every block is led by its type
// name: a 4-byte length and "Ni...") and the one texture it must name.
TEST(Install, EachPhotographsMeshCountsItsBlocksAndNamesItsOwnTexture) {
    test::GameFolder folder;
    folder.mkdir("Data Files");
    InstallKit();
    static const char kType[] = "[\x04-\x28]\0\0\0Ni[A-Za-z]+";
    const std::regex type(std::string(kType, sizeof kType - 1)), texture("qor_tx_[a-z_0-9]+\\.bmp");
    for (int t = 0; t < 100; ++t) {
        const std::string nif = folder.read("Data Files/Meshes/glintbook/photo_" + std::to_string(t) + ".nif");
        ASSERT_EQ(nif.substr(0, 44), std::string("NetImmerse File Format, Version 4.0.0.2\n\x02\0\0\x04", 44));
        const auto blocks = std::distance(std::sregex_iterator(nif.begin(), nif.end(), type), std::sregex_iterator());
        EXPECT_EQ(std::uint8_t(nif[44]) | std::uint8_t(nif[45]) << 8, blocks) << t;
        std::vector<std::string> named;
        for (auto it = std::sregex_iterator(nif.begin(), nif.end(), texture); it != std::sregex_iterator(); ++it)
            named.push_back(it->str());
        EXPECT_EQ(named, std::vector<std::string>{"qor_tx_photo_" + std::to_string(t) + ".bmp"});
    }
}

// The tool's arguments and statuses, run as a player runs it from a shell
// (on Windows it answers in a message box, which no test can dismiss).
#ifndef _WIN32
}  // namespace
}  // namespace glintbook::plugin
#include <sys/wait.h>
namespace glintbook::plugin {
namespace {

struct Call {
    std::string args;
    int status;
};
void PrintTo(const Call& c, std::ostream* os) { *os << "glintbook-plugin " << c.args; }

class Tool : public ::testing::TestWithParam<Call> {};

TEST_P(Tool, InstallsOnlyIntoAGameFolder) {
    test::GameFolder folder;
    folder.mkdir("game/Data Files");
    const int raw = std::system((std::string(PLUGIN_TOOL_PATH) + " " + GetParam().args + " >/dev/null 2>&1").c_str());
    EXPECT_EQ(WEXITSTATUS(raw), GetParam().status);
    EXPECT_EQ(folder.exists("game/Data Files/Glintbook.esp"), GetParam().status == 0);
}

INSTANTIATE_TEST_SUITE_P(Calls, Tool,
                         ::testing::Values(Call{"game", 0}, Call{"'game/Data Files'", 1}, Call{"", 1}, Call{"game game", 2}));

#endif

}  // namespace
}  // namespace glintbook::plugin
