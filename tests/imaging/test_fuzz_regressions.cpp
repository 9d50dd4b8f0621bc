// Replays every picture fuzz case kept in the repository (the fixed findings
// in fuzz/regressions/bmp and the seeds in fuzz/corpus/bmp) through the fuzz
// target's own checks, without libFuzzer, against the reference reader.
#include "qt_bmp_reader.h"

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

std::vector<std::string> Cases(std::initializer_list<const char*> dirs) {
    std::vector<std::string> out;
    for (const char* dir : dirs) {
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(kFuzzDir / dir, ec))
            if (e.is_regular_file()) out.push_back(std::string(dir) + "/" + e.path().filename().string());
    }
    std::sort(out.begin(), out.end());
    return out;
}

std::string Bytes(const std::string& relative) {
    std::ifstream in(kFuzzDir / relative, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string TestName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

class BmpFuzzCase : public ::testing::TestWithParam<std::string> {};

TEST_P(BmpFuzzCase, DecodesLikeTheReferenceOrFailsAndRoundTrips) {
    const std::string bytes = Bytes(GetParam());
    for (const std::string& p :
         fuzzing::CheckBmpInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), QtDecode))
        ADD_FAILURE() << p;
}

INSTANTIATE_TEST_SUITE_P(Kept, BmpFuzzCase, ::testing::ValuesIn(Cases({"regressions/bmp", "corpus/bmp"})), TestName);

// The seeds are all valid pictures: each must load, or the fuzzer would start
// from nothing but refusals.
TEST(BmpFuzzSeeds, EveryFormLoads) {
    const auto seeds = Cases({"corpus/bmp"});
    EXPECT_GE(seeds.size(), 10u) << "no seeds under " << kFuzzDir;
    for (const std::string& seed : seeds) EXPECT_NO_THROW(bmp::Decode(Bytes(seed), seed)) << seed;
}

}  // namespace
}  // namespace glintbook::test
