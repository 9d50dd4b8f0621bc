#pragma once
// JPEG pictures in memory, as the open engine writes a screenshot when its
// format is set to "jpg". Linux decodes with libjpeg-turbo; the Windows
// program, which has no libjpeg, with the decoder chosen for it in
// jpeg_format_windows.cpp.
#include "imaging/picture.h"
#include "imaging/picture_rows.h"

#include <memory>
#include <string>
#include <string_view>

namespace glintbook::jpeg {

// Whether `bytes` start with a JPEG's start-of-image marker and another marker.
inline bool IsJpeg(std::string_view bytes) {
    return bytes.size() >= 3 && bytes[0] == '\xFF' && bytes[1] == '\xD8' && bytes[2] == '\xFF';
}

// Whether what follows a JPEG's end-of-image marker is only zeros (some
// writers pad a file to a block); anything else is another file run on, or
// a scan cut short by a stray end marker, and counts as damage.
inline bool OnlyPadding(std::string_view after) { return after.find_first_not_of('\0') == std::string_view::npos; }

// Decodes a baseline or progressive JPEG, YCbCr at any chroma sampling or
// greyscale, as libjpeg-turbo's accurate integer transform and smooth chroma
// upsampling do. A file that is damaged, cut short before its end-of-image
// marker or followed by more than padding, CMYK, or over the readers' limits
// throws Failure(ErrInvalidPicture) naming `name`, with the same reasons on
// either platform for the faults both see.
Picture Decode(std::string_view bytes, const std::string& name);

#ifndef _WIN32
// The same picture's rows, top to bottom, as libjpeg decodes them: the
// header is read and checked now, the rest as rows are asked for, with the
// same failures as Decode (after the last row, what follows the picture).
// `keep` keeps `bytes` for as long as the source lives.
std::unique_ptr<pictures::RowSource> Rows(std::string_view bytes, std::shared_ptr<const void> keep,
                                          const std::string& name);
#endif

#ifdef _WIN32
// stb_image's decode alone, without the checks Decode makes first; an empty
// picture when it fails. For the benchmark that chose it.
Picture DecodeWithStbImage(std::string_view bytes);
#endif

}  // namespace glintbook::jpeg
