#pragma once
// The computations behind the resampler's methods. Each fills target rows
// [y0, y1) of `target` (already sized) from `source`, so that several threads
// can share one picture by taking disjoint bands.
#include "imaging/picture.h"
#include "imaging/resample_axis.h"

#include <cstdint>
#include <memory>

namespace glintbook::resample {

// Double arithmetic: per target pixel, source column outer, row inner,
// weight = fx*fy, sums += weight*value, quotient by (x2-x1)*(y2-y1).
void FaithfulRows(const Picture& source, Picture& target, const FaithfulAxis& ax, const FaithfulAxis& ay,
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
// quotient taken exactly as the definition takes it.
void ExactRowsScalar(const Picture& source, Picture& target, const ExactPlan& plan, int y0, int y1);

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
void ExactRowsAvx2(const Picture& source, Picture& target, const ExactPlan& plan, const Avx2Tables& tables,
                   int y0, int y1);

// AVX2, columns first, for sizes that do not shrink across: per source row,
// each target column's one or two source pixels, gathered within a register
// for eight target columns at a time, weighted and kept per channel; then per
// target row the weighted sum of those rows and the same rounding as above.
// Builds no tables (null) when some eight target columns reach over more
// than eight source pixels.
struct Avx2ColumnTables;
struct Avx2ColumnTablesDeleter {
    void operator()(Avx2ColumnTables* tables) const;
};
using Avx2ColumnTablesPtr = std::unique_ptr<Avx2ColumnTables, Avx2ColumnTablesDeleter>;
Avx2ColumnTablesPtr BuildAvx2ColumnTables(const Grid& grid, const ExactAxis& ax, int rowTaps, int W, int w);
void ExactColumnsAvx2(const Picture& source, Picture& target, const ExactPlan& plan, const Avx2ColumnTables& tables,
                      int y0, int y1);

// The AVX2 kernel's last step on its own, for testing it against the double
// quotient: out[i] = round-half-even(sums[i] / area) for sums[i] <= 255*area.
// count must be a multiple of 8; area as Avx2Applies allows.
void RoundQuotientsAvx2(const std::uint32_t* sums, std::uint8_t* out, int count, std::int64_t area);

}  // namespace glintbook::resample
