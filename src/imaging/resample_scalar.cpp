// The faithful double computation and the portable whole-number one.
#include "imaging/resample_kernels.h"

#include <algorithm>
#include <vector>

namespace glintbook::resample {

namespace {

Colour Compose(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    return red + 256u * green + 65536u * blue;
}

}  // namespace

void FaithfulRows(const SourceRows& source, Picture& target, const FaithfulAxis& ax, const FaithfulAxis& ay,
                  int y0, int y1) {
    std::vector<const Colour*> rows;
    for (int y = y0; y < y1; ++y) {
        const int r0 = ay.first[size_t(y)], r1 = ay.first[size_t(y) + 1];
        rows.clear();
        for (int j = r0; j < r1; ++j) rows.push_back(source.row(ay.index[size_t(j)]));
        Colour* out = target.pixels.data() + size_t(y) * size_t(target.width);
        for (int x = 0; x < target.width; ++x) {
            double red = 0, green = 0, blue = 0;
            // Source column outer, row inner, each product formed and added
            // on its own: with doubles that are not exact, this order and the
            // absence of fused multiply-adds fix the last bit.
            for (int i = ax.first[size_t(x)]; i < ax.first[size_t(x) + 1]; ++i) {
                const double fx = ax.weight[size_t(i)];
                const int column = ax.index[size_t(i)];
                for (int j = r0; j < r1; ++j) {
                    const double weight = fx * ay.weight[size_t(j)];
                    const Colour c = rows[size_t(j - r0)][column];
                    red += weight * double(c & 0xFFu);
                    green += weight * double((c >> 8) & 0xFFu);
                    blue += weight * double((c >> 16) & 0xFFu);
                }
            }
            const double area = ax.extent[size_t(x)] * ay.extent[size_t(y)];
            out[x] = Compose(RoundHalfEven(red / area), RoundHalfEven(green / area), RoundHalfEven(blue / area));
        }
    }
}

ExactPlan BuildExactPlan(int W, int H, int w, int h) {
    ExactPlan plan;
    plan.grid = ExactGrid(W, H, w, h);
    plan.ax = BuildExactAxis(W, w, plan.grid.x);
    plan.ay = BuildExactAxis(H, h, plan.grid.y);
    return plan;
}

void ExactRowsScalar(const SourceRows& source, Picture& target, const ExactPlan& plan, int y0, int y1) {
    const size_t W = size_t(source.width);
    const int w = target.width;
    const ExactAxis& ax = plan.ax;
    const ExactAxis& ay = plan.ay;
    // The vertical sums reach 255 * Q, which passes 2^32 for a source over
    // 16.8 million rows tall; the horizontal sums reach 255 * P * Q < 2^53.
    std::vector<std::uint64_t> column(W * 3);
    const double scale = 1.0 / (double(ax.ratio.den) * double(ay.ratio.den));  // a power of two
    const double rx = double(source.width) / double(w);
    const double ry = double(source.height) / double(target.height);
    const double area = rx * ry;  // (x2-x1)*(y2-y1) of every span, exactly
    for (int y = y0; y < y1; ++y) {
        std::fill(column.begin(), column.end(), 0u);
        for (int k = 0; k < ay.taps; ++k) {
            const std::uint64_t wy = std::uint64_t(ay.weight[size_t(y) * size_t(ay.taps) + size_t(k)]);
            if (wy == 0) continue;
            const Colour* row = source.row(ay.start[size_t(y)] + k);
            for (size_t i = 0; i < W; ++i) {
                const Colour c = row[i];
                column[3 * i] += wy * (c & 0xFFu);
                column[3 * i + 1] += wy * ((c >> 8) & 0xFFu);
                column[3 * i + 2] += wy * ((c >> 16) & 0xFFu);
            }
        }
        Colour* out = target.pixels.data() + size_t(y) * size_t(target.width);
        for (int x = 0; x < w; ++x) {
            const std::int32_t* weights = &ax.weight[size_t(x) * size_t(ax.taps)];
            const std::uint64_t* v = &column[3 * size_t(ax.start[size_t(x)])];
            std::uint64_t red = 0, green = 0, blue = 0;
            for (int k = 0; k < ax.taps; ++k) {
                const std::uint64_t wx = std::uint64_t(weights[k]);
                red += wx * v[3 * k];
                green += wx * v[3 * k + 1];
                blue += wx * v[3 * k + 2];
            }
            // The same double sums the loop would hold, divided by the same
            // double area and rounded the same way.
            out[x] = Compose(RoundHalfEven(double(red) * scale / area),    //
                             RoundHalfEven(double(green) * scale / area),  //
                             RoundHalfEven(double(blue) * scale / area));
        }
    }
}

std::optional<WholeRatio> WholeRatioOf(int W, int H, int w, int h) {
    if (W < 1 || H < 1 || w < 1 || h < 1) return std::nullopt;
    // A block's sum stays below 2^40: far inside doubles and 64-bit sums.
    if (W % w == 0 && H % h == 0 && std::int64_t(W / w) * (H / h) <= std::int64_t(1) << 31)
        return WholeRatio{false, W / w, H / h};
    if (w % W == 0 && h % H == 0) return WholeRatio{true, w / W, h / H};
    return std::nullopt;
}

// t = 2s + d <= 511d: with m = ceil(2^(16+shift) / 2d) and e = 2d*m - 2^(16+shift),
// t*m / 2^(16+shift) = t/2d + t*e / (2d * 2^(16+shift)). The floor is that of
// t/2d as long as the excess stays below 1/2d, the distance from t/2d to the
// next whole number at the least, i.e. whenever 511d * e < 2^(16+shift).
std::optional<WholeDivision> WholeDivisionFor(int d) {
    if (d < 1 || 511 * d > 0xFFFF) return std::nullopt;
    const std::int64_t twice = 2 * std::int64_t(d);
    for (int shift = 0; shift < 16; ++shift) {
        const std::int64_t scale = std::int64_t(1) << (16 + shift);
        const std::int64_t m = (scale + twice - 1) / twice;
        if (m > 0xFFFF) break;
        if (511 * d * (m * twice - scale) < scale) return WholeDivision{std::uint16_t(d), std::uint16_t(m), shift};
    }
    return std::nullopt;
}

namespace {

// s / d rounded to the nearest whole number, a half to the even one.
std::uint32_t RoundedQuotient(std::uint64_t s, std::uint64_t d) {
    std::uint64_t q = s / d;
    const std::uint64_t r = s - q * d;
    if (2 * r > d || (2 * r == d && (q & 1))) ++q;
    return std::uint32_t(q);
}

}  // namespace

void WholeRowsScalar(const SourceRows& source, Picture& target, const WholeRatio& ratio, int y0, int y1) {
    const int w = target.width;
    const size_t stride = size_t(w);
    if (ratio.enlarge) {
        for (int y = y0; y < y1; ++y) {
            Colour* out = target.pixels.data() + size_t(y) * stride;
            // The rows after the first from one source row copy it.
            if (y > y0 && y % ratio.ky != 0) {
                std::copy_n(out - stride, stride, out);
                continue;
            }
            const Colour* row = source.row(y / ratio.ky);
            for (int s = 0, x = 0; x < w; ++s, x += ratio.kx) std::fill_n(out + x, ratio.kx, row[s] & 0x00FFFFFFu);
        }
        return;
    }
    const int kx = ratio.kx;
    const std::uint64_t area = std::uint64_t(kx) * std::uint64_t(ratio.ky);
    std::vector<std::uint64_t> sums(stride * 3);
    // Small blocks divide by a multiplication (WholeDivision), large ones by
    // the division itself.
    const std::optional<WholeDivision> fast = WholeDivisionFor(int(std::min<std::uint64_t>(area, 1 << 16)));
    const auto quotient = [&](std::uint64_t sum) {
        if (!fast) return RoundedQuotient(sum, area);
        const std::uint32_t t = 2 * std::uint32_t(sum) + fast->d;
        std::uint32_t q = ((t * fast->m) >> 16) >> fast->shift;
        if (t == q * 2 * fast->d && (q & 1)) --q;
        return q;
    };
    for (int y = y0; y < y1; ++y) {
        std::fill(sums.begin(), sums.end(), 0u);
        for (int j = 0; j < ratio.ky; ++j) {
            const Colour* row = source.row(y * ratio.ky + j);
            for (size_t x = 0; x < stride; ++x)
                for (int i = 0; i < kx; ++i) {
                    const Colour c = row[x * size_t(kx) + size_t(i)];
                    sums[3 * x] += c & 0xFFu;
                    sums[3 * x + 1] += (c >> 8) & 0xFFu;
                    sums[3 * x + 2] += (c >> 16) & 0xFFu;
                }
        }
        Colour* out = target.pixels.data() + size_t(y) * stride;
        for (size_t x = 0; x < stride; ++x)
            out[x] = Compose(quotient(sums[3 * x]), quotient(sums[3 * x + 1]), quotient(sums[3 * x + 2]));
    }
}

}  // namespace glintbook::resample
