#pragma once
// Taking the game's newest screenshot into the selected album.
#include "settings/choices.h"

#include <string>

namespace glintbook {

enum class ImportOutcome {
    Done,          // taken in; the album has room, or it started over
    AlbumClosed,   // the album is full and does not loop: the session must close
};

// Archives the screenshot "<base> <p-1>.bmp", writes the album texture
// "qor_tx_photo_<p-1>.bmp" (at the chosen size; none without one) and the
// book art "Photo <p>.bmp" (512 square), deletes the screenshot, then applies
// the full-album rule. p is "Screen Shot Index" as read once at the start. A
// failing step throws Failure; what earlier steps wrote stays.
ImportOutcome ImportScreenshot(const Choices& choices);

// The open engine's screenshot at `screenshot` (a full path in its own
// folder, any format the picture loader reads) becomes picture p, "Screen
// Shot Index" + 1: the archive copy keeps its name and format with a serial
// ("screenshot007_0.png"), texture p - 1 and book art p as above; then the
// counter is set to p, the screenshot deleted and the full-album rule applied.
ImportOutcome ImportEngineScreenshot(const Choices& choices, const std::string& screenshot);

}  // namespace glintbook
