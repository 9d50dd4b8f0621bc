#pragma once
// JPEG pictures in memory, as the open engine writes a screenshot when its
// format is set to "jpg". Linux decodes with libjpeg-turbo; the Windows
// program, which has no libjpeg, with the decoder chosen for it in
// jpeg_format_windows.cpp.
#include "imaging/picture.h"

#include <string>
#include <string_view>

namespace glintbook::jpeg {

// Whether `bytes` start with a JPEG's start-of-image marker and another marker.
inline bool IsJpeg(std::string_view bytes) {
    return bytes.size() >= 3 && bytes[0] == '\xFF' && bytes[1] == '\xD8' && bytes[2] == '\xFF';
}

// Decodes a baseline or progressive JPEG, YCbCr at any chroma sampling or
// greyscale, as libjpeg-turbo's accurate integer transform and smooth chroma
// upsampling do. A file that is damaged anywhere up to its end-of-image
// marker, cut short, CMYK, or over the readers' limits throws
// Failure(ErrInvalidPicture) naming `name`.
Picture Decode(std::string_view bytes, const std::string& name);

}  // namespace glintbook::jpeg
