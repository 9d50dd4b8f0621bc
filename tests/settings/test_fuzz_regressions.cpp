// Replays every settings fuzz case kept in the repository (the fixed findings
// in fuzz/regressions/profile and the seeds in fuzz/corpus/profile) through
// the checks of both fuzz targets, without libFuzzer.
#include "harness_profile.h"
#include "support/game_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;

const fs::path kFuzzDir = fs::path(__FILE__).parent_path() / ".." / ".." / "fuzz";

std::vector<std::string> Cases() {
    std::vector<std::string> out;
    for (const char* dir : {"regressions/profile", "corpus/profile"})
        for (const auto& e : fs::directory_iterator(kFuzzDir / dir))
            out.push_back(std::string(dir) + "/" + e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

class ProfileFuzzCase : public ::testing::TestWithParam<std::string> {};

TEST_P(ProfileFuzzCase, KeepsEveryPromise) {
    GameFolder folder;
    std::ifstream in(kFuzzDir / GetParam(), std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    ASSERT_TRUE(in.good() || in.eof());
    for (const std::string& p : fuzzing::CheckProfileText(bytes)) ADD_FAILURE() << "text: " << p;
    for (const std::string& p : fuzzing::CheckProfileFile(bytes, folder.path())) ADD_FAILURE() << "file: " << p;
}

INSTANTIATE_TEST_SUITE_P(Kept, ProfileFuzzCase, ::testing::ValuesIn(Cases()), [](const auto& info) {
    std::string name = info.param;
    std::replace_if(name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
    return name;
});

}  // namespace
}  // namespace glintbook::test
