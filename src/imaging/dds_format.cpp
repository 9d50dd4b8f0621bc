// The DDS reader: a 128-byte header ("DDS ", then the 124-byte surface
// description with its pixel format), then the top mip level's rows.
#include "imaging/dds_format.h"

#include "imaging/picture_readers.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace glintbook::dds {

namespace {

using pictures::Invalid;
using pictures::Le32;

constexpr size_t kHeader = 128;
constexpr std::uint32_t kPitch = 0x8;           // DDSD_PITCH: the header's pitch is the row stride
constexpr std::uint32_t kFourCC = 0x4;          // DDPF_FOURCC
constexpr std::uint32_t kRgb = 0x40;            // DDPF_RGB

// One channel under its mask, widened to 8 bits (pictures::Widen) through a
// table of its values; a channel wider than 8 bits keeps its top 8.
struct Channel {
    int shift = 0, bits = 0, drop = 0;
    std::uint32_t mask = 0;
    std::array<std::uint8_t, 256> widened{};
    explicit Channel(std::uint32_t m) : mask(m) {
        while (m && !(m & 1)) ++shift, m >>= 1;
        while (m & 1) ++bits, m >>= 1;
        drop = shift + std::max(0, bits - 8);
        const int kept = std::min(bits, 8);
        for (std::uint32_t v = 0; kept > 0 && v < (1u << kept); ++v) widened[v] = std::uint8_t(pictures::Widen(v, kept));
    }
    bool contiguous() const { return bits > 0 && (mask >> shift) == (std::uint64_t(1) << bits) - 1; }
    std::uint32_t operator()(std::uint32_t pixel) const { return widened[(pixel & mask) >> drop]; }
};

std::string FourCC(std::uint32_t code) {
    std::string s;
    for (int i = 0; i < 4; ++i) {
        const char c = char(code >> (8 * i) & 0xFF);
        if (c < ' ' || c > '~') return std::to_string(code);
        s += c;
    }
    return s;
}

}  // namespace

bool IsDds(std::string_view bytes) { return bytes.size() >= 4 && std::memcmp(bytes.data(), "DDS ", 4) == 0; }

namespace {

// A checked surface: its size, where its rows are and how a pixel reads.
struct Surface {
    int width = 0, height = 0;
    size_t stride = 0, packed = 0;
    std::uint32_t bitCount = 0;
    bool bgr = false, rgb = false;
    Channel channels[3] = {Channel(0), Channel(0), Channel(0)};
};

Surface Check(std::string_view head, std::uint64_t fileSize, const std::string& name) {
    if (!IsDds(head)) Invalid(name, "not a DDS file");
    if (fileSize < kHeader) Invalid(name, "truncated header");
    const std::uint8_t* b = pictures::Bytes(head);
    if (Le32(b + 4) != 124 || Le32(b + 76) != 32) Invalid(name, "unknown header form");
    const std::uint32_t flags = Le32(b + 8), pitch = Le32(b + 20);
    const std::uint32_t format = Le32(b + 80), bitCount = Le32(b + 88);
    const std::int64_t height = Le32(b + 12), width = Le32(b + 16);
    if (format & kFourCC) {
        const std::string code = FourCC(Le32(b + 84));
        const bool block = code.size() == 4 && (code.rfind("DXT", 0) == 0 || code.rfind("BC", 0) == 0 ||
                                                code.rfind("ATI", 0) == 0 || code == "DX10");
        Invalid(name, block ? "compressed (" + code + "): only uncompressed DDS is read"
                            : "pixels in FourCC form " + code + ": only uncompressed RGB is read");
    }
    if (!(format & kRgb)) Invalid(name, "not RGB pixels: only uncompressed RGB is read");
    if (bitCount != 16 && bitCount != 24 && bitCount != 32) Invalid(name, std::to_string(bitCount) + " bits per pixel");
    Surface s{.bitCount = bitCount, .channels = {Channel(Le32(b + 92)), Channel(Le32(b + 96)), Channel(Le32(b + 100))}};
    const std::uint32_t r = s.channels[0].mask, g = s.channels[1].mask, bl = s.channels[2].mask;
    const bool apart = (r & g) == 0 && (g & bl) == 0 && (r & bl) == 0 && (std::uint64_t(r | g | bl) >> bitCount) == 0;
    if (!apart || !s.channels[0].contiguous() || !s.channels[1].contiguous() || !s.channels[2].contiguous())
        Invalid(name, "colour masks that do not fit the pixel");
    pictures::CheckSize(width, height, name);
    s.width = int(width), s.height = int(height);
    s.packed = size_t(s.width) * (bitCount / 8);
    // D3DX gives the row pitch; a pitch of 0, or a linear size given
    // instead, leaves the rows packed.
    s.stride = (flags & kPitch) && pitch != 0 ? pitch : s.packed;
    if (s.stride < s.packed) Invalid(name, "a row pitch shorter than a row");
    if (fileSize - kHeader < std::uint64_t(s.stride) * std::uint64_t(s.height - 1) + s.packed)
        Invalid(name, "truncated pixel data");
    s.bgr = r == 0xFF0000 && g == 0xFF00 && bl == 0xFF;  // A8R8G8B8, X8R8G8B8, R8G8B8: bytes B, G, R
    s.rgb = r == 0xFF && g == 0xFF00 && bl == 0xFF0000;  // A8B8G8R8, X8B8G8R8: bytes R, G, B
    return s;
}

void ConvertRow(const Surface& s, const std::uint8_t* in, Colour* out) {
    const int w = s.width;
    if (s.bitCount == 24 && s.bgr) return pictures::Bgr24Row(in, out, w);
    if (s.bitCount == 32 && (s.rgb || s.bgr)) return pictures::Rgbx32Row(in, out, w, s.bgr);
    const size_t step = s.bitCount / 8;
    for (int x = 0; x < w; ++x) {
        const std::uint8_t* p = in + size_t(x) * step;
        const std::uint32_t v = s.bitCount == 16   ? pictures::Le16(p)
                                : s.bitCount == 24 ? p[0] | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16
                                                   : Le32(p);
        out[x] = s.channels[0](v) | s.channels[1](v) << 8 | s.channels[2](v) << 16;
    }
}

}  // namespace

std::optional<pictures::RowLayout> Rows(std::string_view head, std::uint64_t fileSize, const std::string& name) {
    auto s = std::make_shared<const Surface>(Check(head, fileSize, name));
    pictures::RowLayout rows;
    rows.width = s->width;
    rows.height = s->height;
    rows.offset = kHeader;
    rows.stride = s->stride;
    rows.rowBytes = s->packed;
    rows.convert = [s](const std::uint8_t* in, Colour* out) { ConvertRow(*s, in, out); };
    return rows;
}

Picture Decode(std::string_view bytes, const std::string& name) {
    const Surface s = Check(bytes, bytes.size(), name);
    Picture picture = pictures::Blank(s.width, s.height);
    const std::uint8_t* rows = pictures::Bytes(bytes) + kHeader;
    pictures::InBands(s.width, s.height, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) ConvertRow(s, rows + size_t(y) * s.stride, picture.pixels.data() + size_t(y) * size_t(s.width));
    });
    return picture;
}

}  // namespace glintbook::dds
