#include "imaging/picture_io.h"

#include "imaging/bmp_format.h"
#include "platform/failure.h"
#include "platform/files.h"

namespace glintbook {

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
