#pragma once
// The player's choices in the window as the routines below it take them:
// plain values, read from the controls once when a handler starts. Nothing
// changes a control while a handler runs, so this is what the routines would
// read control by control.

namespace glintbook {

struct Choices {
    int album = 1;          // the first album option that is set, 1..4; 0 when none is
    int textureSize = 512;  // 512, 1024, or 0 when neither resolution option is set
    bool loop = false;      // "Loop Pictures"
    bool operator==(const Choices&) const = default;
};

}  // namespace glintbook
