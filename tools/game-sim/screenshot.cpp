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
    for (long long n = 0;; ++n) {
        const std::string digits = std::to_string(n);
        const std::string name = "screenshot" + std::string(digits.size() < 3 ? 3 - digits.size() : 0, '0') + digits + ".bmp";
        if (fs::exists(folder / name, ec)) continue;
        try {
            glintbook::SavePicture(DrawShot(width, height, n), (folder / name).string());
        } catch (const glintbook::Failure& failure) {
            return "shot failed: " + failure.description();
        }
        return "shot " + (folder / name).string() + " " + std::to_string(width) + "x" + std::to_string(height);
    }
}

}  // namespace gamesim
