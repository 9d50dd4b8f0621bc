// The whole-number method with AVX2, columns first, for sizes that do not
// shrink across (the 1024-wide album texture from a smaller screenshot). There
// every target column takes one or two source pixels, so eight target columns
// can gather theirs from eight neighbouring source pixels inside a register,
// and the channels are kept apart (planar) so that no lane is spent on the
// unused top byte and the result needs no repacking.
#include "imaging/resample_avx2.h"
#include "platform/failure.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

namespace glintbook::resample {

struct Avx2ColumnTables {
    int groups = 0;                     // ceil(w / 8)
    std::vector<std::int32_t> base;     // per group: the first of the eight source pixels it reads
    std::vector<std::int32_t> index;    // per group: 8 indices (from base) of each column's first source
                                        // pixel, then 8 of its second
    std::vector<std::int32_t> weight;   // per group: per column, its two weights as 16-bit halves
};

void Avx2ColumnTablesDeleter::operator()(Avx2ColumnTables* tables) const { delete tables; }

Avx2ColumnTablesPtr BuildAvx2ColumnTables(const Grid& grid, const ExactAxis& ax, int rowTaps, int W, int w) {
    // The bound of the row pass's rounding (see RowSums).
    if (!grid.exact || ax.taps > 2 || grid.area * (rowTaps + 1) > (1 << 15)) return nullptr;
    Avx2ColumnTablesPtr t(new Avx2ColumnTables);
    t->groups = (w + 7) / 8;
    t->base.assign(size_t(t->groups), 0);
    t->index.assign(size_t(t->groups) * 16, 0);
    t->weight.assign(size_t(t->groups) * 8, 0);
    for (int g = 0; g < t->groups; ++g) {
        const int end = std::min(w, 8 * g + 8);
        int base = INT_MAX;
        for (int x = 8 * g; x < end; ++x) base = std::min(base, ax.start[size_t(x)]);
        t->base[size_t(g)] = base;
        for (int x = 8 * g; x < end; ++x) {
            const int s = ax.start[size_t(x)];
            const std::int32_t first = ax.weight[size_t(x) * size_t(ax.taps)];
            const std::int32_t second = ax.taps == 2 ? ax.weight[size_t(x) * size_t(ax.taps) + 1] : 0;
            const int other = second != 0 ? s + 1 : s;
            if (other - base > 7 || other > W - 1) return nullptr;
            t->index[size_t(g) * 16 + size_t(x - 8 * g)] = s - base;
            t->index[size_t(g) * 16 + 8 + size_t(x - 8 * g)] = other - base;
            t->weight[size_t(g) * 8 + size_t(x - 8 * g)] =
                std::int32_t(std::uint32_t(std::uint16_t(first)) | std::uint32_t(std::uint16_t(second)) << 16);
        }
    }
    return t;
}

#ifdef GB_HAVE_AVX2_KERNEL

namespace {

// One source row to the three channel planes of its column sums, whole
// numbers of at most 255*P, held exactly as floats. Groups whose eight source
// pixels would run past the row's end read them from `tail`, a copy of the
// row's end from `tailStart` on followed by eight zero pixels.
GB_AVX2 void ColumnSums(const Colour* row, int W, const Colour* tail, int tailStart, const Avx2ColumnTables& t,
                        float* sums, size_t plane) {
    const __m256i lowBytes = _mm256_set1_epi32(0x00FF00FF);
    for (int g = 0; g < t.groups; ++g) {
        const int base = t.base[size_t(g)];
        const Colour* from = base + 8 <= W ? row + base : tail + (base - tailStart);
        const __m256i px = _mm256_loadu_si256((const __m256i*)from);
        const std::int32_t* index = t.index.data() + size_t(g) * 16;
        const __m256i a = _mm256_permutevar8x32_epi32(px, _mm256_loadu_si256((const __m256i*)index));
        const __m256i b = _mm256_permutevar8x32_epi32(px, _mm256_loadu_si256((const __m256i*)(index + 8)));
        const __m256i w = _mm256_loadu_si256((const __m256i*)(t.weight.data() + size_t(g) * 8));
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

// A target row from the column sums C_k of its n source rows with weights
// w_k (units of 1/l): S = sum of w_k*C_k, and the channel value is
// round-half-even(S/D). Here the quotient is formed directly as
// q = fl(...fl(C_1*c_1) + fl(C_2*c_2)...) with c_k = fl(w_k/D):
//  - c_k is within a relative 2^-24 + 2^-53 of w_k/D, each product and sum
//    adds a relative 2^-24, all terms are non-negative, so
//    |q - S/D| <= (S/D) * (n+1) * 2^-24 * (1 + 2^-8) with S/D <= 255 (the
//    last factor bounds the higher-order terms, as (n+1) * 2^-24 <= 2^-9);
//  - with D*(n+1) <= 2^15 (BuildAvx2ColumnTables) that is at most
//    0.49805 * (1 + 2^-8) / D < 1/(2D), the
//    least distance of a non-half S/D from a half, and the rounding argument
//    of Quotients (resample_avx2.h) applies as it stands: q rounds like S/D,
//    and for halves the exact S (sums of whole products below 2^24, exact in
//    float) moves an odd result to the even neighbour. For D a power of two
//    every c_k, product and sum is exact and q = S/D.
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
        const int x = 8 * g;
        if (x + 8 <= w) {
            _mm256_storeu_si256((__m256i*)(out + x), pixels);
        } else {
            alignas(32) Colour last[8];
            _mm256_store_si256((__m256i*)last, pixels);
            for (int i = 0; x + i < w; ++i) out[x + i] = last[i];
        }
    }
}

using RowPass = void (*)(const float* const*, const float*, const float*, int, size_t, int, const Rounding&, Colour*,
                         int);

}  // namespace

void ExactColumnsAvx2(const Picture& source, Picture& target, const ExactPlan& plan, const Avx2ColumnTables& tables,
                      int y0, int y1) {
    const int W = source.width;
    const ExactAxis& ay = plan.ay;
    const size_t plane = size_t(tables.groups) * 8;
    // The column sums of the source rows in use: the rows of one target row
    // are consecutive, so slot = row % taps keeps them apart, and the next
    // target row finds the ones it shares already made.
    const int slots = ay.taps;
    std::vector<float> sums(size_t(slots) * 3 * plane);
    std::vector<int> held(size_t(slots), -1);
    const int tailStart = std::max(0, W - 16);
    std::vector<Colour> tail(size_t(W - tailStart) + 8, 0);
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
                const Colour* pixels = source.pixels.data() + size_t(row) * size_t(W);
                std::memcpy(tail.data(), pixels + tailStart, size_t(W - tailStart) * sizeof(Colour));
                ColumnSums(pixels, W, tail.data(), tailStart, tables, slotSums, plane);
                held[size_t(slot)] = row;
            }
            rows[size_t(count)] = slotSums;
            coefficients[size_t(count)] = float(double(wy) / double(plan.grid.area));
            weights[size_t(count)] = float(wy);
            ++count;
        }
        const RowPass pass = count == 1 ? RowSums<1> : count == 2 ? RowSums<2> : RowSums<0>;
        pass(rows.data(), coefficients.data(), weights.data(), count, plane, tables.groups, rounding,
             target.pixels.data() + size_t(y) * size_t(target.width), target.width);
    }
}

#else

void ExactColumnsAvx2(const Picture&, Picture&, const ExactPlan&, const Avx2ColumnTables&, int, int) {
    throw Failure(ErrBadCall, "AVX2 resampling is not available on this processor");
}

#endif

}  // namespace glintbook::resample
