#include "imaging/picture_io.h"

#include "imaging/bmp_format.h"
#include "platform/files.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace glintbook {

void KeepPictureMemory() {
#ifdef __GLIBC__
    // Every import allocates and frees pictures and file images of megabytes.
    // Left to itself, glibc maps each with mmap and unmaps it when freed, or
    // trims the heap after it, so the next import faults every page in
    // again: about 2 microseconds a page here, some 12 ms of a 1920x1080
    // import. Blocks up to glibc's largest threshold (32 MB, a 4K picture)
    // come from the heap instead, and freed memory stays for the next import.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 512 << 20);
#endif
}

void SavePicture(const Picture& picture, const std::string& path) {
    files::WriteFileAtomic(path, bmp::Encode24(picture));
}

}  // namespace glintbook
