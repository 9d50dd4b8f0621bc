#pragma once
// The reference per-pixel loop (see src/imaging/resample_axis.h), written out
// once and literally, independently of the library: target column outer, row
// inner; per pixel the source block column outer, row inner; weight = fx*fy;
// sums in double; quotient by (x2-x1)*(y2-y1); rounding half to even. Reads
// past the last source column or row (an edge rounding just beyond W or H)
// are clamped. Every faster method is compared with it.
#include "imaging/picture.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

namespace glintbook::test {

inline Picture OracleResize(const Picture& source, int w, int h) {
    const int W = source.width, H = source.height;
    Picture target{w, h, Pixels(size_t(w) * size_t(h), 0)};
    const double rx = double(W) / double(w), ry = double(H) / double(h);
    // The overlap of source pixel s with [a, b), by the loop's four cases.
    const auto overlap = [](double s, double a, double b) {
        const double ta = std::trunc(a), tb = std::trunc(b);
        return s == ta ? (s == tb ? b - a : ta + 1 - a) : s == tb ? b - tb : 1.0;
    };
    const auto last = [](double e) { return e == std::trunc(e) ? e - 1 : std::trunc(e); };
    for (int x = 0; x < w; ++x)
        for (int y = 0; y < h; ++y) {
            const double x1 = x * rx, x2 = (x + 1) * rx, y1 = y * ry, y2 = (y + 1) * ry;
            double sum[3] = {0, 0, 0};
            for (double sx = std::trunc(x1); sx <= last(x2); sx += 1)
                for (double sy = std::trunc(y1); sy <= last(y2); sy += 1) {
                    const double weight = overlap(sx, x1, x2) * overlap(sy, y1, y2);
                    const Colour c = source.at(std::min(int(sx), W - 1), std::min(int(sy), H - 1));
                    for (int k = 0; k < 3; ++k) sum[k] = sum[k] + weight * double((c >> (8 * k)) & 0xFF);
                }
            for (int k = 0; k < 3; ++k)  // nearbyint in the default rounding mode: half to even
                target.at(x, y) |= Colour(std::nearbyint(sum[k] / ((x2 - x1) * (y2 - y1)))) << (8 * k);
        }
    return target;
}

// Random colours with a random top byte, which every method must ignore;
// with fewValues, channels drawn from two neighbouring values, which makes
// exact halves in the averages common.
inline Picture RandomPicture(int w, int h, std::uint32_t seed, bool fewValues = false) {
    std::mt19937 rng(seed);
    Picture p{w, h, Pixels(size_t(w) * size_t(h), 0)};
    for (auto& c : p.pixels) {
        const Colour base = 100 + rng() % 2, top = rng() << 24;
        c = top | (fewValues ? base | (base + rng() % 2) << 8 | (base + 1 + rng() % 2) << 16 : rng() & 0xFFFFFF);
    }
    return p;
}

// "" when equal, else the first pixel that differs.
inline std::string Differences(const Picture& expected, const Picture& actual) {
    if (expected.width != actual.width || expected.height != actual.height) return "sizes differ";
    for (size_t i = 0, w = size_t(expected.width); i < expected.pixels.size(); ++i)
        if (expected.pixels[i] != actual.pixels[i])
            return "first difference at (" + std::to_string(i % w) + "," + std::to_string(i / w) + "): " +
                   std::to_string(expected.pixels[i]) + " expected, " + std::to_string(actual.pixels[i]);
    return "";
}

}  // namespace glintbook::test
