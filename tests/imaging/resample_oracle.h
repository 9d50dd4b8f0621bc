#pragma once
// The reference per-pixel loop (see src/imaging/resample_axis.h), written out
// once and literally: target column outer, row inner; per pixel the source
// block column outer, row inner; weight = fx*fy; sums in double; quotient by
// (x2-x1)*(y2-y1); rounding half to even. Every faster method is compared
// with it. Reads past the last source column or row (an edge rounding just
// beyond W or H) are clamped. `fused` turns sum += weight*value into one
// fused multiply-add, as a contracting compiler would, to show that a case
// tells the two apart.
#include "imaging/picture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>

namespace glintbook::test {

inline Picture OracleResize(const Picture& source, int w, int h, bool fused = false) {
    const int W = source.width, H = source.height;
    Picture target{w, h, std::vector<Colour>(size_t(w) * size_t(h))};
    const double rx = double(W) / double(w);
    const double ry = double(H) / double(h);
    // The overlap of source pixel s with [a, b), by the loop's four cases.
    const auto overlap = [](double s, double a, double b) {
        const double ta = std::trunc(a), tb = std::trunc(b);
        if (s == ta && s != tb) return ta + 1 - a;
        if (s == tb && s != ta) return b - tb;
        if (s == ta && s == tb) return b - a;
        return 1.0;
    };
    for (int x = 0; x < w; ++x) {
        for (int y = 0; y < h; ++y) {
            const double x1 = x * rx, x2 = (x + 1) * rx;
            const double y1 = y * ry, y2 = (y + 1) * ry;
            const double lastX = x2 == std::trunc(x2) ? x2 - 1 : std::trunc(x2);
            const double lastY = y2 == std::trunc(y2) ? y2 - 1 : std::trunc(y2);
            double sum[3] = {0, 0, 0};
            for (double sx = std::trunc(x1); sx <= lastX; sx += 1) {
                const double fx = overlap(sx, x1, x2);
                for (double sy = std::trunc(y1); sy <= lastY; sy += 1) {
                    const double weight = fx * overlap(sy, y1, y2);
                    const Colour c = source.at(std::min(int(sx), W - 1), std::min(int(sy), H - 1));
                    for (int k = 0; k < 3; ++k) {
                        const double value = double((c >> (8 * k)) & 0xFF);
                        sum[k] = fused ? std::fma(weight, value, sum[k]) : sum[k] + weight * value;
                    }
                }
            }
            const double area = (x2 - x1) * (y2 - y1);
            Colour out = 0;  // nearbyint in the default rounding mode: half to even
            for (int k = 0; k < 3; ++k) out |= Colour(std::nearbyint(sum[k] / area)) << (8 * k);
            target.at(x, y) = out;
        }
    }
    return target;
}

// Random colours (top byte 0); with fewValues, channels drawn from two
// neighbouring values, which makes exact halves in the averages common.
inline Picture RandomPicture(int w, int h, std::uint32_t seed, bool fewValues = false) {
    std::mt19937 rng(seed);
    Picture p{w, h, std::vector<Colour>(size_t(w) * size_t(h))};
    for (auto& c : p.pixels) {
        const Colour base = 100 + rng() % 2;
        c = fewValues ? base | (base + rng() % 2) << 8 | (base + 1 + rng() % 2) << 16 : rng() & 0xFFFFFF;
    }
    return p;
}

// "" when equal, else how many pixels differ and the first of them.
inline std::string Differences(const Picture& expected, const Picture& actual) {
    if (expected.width != actual.width || expected.height != actual.height) return "sizes differ";
    long count = 0;
    std::string first;
    for (int y = 0; y < expected.height; ++y)
        for (int x = 0; x < expected.width; ++x)
            if (expected.at(x, y) != actual.at(x, y) && count++ == 0)
                first = " first at (" + std::to_string(x) + "," + std::to_string(y) + "): " +
                        std::to_string(expected.at(x, y)) + " expected, " + std::to_string(actual.at(x, y));
    return count ? std::to_string(count) + " pixels differ," + first : "";
}

}  // namespace glintbook::test
