#include "imaging/resample_axis.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace glintbook::resample {

FaithfulAxis BuildFaithfulAxis(int source, int target) {
    FaithfulAxis axis;
    axis.first.reserve(size_t(target) + 1);
    axis.extent.reserve(size_t(target));
    const double r = double(source) / double(target);
    for (int t = 0; t < target; ++t) {
        axis.first.push_back(int(axis.index.size()));
        // Two separate products: (t+1)*r is not t*r + r in doubles.
        const double lo = double(t) * r;
        const double hi = double(t + 1) * r;
        const std::int64_t tl = std::int64_t(lo);  // trunc; both edges are >= 0
        const std::int64_t th = std::int64_t(hi);
        const std::int64_t last = double(th) == hi ? th - 1 : th;
        for (std::int64_t s = tl; s <= last; ++s) {
            double f;
            if (s == tl && s != th)
                f = double(tl) + 1.0 - lo;
            else if (s == th && s != tl)
                f = hi - double(th);
            else if (s == tl)  // the span begins and ends inside this pixel
                f = hi - lo;
            else
                f = 1.0;
            axis.index.push_back(int(std::min<std::int64_t>(s, source - 1)));
            axis.weight.push_back(f);
        }
        axis.extent.push_back(hi - lo);
    }
    axis.first.push_back(int(axis.index.size()));
    return axis;
}

Ratio ReducedRatio(int source, int target) {
    const std::int64_t g = std::gcd(std::int64_t(source), std::int64_t(target));
    return {source / g, target / g};
}

// Why whole numbers may replace the doubles. Along x let W/w = P/k in lowest
// terms with k = 2^a (likewise H/h = Q/l, l = 2^b), and suppose
//   W*k <= 2^53,  H*l <= 2^53,  255*P*Q < 2^53.
// Then in the double computation:
//  - rx = W/w is exactly P/2^a (a representable quotient of exact operands);
//  - every edge x*rx (0 <= x <= w) is x*P units of 2^-a with x*P <= W*k, so it
//    is exact; the last edge is exactly W, the end rule stops at column W-1,
//    and no index is ever clamped;
//  - trunc(x1)+1-x1, x2-trunc(x2) and x2-x1 are differences of such multiples
//    below W, hence exact; fx <= min(1, rx), i.e. at most min(k, P) units;
//  - weight = fx*fy is at most min(k,P)*min(l,Q) <= P*Q units of 2^-(a+b),
//    weight*value at most 255*P*Q units, and every running sum, being a sum
//    of non-negative terms bounded by 255 times the span's area, at most
//    255*P*Q units: all below 2^53, so every product and sum is exact;
//  - the area (x2-x1)*(y2-y1) is exactly rx*ry = P*Q units.
// So each channel's sum is exactly S / 2^(a+b), where S is the whole-number
// sum of (fx*2^a)*(fy*2^b)*value, whatever order it is added in, and the
// quotient the loop takes is the correctly rounded value of S / (P*Q).
// (a+b <= 62, so nothing comes near the subnormal range.)
Grid ExactGrid(int W, int H, int w, int h) {
    Grid grid;
    grid.x = ReducedRatio(W, w);
    grid.y = ReducedRatio(H, h);
    const auto powerOfTwo = [](std::int64_t v) { return v > 0 && (v & (v - 1)) == 0; };
    constexpr std::int64_t kExact = std::int64_t(1) << 53;
    grid.exact = powerOfTwo(grid.x.den) && powerOfTwo(grid.y.den)  //
                 && std::int64_t(W) * grid.x.den <= kExact          //
                 && std::int64_t(H) * grid.y.den <= kExact          //
                 && grid.y.num <= (kExact - 1) / 255 / grid.x.num;  // 255*P*Q < 2^53 without overflow
    if (grid.exact) grid.area = grid.x.num * grid.y.num;
    return grid;
}

ExactAxis BuildExactAxis(int source, int target, Ratio ratio) {
    ExactAxis axis;
    axis.ratio = ratio;
    const std::int64_t num = ratio.num, den = ratio.den;
    // den is a power of two here: divisions by it are shifts.
    const int shift = std::countr_zero(std::uint64_t(den));
    // In units of 1/den, target index t spans [t*num, (t+1)*num) and source
    // index s covers [s*den, (s+1)*den).
    std::vector<std::int64_t> first(static_cast<size_t>(target)), last(static_cast<size_t>(target));
    for (int t = 0; t < target; ++t) {
        first[size_t(t)] = (t * num) >> shift;
        last[size_t(t)] = ((t + 1) * num - 1) >> shift;
        axis.taps = std::max(axis.taps, int(last[size_t(t)] - first[size_t(t)] + 1));
    }
    axis.start.resize(size_t(target));
    axis.weight.assign(size_t(target) * size_t(axis.taps), 0);
    for (int t = 0; t < target; ++t) {
        const std::int64_t lo = t * num, hi = (t + 1) * num;
        const std::int64_t start = std::min<std::int64_t>(first[size_t(t)], source - axis.taps);
        axis.start[size_t(t)] = int(start);
        for (std::int64_t s = first[size_t(t)]; s <= last[size_t(t)]; ++s) {
            const std::int64_t overlap = std::min(hi, (s + 1) * den) - std::max(lo, s * den);
            axis.weight[size_t(t) * size_t(axis.taps) + size_t(s - start)] = std::int32_t(overlap);
        }
    }
    return axis;
}

}  // namespace glintbook::resample
