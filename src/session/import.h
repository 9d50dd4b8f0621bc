#pragma once
// Taking the game's newest screenshot into the selected album.
#include "imaging/picture_rows.h"
#include "settings/choices.h"

#include <memory>
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

namespace shots {
struct Source;
}

// A screenshot of a source that writes in place (MGE XE, the open engine) at
// `screenshot` (a full path, any format the picture loader reads) becomes
// picture p, "Screen Shot Index" + 1, written back before the screenshot
// goes, as these writers do not count. The
// archive copy keeps its name and format with a serial
// ("screenshot007_0.png"), unless the screenshot already lies in the archive
// and stays; then texture p - 1 and book art p as above, the screenshot
// deleted (when copied) and the full-album rule applied. `opened` is the
// screenshot opened for its rows when the caller has opened it already.
ImportOutcome ImportShot(const Choices& choices, const shots::Source& source, const std::string& screenshot,
                         std::unique_ptr<pictures::RowSource> opened = nullptr);

}  // namespace glintbook
