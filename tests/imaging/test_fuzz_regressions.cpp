// Replays every picture fuzz case kept in the repository (the fixed findings
// in fuzz/regressions/bmp and the seeds in fuzz/corpus/bmp) through the fuzz
// target's own checks, without libFuzzer, against the reference reader.
#include "qt_bmp_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

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

class BmpFuzzCase : public ::testing::TestWithParam<std::string> {};

// The seeds are all pictures too, or the fuzzer would start from nothing but
// refusals.
TEST_P(BmpFuzzCase, DecodesLikeTheReferenceOrFailsAndRoundTrips) {
    const std::string bytes = Bytes(GetParam());
    for (const std::string& p :
         fuzzing::CheckBmpInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), QtDecode))
        ADD_FAILURE() << p;
    if (GetParam().rfind("corpus/", 0) == 0) { EXPECT_NO_THROW(bmp::Decode(bytes, GetParam())); }
}

INSTANTIATE_TEST_SUITE_P(Kept, BmpFuzzCase, ::testing::ValuesIn(Cases({"regressions/bmp", "corpus/bmp"})),
                         [](const auto& info) {
                             std::string name = info.param;
                             for (char& c : name)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

}  // namespace
}  // namespace glintbook::test
