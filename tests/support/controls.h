#pragma once
// The window's controls as a test sets them: album k selected (0: none).
#include "settings/controls.h"

namespace glintbook::test {

inline Controls AlbumControls(int album, int resolution = 512, bool loop = false) {
    Controls c;
    c.optAlbum = {album == 1, album == 2, album == 3, album == 4};
    c.opt512 = resolution == 512;
    c.opt1024 = resolution == 1024;
    c.chkTwo = loop;
    return c;
}

}  // namespace glintbook::test
