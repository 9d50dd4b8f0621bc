// The whole-number method columns first, for sizes that do not shrink across
// (the 1024-wide album texture from a smaller screenshot): the tables and the
// loop over rows shared with the AVX-512 kernels, and the AVX2 kernels. Every
// target column takes one or two source pixels, so a group of target columns
// can gather theirs from as many neighbouring source pixels inside a
// register, and the channels are kept apart (planar) so that no lane is spent
// on the unused top byte and the result needs no repacking.
#include "imaging/resample_simd.h"
#include "platform/failure.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

namespace glintbook::resample {

// The row pass's rounding holds for D * (n + 1) <= 2^15 (see RowSums).
constexpr std::int64_t kColumnsBound = std::int64_t(1) << 15;

std::unique_ptr<ColumnTables> BuildColumnTables(const Grid& grid, const ExactAxis& ax, int rowTaps, int W, int w,
                                                int lanes) {
    if (!grid.exact || ax.taps > 2 || grid.area * (rowTaps + 1) > kColumnsBound) return nullptr;
    auto t = std::make_unique<ColumnTables>();
    t->lanes = lanes;
    t->groups = (w + lanes - 1) / lanes;
    t->base.assign(size_t(t->groups), 0);
    t->index.assign(size_t(t->groups) * size_t(2 * lanes), 0);
    t->weight.assign(size_t(t->groups) * size_t(lanes), 0);
    for (int g = 0; g < t->groups; ++g) {
        const int begin = g * lanes, end = std::min(w, begin + lanes);
        int base = INT_MAX;
        for (int x = begin; x < end; ++x) base = std::min(base, ax.start[size_t(x)]);
        t->base[size_t(g)] = base;
        std::int32_t* index = t->index.data() + size_t(g) * size_t(2 * lanes);
        for (int x = begin; x < end; ++x) {
            const int s = ax.start[size_t(x)];
            const std::int32_t first = ax.weight[size_t(x) * size_t(ax.taps)];
            const std::int32_t second = ax.taps == 2 ? ax.weight[size_t(x) * size_t(ax.taps) + 1] : 0;
            const int other = second != 0 ? s + 1 : s;
            if (other - base > lanes - 1 || other > W - 1) return nullptr;
            index[x - begin] = s - base;
            index[lanes + x - begin] = other - base;
            t->weight[size_t(x)] =
                std::int32_t(std::uint32_t(std::uint16_t(first)) | std::uint32_t(std::uint16_t(second)) << 16);
        }
    }
    return t;
}

#ifdef GB_HAVE_AVX2_KERNEL

// A target row from the column sums C_k of its n source rows with weights
// w_k (units of 1/l): S = sum of w_k*C_k, and the channel value is
// round-half-even(S/D). The row passes form the quotient directly as
// q = fl(...fl(C_1*c_1) + fl(C_2*c_2)...) with c_k = fl(w_k/D), the C_k being
// whole numbers of at most 255*P held exactly as floats:
//  - c_k is within a relative 2^-24 + 2^-53 of w_k/D, each product and sum
//    adds a relative 2^-24, all terms are non-negative, so
//    |q - S/D| <= (S/D) * (n+1) * 2^-24 * (1 + 2^-8) with S/D <= 255 (the
//    last factor bounds the higher-order terms, as (n+1) * 2^-24 <= 2^-9);
//  - with D*(n+1) <= 2^15 that is at most 0.49805 * (1 + 2^-8) / D < 1/(2D),
//    the least distance of a non-half S/D from a half, and the rounding
//    argument of Quotients (resample_avx2.h) applies as it stands: q rounds
//    like S/D, and for halves the exact S (sums of whole products below
//    2^24, exact in float) moves an odd result to the even neighbour. For D a
//    power of two every c_k, product and sum is exact and q = S/D.
// A pass may fuse a product with the sum it joins (one rounding for two):
// the bound counts a rounding for each, so fewer only tighten it, and sums
// of whole products below 2^24 stay exact either way.
void ColumnsFirst(const SourceRows& source, Picture& target, const ExactPlan& plan, const ColumnTables& t, int y0,
                  int y1, ColumnPass columns, RowPass (*rowPassFor)(int count), bool copyTail) {
    const int W = source.width;
    const ExactAxis& ay = plan.ay;
    const size_t plane = size_t(t.groups) * size_t(t.lanes);
    // The column sums of the source rows in use: the rows of one target row
    // are consecutive, so slot = row % taps keeps them apart, and the next
    // target row finds the ones it shares already made.
    const int slots = ay.taps;
    std::vector<float> sums(size_t(slots) * 3 * plane);
    std::vector<int> held(size_t(slots), -1);
    const int tailStart = std::max(0, W - 2 * t.lanes);
    std::vector<Colour> tail(size_t(W - tailStart + t.lanes), 0);
    std::vector<const float*> rows(static_cast<size_t>(slots));
    std::vector<float> coefficients(static_cast<size_t>(slots)), weights(static_cast<size_t>(slots));
    const Rounding rounding = RoundingFor(plan.grid.area);
    for (int y = y0; y < y1; ++y) {
        int count = 0;
        for (int k = 0; k < ay.taps; ++k) {
            const std::int32_t wy = ay.weight[size_t(y) * size_t(ay.taps) + size_t(k)];
            if (wy == 0) continue;
            const int row = ay.start[size_t(y)] + k;
            const int slot = row % slots;
            float* slotSums = sums.data() + size_t(slot) * 3 * plane;
            if (held[size_t(slot)] != row) {
                const Colour* pixels = source.row(row);
                if (copyTail) std::memcpy(tail.data(), pixels + tailStart, size_t(W - tailStart) * sizeof(Colour));
                columns(pixels, W, tail.data(), tailStart, t, slotSums, plane);
                held[size_t(slot)] = row;
            }
            rows[size_t(count)] = slotSums;
            coefficients[size_t(count)] = float(double(wy) / double(plan.grid.area));
            weights[size_t(count)] = float(wy);
            ++count;
        }
        rowPassFor(count)(rows.data(), coefficients.data(), weights.data(), count, plane, t.groups, rounding,
                          target.pixels.data() + size_t(y) * size_t(target.width), target.width);
    }
}

namespace {

// One source row to its three planes of column sums, eight target columns a
// step.
GB_AVX2 void ColumnSums(const Colour* row, int W, const Colour* tail, int tailStart, const ColumnTables& t,
                        float* sums, size_t plane) {
    const __m256i lowBytes = _mm256_set1_epi32(0x00FF00FF);
    const std::int32_t* bases = t.base.data();
    const std::int32_t* indices = t.index.data();
    const std::int32_t* weights = t.weight.data();
    for (int g = 0; g < t.groups; ++g) {
        const int base = bases[g];
        const Colour* from = base + 8 <= W ? row + base : tail + (base - tailStart);
        const __m256i px = _mm256_loadu_si256((const __m256i*)from);
        const __m256i a = _mm256_permutevar8x32_epi32(px, _mm256_loadu_si256((const __m256i*)(indices + 16 * g)));
        const __m256i b = _mm256_permutevar8x32_epi32(px, _mm256_loadu_si256((const __m256i*)(indices + 16 * g + 8)));
        const __m256i w = _mm256_loadu_si256((const __m256i*)(weights + 8 * g));
        // Per column: low = (a.red, a.green, b.red, b.green) and
        // high = (a.blue, a.top, b.blue, b.top) as bytes, so that each
        // channel becomes the 16-bit pair (a, b) for one multiply-add.
        const __m256i low = _mm256_blend_epi16(a, _mm256_slli_epi32(b, 16), 0xAA);
        const __m256i high = _mm256_blend_epi16(_mm256_srli_epi32(a, 16), b, 0xAA);
        float* out = sums + size_t(g) * 8;
        _mm256_storeu_ps(out, _mm256_cvtepi32_ps(_mm256_madd_epi16(_mm256_and_si256(low, lowBytes), w)));
        _mm256_storeu_ps(out + plane, _mm256_cvtepi32_ps(_mm256_madd_epi16(_mm256_srli_epi16(low, 8), w)));
        _mm256_storeu_ps(out + 2 * plane, _mm256_cvtepi32_ps(_mm256_madd_epi16(_mm256_and_si256(high, lowBytes), w)));
    }
}

// A target row, eight columns a step (see ColumnsFirst for the rounding).
template <int Count>
GB_AVX2 void RowSums(const float* const* rows, const float* coefficients, const float* weights, int count,
                     size_t plane, int groups, const Rounding& r, Colour* out, int w) {
    if constexpr (Count > 0) count = Count;
    for (int g = 0; g < groups; ++g) {
        __m256i n[3];
        for (int c = 0; c < 3; ++c) {
            const size_t at = size_t(c) * plane + size_t(g) * 8;
            __m256 q = _mm256_mul_ps(_mm256_loadu_ps(rows[0] + at), _mm256_set1_ps(coefficients[0]));
            for (int k = 1; k < count; ++k)
                q = _mm256_add_ps(q, _mm256_mul_ps(_mm256_loadu_ps(rows[k] + at), _mm256_set1_ps(coefficients[k])));
            n[c] = _mm256_cvtps_epi32(q);
            if (r.halves) {
                __m256 s = _mm256_mul_ps(_mm256_loadu_ps(rows[0] + at), _mm256_set1_ps(weights[0]));
                for (int k = 1; k < count; ++k)
                    s = _mm256_add_ps(s, _mm256_mul_ps(_mm256_loadu_ps(rows[k] + at), _mm256_set1_ps(weights[k])));
                n[c] = HalfToEven(n[c], s, r);
            }
        }
        const __m256i pixels =
            _mm256_or_si256(n[0], _mm256_or_si256(_mm256_slli_epi32(n[1], 8), _mm256_slli_epi32(n[2], 16)));
        StoreEight(out, 8 * g, w, pixels);
    }
}

RowPass RowPassFor(int count) { return count == 1 ? RowSums<1> : count == 2 ? RowSums<2> : RowSums<0>; }

}  // namespace

void ExactColumnsAvx2(const SourceRows& source, Picture& target, const ExactPlan& plan, const ColumnTables& tables,
                      int y0, int y1) {
    ColumnsFirst(source, target, plan, tables, y0, y1, ColumnSums, RowPassFor, true);
}

#else

void ExactColumnsAvx2(const Picture&, Picture&, const ExactPlan&, const ColumnTables&, int, int) {
    throw Failure(ErrBadCall, "AVX2 resampling is not available on this processor");
}

#endif

}  // namespace glintbook::resample
