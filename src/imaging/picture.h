#pragma once
// A picture that owns its pixels: 32 bits a pixel in memory, row by row from
// the top-left pixel, never flipped. Each pixel is a Colour 0x00BBGGRR (red in
// the low byte), the layout the resampler's arithmetic is defined on.
#include <cstddef>
#include <cstdint>
#include <vector>

namespace glintbook {

using Colour = std::uint32_t;

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<Colour> pixels;  // width * height, row-major, top row first

    Colour at(int x, int y) const { return pixels[std::size_t(y) * std::size_t(width) + std::size_t(x)]; }
    Colour& at(int x, int y) { return pixels[std::size_t(y) * std::size_t(width) + std::size_t(x)]; }
};

}  // namespace glintbook
