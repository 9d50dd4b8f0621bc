#pragma once
// Which reader decodes a picture file. Every format LoadPicture takes is
// recognised by its first bytes, never by the file's name: a player may
// rename a screenshot, and the engines name theirs by their own settings.
#include "imaging/band_pool.h"
#include "imaging/picture.h"
#include "imaging/picture_rows.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace glintbook::pictures {

// Shared by every reader: an 8K screenshot (7680 x 4320) fits, a forged
// header cannot ask for gigabytes.
constexpr std::int64_t kMaxSide = 32768;
constexpr std::int64_t kMaxPixels = std::int64_t(1) << 25;

struct Reader {
    const char* name;  // "TGA", for the failure's text
    // By the first bytes alone: `head`, the file's first min(fileSize,
    // kHeadBytes) bytes or more, of a file of `fileSize` bytes.
    bool (*claims)(std::string_view head, std::uint64_t fileSize);
    // Throws Failure(ErrInvalidPicture) naming `name` for anything damaged,
    // cut short, over the limits above or of a form the reader does not take.
    Picture (*decode)(std::string_view bytes, const std::string& name);
    // For forms whose rows can be read in place: checks the header (`head`,
    // the file's first min(size, kHeadBytes) bytes, against the whole file's
    // size) as decode would, throwing the same Failure, and says where the
    // rows are; nothing for a form that must be decoded whole. Null for
    // formats that are always decoded whole.
    std::optional<RowLayout> (*layout)(std::string_view head, std::uint64_t fileSize, const std::string& name) = nullptr;
    // For forms whose library decodes a few rows at a time: the rows of the
    // whole file's `bytes`, top to bottom, its header checked now as decode
    // would; `keep` keeps the bytes for as long as the source needs them.
    // The rows give exactly decode's colours and failures. Null for formats
    // that are always decoded whole.
    std::unique_ptr<RowSource> (*rows)(std::string_view bytes, std::shared_ptr<const void> keep,
                                       const std::string& name) = nullptr;
};

// Asked in this order: BMP "BM", PNG's signature, JPEG FF D8 FF, DDS "DDS ",
// then TGA, which has no signature and claims only a header that holds
// together, after every format that has one.
std::span<const Reader> Readers();

// The first reader that claims `bytes`, a whole file, or `head`, the first
// bytes of a file of `fileSize`; nullptr when none does.
const Reader* ReaderFor(std::string_view bytes);
const Reader* ReaderFor(std::string_view head, std::uint64_t fileSize);

// Decodes with the reader that claims `bytes`; bytes no reader claims throw
// Failure(ErrInvalidPicture) saying which formats were tried.
Picture Decode(std::string_view bytes, const std::string& name);

// For the readers: the invalid-picture failure, "Invalid picture: NAME (WHY)".
[[noreturn]] void Invalid(const std::string& name, const std::string& why);

// Throws Invalid unless 1 <= width, height <= kMaxSide and the pixels fit
// kMaxPixels; the sides may come straight from a header, unchecked.
void CheckSize(std::int64_t width, std::int64_t height, const std::string& name);

// A new picture of that size (checked by CheckSize first), every pixel 0.
Picture Blank(int width, int height);

// A channel of `bits` bits (1 to 8) widened to 8 by its share of the range,
// v * 255 / (2^bits - 1) rounded, as Direct3D reads a 5- or 6-bit channel.
inline std::uint32_t Widen(std::uint32_t v, int bits) {
    const std::uint32_t top = (1u << bits) - 1;
    return (v * 255 + top / 2) / top;
}

// Blue, green, red bytes, as BMP and TGA store them, to `w` colours; with
// AVX2 where the processor has it. The same for pixels of four bytes, red,
// green, blue or (blueFirst) blue, green, red, the fourth ignored.
void Bgr24Row(const std::uint8_t* in, Colour* out, int w);
void Rgbx32Row(const std::uint8_t* in, Colour* out, int w, bool blueFirst);

// Runs rows(y0, y1) over [0, h) of a picture `w` pixels wide: in bands on
// the resampler's threads when the picture is large enough to be worth it.
template <class Rows>
void InBands(int w, int h, const Rows& rows) {
    const int bands = std::min(resample::ThreadsFor(double(w) * double(h), 0), h);
    if (bands > 1)
        resample::RunBands(h, bands, rows);
    else
        rows(0, h);
}

inline std::uint32_t Le16(const std::uint8_t* p) { return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8; }
inline std::uint32_t Le32(const std::uint8_t* p) { return Le16(p) | Le16(p + 2) << 16; }
inline const std::uint8_t* Bytes(std::string_view b) { return reinterpret_cast<const std::uint8_t*>(b.data()); }

}  // namespace glintbook::pictures
