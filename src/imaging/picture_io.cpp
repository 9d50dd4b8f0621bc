#include "imaging/picture_io.h"

#include "imaging/bmp_format.h"
#include "platform/failure.h"
#include "platform/files.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace glintbook {

namespace {

#ifdef __GLIBC__
// Every import allocates and frees pictures and file images of megabytes.
// Left to itself, glibc maps each with mmap and unmaps it when freed, or
// trims the heap after it, so the next import faults every page in again:
// about 2 microseconds a page on the development machine, some 12 ms of a
// 1920x1080 import. Blocks up to the largest threshold glibc allows (32 MB,
// a 4K picture) come from the heap instead, and freed memory stays there for
// the next import.
[[maybe_unused]] const bool heapKept = mallopt(M_MMAP_THRESHOLD, 32 << 20) && mallopt(M_TRIM_THRESHOLD, 512 << 20);
#endif

}  // namespace

Picture LoadPicture(const std::string& path) {
    // A missing or unreadable file fails here with its own error number.
    const std::string bytes = files::ReadFile(path);
    // A file longer than the largest picture the decoder accepts, with room
    // for headers, palette and colour profile, is not a picture of ours.
    constexpr size_t kMaxFileSize = size_t(bmp::kMaxPixels) * 4 + (size_t(1) << 20);
    if (bytes.size() > kMaxFileSize) throw Failure(ErrInvalidPicture, "Invalid picture: " + path + " (file too large)");
    return bmp::Decode(bytes, path);
}

void SavePicture(const Picture& picture, const std::string& path) {
    files::WriteFileAtomic(path, bmp::Encode24(picture));
}

}  // namespace glintbook
