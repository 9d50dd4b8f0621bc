// Replays every settings fuzz case kept in the repository (the fixed findings
// in fuzz/regressions/profile and the seeds in fuzz/corpus/profile) through
// the checks of both fuzz targets, without libFuzzer; and shows that the
// checks catch a broken writer.
#include "harness_profile.h"
#include "platform/files.h"
#include "settings/ini_text.h"
#include "support/game_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace glintbook::test {
namespace {

namespace fs = std::filesystem;
using fuzzing::Editor;

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

// Each writer breaks one promise; the checks must say so.
struct Broken {
    const char* name;
    Editor edit;
    const char* input;  // a file, then calls: write (6) or delete (7) "A" "K" [value]
    const char* says;
};

const Broken kBroken[] = {
    {"ValueCut", [](auto t, auto s, auto k, auto v) { return profile::ini::Edit(t, s, k, v ? v->substr(1) : v); },
     "[A]\nK=1\n\x1e\x06\xff" "A\x1fK\x1f" "23", "GetString gave"},
    {"OtherLineTouched",
     [](auto t, auto s, auto k, auto v) {
         auto r = profile::ini::Edit(t, s, k, v);
         if (r) r->front() = 'Y';
         return r;
     },
     "X=0\n[A]\nK=1\n\x1e\x06\xff" "A\x1fK\x1f" "2", "other than the key's"},
    {"AlwaysAppends",
     [](auto t, auto, auto k, auto v) { return std::string(t) + "[A]\r\n" + std::string(*k) + "=" + std::string(*v) + "\r\n"; },
     "\x1e\x06\xff" "A\x1fK\x1f" "2", "second identical write"},
    {"DeletesTwoLines",
     [](auto t, auto s, auto k, auto v) {
         auto r = profile::ini::Edit(t, s, k, v);
         if (r) r->erase(r->size() - 4);
         return r;
     },
     "[A]\nK=1\nL=2\n\x1e\x07\xff" "A\x1fK", "removed other bytes"},
};

class ProfileOracle : public ::testing::TestWithParam<Broken> {};

TEST_P(ProfileOracle, CatchesABrokenWriter) {
    const auto problems = fuzzing::CheckProfileText(GetParam().input, GetParam().edit);
    ASSERT_FALSE(problems.empty());
    EXPECT_NE(problems[0].find(GetParam().says), std::string::npos) << problems[0];
}

INSTANTIATE_TEST_SUITE_P(Writers, ProfileOracle, ::testing::ValuesIn(kBroken),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ProfileOracle, CatchesAFailedFileWriteAndAStrayFile) {
    GameFolder folder;
    const std::string write = std::string("[A]\nK=1\n\x1e\x06\xff") + "A\x1fK\x1f" "2";
    files::SetFaultHook([](std::string_view step, const std::string&) { return step == "rename" ? EIO : 0; });
    const auto failed = fuzzing::CheckProfileFile(write, folder.path());
    files::SetFaultHook(nullptr);
    ASSERT_FALSE(failed.empty());
    EXPECT_NE(failed[0].find("write to a writable file"), std::string::npos) << failed[0];
    folder.write("stray.tmp", "x");
    const auto stray = fuzzing::CheckProfileFile(write, folder.path());
    ASSERT_EQ(stray.size(), 1u);
    EXPECT_NE(stray[0].find("stray.tmp"), std::string::npos) << stray[0];
}

}  // namespace
}  // namespace glintbook::test
