#pragma once
// The album rules both engines' sessions follow, in one place: when an album
// is full, where the screenshot counter points for its next picture, how a
// full album starts over, and how a session's counter becomes its index.
#include "settings/choices.h"

namespace glintbook {

// An album holding `index` pictures has no room for another.
bool AlbumFull(long long index);

// The counter value that makes the album's next picture number index + 1.
long long CounterFor(int album, long long index);

// Points the counter at the album's first picture and empties its index.
void StartAlbumOver(int album);

// Stores the counter less the album's offset as its index. Stored as
// computed: a value of 25 or more is what the next launch reports as full.
void StoreAlbumIndex(int album);

enum class AfterPicture { Room, StartedOver, Full };

// Picture p has been taken into the selected album: a full album starts over
// when it loops; Full asks the caller to close the session.
AfterPicture TakePictureNumber(const Choices& choices, long long p);

}  // namespace glintbook
