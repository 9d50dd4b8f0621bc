// Reading the index box's text as a number: what "Set Index" stores in
// "Screen Shot Index" depends on it.
#include "app/index_text.h"

#include <gtest/gtest.h>

#include <limits>

namespace glintbook {
namespace {

class TextValueTest : public ::testing::TestWithParam<std::pair<const char*, double>> {};

TEST_P(TextValueTest, Reads) { EXPECT_DOUBLE_EQ(TextValue(GetParam().first), GetParam().second) << GetParam().first; }

INSTANTIATE_TEST_SUITE_P(Rows, TextValueTest, ::testing::Values(
    std::pair{"25", 25.0}, std::pair{"-3", -3.0}, std::pair{"+7", 7.0}, std::pair{"2147483647", 2147483647.0},
    std::pair{"", 0.0}, std::pair{"abc", 0.0}, std::pair{"-", 0.0}, std::pair{".", 0.0}, std::pair{"x12", 0.0},
    std::pair{"12abc", 12.0}, std::pair{"  7 8", 7.0}, std::pair{"3.75x", 3.75}, std::pair{"-.5", -0.5}));

TEST(WholePart, DropsTheFractionTowardsZeroAndClamps) {
    EXPECT_EQ(WholePart(3.9), 3);
    EXPECT_EQ(WholePart(-3.9), -3);
    EXPECT_EQ(WholePart(1e30), std::numeric_limits<long long>::max());
    EXPECT_EQ(WholePart(-1e30), std::numeric_limits<long long>::min());
    EXPECT_EQ(WholePart(TextValue("99999999999") + 75), 100000000074LL);
}

}  // namespace
}  // namespace glintbook
