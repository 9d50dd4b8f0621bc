#pragma once
// Shared by the vector kernels (AVX2 and AVX-512) only. Functions marked
// GB_AVX2 may use AVX2 instructions and run only after CpuHasAvx2().
#include "imaging/resample_kernels.h"

#if defined(__x86_64__) || defined(_M_X64)
#define GB_HAVE_AVX2_KERNEL 1
#include <immintrin.h>
#if defined(_MSC_VER) && !defined(__clang__)
#include <intrin.h>
#define GB_AVX2
#else
#define GB_AVX2 __attribute__((target("avx2")))
#endif
#endif

namespace glintbook::resample {

// Bounds of the 16-bit layouts: vertical sums are at most 255*Q and must fit
// 16 bits unsigned (Q <= 257); the area bound is the one the reciprocal
// rounding below needs, and it also keeps every horizontal weight (at most P)
// a 16-bit signed value and every 32-bit sum (|sum| <= 32768*P) from
// overflowing.
constexpr std::int64_t kMaxRowsNum = 257;
constexpr std::int64_t kMaxArea = (1 << 14) - 1;

#ifdef GB_HAVE_AVX2_KERNEL

// Stores eight pixels at out[x..x+7], only those below w at a row's end.
GB_AVX2 inline void StoreEight(Colour* out, int x, int w, __m256i pixels) {
    if (x + 8 <= w) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x), pixels);
    } else {
        alignas(32) Colour last[8];
        _mm256_store_si256(reinterpret_cast<__m256i*>(last), pixels);
        for (int i = 0; x + i < w; ++i) out[x + i] = last[i];
    }
}

// Turning a sum S (units of 1/(k*l)) into the channel value, with D = P*Q.
// The double computation gives round-half-even(fl(S/D)) (see ExactGrid); this
// gives the same from a single-precision reciprocal, for D <= kMaxArea:
//  - S <= 255*D < 2^22 and D are exact in float; rcp = fl(1/D) and
//    q = fl(S*rcp) are within a relative 2^-24 each, so
//    |q - S/D| <= 255 * (2^-23 + 2^-48) < 2^-15.
//  - Unless S/D is a half, it is at least 1/(2D) > 2^-15 from every half
//    n + 1/2, so q is on the same side of each half and rounds to the
//    whole number nearest S/D. The correctly rounded double fl(S/D) is on the
//    same side too (its error is below 2^-46), so the loop rounds to the same.
//  - When S/D is a half (only possible for even D), fl(S/D) is that half and
//    the loop takes the even neighbour. If D is a power of two, rcp and q
//    are exact, q is that half and the conversion below takes the even
//    neighbour too. Otherwise q rounds to one of the two neighbours n, and
//    then e = 2S - 2nD is exactly +D or -D (float arithmetic on whole numbers
//    below 2^24 is exact), so an odd n is moved one step towards the half.
//    Elsewhere |e| < D and nothing moves.
// _mm256_cvtps_epi32 rounds in the current mode, the default to-nearest with
// halves to even, the same mode the double division itself relies on.
struct Rounding {
    float reciprocal;
    float area;
    float twiceArea;
    bool halves;  // D even but not a power of two: q may miss a half
};

inline Rounding RoundingFor(std::int64_t area) {
    const bool powerOfTwo = (area & (area - 1)) == 0;
    return {1.0f / float(area), float(area), float(2 * area), area % 2 == 0 && !powerOfTwo};
}

// n, the nearest whole number to S/D or one of the two when S/D is a half,
// moved to the even one of the two in that case (S exact, as a float).
GB_AVX2 inline __m256i HalfToEven(__m256i n, __m256 s, const Rounding& r) {
    const __m256 e = _mm256_sub_ps(_mm256_add_ps(s, s), _mm256_mul_ps(_mm256_cvtepi32_ps(n), _mm256_set1_ps(r.twiceArea)));
    const __m256i odd = _mm256_cmpeq_epi32(_mm256_and_si256(n, _mm256_set1_epi32(1)), _mm256_set1_epi32(1));
    const __m256i up = _mm256_and_si256(odd, _mm256_castps_si256(_mm256_cmp_ps(e, _mm256_set1_ps(r.area), _CMP_EQ_OQ)));
    const __m256i down =
        _mm256_and_si256(odd, _mm256_castps_si256(_mm256_cmp_ps(e, _mm256_set1_ps(-r.area), _CMP_EQ_OQ)));
    return _mm256_add_epi32(_mm256_sub_epi32(n, up), down);  // masks are -1 where they apply
}

GB_AVX2 inline __m256i Quotients(__m256i sums, const Rounding& r) {
    const __m256 s = _mm256_cvtepi32_ps(sums);
    const __m256i n = _mm256_cvtps_epi32(_mm256_mul_ps(s, _mm256_set1_ps(r.reciprocal)));
    return r.halves ? HalfToEven(n, s, r) : n;
}

// The columns-first loop over target rows [y0, y1), shared by the AVX2 and
// AVX-512 kernels: columns() makes a source row's three planes of column
// sums (`tail`: with `copyTail`, a copy of the row's end from `tailStart` on,
// followed by `lanes` zero pixels, for groups that would read past the row),
// and RowPassFor(count) the pass for a target row made of `count` source
// rows.
using ColumnPass = void (*)(const Colour* row, int W, const Colour* tail, int tailStart, const ColumnTables& t,
                            float* sums, size_t plane);
using RowPass = void (*)(const float* const* rows, const float* coefficients, const float* weights, int count,
                         size_t plane, int groups, const Rounding& r, Colour* out, int w);
void ColumnsFirst(const SourceRows& source, Picture& target, const ExactPlan& plan, const ColumnTables& t, int y0,
                  int y1, ColumnPass columns, RowPass (*rowPassFor)(int count), bool copyTail);

#endif

}  // namespace glintbook::resample
