// The whole-number method with AVX2, rows first: chosen at run time when the
// CPU has AVX2. Only the functions marked GB_AVX2 use AVX2 instructions, so
// the rest of the program still runs on any x86-64.
#include "imaging/resample_simd.h"
#include "platform/failure.h"

#include <algorithm>
#include <vector>

namespace glintbook::resample {

bool Avx2Applies(const Grid& grid) {
    return grid.exact && grid.y.num <= kMaxRowsNum && grid.area <= kMaxArea;
}

struct Avx2Tables {
    int pairs = 0;                      // ceil(taps / 2)
    int padded = 0;                     // w rounded up to a multiple of 8
    std::vector<std::int32_t> offset;   // padded: 4 * start (16-bit units into the vertical sums)
    std::vector<std::int16_t> weight;   // padded/2 * pairs * 16, see BuildAvx2Tables
};

void Avx2TablesDeleter::operator()(Avx2Tables* tables) const { delete tables; }

// For target pixels x, x+1 (x even) and tap pair j, 16 weights: four times
// (w[x][2j], w[x][2j+1]), then four times (w[x+1][2j], w[x+1][2j+1]), which
// multiply a 256-bit register holding, per 128-bit half, one target pixel's
// two source pixels with their channels interleaved (R R G G B B A A).
// Pixels past w read the start of the row with zero weights.
Avx2TablesPtr BuildAvx2Tables(const ExactPlan& plan, int w) {
    const ExactAxis& ax = plan.ax;
    Avx2TablesPtr t(new Avx2Tables);
    t->pairs = (ax.taps + 1) / 2;
    t->padded = (w + 7) / 8 * 8;
    t->offset.assign(size_t(t->padded), 0);
    t->weight.assign(size_t(t->padded / 2) * size_t(t->pairs) * 16, 0);
    for (int x = 0; x < w; ++x) {
        t->offset[size_t(x)] = 4 * ax.start[size_t(x)];
        for (int k = 0; k < ax.taps; ++k) {
            const auto wk = std::int16_t(ax.weight[size_t(x) * size_t(ax.taps) + size_t(k)]);
            const size_t base = (size_t(x / 2) * size_t(t->pairs) + size_t(k / 2)) * 16 + size_t(x % 2) * 8;
            for (int c = 0; c < 4; ++c) t->weight[base + size_t(2 * c + k % 2)] = wk;
        }
    }
    return t;
}

#ifdef GB_HAVE_AVX2_KERNEL

bool CpuHasAvx2() {
#if defined(_MSC_VER) && !defined(__clang__)
    int info[4];
    __cpuid(info, 0);
    if (info[0] < 7) return false;
    __cpuid(info, 1);
    const bool osxsave = (info[2] & (1 << 27)) != 0;
    const bool avx = (info[2] & (1 << 28)) != 0;
    if (!osxsave || !avx || (_xgetbv(0) & 6) != 6) return false;
    __cpuidex(info, 7, 0);
    return (info[1] & (1 << 5)) != 0;
#else
    // Also checks that the operating system saves the AVX registers.
    return __builtin_cpu_supports("avx2");
#endif
}

namespace {

// Per target row: the weighted sum of its source rows, per source pixel and
// channel byte, stored with the top bit flipped (v - 32768 as a signed 16-bit
// value) so that the horizontal pass can multiply it with signed instructions.
GB_AVX2 void Vertical(const std::uint8_t* const* rows, const std::int16_t* weights, int count, int bytes,
                      std::uint16_t* out) {
    const __m256i flip = _mm256_set1_epi16(std::int16_t(0x8000));
    int i = 0;
    for (; i + 32 <= bytes; i += 32) {
        __m256i a = _mm256_setzero_si256(), b = _mm256_setzero_si256();
        for (int k = 0; k < count; ++k) {
            const __m256i wk = _mm256_set1_epi16(weights[k]);
            const std::uint8_t* p = rows[k] + i;
            a = _mm256_add_epi16(a, _mm256_mullo_epi16(_mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i*)p)), wk));
            b = _mm256_add_epi16(b,
                                 _mm256_mullo_epi16(_mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i*)(p + 16))), wk));
        }
        _mm256_storeu_si256((__m256i*)(out + i), _mm256_xor_si256(a, flip));
        _mm256_storeu_si256((__m256i*)(out + i + 16), _mm256_xor_si256(b, flip));
    }
    for (; i < bytes; ++i) {
        std::uint16_t s = 0;
        for (int k = 0; k < count; ++k) s = std::uint16_t(s + std::uint16_t(weights[k]) * rows[k][i]);
        out[i] = std::uint16_t(s ^ 0x8000u);
    }
}

// Two target pixels (x, x+1) from the vertical sums: per pixel and tap pair,
// one multiply-add of the two source pixels' channels with their weights.
template <int Pairs>
GB_AVX2 inline __m256i TwoPixels(const std::uint16_t* v, const std::int32_t* offset, const std::int16_t* weights,
                                 int pairs, __m256i bias) {
    if constexpr (Pairs > 0) pairs = Pairs;
    const __m256i order = _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15,  //
                                           0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
    const std::uint16_t* p0 = v + offset[0];
    const std::uint16_t* p1 = v + offset[1];
    __m256i acc = bias;
    for (int j = 0; j < pairs; ++j) {
        const __m256i d = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128((const __m128i*)(p0 + 8 * j))),
                                                  _mm_loadu_si128((const __m128i*)(p1 + 8 * j)), 1);
        acc = _mm256_add_epi32(
            acc, _mm256_madd_epi16(_mm256_shuffle_epi8(d, order), _mm256_loadu_si256((const __m256i*)(weights + 16 * j))));
    }
    return acc;
}

// A target row, eight pixels at a time (the tables are padded to that).
template <int Pairs>
GB_AVX2 void Horizontal(const std::uint16_t* v, const Avx2Tables& t, std::int32_t bias, const Rounding& r,
                        Colour* out, int w) {
    const int pairs = t.pairs;
    const std::int32_t* offset = t.offset.data();
    const std::int16_t* weight = t.weight.data();
    const size_t step = size_t(pairs) * 16;  // weights of two pixels
    const __m256i b = _mm256_set1_epi32(bias);
    const __m256i interleave = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    const __m256i colourMask = _mm256_set1_epi32(0x00FFFFFF);
    for (int x = 0; x < t.padded; x += 8) {
        const std::int16_t* wx = weight + size_t(x / 2) * step;
        const __m256i q01 = Quotients(TwoPixels<Pairs>(v, offset + x, wx, pairs, b), r);
        const __m256i q23 = Quotients(TwoPixels<Pairs>(v, offset + x + 2, wx + step, pairs, b), r);
        const __m256i q45 = Quotients(TwoPixels<Pairs>(v, offset + x + 4, wx + 2 * step, pairs, b), r);
        const __m256i q67 = Quotients(TwoPixels<Pairs>(v, offset + x + 6, wx + 3 * step, pairs, b), r);
        // Per 128-bit half, packing leaves pixels x, x+2, x+4, x+6 (low)
        // and x+1, x+3, x+5, x+7 (high); the permutation restores the order.
        const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(q01, q23), _mm256_packs_epi32(q45, q67));
        StoreEight(out, x, w, _mm256_and_si256(_mm256_permutevar8x32_epi32(bytes, interleave), colourMask));
    }
}

using HorizontalPass = void (*)(const std::uint16_t*, const Avx2Tables&, std::int32_t, const Rounding&, Colour*, int);

HorizontalPass HorizontalFor(int pairs) {
    switch (pairs) {
    case 1: return Horizontal<1>;
    case 2: return Horizontal<2>;
    case 3: return Horizontal<3>;
    case 4: return Horizontal<4>;
    case 5: return Horizontal<5>;
    default: return Horizontal<0>;
    }
}

GB_AVX2 void RoundQuotientsKernel(const std::uint32_t* sums, std::uint8_t* out, int count, const Rounding& r) {
    for (int i = 0; i + 8 <= count; i += 8) {
        alignas(32) std::int32_t n[8];
        _mm256_store_si256((__m256i*)n, Quotients(_mm256_loadu_si256((const __m256i*)(sums + i)), r));
        for (int k = 0; k < 8; ++k) out[i + k] = std::uint8_t(n[k]);
    }
}

}  // namespace

void ExactRowsAvx2(const SourceRows& source, Picture& target, const ExactPlan& plan, const Avx2Tables& tables,
                   int y0, int y1) {
    const int W = source.width;
    const ExactAxis& ay = plan.ay;
    // One pixel more than the row: the last tap pair of a pixel may reach it
    // (with a zero weight).
    std::vector<std::uint16_t> sums(4 * (size_t(W) + 1), 0x8000);
    std::vector<const std::uint8_t*> rows(size_t(ay.taps));
    std::vector<std::int16_t> weights(size_t(ay.taps));
    const Rounding rounding = RoundingFor(plan.grid.area);
    const auto bias = std::int32_t(32768 * plan.grid.x.num);  // each pixel's weights add up to P
    const HorizontalPass horizontal = HorizontalFor(tables.pairs);
    for (int y = y0; y < y1; ++y) {
        int count = 0;
        for (int k = 0; k < ay.taps; ++k) {
            const std::int32_t wy = ay.weight[size_t(y) * size_t(ay.taps) + size_t(k)];
            if (wy == 0) continue;
            rows[size_t(count)] = reinterpret_cast<const std::uint8_t*>(source.row(ay.start[size_t(y)] + k));
            weights[size_t(count)] = std::int16_t(wy);
            ++count;
        }
        Vertical(rows.data(), weights.data(), count, 4 * W, sums.data());
        horizontal(sums.data(), tables, bias, rounding, target.pixels.data() + size_t(y) * size_t(target.width), target.width);
    }
}

void RoundQuotientsAvx2(const std::uint32_t* sums, std::uint8_t* out, int count, std::int64_t area) {
    RoundQuotientsKernel(sums, out, count, RoundingFor(area));
}

#else  // no x86-64: the portable method serves

bool CpuHasAvx2() { return false; }

void ExactRowsAvx2(const SourceRows&, Picture&, const ExactPlan&, const Avx2Tables&, int, int) {
    throw Failure(ErrBadCall, "AVX2 resampling is not available on this processor");
}

void RoundQuotientsAvx2(const std::uint32_t*, std::uint8_t*, int, std::int64_t) {
    throw Failure(ErrBadCall, "AVX2 resampling is not available on this processor");
}

#endif

}  // namespace glintbook::resample
