#pragma once
// TGA pictures in memory, as the open engine writes a screenshot when its
// format is set to "tga", and as many tools save them.
#include "imaging/picture.h"
#include "imaging/picture_rows.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace glintbook::tga {

// Whether `bytes` start with a TGA header that holds together: TGA has no
// signature, so this is all that tells it from other bytes. A true-colour
// (2) or greyscale (3) picture, plain or run-length (10, 11), without a
// colour map; 16, 24 or 32 bits a pixel (8 for grey); a size within the
// readers' limits; for the plain forms, every pixel in the file.
bool IsTga(std::string_view bytes);
// The same for a file of `fileSize` bytes of which `head` holds the first
// min(fileSize, pictures::kHeadBytes) or more.
bool IsTga(std::string_view head, std::uint64_t fileSize);

// Decodes a claimed TGA: rows from the bottom (the default) or the top
// (descriptor bit 5), right to left when bit 4 says so. Alpha is ignored;
// 16-bit pixels (X1R5G5B5) widen each 5-bit channel to 8 bits. A header that
// does not hold together or run-length data cut short throws
// Failure(ErrInvalidPicture) naming `name`.
Picture Decode(std::string_view bytes, const std::string& name);

// Where a plain picture's rows lie, after the checks Decode makes of its
// header (the same failures); nothing for a run-length one.
std::optional<pictures::RowLayout> Rows(std::string_view head, std::uint64_t fileSize, const std::string& name);

}  // namespace glintbook::tga
