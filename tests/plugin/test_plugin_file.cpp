// The plug-in files as the game reads them: sizes that add up, a header that
// counts the records and names the installed masters with their sizes, albums
// that show every picture once, and a start script whose bytecode the
// original engine can run.
#include "plugin/install.h"
#include "plugin/plugin_file.h"
#include "support/game_folder.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <regex>

namespace glintbook::plugin {
namespace {

std::uint32_t U32(const std::string& b, std::size_t at) {
    std::uint32_t v = UINT32_MAX;  // past the end: a size nothing fits in
    if (at + 4 <= b.size()) std::memcpy(&v, b.data() + at, 4);  // little-endian, as this machine
    return v;
}

// Each record by tag and id ("TES3:" for the header): its subrecords by tag,
// in order. A size that runs past its record or the file fails the test.
using Subs = std::vector<std::pair<std::string, std::string>>;
std::map<std::string, Subs> Records(const std::string& file, std::size_t* count = nullptr) {
    std::map<std::string, Subs> recs;
    std::size_t n = 0;
    for (std::size_t at = 0, end = 0; at < file.size(); at = end, ++n) {
        end = at + 16 + std::size_t(U32(file, at + 4));
        Subs subs;
        std::string id;
        for (std::size_t sub = at + 16; sub < end; sub += 8 + U32(file, sub + 4)) {
            if (end > file.size() || sub + 8 > end || sub + 8 + U32(file, sub + 4) > end) {
                ADD_FAILURE() << file.substr(at, 4) << ":" << id << ": a size runs past its record or the file";
                return recs;
            }
            subs.push_back({file.substr(sub, 4), file.substr(sub + 8, U32(file, sub + 4))});
            if (subs.back().first == "NAME" && id.empty()) id = subs.back().second.substr(0, subs.back().second.find('\0'));
        }
        recs[file.substr(at, 4) + ":" + id] = subs;
    }
    if (count) *count = n;
    return recs;
}

std::string Sub(const Subs& subs, const std::string& tag) {
    for (const auto& [t, data] : subs)
        if (t == tag) return data;
    return "";
}

struct Variant {
    const char* file;
    bool expansion;
    std::vector<std::pair<std::string, std::uint32_t>> masters;
};
void PrintTo(const Variant& v, std::ostream* os) { *os << v.file << (v.expansion ? " with Tribunal" : " without"); }

class PluginVariant : public ::testing::TestWithParam<Variant> {};

TEST_P(PluginVariant, HeaderCountsTheRecordsAndNamesEachMasterWithItsInstalledSize) {
    test::GameFolder folder;
    folder.write("Data Files/Morrowind.esm", std::string(1234, 'm'));
    if (GetParam().expansion) folder.write("Data Files/Tribunal.esm", std::string(567, 't'));
    InstallKit();
    const std::string file = folder.read(std::string("Data Files/") + GetParam().file);
    std::size_t count = 0;
    const Subs header = Records(file, &count)["TES3:"];
    ASSERT_EQ(Sub(header, "HEDR").size(), 300u);
    EXPECT_EQ(U32(Sub(header, "HEDR"), 296), count - 1);
    std::vector<std::pair<std::string, std::uint32_t>> masters;
    for (std::size_t i = 0; i + 1 < header.size(); ++i)
        if (header[i].first == "MAST" && header[i + 1].first == "DATA") {
            EXPECT_EQ(header[i].second.back(), '\0') << "the game reads a master's name up to its NUL";
            masters.push_back({header[i].second.substr(0, header[i].second.find('\0')), U32(header[i + 1].second, 0)});
        }
    EXPECT_EQ(masters, GetParam().masters);
    const std::string other = folder.read(GetParam().expansion ? "Data Files/Glintbook.esp" : "Data Files/Glintbook_TB.esp");
    EXPECT_EQ(file.substr(16 + U32(file, 4)), other.substr(16 + U32(other, 4))) << "the same apart from the header";
}

INSTANTIATE_TEST_SUITE_P(Variants, PluginVariant,
                         ::testing::Values(Variant{"Glintbook.esp", false, {{"Morrowind.esm", 1234}}},
                                           Variant{"Glintbook_TB.esp", true, {{"Morrowind.esm", 1234}, {"Tribunal.esm", 567}}},
                                           Variant{"Glintbook_TB.esp", false, {{"Morrowind.esm", 1234}, {"Tribunal.esm", 0}}}));

class Album : public ::testing::TestWithParam<int> {};

TEST_P(Album, ShowsItsOwnPicturesInOrderEachOnceAtASizeThatIsNotZero) {
    const std::string text = Sub(Records(PluginFile({{"Morrowind.esm", 1}}))["BOOK:" + AlbumId(GetParam())], "TEXT");
    const std::regex img("<IMG SRC=\"Photo ([0-9]+)\\.bmp\" WIDTH=\"[1-9][0-9]*\" HEIGHT=\"[1-9][0-9]*\">");
    std::vector<int> shown, wanted;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), img); it != std::sregex_iterator(); ++it)
        shown.push_back(std::stoi((*it)[1]));
    for (int p = 25 * (GetParam() - 1) + 1; p <= 25 * GetParam(); ++p) wanted.push_back(p);
    EXPECT_EQ(shown, wanted) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '<'), 3 * 25) << "a picture the pattern missed";
}

INSTANTIATE_TEST_SUITE_P(All, Album, ::testing::Values(1, 2, 3, 4));

// The bytecode is what the independent compiler of the morrowtools project
// makes of the script's source (run on it, it gives these 191 bytes), and
// names the records the plug-in holds. Opcodes are 2 bytes, low byte first;
// names and expressions carry a 1-byte length; an operand is pushed by a blank.
TEST(StartScript, IsTheBytecodeOfItsSourceAndNamesThePluginsRecords) {
    auto recs = Records(PluginFile({{"Morrowind.esm", 1}}));
    const std::string global = "G\x16glintbook_albums_given";  // 'G', the name's length (22), the name
    // if (0x0106), 5 statements to skip when false, a 30-byte condition: push the global, ==, push 0
    std::string code = "\x06\x01\x05\x1E " + global + " == 0";
    // player-> (0x010C, a 6-byte id), AddItem (0x10D4) of a 17-byte id, count 1 in 16 bits
    for (char k : {'1', '2', '3', '4'})
        code += "\x0C\x01\x06player\xD4\x10\x11glintbook_album_" + std::string(1, k) + std::string("\x01\0", 2);
    code += "\x05\x01" + global + "\x02 1";  // set (0x0105) the global to a 2-byte expression: push 1
    code += "\x09\x01\x01\x01";             // endif (0x0109), end (0x0101)
    const Subs script = recs["SCPT:"];
    EXPECT_EQ(Sub(script, "SCDT"), code);
    EXPECT_EQ(U32(Sub(script, "SCHD"), 44), code.size());
    EXPECT_EQ(Sub(script, "SCHD").substr(0, 22), std::string("glintbook_give_albums", 22));  // with its NUL
    EXPECT_EQ(Sub(recs["SSCR:glintbook_give_albums"], "NAME"), "glintbook_give_albums") << "the script the game starts";
    EXPECT_EQ(recs.count("GLOB:glintbook_albums_given"), 1u);
    for (int k = 1; k <= 4; ++k) EXPECT_EQ(recs.count("BOOK:glintbook_album_" + std::to_string(k)), 1u);
}

}  // namespace
}  // namespace glintbook::plugin
