#include "formats.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO
#include <stb_image_write.h>

#ifdef _WIN32
#include "platform/windows_text.h"
#endif

namespace gamesim {

using glintbook::Colour;
using glintbook::Picture;

namespace {

unsigned Red(Colour c) { return c & 255; }
unsigned Green(Colour c) { return c >> 8 & 255; }
unsigned Blue(Colour c) { return c >> 16 & 255; }

void Le(std::string& out, std::uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out += char(v >> (8 * i) & 255);
}
void Be32(std::string& out, std::uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) out += char(v >> shift & 255);
}

std::uint32_t Pixel(Colour c, bool sixteen) {
    if (sixteen) return (Red(c) >> 3) << 11 | (Green(c) >> 2) << 5 | Blue(c) >> 3;
    return 0xFF000000u | Red(c) << 16 | Green(c) << 8 | Blue(c);  // X8R8G8B8, X as D3DX leaves it
}

// BMP: bottom-up rows, 32-bit BI_RGB, or 16-bit with R5G6B5 bit fields.
std::string Bmp(const Picture& pic, bool sixteen) {
    const int bytes = sixteen ? 2 : 4;
    const std::uint32_t stride = (std::uint32_t(pic.width) * bytes + 3) & ~3u;
    const std::uint32_t header = 14 + 40 + (sixteen ? 12 : 0), size = header + stride * std::uint32_t(pic.height);
    std::string out = "BM";
    Le(out, size, 4), Le(out, 0, 4), Le(out, header, 4);
    Le(out, 40, 4), Le(out, std::uint32_t(pic.width), 4), Le(out, std::uint32_t(pic.height), 4);
    Le(out, 1, 2), Le(out, std::uint32_t(bytes * 8), 2), Le(out, sixteen ? 3 : 0, 4), Le(out, stride * std::uint32_t(pic.height), 4);
    Le(out, 2835, 4), Le(out, 2835, 4), Le(out, 0, 4), Le(out, 0, 4);
    if (sixteen) Le(out, 0xF800, 4), Le(out, 0x07E0, 4), Le(out, 0x001F, 4);
    for (int y = pic.height - 1; y >= 0; --y) {
        const size_t start = out.size();
        for (int x = 0; x < pic.width; ++x) Le(out, Pixel(pic.at(x, y), sixteen), bytes);
        out.append(start + stride - out.size(), '\0');
    }
    return out;
}

// DDS: the 128-byte header of an uncompressed surface, one level, top-down rows.
std::string Dds(const Picture& pic, bool sixteen) {
    const int bytes = sixteen ? 2 : 4;
    const std::uint32_t pitch = std::uint32_t(pic.width) * bytes;
    std::string out = "DDS ";
    Le(out, 124, 4), Le(out, 0x1 | 0x2 | 0x4 | 0x8 | 0x1000, 4);  // caps, height, width, pitch, pixel format
    Le(out, std::uint32_t(pic.height), 4), Le(out, std::uint32_t(pic.width), 4), Le(out, pitch, 4);
    Le(out, 0, 4), Le(out, 0, 4);  // depth, mip levels
    for (int i = 0; i < 11; ++i) Le(out, 0, 4);
    Le(out, 32, 4), Le(out, 0x40, 4), Le(out, 0, 4), Le(out, std::uint32_t(bytes * 8), 4);  // DDPF_RGB
    if (sixteen) Le(out, 0xF800, 4), Le(out, 0x07E0, 4), Le(out, 0x001F, 4), Le(out, 0, 4);
    else Le(out, 0xFF0000, 4), Le(out, 0xFF00, 4), Le(out, 0xFF, 4), Le(out, 0, 4);
    Le(out, 0x1000, 4), Le(out, 0, 4), Le(out, 0, 4), Le(out, 0, 4), Le(out, 0, 4);  // DDSCAPS_TEXTURE
    for (int y = 0; y < pic.height; ++y)
        for (int x = 0; x < pic.width; ++x) Le(out, Pixel(pic.at(x, y), sixteen), bytes);
    return out;
}

// TGA: uncompressed 32-bit, bottom-left origin, as D3DX saves it.
std::string Tga(const Picture& pic) {
    std::string out(12, '\0');
    out[2] = 2;
    Le(out, std::uint32_t(pic.width), 2), Le(out, std::uint32_t(pic.height), 2);
    out += char(32), out += char(8);  // 8 bits of alpha, rows from the bottom
    for (int y = pic.height - 1; y >= 0; --y)
        for (int x = 0; x < pic.width; ++x) Le(out, Pixel(pic.at(x, y), false), 4);
    return out;
}

std::uint32_t Crc32(std::string_view bytes) {
    std::uint32_t crc = ~0u;
    for (unsigned char b : bytes) {
        crc ^= b;
        for (int k = 0; k < 8; ++k) crc = crc >> 1 ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

void Chunk(std::string& out, const char* type, const std::string& data) {
    Be32(out, std::uint32_t(data.size()));
    const std::string body = type + data;
    out += body;
    Be32(out, Crc32(body));
}

// PNG: 8-bit RGB whose pixels are kept in stored deflate blocks, as both
// the open engine's default and MGE XE's own encoder give them.
std::string Png(const Picture& pic) {
    std::string rows;  // each row: filter 0, then R G B
    for (int y = 0; y < pic.height; ++y) {
        rows += '\0';
        for (int x = 0; x < pic.width; ++x) {
            const Colour c = pic.at(x, y);
            rows += char(Red(c)), rows += char(Green(c)), rows += char(Blue(c));
        }
    }
    std::string z = "\x78\x01";  // zlib header, no preset dictionary
    for (size_t at = 0; at < rows.size() || at == 0; at += 65535) {
        const size_t n = std::min<size_t>(65535, rows.size() - at);
        z += char(at + n >= rows.size() ? 1 : 0);  // the last block says so
        z += char(n & 255), z += char(n >> 8), z += char(~n & 255), z += char(~n >> 8 & 255);
        z.append(rows, at, n);
    }
    std::uint32_t a = 1, b = 0;  // Adler-32 of the rows
    for (unsigned char c : rows) a = (a + c) % 65521, b = (b + a) % 65521;
    Be32(z, b << 16 | a);
    std::string header;
    Be32(header, std::uint32_t(pic.width)), Be32(header, std::uint32_t(pic.height));
    header += std::string("\x08\x02\x00\x00\x00", 5);  // 8-bit RGB, not interlaced
    std::string out = "\x89PNG\r\n\x1a\n";
    Chunk(out, "IHDR", header), Chunk(out, "IDAT", z), Chunk(out, "IEND", "");
    return out;
}

std::string Jpeg(const Picture& pic) {
    std::string rgb;
    rgb.reserve(size_t(pic.width) * size_t(pic.height) * 3);
    for (const Colour c : pic.pixels) rgb += char(Red(c)), rgb += char(Green(c)), rgb += char(Blue(c));
    std::string out;
    stbi_write_jpg_to_func([](void* to, void* data, int n) { static_cast<std::string*>(to)->append(static_cast<char*>(data), size_t(n)); },
                           &out, pic.width, pic.height, 3, rgb.data(), 90);
    return out;
}

}  // namespace

std::string Encode(const Picture& picture, FileFormat format, bool sixteenBits) {
    switch (format) {
    case FileFormat::Bmp: return Bmp(picture, sixteenBits);
    case FileFormat::Jpeg: return Jpeg(picture);
    case FileFormat::Dds: return Dds(picture, sixteenBits);
    case FileFormat::Png: return Png(picture);
    case FileFormat::Tga: return Tga(picture);
    }
    return {};
}

std::string WriteInPlace(const std::string& path, const std::string& bytes) {
#ifdef _WIN32
    FILE* f = _wfopen(glintbook::windows::Widen(path).c_str(), L"wbx");
#else
    FILE* f = std::fopen(path.c_str(), "wbx");
#endif
    if (!f) return "cannot create " + path;
    const char* pause = std::getenv("GAME_SIM_PAUSE_MS");
    const size_t half = pause && *pause ? bytes.size() / 2 : bytes.size();
    bool ok = std::fwrite(bytes.data(), 1, half, f) == half && std::fflush(f) == 0;
    if (ok && half < bytes.size()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(pause)));
        ok = std::fwrite(bytes.data() + half, 1, bytes.size() - half, f) == bytes.size() - half;
    }
    ok = std::fclose(f) == 0 && ok;
    return ok ? "" : "cannot write " + path;
}

}  // namespace gamesim
