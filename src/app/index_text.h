#pragma once
// Reading the index box's text as a number.
#include <string_view>

namespace glintbook {

// The numeric value of a text the way the index box is read: leading blanks,
// an optional sign, digits and an optional fraction; a text that does not
// begin with a number counts as 0.
double TextValue(std::string_view text);

// The whole part of a value, dropped towards zero, clamped to the range of a
// 64-bit number.
long long WholePart(double value);

}  // namespace glintbook
