#pragma once
// ModImage: area-averaging resampling of pictures, and the resampler's knobs:
// its thread count and, for tests, the benchmark and tools, the choice of
// computation method. Every method gives the same pixels; they differ only in
// speed and in the sizes they accept.
#include "imaging/picture.h"

namespace glintbook {

// A new width x height picture made from `source` by area averaging. The
// result owns its pixels; the source is only read. width, height >= 1.
Picture ResizePicture(const Picture& source, int width, int height);

// Number of threads ResizePicture may use. 0 restores the default: the
// environment variable GLINTBOOK_RESAMPLE_THREADS when it holds a positive
// number, else the machine's hardware threads. Small pictures always use one.
void SetResampleThreads(int threads);
int ResampleThreads();  // the count now in force (at least 1)

}  // namespace glintbook

namespace glintbook::resample {

enum class Method {
    Automatic,    // the fastest method that applies
    Faithful,     // double arithmetic in the reference loop's order; any size
    ExactScalar,  // whole-number sums, portable C++; exact sizes only
    ExactAvx2,    // whole-number sums, AVX2, rows first; exact sizes within 16-bit bounds
    ExactAvx2Columns,  // the same, columns first; sizes that do not shrink across
    ExactAvx512Columns,  // columns first with AVX-512
    WholeScalar,  // whole-number ratios on both axes (k:1 shrinks, 1:k enlargements), portable C++
    WholeAvx512,  // the same for 2:1 across and any whole ratio down, with AVX-512
};

const char* MethodName(Method method);

// Whether `method` can resize a W x H picture to w x h on this machine.
bool MethodApplies(Method method, int W, int H, int w, int h);

// The method Automatic picks.
Method ChosenMethod(int W, int H, int w, int h);

// ResizePicture with a forced method and thread count (0 = as configured).
// Throws Failure(ErrBadCall) when the method does not apply.
Picture ResizeWith(const Picture& source, int width, int height, Method method, int threads = 0);

}  // namespace glintbook::resample
