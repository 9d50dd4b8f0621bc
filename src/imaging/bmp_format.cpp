// The BMP reader and writer. The reader takes every form the program has
// always loaded and decodes it to the same colours as the toolkit reader it
// replaces, down to that reader's handling of odd files (a pixel offset
// inside the colour table, runs that pass the end of a row, bit-field masks
// of any width), so that no picture that loaded before looks different now.
#include "imaging/bmp_format.h"

#include "imaging/band_pool.h"
#include "imaging/resample_simd.h"
#include "platform/failure.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <vector>

namespace glintbook::bmp {

namespace {

constexpr int kFileHeader = 14;
constexpr int kInfoHeader = 40;

using pictures::Invalid;

std::uint32_t U16(std::string_view b, size_t at) {
    return std::uint32_t(std::uint8_t(b[at])) | std::uint32_t(std::uint8_t(b[at + 1])) << 8;
}
std::uint32_t U32(std::string_view b, size_t at) { return U16(b, at) | U16(b, at + 2) << 16; }

void Put16(char* b, std::uint32_t v) {
    b[0] = char(v & 0xFF);
    b[1] = char((v >> 8) & 0xFF);
}
void Put32(char* b, std::uint32_t v) {
    Put16(b, v & 0xFFFF);
    Put16(b + 2, v >> 16);
}

// Blue, green, red as stored to a Colour 0x00BBGGRR.
inline Colour FromBgr(const std::uint8_t* p) { return Colour(p[0]) << 16 | Colour(p[1]) << 8 | p[2]; }

// One channel of a 16- or 32-bit pixel: the field under its mask, moved down
// to bit 0 and scaled by 256 / 2^width (5 bits abcde become abcde000); a
// field wider than 8 bits scales to 0.
struct Channel {
    std::uint32_t mask = 0;
    int shift = 0;
    std::uint32_t scale = 0;

    explicit Channel(std::uint32_t m) : mask(m) {
        while (m != 0 && (m & 1) == 0) {
            ++shift;
            m >>= 1;
        }
        scale = 256 / (std::uint64_t(m) + 1);
    }
    Colour operator()(std::uint32_t pixel) const { return (((pixel & mask) >> shift) * scale) & 0xFF; }
};

#ifdef GB_HAVE_AVX2_KERNEL
// Eight stored 24-bit pixels a step, each 128-bit half turning four of them
// (twelve bytes) into colours; the two loads read exactly the 24 bytes used.
GB_AVX2 int Bgr24Avx2(const std::uint8_t* in, Colour* out, int w) {
    const __m256i order = _mm256_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1,  //
                                           6, 5, 4, -1, 9, 8, 7, -1, 12, 11, 10, -1, 15, 14, 13, -1);
    int x = 0;
    for (; x + 8 <= w; x += 8) {
        const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 3 * x));
        const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 3 * x + 8));
        const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x), _mm256_shuffle_epi8(both, order));
    }
    return x;
}

// Eight stored 32-bit pixels a step, their first three bytes in `order`
// (blue, green, red or red, green, blue), the fourth dropped.
GB_AVX2 int Rgbx32Avx2(const std::uint8_t* in, Colour* out, int w, bool bgr) {
    const __m256i order = bgr ? _mm256_setr_epi8(2, 1, 0, -1, 6, 5, 4, -1, 10, 9, 8, -1, 14, 13, 12, -1,  //
                                                 2, 1, 0, -1, 6, 5, 4, -1, 10, 9, 8, -1, 14, 13, 12, -1)
                              : _mm256_setr_epi8(0, 1, 2, -1, 4, 5, 6, -1, 8, 9, 10, -1, 12, 13, 14, -1,  //
                                                 0, 1, 2, -1, 4, 5, 6, -1, 8, 9, 10, -1, 12, 13, 14, -1);
    int x = 0;
    for (; x + 8 <= w; x += 8) {
        const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 4 * x));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x), _mm256_shuffle_epi8(p, order));
    }
    return x;
}

// Eight colours a step to twelve bytes per 128-bit half; each store writes
// four zero bytes past its twelve, which the next store takes: the steps stop
// before one would write past `room` bytes.
GB_AVX2 int Rgb24Avx2(const Colour* in, std::uint8_t* out, int w, size_t room) {
    const __m256i order = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1,  //
                                           2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
    int x = 0;
    for (; x + 8 <= w && size_t(3 * x) + 28 <= room; x += 8) {
        const __m256i bgr = _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + x)), order);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 3 * x), _mm256_castsi256_si128(bgr));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 3 * x + 12), _mm256_extracti128_si256(bgr, 1));
    }
    return x;
}
#endif

bool UseAvx2() {
#ifdef GB_HAVE_AVX2_KERNEL
    static const bool avx2 = resample::CpuHasAvx2();
    return avx2;
#else
    return false;
#endif
}


// Where a checked file's parts are, as its header and the reader's walk
// through it place them.
struct Layout {
    HeaderInfo info;
    int width = 0, height = 0;
    bool topDown = false;
    std::array<Colour, 256> palette{};  // black past the file's colours
    std::uint32_t masks[3] = {0, 0, 0};  // red, green, blue
    size_t pixels = 0;                   // where the pixel data starts
};

Layout Locate(std::string_view bytes, std::uint64_t fileSize, const std::string& name) {
    Layout l;
    l.info = CheckHeader(bytes, fileSize, name);
    const HeaderInfo& info = l.info;
    l.width = int(info.width);
    l.height = int(info.height < 0 ? -info.height : info.height);
    l.topDown = info.height < 0;
    const int bpp = info.bitsPerPixel;
    // The colour table or the masks follow the header; the pixels start at
    // the file's pixel offset, or after them when the offset points inside.
    size_t at = kFileHeader + size_t(info.headerSize);
    if (bpp <= 8) {
        const std::uint32_t used = info.headerSize == 12 ? 0 : U32(bytes, 46);
        const std::uint32_t colours = used != 0 ? used : 1u << bpp;
        if (colours > 256) Invalid(name, std::to_string(colours) + " palette colours");
        const size_t entry = info.headerSize == 12 ? 3 : 4;
        // At least one byte must follow the table.
        if (at + colours * entry >= fileSize) Invalid(name, "truncated palette");
        for (std::uint32_t i = 0; i < colours; ++i, at += entry)
            l.palette[i] = FromBgr(reinterpret_cast<const std::uint8_t*>(bytes.data()) + at);
    } else if (info.compression == 3) {
        if (info.headerSize >= 108) {
            for (int c = 0; c < 3; ++c) l.masks[c] = U32(bytes, 54 + 4 * size_t(c));
        } else {
            if (at + 12 > fileSize) Invalid(name, "truncated bit-field masks");
            for (int c = 0; c < 3; ++c, at += 4) l.masks[c] = U32(bytes, at);
        }
        const std::uint32_t alpha = info.headerSize >= 108 ? U32(bytes, 66) : 0;
        if (std::find(l.masks, l.masks + 3, 0xFFFFFFFFu) != l.masks + 3 || alpha == 0xFFFFFFFFu)
            Invalid(name, "a bit-field mask of all 32 bits");
    } else if (bpp == 16) {
        l.masks[0] = 0x7C00, l.masks[1] = 0x03E0, l.masks[2] = 0x001F;
    } else {
        l.masks[0] = 0xFF0000, l.masks[1] = 0x00FF00, l.masks[2] = 0x0000FF;
    }
    l.pixels = std::max<size_t>(info.pixelOffset, at);
    return l;
}

// A compressed stream decoded into palette indices, one byte a pixel, rows
// bottom-up in a buffer with rows of `stride` bytes, top row first. The walk
// is the one the program's pictures have always been decoded with: a run
// that passes the end of its row goes on into the row below it (the row
// before it in the stream), stopping only at the end of the first row
// decoded; a move right or down stops at the last column or row; a literal
// run cut short there leaves its remaining bytes to be read as codes. The
// stream must end with the end-of-bitmap code or the end of its last row,
// and every byte a code needs must be there.
bool DecodeRle(std::string_view data, int w, int h, bool fourBits, size_t stride, std::vector<std::uint8_t>& out) {
    const auto* in = reinterpret_cast<const std::uint8_t*>(data.data());
    const size_t n = data.size();
    const size_t end = size_t(h - 1) * stride + size_t(w);
    size_t i = 0, p = size_t(h - 1) * stride;
    std::int64_t x = 0, y = 0;
    std::uint8_t* idx = out.data();
    while (y < h) {
        if (i + 2 > n) return false;
        const std::uint8_t count = in[i], code = in[i + 1];
        i += 2;
        if (count > 0) {  // `count` pixels of one index, or of two alternating
            const size_t c = std::min<size_t>(count, end - p);
            if (fourBits) {
                for (size_t k = 0; k < c; ++k) idx[p + k] = k % 2 ? code & 0x0F : code >> 4;
            } else {
                std::memset(idx + p, code, c);
            }
            x += std::int64_t(c);
            p += c;
        } else if (code == 0) {  // end of row
            x = 0;
            if (++y < h) p = size_t(h - 1 - y) * stride;
        } else if (code == 1) {  // end of bitmap
            break;
        } else if (code == 2) {  // move right and down
            if (i + 2 > n) return false;
            x = std::min<std::int64_t>(x + in[i], w - 1);
            y = std::min<std::int64_t>(y + in[i + 1], h - 1);
            i += 2;
            p = size_t(h - 1 - y) * stride + size_t(x);
        } else {  // `code` literal pixels, padded to a 16-bit boundary
            const size_t c = std::min<size_t>(code, end - p);
            const size_t bytes = fourBits ? (c + 1) / 2 : c;
            const size_t padded = bytes + bytes % 2;
            if (i + padded > n) return false;
            if (fourBits) {
                for (size_t k = 0; k < c; ++k) idx[p + k] = k % 2 ? in[i + k / 2] & 0x0F : in[i + k / 2] >> 4;
            } else {
                std::memcpy(idx + p, in + i, c);
            }
            i += padded;
            x += std::int64_t(c);
            p += c;
        }
    }
    return true;
}

// One stored row of an uncompressed picture to colours.
void DecodeRow(const Layout& l, const std::uint8_t* in, Colour* out, const Channel* channels) {
    const int w = l.width;
    switch (l.info.bitsPerPixel) {
    case 1:
        for (int x = 0; x < w; ++x) out[x] = l.palette[(in[x / 8] >> (7 - x % 8)) & 1];
        break;
    case 4:
        for (int x = 0; x < w; ++x) out[x] = l.palette[x % 2 ? in[x / 2] & 0x0F : in[x / 2] >> 4];
        break;
    case 8:
        for (int x = 0; x < w; ++x) out[x] = l.palette[in[x]];
        break;
    case 16:
        for (int x = 0; x < w; ++x) {
            const std::uint32_t v = std::uint32_t(in[2 * x]) | std::uint32_t(in[2 * x + 1]) << 8;
            out[x] = channels[0](v) | channels[1](v) << 8 | channels[2](v) << 16;
        }
        break;
    case 24:
        pictures::Bgr24Row(in, out, w);
        break;
    case 32:
        if (l.info.compression == 0) {
            pictures::Rgbx32Row(in, out, w, true);
        } else {
            for (int x = 0; x < w; ++x) {
                const std::uint8_t* p = in + 4 * x;
                const std::uint32_t v =
                    p[0] | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[3]) << 24;
                out[x] = channels[0](v) | channels[1](v) << 8 | channels[2](v) << 16;
            }
        }
        break;
    }
}

}  // namespace

std::string Encode24(const Picture& picture) {
    const std::int64_t w = picture.width, h = picture.height;
    if (w < 1 || h < 1 || picture.pixels.size() != size_t(w) * size_t(h))
        throw Failure(ErrInvalidPicture, "Invalid picture: cannot save an empty or malformed picture");
    const std::int64_t stride = (w * 3 + 3) / 4 * 4;
    const std::int64_t imageSize = stride * h;
    if (w > std::numeric_limits<std::int32_t>::max() || h > std::numeric_limits<std::int32_t>::max() ||
        imageSize > std::int64_t(std::numeric_limits<std::uint32_t>::max()) - kFileHeader - kInfoHeader)
        throw Failure(ErrInvalidPicture, "Invalid picture: too large for a BMP file");

    char header[kFileHeader + kInfoHeader] = {'B', 'M'};
    Put32(header + 2, std::uint32_t(kFileHeader + kInfoHeader + imageSize));  // file size
    Put32(header + 10, kFileHeader + kInfoHeader);                              // offset of the pixels
    Put32(header + 14, kInfoHeader);
    Put32(header + 18, std::uint32_t(w));
    Put32(header + 22, std::uint32_t(h));  // positive: bottom-up
    Put16(header + 26, 1);                 // planes
    Put16(header + 28, 24);                // bits per pixel
    Put32(header + 30, 0);                 // BI_RGB
    Put32(header + 34, std::uint32_t(imageSize));
    // Resolution, palette size and important colours stay 0.

    // Rows in the order they are stored, bottom row first, each straight
    // from its picture row (the padding stays zero); a large picture in bands
    // on the resampler's threads.
    std::string out(size_t(kFileHeader + kInfoHeader + imageSize), '\0');
    std::memcpy(out.data(), header, sizeof header);
    auto* rows = reinterpret_cast<std::uint8_t*>(out.data()) + sizeof header;
    const auto encode = [&](int i0, int i1) {
        for (int i = i0; i < i1; ++i) {
            const Colour* src = picture.pixels.data() + size_t(h - 1 - i) * size_t(w);
            std::uint8_t* dst = rows + size_t(i) * size_t(stride);
            int x = 0;
#ifdef GB_HAVE_AVX2_KERNEL
            if (UseAvx2()) x = Rgb24Avx2(src, dst, int(w), size_t(stride));  // not into the next row: another band's
#endif
            for (; x < w; ++x) {
                dst[3 * size_t(x)] = std::uint8_t(src[x] >> 16);     // blue
                dst[3 * size_t(x) + 1] = std::uint8_t(src[x] >> 8);  // green
                dst[3 * size_t(x) + 2] = std::uint8_t(src[x]);       // red
            }
        }
    };
    const int bands = int(std::min<std::int64_t>(resample::ThreadsFor(double(w) * double(h), 0), h));
    if (bands > 1)
        resample::RunBands(int(h), bands, encode);
    else
        encode(0, int(h));
    return out;
}

HeaderInfo CheckHeader(std::string_view bytes, const std::string& name) {
    return CheckHeader(bytes, bytes.size(), name);
}

HeaderInfo CheckHeader(std::string_view bytes, std::uint64_t fileSize, const std::string& name) {
    if (bytes.size() < 2 || bytes[0] != 'B' || bytes[1] != 'M') Invalid(name, "not a BMP file");
    if (bytes.size() < kFileHeader + 16) Invalid(name, "truncated header");
    HeaderInfo info;
    info.headerSize = U32(bytes, 14);
    // The core form (12 bytes), the info form (40), OS/2's (64), V4 (108)
    // and V5 (124).
    const std::uint32_t size = info.headerSize;
    if (size != 12 && size != 40 && size != 64 && size != 108 && size != 124) Invalid(name, "unknown header form");
    if (bytes.size() < kFileHeader + size_t(size)) Invalid(name, "truncated header");

    info.pixelOffset = U32(bytes, 10);
    std::uint32_t planes;
    if (size == 12) {  // signed 16-bit sizes
        info.width = std::int16_t(U16(bytes, 18));
        info.height = std::int16_t(U16(bytes, 20));
        planes = U16(bytes, 22);
        info.bitsPerPixel = int(U16(bytes, 24));
    } else {
        info.width = std::int32_t(U32(bytes, 18));
        info.height = std::int32_t(U32(bytes, 22));
        planes = U16(bytes, 26);
        info.bitsPerPixel = int(U16(bytes, 28));
        info.compression = U32(bytes, 30);
    }
    const std::int64_t rows = info.height < 0 ? -info.height : info.height;
    pictures::CheckSize(info.width, rows, name);
    if (planes != 1) Invalid(name, std::to_string(planes) + " planes");

    const int bpp = info.bitsPerPixel;
    if (bpp != 1 && bpp != 4 && bpp != 8 && bpp != 16 && bpp != 24 && bpp != 32)
        Invalid(name, std::to_string(bpp) + " bits per pixel");
    const bool rle = (info.compression == 1 && bpp == 8) || (info.compression == 2 && bpp == 4);
    const bool fields = info.compression == 3 && (bpp == 16 || bpp == 32);
    if (info.compression != 0 && !rle && !fields) Invalid(name, "unsupported compression");
    if (rle && info.height < 0) Invalid(name, "compressed rows stored top-down");

    if (info.pixelOffset < kFileHeader + size || info.pixelOffset >= fileSize)
        Invalid(name, "pixel data outside the file");
    if (!rle) {
        const std::int64_t stride = (info.width * bpp + 31) / 32 * 4;
        if (std::uint64_t(info.pixelOffset) + std::uint64_t(stride * rows) > fileSize)
            Invalid(name, "truncated pixel data");
    }
    return info;
}

std::optional<pictures::RowLayout> Rows(std::string_view head, std::uint64_t fileSize, const std::string& name) {
    const Layout l = Locate(head, fileSize, name);
    if (l.info.compression == 1 || l.info.compression == 2) return std::nullopt;
    pictures::RowLayout rows;
    rows.width = l.width;
    rows.height = l.height;
    rows.offset = l.pixels;
    rows.stride = (std::uint64_t(l.width) * std::uint64_t(l.info.bitsPerPixel) + 31) / 32 * 4;
    rows.rowBytes = rows.stride;  // the header's check wants every row's padding there too
    rows.bottomUp = !l.topDown;
    rows.convert = [l, channels = std::array{Channel(l.masks[0]), Channel(l.masks[1]), Channel(l.masks[2])}](
                       const std::uint8_t* in, Colour* out) { DecodeRow(l, in, out, channels.data()); };
    return rows;
}

Picture Decode(std::string_view bytes, const std::string& name) {
    const Layout l = Locate(bytes, bytes.size(), name);
    const int w = l.width, h = l.height;
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    Picture picture;
    picture.width = w;
    picture.height = h;
    picture.pixels.resize(size_t(w) * size_t(h));
    const auto rowOf = [&](int y) { return picture.pixels.data() + size_t(y) * size_t(w); };

    if (l.info.compression == 1 || l.info.compression == 2) {
        // Pixels the stream skips keep index 0, the first palette colour.
        const size_t stride = (size_t(w) + 3) / 4 * 4;
        std::vector<std::uint8_t> indices(stride * size_t(h), 0);
        if (!DecodeRle(bytes.substr(l.pixels), w, h, l.info.compression == 2, stride, indices))
            Invalid(name, "truncated compressed pixel data");
        for (int y = 0; y < h; ++y) {
            const std::uint8_t* in = indices.data() + size_t(y) * stride;
            Colour* out = rowOf(y);
            for (int x = 0; x < w; ++x) out[x] = l.palette[in[x]];
        }
        return picture;
    }

    const size_t stride = (size_t(w) * size_t(l.info.bitsPerPixel) + 31) / 32 * 4;
    if (l.pixels + stride * size_t(h) > bytes.size()) Invalid(name, "truncated pixel data");
    const Channel channels[3] = {Channel(l.masks[0]), Channel(l.masks[1]), Channel(l.masks[2])};
    // The rows in the order they are stored, which the memory reads fastest
    // (a bottom-up file's first row is the picture's last); a large picture
    // in bands of rows on the resampler's threads.
    const auto rows = [&](int i0, int i1) {
        for (int i = i0; i < i1; ++i)
            DecodeRow(l, data + l.pixels + size_t(i) * stride, rowOf(l.topDown ? i : h - 1 - i), channels);
    };
    pictures::InBands(w, h, rows);
    return picture;
}

}  // namespace glintbook::bmp

namespace glintbook::pictures {

void Bgr24Row(const std::uint8_t* in, Colour* out, int w) {
    int x = 0;
#ifdef GB_HAVE_AVX2_KERNEL
    if (bmp::UseAvx2()) x = bmp::Bgr24Avx2(in, out, w);
#endif
    for (; x < w; ++x) out[x] = bmp::FromBgr(in + 3 * x);
}

void Rgbx32Row(const std::uint8_t* in, Colour* out, int w, bool blueFirst) {
    int x = 0;
#ifdef GB_HAVE_AVX2_KERNEL
    if (bmp::UseAvx2()) x = bmp::Rgbx32Avx2(in, out, w, blueFirst);
#endif
    for (; x < w; ++x) out[x] = blueFirst ? bmp::FromBgr(in + 4 * x) : Le32(in + 4 * x) & 0xFFFFFF;
}

}  // namespace glintbook::pictures
