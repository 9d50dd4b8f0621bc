// Columns first (see resample_avx2_columns.cpp) with AVX-512: sixteen target
// columns a vector, the same arithmetic and the same rounding argument, in
// half the instructions. Also halving across with a whole ratio down
// (WholeRowsAvx512). Chosen at run time on processors with AVX-512 F and
// BW; only the functions marked GB_AVX512 use those instructions.
#if defined(__GNUC__) && !defined(__clang__)
// GCC 12 flags its own AVX-512 intrinsic headers (_mm512_set1_* and friends)
// as reading an uninitialised value (GCC bug 105593); nothing here does.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "imaging/resample_simd.h"
#include "platform/failure.h"

#include <algorithm>
#include <vector>

#if defined(GB_HAVE_AVX2_KERNEL) && (defined(__GNUC__) || defined(__clang__))
#define GB_HAVE_AVX512_KERNEL 1
#define GB_AVX512 __attribute__((target("avx512f,avx512bw")))
#elif defined(GB_HAVE_AVX2_KERNEL)
#define GB_HAVE_AVX512_KERNEL 1
#define GB_AVX512
#endif

namespace glintbook::resample {

#ifdef GB_HAVE_AVX512_KERNEL

bool CpuHasAvx512() {
#if defined(_MSC_VER) && !defined(__clang__)
    int info[4];
    __cpuid(info, 0);
    if (info[0] < 7) return false;
    __cpuid(info, 1);
    if ((info[2] & (1 << 27)) == 0 || (_xgetbv(0) & 0xE6) != 0xE6) return false;  // OS saves ZMM state
    __cpuidex(info, 7, 0);
    return (info[1] & (1 << 16)) != 0 && (info[1] & (1 << 30)) != 0;              // F and BW
#else
    // Also checks that the operating system saves the AVX-512 registers.
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw");
#endif
}

namespace {

// One source row to its three planes of column sums, sixteen target columns a
// step; a group at the row's end loads only the pixels there are (no tail).
GB_AVX512 void ColumnSums(const Colour* row, int W, const Colour*, int, const ColumnTables& t, float* sums,
                          size_t plane) {
    const __m512i lowBytes = _mm512_set1_epi32(0x00FF00FF);
    const std::int32_t* bases = t.base.data();
    const std::int32_t* indices = t.index.data();
    const std::int32_t* weights = t.weight.data();
    for (int g = 0; g < t.groups; ++g) {
        const int base = bases[g];
        const __m512i px = base + 16 <= W ? _mm512_loadu_si512(row + base)
                                          : _mm512_maskz_loadu_epi32(__mmask16((1u << (W - base)) - 1), row + base);
        const __m512i a = _mm512_permutexvar_epi32(_mm512_loadu_si512(indices + size_t(g) * 32), px);
        const __m512i b = _mm512_permutexvar_epi32(_mm512_loadu_si512(indices + size_t(g) * 32 + 16), px);
        const __m512i w = _mm512_loadu_si512(weights + size_t(g) * 16);
        const __m512i low = _mm512_mask_blend_epi16(0xAAAAAAAAu, a, _mm512_slli_epi32(b, 16));
        const __m512i high = _mm512_mask_blend_epi16(0xAAAAAAAAu, _mm512_srli_epi32(a, 16), b);
        float* out = sums + size_t(g) * 16;
        _mm512_storeu_ps(out, _mm512_cvtepi32_ps(_mm512_madd_epi16(_mm512_and_si512(low, lowBytes), w)));
        _mm512_storeu_ps(out + plane, _mm512_cvtepi32_ps(_mm512_madd_epi16(_mm512_srli_epi16(low, 8), w)));
        _mm512_storeu_ps(out + 2 * plane, _mm512_cvtepi32_ps(_mm512_madd_epi16(_mm512_and_si512(high, lowBytes), w)));
    }
}

// As HalfToEven (resample_avx2.h), sixteen lanes.
GB_AVX512 inline __m512i HalfToEven16(__m512i n, __m512 s, const Rounding& r) {
    const __m512 e = _mm512_sub_ps(_mm512_add_ps(s, s), _mm512_mul_ps(_mm512_cvtepi32_ps(n), _mm512_set1_ps(r.twiceArea)));
    const __mmask16 odd = _mm512_test_epi32_mask(n, _mm512_set1_epi32(1));
    const __mmask16 up = odd & _mm512_cmp_ps_mask(e, _mm512_set1_ps(r.area), _CMP_EQ_OQ);
    const __mmask16 down = odd & _mm512_cmp_ps_mask(e, _mm512_set1_ps(-r.area), _CMP_EQ_OQ);
    n = _mm512_mask_add_epi32(n, up, n, _mm512_set1_epi32(1));
    return _mm512_mask_sub_epi32(n, down, n, _mm512_set1_epi32(1));
}

// A target row, sixteen columns a step (see ColumnsFirst for the rounding).
// Each row's term after the first is fused with the sum so far: one rounding
// where the AVX2 pass has two, which the bound there allows for.
template <int Count>
GB_AVX512 void RowSums(const float* const* rows, const float* coefficients, const float* weights, int count,
                       size_t plane, int groups, const Rounding& r, Colour* out, int w) {
    if constexpr (Count > 0) count = Count;
    for (int g = 0; g < groups; ++g) {
        __m512i n[3];
        for (int c = 0; c < 3; ++c) {
            const size_t at = size_t(c) * plane + size_t(g) * 16;
            __m512 q = _mm512_mul_ps(_mm512_loadu_ps(rows[0] + at), _mm512_set1_ps(coefficients[0]));
            for (int k = 1; k < count; ++k)
                q = _mm512_fmadd_ps(_mm512_loadu_ps(rows[k] + at), _mm512_set1_ps(coefficients[k]), q);
            n[c] = _mm512_cvtps_epi32(q);
            if (r.halves) {
                __m512 s = _mm512_mul_ps(_mm512_loadu_ps(rows[0] + at), _mm512_set1_ps(weights[0]));
                for (int k = 1; k < count; ++k)
                    s = _mm512_fmadd_ps(_mm512_loadu_ps(rows[k] + at), _mm512_set1_ps(weights[k]), s);
                n[c] = HalfToEven16(n[c], s, r);
            }
        }
        const __m512i pixels =
            _mm512_ternarylogic_epi32(n[0], _mm512_slli_epi32(n[1], 8), _mm512_slli_epi32(n[2], 16), 0xFE);  // or
        const int x = 16 * g;
        const __mmask16 keep = x + 16 <= w ? __mmask16(0xFFFF) : __mmask16((1u << (w - x)) - 1);
        _mm512_mask_storeu_epi32(out + x, keep, pixels);
    }
}

RowPass RowPassFor(int count) { return count == 1 ? RowSums<1> : count == 2 ? RowSums<2> : RowSums<0>; }

// round-half-even(s / d) in each 16-bit lane (see WholeDivision).
GB_AVX512 inline __m512i Divide(__m512i s, const WholeDivision& v) {
    const __m512i t = _mm512_add_epi16(_mm512_add_epi16(s, s), _mm512_set1_epi16(std::int16_t(v.d)));
    __m512i q = _mm512_srli_epi16(_mm512_mulhi_epu16(t, _mm512_set1_epi16(std::int16_t(v.m))), unsigned(v.shift));
    if (v.d % 2 == 0) {  // only an even d makes halves
        const __m512i r = _mm512_sub_epi16(t, _mm512_mullo_epi16(q, _mm512_set1_epi16(std::int16_t(2 * v.d))));
        const __mmask32 half = _mm512_cmpeq_epi16_mask(r, _mm512_setzero_si512()) &
                               _mm512_test_epi16_mask(q, _mm512_set1_epi16(1));
        q = _mm512_mask_sub_epi16(q, half, q, _mm512_set1_epi16(1));
    }
    return q;
}

}  // namespace

bool WholeAvx512Applies(const WholeRatio& ratio) {
    return !ratio.enlarge && ratio.kx == 2 && WholeDivisionFor(2 * ratio.ky).has_value();
}

// Sixteen target pixels a step: per source row, 32 pixels whose bytes are
// shuffled so that each channel of two neighbours is adjacent, then summed
// in pairs into 16-bit lanes (at most 255 * 128 per lane).
GB_AVX512 void WholeRowsAvx512(const SourceRows& source, Picture& target, const WholeRatio& ratio, int y0, int y1) {
    const WholeDivision division = *WholeDivisionFor(2 * ratio.ky);
    const int w = target.width;
    // Within each 128-bit lane: R0 R1 G0 G1 B0 B1 A0 A1, then the same of pixels 2 and 3.
    const __m512i pairs = _mm512_set4_epi32(0x0F0B0E0A, 0x0D090C08, 0x07030602, 0x05010400);
    const __m512i ones = _mm512_set1_epi8(1);
    const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    const __m512i colours = _mm512_set1_epi32(0x00FFFFFF);
    std::vector<const Colour*> rows(size_t(ratio.ky));
    for (int y = y0; y < y1; ++y) {
        for (int j = 0; j < ratio.ky; ++j) rows[size_t(j)] = source.row(y * ratio.ky + j);
        Colour* out = target.pixels.data() + size_t(y) * size_t(w);
        for (int x = 0; x < w; x += 16) {
            const int n = std::min(16, w - x);
            const __mmask16 first = n >= 8 ? __mmask16(0xFFFF) : __mmask16((1u << (2 * n)) - 1);
            const __mmask16 second = n >= 16 ? __mmask16(0xFFFF) : n > 8 ? __mmask16((1u << (2 * n - 16)) - 1) : 0;
            __m512i a = _mm512_setzero_si512(), b = _mm512_setzero_si512();
            for (int j = 0; j < ratio.ky; ++j) {
                const Colour* p = rows[size_t(j)] + 2 * x;
                const __m512i pa = n == 16 ? _mm512_loadu_si512(p) : _mm512_maskz_loadu_epi32(first, p);
                const __m512i pb = n == 16 ? _mm512_loadu_si512(p + 16) : _mm512_maskz_loadu_epi32(second, p + 16);
                a = _mm512_add_epi16(a, _mm512_maddubs_epi16(_mm512_shuffle_epi8(pa, pairs), ones));
                b = _mm512_add_epi16(b, _mm512_maddubs_epi16(_mm512_shuffle_epi8(pb, pairs), ones));
            }
            // Per 128-bit lane L: target pixels 2L, 2L+1 from a, 8+2L, 9+2L from b.
            const __m512i packed = _mm512_packus_epi16(Divide(a, division), Divide(b, division));
            const __m512i pixels = _mm512_and_si512(_mm512_permutexvar_epi64(order, packed), colours);
            if (n == 16)
                _mm512_storeu_si512(out + x, pixels);
            else
                _mm512_mask_storeu_epi32(out + x, __mmask16((1u << n) - 1), pixels);
        }
    }
}

void ExactColumnsAvx512(const SourceRows& source, Picture& target, const ExactPlan& plan, const ColumnTables& tables,
                        int y0, int y1) {
    ColumnsFirst(source, target, plan, tables, y0, y1, ColumnSums, RowPassFor, false);
}

#else

bool CpuHasAvx512() { return false; }

void ExactColumnsAvx512(const SourceRows&, Picture&, const ExactPlan&, const ColumnTables&, int, int) {
    throw Failure(ErrBadCall, "AVX-512 resampling is not available on this processor");
}

bool WholeAvx512Applies(const WholeRatio&) { return false; }

void WholeRowsAvx512(const SourceRows&, Picture&, const WholeRatio&, int, int) {
    throw Failure(ErrBadCall, "AVX-512 resampling is not available on this processor");
}

#endif

}  // namespace glintbook::resample
