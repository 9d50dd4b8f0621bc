#include "imaging/resize_rows.h"

#include "imaging/band_pool.h"
#include "imaging/resample_kernels.h"
#include "platform/failure.h"

#include <algorithm>

namespace glintbook {

namespace {

using resample::Prepared;
using resample::SourceRows;

// One band: target rows [first[t], last[t]) of every target, from the
// source rows they read, which pass through a ring of rows. Row s sits in
// slot s mod slots; a piece of rows never wraps, as pieces start at
// multiples of `piece` and `slots` is one too. Before each piece is read,
// the rows kept are those the next unfinished target row of some target
// reads, fewer than its span, so `slots` of span - 1 + piece never lets a
// new row overwrite one still needed.
void Band(pictures::RowSource& source, const std::vector<Prepared>& plans, std::vector<Picture>& targets,
          const std::vector<int>& first, const std::vector<int>& last, int piece) {
    const int W = source.width();
    int from = source.height(), to = 0, span = 1;
    for (size_t t = 0; t < plans.size(); ++t)
        for (int y = first[t]; y < last[t]; ++y) {
            const auto [a, b] = plans[t].SourceSpan(y);
            from = std::min(from, a), to = std::max(to, b), span = std::max(span, b - a);
        }
    if (from >= to) return;
    const int slots = (span - 1 + piece + piece - 1) / piece * piece;
    Pixels ring(size_t(slots) * size_t(W));  // each row is read in before it is used
    const SourceRows rows{W, source.height(), ring.data(), slots};
    std::vector<int> next = first;
    for (int row = from; row < to;) {
        const int end = std::min(to, (row / piece + 1) * piece);
        source.Read(row, end - row, ring.data() + size_t(row % slots) * size_t(W));
        row = end;
        for (size_t t = 0; t < plans.size(); ++t) {
            int y = next[t];
            while (y < last[t] && plans[t].SourceSpan(y).second <= row) ++y;
            if (y > next[t]) plans[t].Fill(rows, targets[t], next[t], y);
            next[t] = y;
        }
    }
}

}  // namespace

std::vector<Picture> ResizeRows(pictures::RowSource& source, const std::vector<std::pair<int, int>>& sizes,
                                resample::Method method, int threads, int piece) {
    const int W = source.width(), H = source.height();
    if (W < 1 || H < 1)
        throw Failure(ErrBadCall, "Invalid procedure call or argument: resizing an empty or malformed picture");
    std::vector<Prepared> plans;
    std::vector<Picture> targets;
    double work = 0;
    for (const auto& [w, h] : sizes) {
        plans.push_back(resample::PrepareOrFail(W, H, w, h, method));
        targets.push_back(resample::EmptyTarget(w, h));
        work += plans.back().Work();
    }
    // Bands of every target's rows, each band reading its own source rows
    // (a few at the seams twice): no band waits for another.
    int bands = source.AnyOrder() ? resample::ThreadsFor(work, threads) : 1;
    for (const auto& [w, h] : sizes) bands = std::min(bands, h);
    const auto band = [&](int i) {
        std::vector<int> first, last;
        for (const auto& [w, h] : sizes) {
            first.push_back(int(std::int64_t(h) * i / bands));
            last.push_back(int(std::int64_t(h) * (i + 1) / bands));
        }
        Band(source, plans, targets, first, last, piece > 0 ? piece : pictures::PieceRows(W));
    };
    // RunBands over band numbers: its bands of [0, bands) are one number each.
    if (bands == 1)
        band(0);
    else
        resample::RunBands(bands, bands, [&](int i0, int i1) {
            for (int i = i0; i < i1; ++i) band(i);
        });
    return targets;
}

}  // namespace glintbook
