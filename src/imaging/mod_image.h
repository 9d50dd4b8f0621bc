#pragma once
// ModImage: area-averaging resampling of pictures.
#include "imaging/picture.h"

#include <cstdint>

namespace glintbook {

// Splits a colour 0x00BBGGRR into its channel bytes; bits 24..31 are ignored.
void SplitColor(Colour colour, std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue);

// A new width x height picture made from `source` by area averaging. The
// result owns its pixels; the source is only read. width, height >= 1.
Picture ResizePicture(const Picture& source, int width, int height);

}  // namespace glintbook
