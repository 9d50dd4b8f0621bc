#pragma once
// The stock texture: an empty photograph, 512 x 512. Clearing an album copies
// it over the album's textures, and the kit copies it wherever an album
// picture is still missing, so the game never shows a missing texture.
#include "imaging/picture.h"

namespace glintbook::plugin {

inline constexpr int kStockSide = 512;

Picture StockPicture();

}  // namespace glintbook::plugin
