// The player's kit. Installed into a game folder, it loses nothing that was
// there, and a second run changes nothing. Its plug-in files read as the game
// reads them: sizes that add up, a header that counts the records and names
// the installed masters with their sizes, albums that show every picture once,
// and a start script whose bytecode the original engine can run.
#include "imaging/picture_io.h"
#include "plugin/install.h"
#include "plugin/plugin_file.h"
#include "support/game_kit.h"
#include "support/records.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#ifndef _WIN32
#include <sys/wait.h>
#endif

namespace glintbook::plugin {
namespace {

namespace fs = std::filesystem;

// Each record by tag and id ("TES3:" for the header), read by the test
// suite's own reader: a length that does not add up throws.
std::map<std::string, test::RecordData> Records(const std::string& file) {
    std::map<std::string, test::RecordData> recs;
    for (test::RecordData& r : test::ReadRecords(file)) recs[r.tag + ":" + r.id] = std::move(r);
    return recs;
}

// A picture is never touched; a plug-in file or mesh that differs is kept as
// a backup, beside any earlier one. The player's pictures are numbered away
// from the ends, so that one missing there still shows. Each photograph's mesh
// shows its own texture; the independent readers check the meshes whole.
TEST(Install, LosesNothingThatWasThereAndASecondRunChangesNothing) {
    test::GameFolder folder;
    const std::map<std::string, std::string> kept = {  // the player's file, where its bytes are afterwards
        {"Data Files/Textures/qor_tx_photo_42.bmp", "Data Files/Textures/qor_tx_photo_42.bmp"},
        {"Data Files/BookArt/Photo 57.bmp", "Data Files/BookArt/Photo 57.bmp"},
        {"Data Files/Glintbook_TB.esp", "Data Files/Glintbook_TB.esp.bak2"},
        {"Data Files/Glintbook_TB.esp.bak", "Data Files/Glintbook_TB.esp.bak"},
        {"Data Files/Meshes/glintbook/photo_3.nif", "Data Files/Meshes/glintbook/photo_3.nif.bak"}};
    for (const auto& [path, after] : kept) folder.write(path, "the player's own " + path);
    InstallKit();
    for (const auto& [path, after] : kept) EXPECT_EQ(folder.read(after), "the player's own " + path);
    for (int n = 0; n < 100; ++n) {
        const std::string t = std::to_string(n), texture = "qor_tx_photo_" + t + ".bmp";
        EXPECT_TRUE(folder.exists("Data Files/Textures/" + texture)) << t;
        EXPECT_TRUE(folder.exists("Data Files/BookArt/Photo " + std::to_string(n + 1) + ".bmp")) << n + 1;
        EXPECT_NE(folder.read("Data Files/Meshes/glintbook/photo_" + t + ".nif").find(texture), std::string::npos) << t;
    }
    const Picture stock = LoadPicture(folder.file("Data Files/Textures/qor_tx_photo_orig.bmp"));
    EXPECT_EQ(std::pair(stock.width, stock.height), std::pair(512, 512));
    auto times = [&] {
        std::map<std::string, fs::file_time_type> all;
        for (const auto& e : fs::recursive_directory_iterator(folder.path())) all[e.path().string()] = e.last_write_time();
        return all;
    };
    const auto first = times();
    InstallKit();
    EXPECT_EQ(times(), first);
}

TEST(Install, RefusesAFolderWithoutDataFilesAndWritesNothing) {
    test::GameFolder folder;
    EXPECT_EQ(test::FailureOf([] { InstallKit(); }).number(), ErrPathNotFound);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

// The tool as a player runs it from a shell (on Windows it answers in a
// message box, which no test can dismiss).
#ifndef _WIN32
TEST(Tool, InstallsOnlyIntoAGameFolder) {
    const std::pair<std::string, int> calls[] = {{"game", 0}, {"'game/Data Files'", 1}, {"", 1}, {"game game", 2}};
    for (const auto& [args, status] : calls) {
        SCOPED_TRACE("glintbook-plugin " + args);
        test::GameFolder folder;
        folder.mkdir("game/Data Files");
        EXPECT_EQ(WEXITSTATUS(std::system((std::string(PLUGIN_TOOL_PATH) + " " + args + " >/dev/null 2>&1").c_str())), status);
        EXPECT_EQ(folder.exists("game/Data Files/Glintbook.esp"), status == 0);
    }
}

// The report's last line names the screenshot writer found in the folder and
// what Glintbook will watch.
struct Source {
    const char* name;
    std::vector<std::pair<std::string, std::string>> files;
    std::string line;
};
void PrintTo(const Source& c, std::ostream* os) { *os << c.name; }
class ToolReport : public ::testing::TestWithParam<Source> {};

TEST_P(ToolReport, NamesTheScreenshotSource) {
    test::GameFolder folder;
    folder.mkdir("game/Data Files");
    for (const auto& [name, text] : GetParam().files) folder.write("game/" + name, text);
    std::string out;
    if (FILE* p = ::popen((std::string(PLUGIN_TOOL_PATH) + " game 2>&1").c_str(), "r")) {
        for (char buffer[4096]; const size_t n = std::fread(buffer, 1, sizeof buffer, p);) out.append(buffer, n);
        ::pclose(p);
    }
    EXPECT_NE(out.find("\n  " + GetParam().line + "\n"), std::string::npos) << out;
}

INSTANTIATE_TEST_SUITE_P(Rows, ToolReport, ::testing::Values(
    Source{"the_games_own", {{"Morrowind.exe", ""}},
           "Morrowind saves its screenshots into the game folder: Glintbook takes each new one into the album and moves "
           "it into Screenshots/."},
    Source{"mge_xe_by_default", {{"Morrowind.exe", ""}, {"MGE3/MGE.ini", "[Render State]\r\n"}},
           "MGE XE saves PNG screenshots into screenshots/ (the game folder's Screenshots): Glintbook takes each new one "
           "into the album and leaves it there as its archive copy."},
    Source{"mge_xe_elsewhere", {{"Morrowind.exe", ""}, {"MGE3/MGE.ini", "[Render State]\r\nScreenshot Format=Jpeg\r\n"
                                                                       "Screenshot Output Directory=Shots\\MGE\r\n"}},
           "MGE XE saves JPEG screenshots into Shots/MGE: Glintbook takes each new one into the album and moves it into "
           "Screenshots/."}),
    [](const auto& info) { return std::string(info.param.name); });
#endif

// Tribunal's size is 0 where it is not installed.
TEST(PluginFiles, HeaderCountsTheRecordsAndNamesEachMasterWithItsInstalledSize) {
    for (const bool expansion : {false, true}) {
        SCOPED_TRACE(expansion ? "with Tribunal" : "without Tribunal");
        test::GameFolder folder;
        folder.write("Data Files/Morrowind.esm", std::string(1234, 'm'));
        if (expansion) folder.write("Data Files/Tribunal.esm", std::string(567, 't'));
        InstallKit();
        // A master's name with its NUL, as the game reads it, and its size.
        using Masters = std::vector<std::pair<std::string, std::uint32_t>>;
        const std::string morrowind("Morrowind.esm\0", 14), tribunal("Tribunal.esm\0", 13);
        const std::map<std::string, Masters> wanted = {
            {"Glintbook.esp", {{morrowind, 1234}}},
            {"Glintbook_TB.esp", {{morrowind, 1234}, {tribunal, expansion ? 567 : 0}}}};
        for (const auto& [esp, want] : wanted) {
            auto recs = Records(folder.read("Data Files/" + esp));
            const test::RecordData& header = recs["TES3:"];
            EXPECT_EQ(test::As<test::HeaderLayout>(header, "HEDR").records, recs.size() - 1)
                << esp << ": the records after it, each of its own id";
            Masters masters;
            for (std::size_t i = 0; i + 1 < header.subs.size(); ++i)
                if (header.subs[i].tag == "MAST" && header.subs[i + 1].tag == "DATA")
                    masters.push_back({header.subs[i].data, std::uint32_t(test::As<std::uint64_t>(header.subs[i + 1]))});
            EXPECT_EQ(masters, want) << esp;
        }
    }
}

// Every record of the file, fixed-size subrecords at their layouts' sizes.
TEST(PluginFiles, EveryFixedSizeSubrecordHasItsLayoutsSize) {
    const std::vector<test::RecordData> recs = test::ReadRecords(PluginFile({{"Morrowind.esm", 1}}));
    std::map<std::string, int> read;
    for (const test::RecordData& r : recs) {
        const std::string key = r.tag == "BOOK" ? "BKDT" : r.tag == "MISC" ? "MCDT" : r.tag == "SCPT" ? "SCHD" : "HEDR";
        if (r.tag == "BOOK") test::As<test::BookLayout>(r, key);
        else if (r.tag == "MISC") test::As<test::MiscLayout>(r, key);
        else if (r.tag == "SCPT") test::As<test::ScriptHeaderLayout>(r, key);
        else if (r.tag == "TES3") test::As<test::HeaderLayout>(r, key);
        else continue;
        ++read[r.tag];
    }
    EXPECT_EQ(read, (std::map<std::string, int>{{"BOOK", 4}, {"MISC", 100}, {"SCPT", 1}, {"TES3", 1}}));
}

TEST(PluginFiles, EachAlbumShowsItsOwnPicturesInOrderEachOnceAtASizeThatIsNotZero) {
    auto recs = Records(PluginFile({{"Morrowind.esm", 1}}));
    const std::regex img("<IMG SRC=\"Photo ([0-9]+)\\.bmp\" WIDTH=\"[1-9][0-9]*\" HEIGHT=\"[1-9][0-9]*\">");
    for (int k = 1; k <= 4; ++k) {
        const std::string text = recs["BOOK:" + AlbumId(k)].sub("TEXT");
        std::vector<int> shown, wanted;
        for (auto it = std::sregex_iterator(text.begin(), text.end(), img); it != std::sregex_iterator(); ++it)
            shown.push_back(std::stoi((*it)[1]));
        for (int p = 25 * (k - 1) + 1; p <= 25 * k; ++p) wanted.push_back(p);
        EXPECT_EQ(shown, wanted) << "album " << k << ": " << text;
    }
}

// The bytecode is what the independent compiler of the morrowtools project
// makes of the script's source (run on it, it gives these 191 bytes), and
// names the records the plug-in holds. Opcodes are 2 bytes, low byte first;
// names and expressions carry a 1-byte length; an operand is pushed by a blank.
TEST(PluginFiles, TheStartScriptIsTheBytecodeOfItsSource) {
    auto recs = Records(PluginFile({{"Morrowind.esm", 1}}));
    const std::string global = "G\x16glintbook_albums_given";  // 'G', the name's length (22), the name
    // if (0x0106), 5 statements to skip when false, a 30-byte condition: push the global, ==, push 0
    std::string code = "\x06\x01\x05\x1E " + global + " == 0";
    // player-> (0x010C, a 6-byte id), AddItem (0x10D4) of a 17-byte id, count 1 in 16 bits
    for (char k : {'1', '2', '3', '4'})
        code += "\x0C\x01\x06player\xD4\x10\x11glintbook_album_" + std::string(1, k) + std::string("\x01\0", 2);
    code += "\x05\x01" + global + "\x02 1";  // set (0x0105) the global to a 2-byte expression: push 1
    code += "\x09\x01\x01\x01";             // endif (0x0109), end (0x0101)
    const test::RecordData& script = recs["SCPT:"];
    const auto header = test::As<test::ScriptHeaderLayout>(script, "SCHD");
    EXPECT_EQ(script.sub("SCDT"), code);
    EXPECT_EQ(header.bytecodeSize, code.size());
    EXPECT_EQ(std::string(header.name, 22), std::string("glintbook_give_albums", 22));  // with its NUL
    EXPECT_EQ(recs["SSCR:glintbook_give_albums"].sub("NAME"), "glintbook_give_albums") << "the script the game starts";
    EXPECT_EQ(recs.count("GLOB:glintbook_albums_given"), 1u);
}

}  // namespace
}  // namespace glintbook::plugin
