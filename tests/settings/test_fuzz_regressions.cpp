// Replays every settings-file fuzz case kept in the repository (the fixed
// findings in fuzz/regressions/profile and the seeds in fuzz/corpus/profile)
// through the fuzz target's own checks, without libFuzzer.
#include "../../fuzz/harness_profile.h"
#include "support/game_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;

const fs::path kFuzzDir = fs::path(__FILE__).parent_path() / ".." / ".." / "fuzz";

std::vector<std::string> Cases() {
    std::vector<std::string> out;
    for (const char* dir : {"regressions/profile", "corpus/profile"}) {
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(kFuzzDir / dir, ec))
            if (e.is_regular_file()) out.push_back(std::string(dir) + "/" + e.path().filename().string());
    }
    std::sort(out.begin(), out.end());
    return out;
}

TEST(ProfileFuzzCases, SeedsAreThere) { EXPECT_GE(Cases().size(), 3u) << "no cases under " << kFuzzDir; }

class ProfileFuzzCase : public ::testing::TestWithParam<std::string> {};

TEST_P(ProfileFuzzCase, KeepsEveryPromise) {
    GameFolder folder;
    const std::string bytes = fuzzing::profile_detail::ReadAll((kFuzzDir / GetParam()).string());
    ASSERT_FALSE(bytes.empty() && !fs::exists(kFuzzDir / GetParam()));
    const auto problems = fuzzing::CheckProfileInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                                     bytes.size(), folder.path());
    for (const std::string& p : problems) ADD_FAILURE() << p;
}

INSTANTIATE_TEST_SUITE_P(Kept, ProfileFuzzCase, ::testing::ValuesIn(Cases()), [](const auto& info) {
    std::string name = info.param;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
});

// The checks themselves must catch a broken promise: a read-back check fed
// a file whose key line would not read back, and a folder with a stray file.
TEST(ProfileHarness, ReportsWhatItMustCatch) {
    GameFolder folder;
    EXPECT_TRUE(fuzzing::profile_detail::PlainEntry("Key", "v a l"));
    EXPECT_FALSE(fuzzing::profile_detail::PlainEntry("Key", " padded"));
    EXPECT_FALSE(fuzzing::profile_detail::PlainEntry("Key", "'quoted'"));
    EXPECT_TRUE(fuzzing::profile_detail::PlainEntry("Key", "'half"));
    EXPECT_FALSE(fuzzing::profile_detail::PlainEntry("[Key", "x]"));
    EXPECT_TRUE(fuzzing::profile_detail::PlainEntry("[Key", "x"));
    EXPECT_FALSE(fuzzing::profile_detail::PlainEntry("K=ey", "x"));
    folder.write("stray.tmp", "x");
    const std::string input = "[A]\nB=1\n";
    const auto problems = fuzzing::CheckProfileInput(reinterpret_cast<const std::uint8_t*>(input.data()),
                                                     input.size(), folder.path());
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_NE(problems[0].find("stray.tmp"), std::string::npos) << problems[0];
}

}  // namespace
}  // namespace glintbook::test
