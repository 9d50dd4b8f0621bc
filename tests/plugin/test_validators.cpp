// The kit read by code nobody on this project wrote: the modding community's
// plug-in tool (tes3cmd) and the NifTools reader (nifcheck.py). They live
// beside the project, not in it; without them this test says it skipped.
#include "plugin/install.h"
#include "support/game_folder.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>

namespace glintbook::plugin {
namespace {

TEST(IndependentReaders, ReadEveryRecordAndEveryMeshWhole) {
    const std::string validators = GLINTBOOK_VALIDATORS;
    if (!std::filesystem::exists(validators + "/tes3cmd/tes3cmd") || !std::filesystem::exists(validators + "/nifcheck.py"))
        GTEST_SKIP() << "independent checkers not found at " << validators;
    test::GameFolder folder;  // tes3cmd wants a game folder, and leaves its cache there
    folder.write("Morrowind.ini", "[Game Files]\r\nGameFile0=Morrowind.esm\r\n");
    folder.write("Data Files/Morrowind.esm", std::string(1234, 'm'));
    folder.write("Data Files/Tribunal.esm", std::string(567, 't'));
    InstallKit();

    for (const std::string esp : {"Glintbook.esp", "Glintbook_TB.esp"}) {
        const std::string dump = "perl '" + validators + "/tes3cmd/tes3cmd' dump 'Data Files/" + esp + "' >dump 2>err";
        EXPECT_EQ(std::system(dump.c_str()), 0) << esp;
        EXPECT_EQ(folder.read("err"), "") << esp << ": tes3cmd warned";
        const std::string records = folder.read("dump");
        std::smatch counted;
        ASSERT_TRUE(std::regex_search(records, counted, std::regex("N_Records:([0-9]+)"))) << records.substr(0, 500);
        std::size_t read = 0;
        for (std::size_t at = 0; (at = records.find("Record: ", at)) != std::string::npos; ++at) ++read;
        EXPECT_EQ(read - 1, std::stoul(counted[1])) << esp << ": records read after the header, against its count";
    }

    std::string nifcheck = "python3 '" NIFCHECK_MORROWIND "' '" + validators + "'";
    for (int n = 0; n < 100; ++n) nifcheck += " 'Data Files/Meshes/glintbook/photo_" + std::to_string(n) + ".nif'";
    const int status = std::system((nifcheck + " >report 2>&1").c_str());
    const std::string report = folder.read("report");
    EXPECT_EQ(status, 0) << report.substr(0, 2000);
    const std::regex line("photo_([0-9]+)\\.nif: version 0x04000002, .*, roots 1, textures \\['qor_tx_photo_([0-9]+)\\.bmp'\\]");
    int good = 0;
    for (auto it = std::sregex_iterator(report.begin(), report.end(), line); it != std::sregex_iterator(); ++it)
        good += (*it)[1] == (*it)[2];
    EXPECT_EQ(good, 100) << report.substr(0, 2000);
}

}  // namespace
}  // namespace glintbook::plugin
