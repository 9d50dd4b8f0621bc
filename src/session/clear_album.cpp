#include "session/clear_album.h"

#include "platform/files.h"
#include "settings/catalogue.h"
#include "settings/game_files.h"
#include "settings/album.h"

namespace glintbook {

namespace {

void CopyStockOntoAlbum(int album) {
    const int first = AlbumOffset(album);
    for (int t = first; t < first + AlbumCapacity; ++t)
        files::CopyFile(files::GamePath(game::StockTexture()), files::GamePath(game::TexturePath(t)));
}

}  // namespace

void ClearAlbum(int album) {
    if (album < 1 || album > AlbumCount) return;
    // The two orders differ on purpose: a failing copy of album 1 leaves its
    // settings as they were, while albums 2-4 are already reset by then.
    if (album == 1) {
        CopyStockOntoAlbum(album);
        StartAlbumOver(album);
    } else {
        StartAlbumOver(album);
        CopyStockOntoAlbum(album);
    }
}

}  // namespace glintbook
