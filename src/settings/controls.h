#pragma once
// The window's control state as the session routines read it. The routines
// run on the window's one thread and nothing changes a control while one of
// them runs, so a snapshot taken when the routine starts is what it would
// read control by control.
#include <array>

namespace glintbook {

struct Controls {
    std::array<bool, 4> optAlbum{true, false, false, false};
    bool opt512 = true;
    bool opt1024 = false;
    bool chkTwo = false;  // "Loop Pictures"
};

// The selected album: the first of optAlbum1..optAlbum4 that is set, in that
// order; 0 when none is.
inline int SelectedAlbum(const Controls& c) {
    for (int k = 0; k < 4; ++k)
        if (c.optAlbum[k]) return k + 1;
    return 0;
}

}  // namespace glintbook
