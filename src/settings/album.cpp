#include "settings/album.h"

#include "settings/catalogue.h"
#include "settings/settings_file.h"

namespace glintbook {

bool AlbumFull(long long index) { return index >= AlbumCapacity; }

// Widened: an index edited to an extreme value cannot overflow.
long long CounterFor(int album, long long index) { return index + AlbumOffset(album); }

void StartAlbumOver(int album) {
    WriteSetting(section::General, key::ScreenShotIndex, DecimalText(AlbumOffset(album)));
    WriteSetting(section::Own, AlbumIndexKey(album), "0");
}

void StoreAlbumIndex(int album) {
    const long long counter = ReadSettingInt(section::General, key::ScreenShotIndex);
    WriteSetting(section::Own, AlbumIndexKey(album), DecimalText(counter - AlbumOffset(album)));
}

AfterPicture TakePictureNumber(const Choices& choices, long long p) {
    const int album = choices.album;
    // Picture p is the album's (p - offset)th: the album is full at its 25th.
    if (album == 0 || !AlbumFull(p - AlbumOffset(album))) return AfterPicture::Room;
    if (!choices.loop) return AfterPicture::Full;
    StartAlbumOver(album);
    return AfterPicture::StartedOver;
}

}  // namespace glintbook
