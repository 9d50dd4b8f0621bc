#pragma once
// A game folder laid out for imports: Morrowind.ini, the Textures folder and
// a screenshot of a given size with distinct pixels.
#include "imaging/picture.h"
#include "imaging/picture_io.h"
#include "support/controls.h"
#include "support/game_folder.h"

#include <string>

namespace glintbook::test {

inline Picture Pattern(int width, int height, unsigned seed) {
    Picture p{width, height, std::vector<Colour>(size_t(width) * size_t(height))};
    unsigned s = seed * 2654435761u + 1;
    for (Colour& c : p.pixels) {
        s = s * 1103515245u + 12345u;
        c = (s >> 8) & 0x00FFFFFFu;
    }
    return p;
}

inline void SaveShot(const GameFolder& folder, const std::string& name, int width, int height, unsigned seed = 1) {
    SavePicture(Pattern(width, height, seed), folder.file(name));
}

}  // namespace glintbook::test
