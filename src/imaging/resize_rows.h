#pragma once
// ResizePicture for a picture that is being decoded: every size asked for is
// made in one pass over the source's rows, and only the rows that target
// rows still need are kept, so that a screenshot of any size is resampled in
// a few hundred kilobytes besides the results.
#include "imaging/picture.h"
#include "imaging/picture_rows.h"
#include "imaging/resample.h"

#include <utility>
#include <vector>

namespace glintbook {

// One picture per entry of `sizes` (width, height), pixel for pixel what
// ResizePicture makes of the whole source. `threads` as in ResizeWith: 0 is
// the configured count; a source that gives its rows only in order is read
// on one. `piece`: source rows decoded at a time (0: about 128 KiB of
// them), small in tests to turn the ring of rows often. Failures of the
// source's reads pass through.
std::vector<Picture> ResizeRows(pictures::RowSource& source, const std::vector<std::pair<int, int>>& sizes,
                                resample::Method method = resample::Method::Automatic, int threads = 0,
                                int piece = 0);

}  // namespace glintbook
