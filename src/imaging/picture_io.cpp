#include "imaging/picture_io.h"

#include "imaging/bmp_format.h"
#include "imaging/picture_readers.h"
#include "platform/failure.h"
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

Picture LoadPicture(const std::string& path) {
    // A file longer than the largest picture the decoder accepts, with room
    // for headers, palette and colour profile, is not a picture of ours, and
    // is refused before it is read into memory.
    constexpr std::uint64_t kMaxFileSize = std::uint64_t(pictures::kMaxPixels) * 4 + (std::uint64_t(1) << 20);
    if (files::FileSize(path).value_or(0) > kMaxFileSize)
        throw Failure(ErrInvalidPicture, "Invalid picture: " + path + " (file too large)");
    // A missing or unreadable file fails here with its own error number.
    // The content, not the name, tells the format: the original engine
    // writes BMP, the open engine PNG (or JPEG or TGA, as set), graphics
    // extensions DDS.
    const std::string bytes = files::ReadFile(path);
    return pictures::Decode(bytes, path);
}

void SavePicture(const Picture& picture, const std::string& path) {
    files::WriteFileAtomic(path, bmp::Encode24(picture));
}

}  // namespace glintbook
