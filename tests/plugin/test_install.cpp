// The player's kit. Installed into a game folder, it loses nothing that was
// there, and a second run changes nothing. Its plug-in files read as the game
// reads them: sizes that add up, a header that counts the records and names
// the installed masters with their sizes, albums that show every picture once,
// and a start script whose bytecode the original engine can run.
#include "imaging/picture_io.h"
#include "plugin/install.h"
#include "plugin/plugin_file.h"
#include "support/game_kit.h"

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

std::uint32_t U32(const std::string& b, std::size_t at) {
    std::uint32_t v = UINT32_MAX;  // past the end: a size nothing fits in
    if (at + 4 <= b.size()) std::memcpy(&v, b.data() + at, 4);  // little-endian, as this machine
    return v;
}

using Subs = std::vector<std::pair<std::string, std::string>>;
std::string Sub(const Subs& subs, const std::string& tag) {
    const auto it = std::find_if(subs.begin(), subs.end(), [&](const auto& s) { return s.first == tag; });
    return it == subs.end() ? "" : it->second;
}

// Each record by tag and id ("TES3:" for the header): its subrecords by tag,
// in order. A size that runs past its record or the file fails the test.
std::map<std::string, Subs> Records(const std::string& file) {
    std::map<std::string, Subs> recs;
    for (std::size_t at = 0, end = 0; at < file.size(); at = end) {
        end = at + 16 + std::size_t(U32(file, at + 4));
        Subs subs;
        for (std::size_t sub = at + 16, size = 0; sub < end; sub += 8 + size) {
            size = U32(file, sub + 4);
            EXPECT_LE(sub + 8 + size, std::min(end, file.size())) << file.substr(at, 4) << ": a size overruns";
            if (sub + 8 + size > std::min(end, file.size())) return recs;
            subs.push_back({file.substr(sub, 4), file.substr(sub + 8, size)});
        }
        const std::string id = Sub(subs, "NAME");
        recs[file.substr(at, 4) + ":" + id.substr(0, id.find('\0'))] = subs;
    }
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
            const Subs header = recs["TES3:"];
            EXPECT_EQ(U32(Sub(header, "HEDR"), 296), recs.size() - 1) << esp << ": the records after it, each of its own id";
            Masters masters;
            for (std::size_t i = 0; i + 1 < header.size(); ++i)
                if (header[i].first == "MAST" && header[i + 1].first == "DATA")
                    masters.push_back({header[i].second, U32(header[i + 1].second, 0)});
            EXPECT_EQ(masters, want) << esp;
        }
    }
}

TEST(PluginFiles, EachAlbumShowsItsOwnPicturesInOrderEachOnceAtASizeThatIsNotZero) {
    auto recs = Records(PluginFile({{"Morrowind.esm", 1}}));
    const std::regex img("<IMG SRC=\"Photo ([0-9]+)\\.bmp\" WIDTH=\"[1-9][0-9]*\" HEIGHT=\"[1-9][0-9]*\">");
    for (int k = 1; k <= 4; ++k) {
        const std::string text = Sub(recs["BOOK:" + AlbumId(k)], "TEXT");
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
    const Subs script = recs["SCPT:"];
    EXPECT_EQ(Sub(script, "SCDT"), code);
    EXPECT_EQ(U32(Sub(script, "SCHD"), 44), code.size());
    EXPECT_EQ(Sub(script, "SCHD").substr(0, 22), std::string("glintbook_give_albums", 22));  // with its NUL
    EXPECT_EQ(Sub(recs["SSCR:glintbook_give_albums"], "NAME"), "glintbook_give_albums") << "the script the game starts";
    EXPECT_EQ(recs.count("GLOB:glintbook_albums_given"), 1u);
}

}  // namespace
}  // namespace glintbook::plugin
