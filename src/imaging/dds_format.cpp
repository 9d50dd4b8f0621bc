// The DDS reader: a 128-byte header ("DDS ", then the 124-byte surface
// description with its pixel format), then the top mip level's rows.
#include "imaging/dds_format.h"

#include "imaging/picture_readers.h"

#include <algorithm>
#include <array>
#include <cstring>

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

Picture Decode(std::string_view bytes, const std::string& name) {
    if (!IsDds(bytes)) Invalid(name, "not a DDS file");
    if (bytes.size() < kHeader) Invalid(name, "truncated header");
    const std::uint8_t* b = pictures::Bytes(bytes);
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
    const Channel channels[3] = {Channel(Le32(b + 92)), Channel(Le32(b + 96)), Channel(Le32(b + 100))};
    const std::uint32_t r = channels[0].mask, g = channels[1].mask, bl = channels[2].mask;
    const bool apart = (r & g) == 0 && (g & bl) == 0 && (r & bl) == 0 && (std::uint64_t(r | g | bl) >> bitCount) == 0;
    if (!apart || !channels[0].contiguous() || !channels[1].contiguous() || !channels[2].contiguous())
        Invalid(name, "colour masks that do not fit the pixel");
    pictures::CheckSize(width, height, name);
    const int w = int(width), h = int(height);
    const size_t step = bitCount / 8, packed = size_t(w) * step;
    // D3DX gives the row pitch; a pitch of 0, or a linear size given
    // instead, leaves the rows packed.
    const size_t stride = (flags & kPitch) && pitch != 0 ? pitch : packed;
    if (stride < packed) Invalid(name, "a row pitch shorter than a row");
    if (bytes.size() - kHeader < stride * size_t(h - 1) + packed) Invalid(name, "truncated pixel data");

    Picture picture = pictures::Blank(w, h);
    const std::uint8_t* rows = b + kHeader;
    const bool bgr = r == 0xFF0000 && g == 0xFF00 && bl == 0xFF;  // A8R8G8B8, X8R8G8B8, R8G8B8: bytes B, G, R
    const bool rgb = r == 0xFF && g == 0xFF00 && bl == 0xFF0000;  // A8B8G8R8, X8B8G8R8: bytes R, G, B
    const auto colour = [&](std::uint32_t v) { return channels[0](v) | channels[1](v) << 8 | channels[2](v) << 16; };
    pictures::InBands(w, h, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            const std::uint8_t* in = rows + size_t(y) * stride;
            Colour* out = picture.pixels.data() + size_t(y) * size_t(w);
            if (bitCount == 24 && bgr) {
                pictures::Bgr24Row(in, out, w);
            } else if (bitCount == 32 && (rgb || bgr)) {
                pictures::Rgbx32Row(in, out, w, bgr);
            } else {
                for (int x = 0; x < w; ++x) {
                    const std::uint8_t* p = in + size_t(x) * step;
                    out[x] = colour(bitCount == 16   ? pictures::Le16(p)
                                    : bitCount == 24 ? p[0] | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16
                                                     : Le32(p));
                }
            }
        }
    });
    return picture;
}

}  // namespace glintbook::dds
