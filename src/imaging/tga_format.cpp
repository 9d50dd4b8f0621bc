// The TGA reader. Without a signature, the header is checked field by field
// before anything is called TGA, so that a damaged file of another kind is
// not taken for one.
#include "imaging/tga_format.h"

#include "imaging/picture_readers.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace glintbook::tga {

namespace {

using pictures::Invalid;
constexpr size_t kHeader = 18;

struct Header {
    size_t start = 0;  // the first pixel byte, past the identification field
    int type = 0, depth = 0;
    std::int64_t width = 0, height = 0;
    bool topDown = false, rightToLeft = false;
    bool runLength() const { return type >= 9; }
    size_t pixelBytes() const { return size_t(depth + 7) / 8; }
};

// The header, and what keeps it from holding together (nullptr: nothing), in
// a file of `fileSize` bytes that `bytes` begin.
const char* Read(std::string_view bytes, std::uint64_t fileSize, Header& h) {
    if (bytes.size() < kHeader) return "shorter than a TGA header";
    const std::uint8_t* b = pictures::Bytes(bytes);
    h.type = b[2];
    h.depth = b[16];
    h.width = pictures::Le16(b + 12);
    h.height = pictures::Le16(b + 14);
    const int alphaBits = b[17] & 0x0F;
    h.rightToLeft = b[17] & 0x10;
    h.topDown = b[17] & 0x20;
    h.start = kHeader + b[0];
    if (b[1] != 0) return "a colour map";
    if (h.type != 2 && h.type != 3 && h.type != 10 && h.type != 11) return "an image type this reader does not take";
    const bool grey = h.type == 3 || h.type == 11;
    if (grey ? h.depth != 8 : h.depth != 15 && h.depth != 16 && h.depth != 24 && h.depth != 32)
        return "a pixel depth this reader does not take";
    if (alphaBits > (h.depth == 32 ? 8 : h.depth == 16 ? 1 : 0)) return "more alpha bits than the pixel has";
    if (b[17] & 0xC0) return "interleaved rows";
    if (h.width < 1 || h.height < 1 || h.width > pictures::kMaxSide || h.height > pictures::kMaxSide ||
        h.width * h.height > pictures::kMaxPixels)
        return "a size out of range";
    const std::uint64_t plain = std::uint64_t(h.width * h.height) * h.pixelBytes();
    if (h.runLength() ? fileSize <= h.start : fileSize - std::min<std::uint64_t>(fileSize, h.start) < plain)
        return "truncated pixel data";
    return nullptr;
}

struct Converter {
    int depth;
    Colour operator()(const std::uint8_t* p) const {
        switch (depth) {
        case 8: return Colour(p[0]) * 0x010101u;
        case 15:
        case 16: {
            const std::uint32_t v = pictures::Le16(p);
            using pictures::Widen;
            return Widen(v >> 10 & 31, 5) | Widen(v >> 5 & 31, 5) << 8 | Widen(v & 31, 5) << 16;
        }
        default: return Colour(p[0]) << 16 | Colour(p[1]) << 8 | p[2];  // blue, green, red (, alpha)
        }
    }
};

void ConvertRow(const Converter& convert, const std::uint8_t* in, Colour* out, int w) {
    if (convert.depth == 24) return pictures::Bgr24Row(in, out, w);
    if (convert.depth == 32) return pictures::Rgbx32Row(in, out, w, true);
    const size_t step = size_t(convert.depth + 7) / 8;
    for (int x = 0; x < w; ++x) out[x] = convert(in + size_t(x) * step);
}

}  // namespace

bool IsTga(std::string_view bytes) { return IsTga(bytes, bytes.size()); }

bool IsTga(std::string_view head, std::uint64_t fileSize) {
    Header h;
    return Read(head, fileSize, h) == nullptr;
}

namespace {

Header Check(std::string_view head, std::uint64_t fileSize, const std::string& name) {
    Header h;
    if (const char* problem = Read(head, fileSize, h)) Invalid(name, std::string("not a TGA picture: ") + problem);
    pictures::CheckSize(h.width, h.height, name);
    return h;
}

}  // namespace

std::optional<pictures::RowLayout> Rows(std::string_view head, std::uint64_t fileSize, const std::string& name) {
    const Header h = Check(head, fileSize, name);
    if (h.runLength()) return std::nullopt;
    const int w = int(h.width);
    pictures::RowLayout rows;
    rows.width = w;
    rows.height = int(h.height);
    rows.offset = h.start;
    rows.stride = rows.rowBytes = std::uint64_t(w) * h.pixelBytes();
    rows.bottomUp = !h.topDown;
    rows.convert = [convert = Converter{h.depth}, w, mirror = h.rightToLeft](const std::uint8_t* in, Colour* out) {
        ConvertRow(convert, in, out, w);
        if (mirror) std::reverse(out, out + w);
    };
    return rows;
}

Picture Decode(std::string_view bytes, const std::string& name) {
    const Header h = Check(bytes, bytes.size(), name);
    const int w = int(h.width), ht = int(h.height);
    Picture picture = pictures::Blank(w, ht);
    const Converter convert{h.depth};
    const std::uint8_t* data = pictures::Bytes(bytes) + h.start;
    const size_t step = h.pixelBytes();
    // The stored row `i` is picture row `i` from the top or from the bottom.
    const auto rowOf = [&](int i) { return picture.pixels.data() + size_t(h.topDown ? i : ht - 1 - i) * size_t(w); };

    if (!h.runLength()) {
        pictures::InBands(w, ht, [&](int i0, int i1) {
            for (int i = i0; i < i1; ++i) ConvertRow(convert, data + size_t(i) * size_t(w) * step, rowOf(i), w);
        });
    } else {
        // Packets of up to 128 pixels, one repeated or each stored, which may
        // run on from one row into the next; each is written where it
        // belongs, a row at a time. A packet past the last pixel is cut.
        const std::uint8_t* in = data;
        const std::uint8_t* end = pictures::Bytes(bytes) + bytes.size();
        int i = 0, x = 0;  // the stored row and column
        Colour* row = rowOf(0);
        const auto put = [&](size_t count, const auto& span) {  // span(out, n): n pixels to out
            while (count > 0) {
                const size_t n = std::min(count, size_t(w - x));
                span(row + x, n);
                count -= n;
                if ((x += int(n)) == w && ++i < ht) x = 0, row = rowOf(i);
            }
        };
        while (i < ht) {
            if (in >= end) Invalid(name, "truncated run-length data");
            const bool repeated = *in & 0x80;
            const size_t left = size_t(ht - 1 - i) * size_t(w) + size_t(w - x);
            const size_t count = std::min<size_t>((*in++ & 0x7F) + 1u, left);
            if (size_t(end - in) < (repeated ? step : count * step)) Invalid(name, "truncated run-length data");
            if (repeated) {
                const Colour c = convert(in);
                put(count, [&](Colour* out, size_t n) { std::fill_n(out, n, c); });
                in += step;
            } else {
                put(count, [&](Colour* out, size_t n) {
                    ConvertRow(convert, in, out, int(n));
                    in += n * step;
                });
            }
        }
    }
    if (h.rightToLeft)
        for (int y = 0; y < ht; ++y) std::reverse(picture.pixels.begin() + std::ptrdiff_t(y) * w,
                                                  picture.pixels.begin() + std::ptrdiff_t(y + 1) * w);
    return picture;
}

}  // namespace glintbook::tga
