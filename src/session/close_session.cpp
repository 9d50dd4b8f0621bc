#include "session/close_session.h"

#include "platform/failure.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"

namespace glintbook {

void CloseSession(const Choices& choices) {
    // One album is always selected in the window. Should none be, there is no
    // album to store the session under, and an invented key would only
    // clutter the settings file; the program still ends.
    if (const int album = choices.album; album != 0) {
        // Stored as computed, without a range check: a value of 25 or more is
        // what the next launch reports as a full album. Widened so that an
        // extreme counter cannot overflow.
        const long long shot = ReadSettingInt(section::General, key::ScreenShotIndex);
        WriteSetting(section::Own, AlbumIndexKey(album), DecimalText(shot - AlbumOffset(album)));
    }
    throw ProgramEnd{0};
}

}  // namespace glintbook
