// Reading the index box's text as a number: what "Set Index" stores in
// "Screen Shot Index" depends on it.
#include "app/index_text.h"

#include <gtest/gtest.h>
#include <limits>

using glintbook::TextValue;
using glintbook::WholePart;

TEST(IndexText, WholeNumbersReadAsThemselves) {
    EXPECT_EQ(TextValue("0"), 0);
    EXPECT_EQ(TextValue("25"), 25);
    EXPECT_EQ(TextValue("-3"), -3);
    EXPECT_EQ(TextValue("2147483647"), 2147483647.0);
    EXPECT_EQ(TextValue("+7"), 7);
}

TEST(IndexText, TextNotBeginningWithANumberCountsAsZero) {
    EXPECT_EQ(TextValue(""), 0);
    EXPECT_EQ(TextValue("abc"), 0);
    EXPECT_EQ(TextValue("-"), 0);
    EXPECT_EQ(TextValue("."), 0);
    EXPECT_EQ(TextValue("x12"), 0);
}

TEST(IndexText, ReadingStopsAtTheFirstCharacterThatIsNotPartOfANumber) {
    EXPECT_EQ(TextValue("12abc"), 12);
    EXPECT_EQ(TextValue("  7 8"), 7);
    EXPECT_DOUBLE_EQ(TextValue("3.75x"), 3.75);
    EXPECT_DOUBLE_EQ(TextValue("-.5"), -0.5);
}

TEST(IndexText, FractionsAreDroppedTowardsZero) {
    EXPECT_EQ(WholePart(TextValue("3.9")), 3);
    EXPECT_EQ(WholePart(TextValue("-3.9")), -3);
    EXPECT_EQ(WholePart(-0.5), 0);
    EXPECT_EQ(WholePart(57.0), 57);
}

TEST(IndexText, HugeValuesClampInsteadOfOverflowing) {
    EXPECT_EQ(WholePart(1e30), std::numeric_limits<long long>::max());
    EXPECT_EQ(WholePart(-1e30), std::numeric_limits<long long>::min());
    EXPECT_EQ(WholePart(TextValue("99999999999") + 75), 100000000074LL);
}
