// The PNG reader: the chunks, filters and colour forms here, the compressed
// stream through a deflate library. On Linux that is libdeflate, which
// inflates a whole buffer about twice as fast as zlib (the file is in memory
// and the size of the rows is known from the header, which is all it asks);
// mingw has no libdeflate, so the Windows program inflates with zlib.
#include "imaging/png_format.h"

#include "imaging/picture_readers.h"
#include "platform/failure.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#ifdef GLINTBOOK_HAVE_LIBDEFLATE
#include <libdeflate.h>
#else
#include <zlib.h>
#endif

namespace glintbook::png {

namespace {

constexpr char kSignature[8] = {'\x89', 'P', 'N', 'G', '\r', '\n', '\x1a', '\n'};

using pictures::Invalid;

std::uint32_t Be32(const std::uint8_t* p) {
    return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3];
}

std::uint32_t Crc(const std::uint8_t* p, size_t n) {
#ifdef GLINTBOOK_HAVE_LIBDEFLATE
    return libdeflate_crc32(0, p, n);
#else
    return std::uint32_t(crc32(0, p, uInt(n)));
#endif
}

// Inflates a zlib stream into exactly `size` bytes: a stream that is
// damaged, or gives fewer or more bytes, fails.
bool Inflate(const std::uint8_t* in, size_t inSize, std::uint8_t* out, size_t size) {
#ifdef GLINTBOOK_HAVE_LIBDEFLATE
    libdeflate_decompressor* d = libdeflate_alloc_decompressor();
    if (!d) throw Failure(ErrOutOfMemory, "Out of memory");
    const libdeflate_result r = libdeflate_zlib_decompress(d, in, inSize, out, size, nullptr);
    libdeflate_free_decompressor(d);
    return r == LIBDEFLATE_SUCCESS;
#else
    z_stream s{};
    if (inflateInit(&s) != Z_OK) throw Failure(ErrOutOfMemory, "Out of memory");
    s.next_in = const_cast<Bytef*>(in);
    s.avail_in = uInt(inSize);
    s.next_out = out;
    s.avail_out = uInt(size);
    const int r = inflate(&s, Z_FINISH);
    const bool ok = r == Z_STREAM_END && s.avail_out == 0;
    inflateEnd(&s);
    return ok;
#endif
}

struct Header {
    int width = 0, height = 0;
    int depth = 0, colourType = 0, channels = 0;
    bool interlaced = false;
    size_t bitsPerPixel() const { return size_t(depth) * size_t(channels); }
    size_t rowBytes(int w) const { return (size_t(w) * bitsPerPixel() + 7) / 8; }
};

Header ReadHeader(const std::uint8_t* p, const std::string& name) {
    Header h;
    const std::uint32_t w = Be32(p), ht = Be32(p + 4);
    h.depth = p[8];
    h.colourType = p[9];
    pictures::CheckSize(w, ht, name);
    h.width = int(w), h.height = int(ht);
    const int d = h.depth;
    bool depthOk = false;
    switch (h.colourType) {
    case 0: h.channels = 1, depthOk = d == 1 || d == 2 || d == 4 || d == 8 || d == 16; break;  // grey
    case 2: h.channels = 3, depthOk = d == 8 || d == 16; break;                                 // RGB
    case 3: h.channels = 1, depthOk = d == 1 || d == 2 || d == 4 || d == 8; break;              // palette
    case 4: h.channels = 2, depthOk = d == 8 || d == 16; break;                                 // grey, alpha
    case 6: h.channels = 4, depthOk = d == 8 || d == 16; break;                                 // RGBA
    default: Invalid(name, "colour type " + std::to_string(h.colourType));
    }
    if (!depthOk) Invalid(name, std::to_string(d) + " bits a sample in colour type " + std::to_string(h.colourType));
    if (p[10] != 0 || p[11] != 0) Invalid(name, "unknown compression or filter method");
    if (p[12] > 1) Invalid(name, "unknown interlace method");
    h.interlaced = p[12] == 1;
    return h;
}

// The passes: the whole picture, or Adam7's seven sub-pictures, each every
// dx-th pixel of every dy-th row from (x0, y0).
struct Pass {
    int x0, y0, dx, dy;
    // Its width and height in pixels; either is 0 when the picture is too
    // small to have this pass.
    std::pair<int, int> size(const Header& h) const {
        return {(h.width - x0 + dx - 1) / dx, (h.height - y0 + dy - 1) / dy};
    }
};
constexpr Pass kWhole[] = {{0, 0, 1, 1}};
constexpr Pass kAdam7[] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4}, {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};

inline std::uint8_t Paeth(int a, int b, int c) {
    const int p = a + b - c;
    const int pa = p > a ? p - a : a - p, pb = p > b ? p - b : b - p, pc = p > c ? p - c : c - p;
    return std::uint8_t(pa <= pb && pa <= pc ? a : pb <= pc ? b : c);
}

// Undoes one row's filter in place; `prev` is the row above, already
// unfiltered (zeros for a pass's first row). False for an unknown filter.
bool Unfilter(std::uint8_t filter, std::uint8_t* row, const std::uint8_t* prev, size_t n, size_t bpp) {
    switch (filter) {
    case 0: return true;
    case 1:
        for (size_t i = bpp; i < n; ++i) row[i] = std::uint8_t(row[i] + row[i - bpp]);
        return true;
    case 2:
        for (size_t i = 0; i < n; ++i) row[i] = std::uint8_t(row[i] + prev[i]);
        return true;
    case 3:
        for (size_t i = 0; i < bpp && i < n; ++i) row[i] = std::uint8_t(row[i] + (prev[i] >> 1));
        for (size_t i = bpp; i < n; ++i) row[i] = std::uint8_t(row[i] + ((row[i - bpp] + prev[i]) >> 1));
        return true;
    case 4:
        for (size_t i = 0; i < bpp && i < n; ++i) row[i] = std::uint8_t(row[i] + prev[i]);
        for (size_t i = bpp; i < n; ++i) row[i] = std::uint8_t(row[i] + Paeth(row[i - bpp], prev[i], prev[i - bpp]));
        return true;
    default: return false;
    }
}

inline Colour Rgb(std::uint32_t r, std::uint32_t g, std::uint32_t b) { return r | g << 8 | b << 16; }

// One unfiltered row of `w` pixels to colours.
void Convert(const Header& h, const std::array<Colour, 256>& palette, const std::uint8_t* in, Colour* out, int w) {
    const int d = h.depth;
    if (d < 8) {  // grey or palette indices packed from the high bits
        const int perByte = 8 / d, mask = (1 << d) - 1, scale = 255 / mask;
        for (int x = 0; x < w; ++x) {
            const int v = (in[x / perByte] >> (8 - d - d * (x % perByte))) & mask;
            out[x] = h.colourType == 3 ? palette[size_t(v)] : Colour(v * scale) * 0x010101u;
        }
        return;
    }
    const size_t step = size_t(h.channels) * size_t(d / 8), hi = size_t(d / 8);  // 16 bits: the high byte first
    switch (h.colourType) {
    case 0:
    case 4:
        for (int x = 0; x < w; ++x) out[x] = Colour(in[size_t(x) * step]) * 0x010101u;
        break;
    case 3:
        for (int x = 0; x < w; ++x) out[x] = palette[in[x]];
        break;
    default:  // 2, 6
        for (int x = 0; x < w; ++x) {
            const std::uint8_t* p = in + size_t(x) * step;
            out[x] = Rgb(p[0], p[hi], p[2 * hi]);
        }
        break;
    }
}

}  // namespace

bool IsPng(std::string_view bytes) {
    return bytes.size() >= sizeof kSignature && std::memcmp(bytes.data(), kSignature, sizeof kSignature) == 0;
}

namespace {

// A file read to its inflated rows, each still filtered.
struct Inflated {
    Header h;
    std::array<Colour, 256> palette{};  // black past the file's colours
    std::vector<std::uint8_t> raw;
};

Inflated Read(std::string_view bytes, const std::string& name) {
    if (!IsPng(bytes)) Invalid(name, "not a PNG file");
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const size_t size = bytes.size();
    Inflated file;
    Header& h = file.h;
    bool haveHeader = false, ended = false;
    std::array<Colour, 256>& palette = file.palette;
    bool havePalette = false;
    // The compressed stream: one piece in place when the file has one pixel
    // chunk, else the pieces joined.
    std::vector<std::pair<size_t, size_t>> pieces;
    for (size_t at = sizeof kSignature; !ended;) {
        if (size - at < 12) Invalid(name, "truncated");
        const std::uint32_t length = Be32(data + at);
        if (length > 0x7FFFFFFFu || size - at - 12 < length) Invalid(name, "truncated");
        const std::uint8_t* type = data + at + 4;
        const std::uint8_t* body = type + 4;
#ifndef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
        if (Crc(type, 4 + size_t(length)) != Be32(body + length))
            Invalid(name, "damaged " + std::string(reinterpret_cast<const char*>(type), 4) + " chunk");
#endif
        const std::string_view kind(reinterpret_cast<const char*>(type), 4);
        if (!haveHeader) {
            if (kind != "IHDR" || length != 13) Invalid(name, "no header");
            h = ReadHeader(body, name);
            haveHeader = true;
        } else if (kind == "PLTE") {
            if (length % 3 != 0 || length == 0 || length > 3 * 256) Invalid(name, "damaged palette");
            for (size_t i = 0; i < length / 3; ++i) palette[i] = Rgb(body[3 * i], body[3 * i + 1], body[3 * i + 2]);
            havePalette = true;
        } else if (kind == "IDAT") {
            pieces.emplace_back(size_t(body - data), size_t(length));
        } else if (kind == "IEND") {
            ended = true;
        } else if (!(type[0] & 0x20)) {  // a chunk marked critical that we do not know
            Invalid(name, "unknown chunk " + std::string(kind));
        }
        at += 12 + size_t(length);
    }
    if (h.colourType == 3 && !havePalette) Invalid(name, "no palette");
    if (pieces.empty()) Invalid(name, "no pixel data");

    const Pass* passes = h.interlaced ? kAdam7 : kWhole;
    const int passCount = h.interlaced ? 7 : 1;
    size_t rawSize = 0;
    for (int p = 0; p < passCount; ++p) {
        const auto [pw, ph] = passes[p].size(h);
        if (pw > 0 && ph > 0) rawSize += size_t(ph) * (1 + h.rowBytes(pw));
    }

    std::vector<std::uint8_t>& raw = file.raw;
    raw.resize(rawSize);
    bool inflated;
    if (pieces.size() == 1) {
        inflated = Inflate(data + pieces[0].first, pieces[0].second, raw.data(), raw.size());
    } else {
        std::vector<std::uint8_t> joined;
        size_t total = 0;
        for (const auto& piece : pieces) total += piece.second;
        joined.reserve(total);
        for (const auto& [from, n] : pieces) joined.insert(joined.end(), data + from, data + from + n);
        inflated = Inflate(joined.data(), joined.size(), raw.data(), raw.size());
    }
    if (!inflated) Invalid(name, "damaged or truncated pixel data");
    return file;
}

Picture DecodeInflated(Inflated& file, const std::string& name) {
    const Header& h = file.h;
    const Pass* passes = h.interlaced ? kAdam7 : kWhole;
    const int passCount = h.interlaced ? 7 : 1;
    Picture picture;
    picture.width = h.width;
    picture.height = h.height;
    picture.pixels.resize(size_t(h.width) * size_t(h.height));
    const size_t bpp = std::max<size_t>(1, h.bitsPerPixel() / 8);
    std::vector<std::uint8_t> zeros(h.rowBytes(h.width), 0);
    std::vector<Colour> spread(h.interlaced ? size_t(h.width) : 0);
    std::uint8_t* at = file.raw.data();
    for (int p = 0; p < passCount; ++p) {
        const Pass& pass = passes[p];
        const auto [pw, ph] = pass.size(h);
        if (pw <= 0 || ph <= 0) continue;
        const size_t n = h.rowBytes(pw);
        const std::uint8_t* prev = zeros.data();
        for (int y = 0; y < ph; ++y, at += 1 + n) {
            if (!Unfilter(at[0], at + 1, prev, n, bpp)) Invalid(name, "unknown row filter");
            prev = at + 1;
            const int py = pass.y0 + y * pass.dy;
            Colour* row = picture.pixels.data() + size_t(py) * size_t(h.width);
            if (!h.interlaced) {
                Convert(h, file.palette, at + 1, row, pw);
            } else {
                Convert(h, file.palette, at + 1, spread.data(), pw);
                for (int x = 0; x < pw; ++x) row[pass.x0 + x * pass.dx] = spread[size_t(x)];
            }
        }
    }
    return picture;
}

// A plain (not interlaced) picture's rows, unfiltered in place one after
// another as they are asked for.
class PngRows final : public pictures::RowSource {
public:
    PngRows(Inflated file, std::string name)
        : file_(std::move(file)), name_(std::move(name)), zeros_(file_.h.rowBytes(file_.h.width), 0) {
        width_ = file_.h.width;
        height_ = file_.h.height;
    }
    bool AnyOrder() const override { return false; }
    void Read(int first, int count, Colour* out) override {
        if (first != next_) throw std::logic_error("PNG rows read out of order");
        const Header& h = file_.h;
        const size_t n = h.rowBytes(h.width), bpp = std::max<size_t>(1, h.bitsPerPixel() / 8);
        for (int y = first; y < first + count; ++y, out += width_) {
            std::uint8_t* at = file_.raw.data() + size_t(y) * (1 + n);
            const std::uint8_t* prev = y == 0 ? zeros_.data() : at - n;
            if (!Unfilter(at[0], at + 1, prev, n, bpp)) Invalid(name_, "unknown row filter");
            Convert(h, file_.palette, at + 1, out, width_);
        }
        next_ = first + count;
    }

private:
    Inflated file_;
    std::string name_;
    std::vector<std::uint8_t> zeros_;
    int next_ = 0;
};

}  // namespace

Picture Decode(std::string_view bytes, const std::string& name) {
    Inflated file = Read(bytes, name);
    return DecodeInflated(file, name);
}

std::unique_ptr<pictures::RowSource> Rows(std::string_view bytes, std::shared_ptr<const void>, const std::string& name) {
    Inflated file = Read(bytes, name);
    if (file.h.interlaced) return pictures::RowsOfPicture(DecodeInflated(file, name));
    return std::make_unique<PngRows>(std::move(file), name);
}

}  // namespace glintbook::png
