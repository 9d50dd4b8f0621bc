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

}  // namespace glintbook::resample
