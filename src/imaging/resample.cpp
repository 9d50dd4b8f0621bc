// ModImage: area-averaging resampling. Every method below gives, pixel for
// pixel, what the reference per-pixel double loop gives (see
// resample_axis.h); the tests hold them to that.
#include "imaging/resample.h"

#include "imaging/band_pool.h"
#include "imaging/resample_kernels.h"
#include "platform/failure.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

namespace glintbook::resample {

const char* MethodName(Method method) {
    switch (method) {
    case Method::Automatic: return "automatic";
    case Method::Faithful: return "faithful";
    case Method::ExactScalar: return "exact-scalar";
    case Method::ExactAvx2: return "exact-avx2";
    case Method::ExactAvx2Columns: return "exact-avx2-columns";
    case Method::ExactAvx512Columns: return "exact-avx512-columns";
    }
    return "?";
}

namespace {

// What a call decides before making any pixel: the method and, for the
// whole-number methods, their plan and tables, each built once.
struct Setup {
    bool applies = false;
    Method method = Method::Faithful;
    std::optional<ExactPlan> plan;
    Avx2TablesPtr rows;
    std::unique_ptr<ColumnTables> columns;  // for either columns-first kernel
};

// Columns first needs a target at least as wide as the source (then each
// target column has at most two source pixels) and tables that fit.
std::unique_ptr<ColumnTables> ColumnTablesFor(const ExactPlan& plan, int W, int w, int lanes) {
    if (plan.grid.x.num > plan.grid.x.den) return nullptr;
    return BuildColumnTables(plan.grid, plan.ax, plan.ay.taps, W, w, lanes);
}

// Sets up `wanted`, or with Automatic the fastest method that applies.
Setup Prepare(int W, int H, int w, int h, Method wanted) {
    Setup s;
    if (W < 1 || H < 1 || w < 1 || h < 1) return s;
    const Grid grid = ExactGrid(W, H, w, h);
    if (wanted == Method::Faithful || (wanted == Method::Automatic && !grid.exact)) {
        s.applies = true;
        return s;
    }
    if (!grid.exact) return s;
    s.plan = BuildExactPlan(W, H, w, h);
    const bool rowsFirst = CpuHasAvx2() && Avx2Applies(grid);
    switch (wanted) {
    case Method::Automatic:
        // Columns first pays off when no source row is dropped: every source
        // row's column sums then serve at least one target row.
        if (!rowsFirst || H <= h) {
            if (CpuHasAvx512() && (s.columns = ColumnTablesFor(*s.plan, W, w, 16))) {
                s.method = Method::ExactAvx512Columns;
            } else if (CpuHasAvx2() && (s.columns = ColumnTablesFor(*s.plan, W, w, 8))) {
                s.method = Method::ExactAvx2Columns;
            }
        }
        if (!s.columns) s.method = rowsFirst ? Method::ExactAvx2 : Method::ExactScalar;
        s.applies = true;
        break;
    case Method::ExactScalar:
        s.method = wanted;
        s.applies = true;
        break;
    case Method::ExactAvx2:
        s.method = wanted;
        s.applies = rowsFirst;
        break;
    case Method::ExactAvx2Columns:
        s.method = wanted;
        if (CpuHasAvx2()) s.columns = ColumnTablesFor(*s.plan, W, w, 8);
        s.applies = s.columns != nullptr;
        break;
    case Method::ExactAvx512Columns:
        s.method = wanted;
        if (CpuHasAvx512()) s.columns = ColumnTablesFor(*s.plan, W, w, 16);
        s.applies = s.columns != nullptr;
        break;
    case Method::Faithful: break;  // handled above
    }
    if (s.applies && s.method == Method::ExactAvx2) s.rows = BuildAvx2Tables(*s.plan, w);
    return s;
}

}  // namespace

bool MethodApplies(Method method, int W, int H, int w, int h) { return Prepare(W, H, w, h, method).applies; }

Method ChosenMethod(int W, int H, int w, int h) { return Prepare(W, H, w, h, Method::Automatic).method; }

Picture ResizeWith(const Picture& source, int width, int height, Method method, int threads) {
    const int W = source.width, H = source.height;
    if (W < 1 || H < 1 || source.pixels.size() != size_t(W) * size_t(H))
        throw Failure(ErrBadCall, "Invalid procedure call or argument: resizing an empty or malformed picture");
    if (width < 1 || height < 1)
        throw Failure(ErrBadCall, "Invalid procedure call or argument: picture size " + std::to_string(width) +
                                      " x " + std::to_string(height));
    const Setup setup = Prepare(W, H, width, height, method);
    if (!setup.applies)
        throw Failure(ErrBadCall, std::string("Invalid procedure call or argument: the ") + MethodName(method) +
                                      " resampler cannot make " + std::to_string(width) + " x " +
                                      std::to_string(height) + " from " + std::to_string(W) + " x " +
                                      std::to_string(H));

    Picture target;
    target.width = width;
    target.height = height;
    target.pixels.resize(size_t(width) * size_t(height));
    // Runs kernel(y0, y1) over all target rows, on one thread or in bands.
    const auto run = [&](double work, const auto& kernel) {
        const int bands = std::min(ThreadsFor(work, threads), height);
        if (bands == 1)
            kernel(0, height);
        else
            RunBands(height, bands, kernel);
    };

    const double targetPixels = double(width) * double(height);
    switch (setup.method) {
    case Method::Faithful: {
        const FaithfulAxis ax = BuildFaithfulAxis(W, width);
        const FaithfulAxis ay = BuildFaithfulAxis(H, height);
        // Every (column, row) entry pair is one multiply-add per channel.
        run(double(ax.index.size()) * double(ay.index.size()) * 3,
            [&](int y0, int y1) { FaithfulRows(source, target, ax, ay, y0, y1); });
        break;
    }
    case Method::ExactScalar: {
        const ExactPlan& plan = *setup.plan;
        run(double(W) * double(H + height) * 3 + targetPixels * plan.ax.taps * 3,
            [&](int y0, int y1) { ExactRowsScalar(source, target, plan, y0, y1); });
        break;
    }
    case Method::ExactAvx2: {
        const ExactPlan& plan = *setup.plan;
        // Vectors of 16 channel values vertically, of two target pixels
        // horizontally.
        run(double(W) * double(H + height) / 4 + targetPixels * plan.ax.taps / 4 + targetPixels,
            [&](int y0, int y1) { ExactRowsAvx2(source, target, plan, *setup.rows, y0, y1); });
        break;
    }
    case Method::ExactAvx2Columns: {
        const ExactPlan& plan = *setup.plan;
        // Eight target columns a vector: once per source row, then per
        // target row once per source row under it.
        run(double(H) * width / 4 + targetPixels * plan.ay.taps / 4 + targetPixels / 2,
            [&](int y0, int y1) { ExactColumnsAvx2(source, target, plan, *setup.columns, y0, y1); });
        break;
    }
    case Method::ExactAvx512Columns: {
        const ExactPlan& plan = *setup.plan;
        run(double(H) * width / 8 + targetPixels * plan.ay.taps / 8 + targetPixels / 4,
            [&](int y0, int y1) { ExactColumnsAvx512(source, target, plan, *setup.columns, y0, y1); });
        break;
    }
    case Method::Automatic: break;  // never chosen
    }
    return target;
}

}  // namespace glintbook::resample

namespace glintbook {

Picture ResizePicture(const Picture& source, int width, int height) {
    return resample::ResizeWith(source, width, height, resample::Method::Automatic);
}

}  // namespace glintbook
