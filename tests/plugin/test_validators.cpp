// The kit read by code nobody on this project wrote: the modding community's
// plug-in tool (tes3cmd) and the NifTools reader (nifcheck.py). They live
// beside the project, not in it; without them this test says it skipped.
#include "plugin/install.h"
#include "support/game_folder.h"

#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <sys/wait.h>

namespace glintbook::plugin {
namespace {

std::pair<int, std::string> Shell(const std::string& command) {
    std::string out;
    FILE* pipe = ::popen(command.c_str(), "r");
    char buf[4096];
    for (std::size_t n; pipe && (n = std::fread(buf, 1, sizeof buf, pipe)) > 0;) out.append(buf, n);
    const int status = pipe ? ::pclose(pipe) : -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

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
        const auto [status, dump] = Shell("perl '" + validators + "/tes3cmd/tes3cmd' dump 'Data Files/" + esp + "' 2>err");
        EXPECT_EQ(status, 0) << esp;
        EXPECT_EQ(folder.read("err"), "") << esp << ": tes3cmd warned";
        std::smatch counted;
        ASSERT_TRUE(std::regex_search(dump, counted, std::regex("N_Records:([0-9]+)"))) << dump.substr(0, 500);
        std::size_t read = 0;
        for (std::size_t at = 0; (at = dump.find("Record: ", at)) != std::string::npos; ++at) ++read;
        EXPECT_EQ(read - 1, std::stoul(counted[1])) << esp << ": records read after the header, against its count";
    }

    std::string meshes;
    for (int n = 0; n < 100; ++n) meshes += " 'Data Files/Meshes/glintbook/photo_" + std::to_string(n) + ".nif'";
    const auto [status, report] = Shell("python3 '" NIFCHECK_MORROWIND "' '" + validators + "'" + meshes + " 2>&1");
    EXPECT_EQ(status, 0) << report.substr(0, 2000);
    const std::regex line("photo_([0-9]+)\\.nif: version 0x04000002, .*, roots 1, textures \\['qor_tx_photo_([0-9]+)\\.bmp'\\]");
    int good = 0;
    for (auto it = std::sregex_iterator(report.begin(), report.end(), line); it != std::sregex_iterator(); ++it)
        good += (*it)[1] == (*it)[2];
    EXPECT_EQ(good, 100) << report.substr(0, 2000);
}

}  // namespace
}  // namespace glintbook::plugin
