#include "imaging/picture_io.h"

#include "imaging/bmp_format.h"
#include "platform/failure.h"
#include "platform/files.h"

#include <filesystem>
#include <system_error>

namespace glintbook {

Picture LoadPicture(const std::string& path) {
    // A file longer than the largest picture the decoder accepts, with room
    // for headers, palette and colour profile, is refused before it is read.
    constexpr std::uintmax_t kMaxFileSize = std::uintmax_t(bmp::kMaxPixels) * 4 + (std::uintmax_t(1) << 20);
    std::error_code ec;
    const std::uintmax_t size = std::filesystem::file_size(path, ec);
    if (!ec && size > kMaxFileSize)
        throw Failure(ErrInvalidPicture, "Invalid picture: " + path + " (file too large)");
    // A missing or unreadable file fails here with its own error number.
    const std::string bytes = files::ReadFile(path);
    return bmp::Decode(bytes, path);
}

void SavePicture(const Picture& picture, const std::string& path) {
    files::WriteFileAtomic(path, bmp::Encode24(picture));
}

}  // namespace glintbook
