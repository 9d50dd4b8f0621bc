#include "session/close_session.h"

#include "platform/failure.h"
#include "settings/album.h"

namespace glintbook {

void CloseSession(const Choices& choices) {
    // One album is always selected in the window. Should none be, there is no
    // album to store the session under, and an invented key would only
    // clutter the settings file; the program still ends.
    if (const int album = choices.album; album != 0) StoreAlbumIndex(album);
    throw ProgramEnd{0};
}

}  // namespace glintbook
