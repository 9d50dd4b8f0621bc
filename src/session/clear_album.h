#pragma once

namespace glintbook {

// Empties album k (1..4): its 25 textures become copies of the stock
// texture, "Screen Shot Index" points at the album's first picture and its
// index becomes 0. Album 1 copies first and writes the settings after; the
// other albums write first. A copy that fails throws Failure, leaving what
// was done before it; the caller refreshes the display afterwards.
void ClearAlbum(int album);

}  // namespace glintbook
