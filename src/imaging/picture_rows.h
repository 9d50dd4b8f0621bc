#pragma once
// Pictures handed out a few rows at a time, so that an import never holds a
// whole screenshot: the resampler takes the rows as they come and keeps only
// those the target rows still need.
#include "imaging/picture.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace glintbook::pictures {

class RowSource {
public:
    virtual ~RowSource() = default;
    int width() const { return width_; }
    int height() const { return height_; }
    // Whether rows may be asked for in any order, and by several threads at
    // once, each asking for rows of its own. Otherwise they come top to
    // bottom, each once, to one thread at a time.
    virtual bool AnyOrder() const = 0;
    // Decodes rows [first, first + count) into `out`, `width()` colours a
    // row, one row after the other. Throws Failure(ErrInvalidPicture) for a
    // picture found damaged or cut short on the way.
    virtual void Read(int first, int count, Colour* out) = 0;

protected:
    int width_ = 0, height_ = 0;
};

// Where the rows of an uncompressed picture lie in its file, and how one
// stored row becomes colours: all a reader of such a form needs to say for
// its rows to be read in bands, straight from the file.
struct RowLayout {
    int width = 0, height = 0;
    std::uint64_t offset = 0;   // the first stored row
    std::uint64_t stride = 0;   // from one stored row to the next
    std::uint64_t rowBytes = 0; // what one row needs (the last may end before its stride)
    bool bottomUp = false;      // the first stored row is the picture's last
    std::function<void(const std::uint8_t* stored, Colour* out)> convert;
};

// The first bytes of a file that a reader's layout sees: every header,
// colour table and mask of the forms read in place fits in them.
constexpr std::size_t kHeadBytes = 64 << 10;

// Opens a picture file for its rows: the header is read and checked now, so
// that a file that is not a picture, or is cut short, fails here with the
// same Failure LoadPicture gives. Uncompressed forms are read straight from
// the file in pieces (AnyOrder); JPEG and PNG (not interlaced) from the file
// in memory, decoded as their rows are asked for, top to bottom; the others
// are decoded whole first.
std::unique_ptr<RowSource> OpenRows(const std::string& path);

// The same for a picture file's bytes in memory, which must outlive the
// source; `name` names it in failures.
std::unique_ptr<RowSource> OpenRows(std::string_view bytes, const std::string& name);

// The rows of a picture already in memory.
std::unique_ptr<RowSource> RowsOfPicture(Picture picture);

// Rows decoded at a time: about 128 KiB of colours, a piece that is still in
// the cache when it is used.
int PieceRows(int width);

// Reads every row of `source` into a new picture, in bands on the
// resampler's threads when the source allows it.
Picture ReadAll(RowSource& source);

}  // namespace glintbook::pictures
