#pragma once
// The geometry of area averaging along one axis, and the test that decides
// whether the whole-number methods may stand in for the double arithmetic.
//
// The reference computation, which every method reproduces to the bit: with
// rx = W/w and ry = H/h in doubles, target pixel (x, y) spans
// [x*rx, (x+1)*rx) by [y*ry, (y+1)*ry), each edge its own double product
// ((x+1)*rx is not x*rx + rx). The source columns under it run from trunc(x1)
// to trunc(x2), less one when x2 is a whole number, each weighted by the
// length of its overlap with the span, fx; rows likewise, fy. Per target
// pixel, source column outer and row inner, weight = fx*fy and
// sum += weight*value per channel, in doubles; each sum is divided by
// (x2-x1)*(y2-y1) and rounded to the nearest whole number, halves to even.
#include <cmath>
#include <cstdint>
#include <vector>

namespace glintbook::resample {

// Rounds a non-negative quotient to the nearest whole number, a half going to
// the even neighbour. q - floor(q) is exact for q >= 0, so the comparison with
// 0.5 sees the true fraction and the result does not depend on the rounding
// mode in force.
inline std::uint32_t RoundHalfEven(double q) {
    const double whole = std::floor(q);
    const double fraction = q - whole;
    std::uint32_t n = std::uint32_t(whole);
    if (fraction > 0.5 || (fraction == 0.5 && (n & 1u))) ++n;
    return n;
}

// One axis in double arithmetic, in the reference loop's order. Indices past the
// last source pixel (a span edge that rounds just beyond n) are clamped to it.
struct FaithfulAxis {
    std::vector<int> first;       // m + 1 offsets into index and weight
    std::vector<int> index;       // source index of each entry
    std::vector<double> weight;   // overlap of that source pixel with the span
    std::vector<double> extent;   // (t+1)*r - t*r of each target index
};
FaithfulAxis BuildFaithfulAxis(int source, int target);

// source / target as a fraction in lowest terms, num / den.
struct Ratio {
    std::int64_t num = 0;
    std::int64_t den = 0;
};
Ratio ReducedRatio(int source, int target);

// When both axes' ratios have a power-of-two denominator and the bounds below
// hold, every quantity of the double computation is exact; see ExactGrid.
struct Grid {
    Ratio x, y;
    bool exact = false;
    std::int64_t area = 0;  // x.num * y.num: the span's area in units of 1/(x.den*y.den)
};
Grid ExactGrid(int W, int H, int w, int h);

// One axis of an exact grid (ratio.den a power of two) in whole numbers: weights in units of 1/den, every
// target index given the same number of taps (zero weights pad the short
// ones), with start + taps <= n so that no tap reads past the source.
struct ExactAxis {
    Ratio ratio;
    int taps = 0;
    std::vector<int> start;              // m
    std::vector<std::int32_t> weight;    // m * taps
};
ExactAxis BuildExactAxis(int source, int target, Ratio ratio);

}  // namespace glintbook::resample
