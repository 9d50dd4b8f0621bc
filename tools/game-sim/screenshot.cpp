#include "screenshot.h"

#include "imaging/picture_io.h"
#include "platform/failure.h"
#include "platform/files.h"
#include "settings/catalogue.h"
#include "settings/open_engine.h"
#include "settings/settings_file.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>

namespace gamesim {

using glintbook::Colour;
using glintbook::Picture;

namespace {

// A 3x5 digit font: one byte a row, bit 2 is the left column.
constexpr std::array<std::array<std::uint8_t, 5>, 11> kGlyphs{{
    {7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1}, {7, 4, 7, 1, 7},
    {7, 4, 7, 5, 7}, {7, 1, 1, 1, 1}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7}, {0, 0, 7, 0, 0},  // '-' last
}};

constexpr Colour Rgb(unsigned r, unsigned g, unsigned b) { return (r & 255) | (g & 255) << 8 | (b & 255) << 16; }

// 0..255 and back down again: a gradient that wraps without a seam.
constexpr unsigned Wave(unsigned t) { return t & 256 ? 255 - (t & 255) : t & 255; }

void Fill(Picture& pic, int x0, int y0, int w, int h, Colour c) {
    const int x1 = std::min(pic.width, x0 + w), y1 = std::min(pic.height, y0 + h);
    for (int y = std::max(0, y0); y < y1; ++y)
        for (int x = std::max(0, x0); x < x1; ++x) pic.at(x, y) = c;
}

// The open engine's default screenshot format: an RGB PNG whose pixels are
// kept in stored deflate blocks. Plain, but a PNG any reader takes.
std::uint32_t Crc32(std::string_view bytes, std::uint32_t crc = 0) {
    crc = ~crc;
    for (unsigned char b : bytes) {
        crc ^= b;
        for (int k = 0; k < 8; ++k) crc = crc >> 1 ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

void Be32(std::string& out, std::uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) out += char(v >> shift & 255);
}

void Chunk(std::string& out, const char* type, const std::string& data) {
    Be32(out, std::uint32_t(data.size()));
    const std::string body = type + data;
    out += body;
    Be32(out, Crc32(body));
}

std::string EncodePng(const Picture& pic) {
    std::string rows;  // each row: filter 0, then R G B
    for (int y = 0; y < pic.height; ++y) {
        rows += '\0';
        for (int x = 0; x < pic.width; ++x) {
            const Colour c = pic.at(x, y);
            rows += char(c & 255), rows += char(c >> 8 & 255), rows += char(c >> 16 & 255);
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

}  // namespace

Picture DrawShot(int width, int height, long long number) {
    Picture pic{width, height, std::vector<Colour>(size_t(width) * size_t(height))};
    const unsigned shift = unsigned(number) * 47u;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pic.at(x, y) = Rgb(Wave(unsigned(x) * 256 / unsigned(width) + shift),
                               Wave(unsigned(y) * 256 / unsigned(height) + 2 * shift), Wave(3 * shift + 128));

    // The number on a black plate, as large as fits: each character is three
    // cells and a gap, with a cell of border all round.
    const std::string text = glintbook::DecimalText(number);
    const int cellsWide = 4 * int(text.size()) + 1, cellsHigh = 7;
    const int cell = std::max(1, std::min(width * 3 / 4 / cellsWide, height / 2 / cellsHigh));
    const int left = (width - cellsWide * cell) / 2, top = (height - cellsHigh * cell) / 2;
    Fill(pic, left, top, cellsWide * cell, cellsHigh * cell, Rgb(0, 0, 0));
    for (size_t i = 0; i < text.size(); ++i) {
        const auto& glyph = kGlyphs[text[i] == '-' ? 10 : size_t(text[i] - '0')];
        for (int row = 0; row < 5; ++row)
            for (int col = 0; col < 3; ++col)
                if (glyph[size_t(row)] >> (2 - col) & 1)
                    Fill(pic, left + (1 + 4 * int(i) + col) * cell, top + (1 + row) * cell, cell, cell,
                         Rgb(255, 255, 255));
    }
    return pic;
}

std::string TakeScreenshot(int width, int height) {
    namespace key = glintbook::key;
    const auto general = glintbook::section::General;
    if (glintbook::ReadSettingInt(general, key::ScreenShotEnable) != 1)
        return "shot ignored: Screen Shot Enable is not 1";

    const int index = glintbook::ReadSettingInt(general, key::ScreenShotIndex);
    const std::string name = glintbook::ReadSettingText(general, key::ScreenShotBaseName) + " " +
                             glintbook::DecimalText(index) + ".bmp";
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    try {
        glintbook::SavePicture(DrawShot(width, height, index), glintbook::files::GamePath("\\" + name));
    } catch (const glintbook::Failure& failure) {
        return "shot failed: " + failure.description();
    }
    // Only a picture that is wholly on disk moves the counter on.
    glintbook::WriteSetting(general, key::ScreenShotIndex, glintbook::DecimalText(index + 1LL));
    return "shot " + name + " " + size;
}

std::string TakeEngineScreenshot(int width, int height) {
    namespace fs = std::filesystem;
    const fs::path folder = glintbook::openmw::ScreenshotFolder();
    std::error_code ec;
    fs::create_directories(folder, ec);
    // The engine's own setting decides the format: PNG unless it names BMP.
    const bool bmp = glintbook::openmw::ScreenshotFormat() == "bmp";
    for (long long n = 0;; ++n) {
        const std::string digits = std::to_string(n);
        const std::string name = "screenshot" + std::string(digits.size() < 3 ? 3 - digits.size() : 0, '0') + digits +
                                 (bmp ? ".bmp" : ".png");
        if (fs::exists(folder / name, ec)) continue;
        try {
            const Picture shot = DrawShot(width, height, n);
            if (bmp) glintbook::SavePicture(shot, (folder / name).string());
            else glintbook::files::WriteFileAtomic((folder / name).string(), EncodePng(shot));
        } catch (const glintbook::Failure& failure) {
            return "shot failed: " + failure.description();
        }
        return "shot " + (folder / name).string() + " " + std::to_string(width) + "x" + std::to_string(height);
    }
}

}  // namespace gamesim
