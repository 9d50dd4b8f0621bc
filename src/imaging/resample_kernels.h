#pragma once
// The computations behind the resampler's methods. Each fills target rows
// [y0, y1) of `target` (already sized) from `source`, so that several threads
// can share one picture by taking disjoint bands.
#include "imaging/picture.h"
#include "imaging/resample.h"
#include "imaging/resample_axis.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace glintbook::resample {

// The source rows a kernel reads: row s lies at base + (s mod slots) * width.
// A whole picture has slots = height; a window of rows kept in a ring while
// a picture is decoded serves the same kernels, as long as it holds every
// row that the target rows asked of the kernel need.
struct SourceRows {
    int width = 0;
    int height = 0;
    const Colour* base = nullptr;
    int slots = 0;
    const Colour* row(int s) const { return base + size_t(s % slots) * size_t(width); }
};
inline SourceRows RowsOf(const Picture& picture) {
    return {picture.width, picture.height, picture.pixels.data(), picture.height};
}

// Double arithmetic: per target pixel, source column outer, row inner,
// weight = fx*fy, sums += weight*value, quotient by (x2-x1)*(y2-y1).
void FaithfulRows(const SourceRows& source, Picture& target, const FaithfulAxis& ax, const FaithfulAxis& ay,
                  int y0, int y1);

// Both exact methods: first a vertical pass (the weighted sum of the source
// rows under a target row, per source pixel and channel), then a horizontal
// pass over it (the weighted sum under each target column). The sums are
// whole numbers in units of 1/(ax.den*ay.den) of the double computation's.
struct ExactPlan {
    Grid grid;
    ExactAxis ax, ay;
};
ExactPlan BuildExactPlan(int W, int H, int w, int h);

// Portable: 32-bit vertical sums, 64-bit horizontal sums, and the double
// quotient taken exactly as the reference loop takes it.
void ExactRowsScalar(const SourceRows& source, Picture& target, const ExactPlan& plan, int y0, int y1);

// AVX2, rows first: 16-bit vertical sums, 32-bit horizontal sums, and the quotient by a
// single-precision reciprocal (see resample_avx2.cpp for why that rounds the
// same). Needs Avx2Applies(plan.grid) and a CPU with AVX2.
bool CpuHasAvx2();
bool Avx2Applies(const Grid& grid);
struct Avx2Tables;  // horizontal weights laid out for the kernel
struct Avx2TablesDeleter {
    void operator()(Avx2Tables* tables) const;
};
using Avx2TablesPtr = std::unique_ptr<Avx2Tables, Avx2TablesDeleter>;
Avx2TablesPtr BuildAvx2Tables(const ExactPlan& plan, int w);
void ExactRowsAvx2(const SourceRows& source, Picture& target, const ExactPlan& plan, const Avx2Tables& tables,
                   int y0, int y1);

// Columns first, for sizes that do not shrink across (every target column
// then has one or two source pixels): per source row, each target column's
// pixels, gathered within a register for `lanes` target columns at a time (8
// with AVX2, 16 with AVX-512), weighted and kept per channel; then per target
// row the weighted sum of those rows and a rounding that gives the loop's
// result (see resample_avx2_columns.cpp). No tables (null) when some group of
// target columns reaches over more than `lanes` source pixels or the sizes
// are outside the rounding's bound.
struct ColumnTables {
    int lanes = 0;                      // target columns per group
    int groups = 0;                     // ceil(w / lanes)
    std::vector<std::int32_t> base;     // per group: the first of the `lanes` source pixels it reads
    std::vector<std::int32_t> index;    // per group: `lanes` indices (from base) of each column's first
                                        // source pixel, then `lanes` of its second
    std::vector<std::int32_t> weight;   // per group: per column, its two weights as 16-bit halves
};
std::unique_ptr<ColumnTables> BuildColumnTables(const Grid& grid, const ExactAxis& ax, int rowTaps, int W, int w,
                                                int lanes);
void ExactColumnsAvx2(const SourceRows& source, Picture& target, const ExactPlan& plan, const ColumnTables& tables,
                      int y0, int y1);
bool CpuHasAvx512();  // F and BW
void ExactColumnsAvx512(const SourceRows& source, Picture& target, const ExactPlan& plan, const ColumnTables& tables,
                        int y0, int y1);

// Whole-number ratios: both axes shrink by a whole factor (W = kx*w,
// H = ky*h; each target pixel is the plain sum of a kx x ky block over
// kx*ky, rounded half to even) or both enlarge by one (w = kx*W, h = ky*H;
// each target pixel is the source pixel under it). Shrinking is an exact
// grid (denominators 1), so the loop's quotient is the correctly rounded
// S/(kx*ky). Enlarging by a factor that is no power of two is not an exact
// grid, but a span's edges are off by at most about w*2^-52 of a source pixel, so
// the neighbour it may touch weighs less than 255*w*2^-52 in the quotient
// (below 2^-12 for any int w): the loop rounds to the pixel under the span.
struct WholeRatio {
    bool enlarge = false;
    int kx = 1, ky = 1;
};
std::optional<WholeRatio> WholeRatioOf(int W, int H, int w, int h);
void WholeRowsScalar(const SourceRows& source, Picture& target, const WholeRatio& ratio, int y0, int y1);
// AVX-512: shrinking with kx = 2 and kx*ky <= 128 (16-bit sums; see
// resample_avx512_columns.cpp for the division).
bool WholeAvx512Applies(const WholeRatio& ratio);
void WholeRowsAvx512(const SourceRows& source, Picture& target, const WholeRatio& ratio, int y0, int y1);

// Round half to even of s / d by 16-bit lanes: t = 2s + d, then
// q = ((t * m) >> 16) >> shift is floor(t / 2d), lowered by one where t is a
// multiple of 2d and q is odd (a half). Needs 511 * d < 2^16; none for
// divisors where no 16-bit m is exact (see WholeDivisionFor).
struct WholeDivision {
    std::uint16_t d = 0, m = 0;
    int shift = 0;
};
std::optional<WholeDivision> WholeDivisionFor(int d);

// A resize decided once: the method (Automatic resolved) with its plan and
// tables. Fill makes target rows [y0, y1) of `target` (sized already) from
// `source`, which must hold rows SourceSpan(y) of each of them; bands of
// rows may be filled on several threads at once.
struct Prepared {
    int W = 0, H = 0, w = 0, h = 0;
    bool applies = false;
    Method method = Method::Faithful;
    FaithfulAxis faithfulX, faithfulY;
    std::optional<ExactPlan> plan;
    Avx2TablesPtr rows;
    std::unique_ptr<ColumnTables> columns;  // for either columns-first kernel
    WholeRatio whole;                       // for the whole-number methods

    std::pair<int, int> SourceSpan(int y) const;  // [first, last) source rows target row y reads
    double Work() const;                          // as ThreadsFor counts it
    void Fill(const SourceRows& source, Picture& target, int y0, int y1) const;
};

// `wanted`, or with Automatic the fastest method that applies (applies is
// false when `wanted` cannot make that size); the double arithmetic's axes
// are left empty.
Prepared Prepare(int W, int H, int w, int h, Method wanted);
// The same, ready to Fill, throwing Failure(ErrBadCall) for a size below 1
// or a method that does not apply.
Prepared PrepareOrFail(int W, int H, int w, int h, Method wanted);
// A w x h picture for Fill to write.
Picture EmptyTarget(int w, int h);

// The AVX2 kernel's last step on its own, for testing it against the double
// quotient: out[i] = round-half-even(sums[i] / area) for sums[i] <= 255*area.
// count must be a multiple of 8; area as Avx2Applies allows.
void RoundQuotientsAvx2(const std::uint32_t* sums, std::uint8_t* out, int count, std::int64_t area);

}  // namespace glintbook::resample
