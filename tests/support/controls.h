#pragma once
// The player's choices as a test sets them: album k selected (0: none).
#include "settings/choices.h"

namespace glintbook::test {

inline Choices AlbumControls(int album, int resolution = 512, bool loop = false) {
    return Choices{album, resolution, loop};
}

}  // namespace glintbook::test
