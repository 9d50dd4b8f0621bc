#pragma once
// DDS pictures in memory: the uncompressed forms a Direct3D back buffer is
// saved in (D3DX's save of a surface, as graphics extensions for the game
// take their screenshots).
#include "imaging/picture.h"
#include "imaging/picture_rows.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace glintbook::dds {

// Whether `bytes` start with "DDS ".
bool IsDds(std::string_view bytes);

// Decodes the top mip level (of the first face or slice) of an uncompressed
// RGB DDS: 32 bits (A8R8G8B8, X8R8G8B8, A8B8G8R8, X8B8G8R8 and other masks),
// 24 bits (R8G8B8) and 16 bits (R5G6B5, X1R5G5B5, A1R5G5B5, X4R4G4B4 ...),
// each channel told by its bit mask and widened to 8 bits; alpha ignored.
// Rows are `pitch` bytes apart when the header gives a pitch, else packed.
// A compressed or other FourCC form, a header that does not hold together,
// or rows cut short throw Failure(ErrInvalidPicture) naming `name`.
Picture Decode(std::string_view bytes, const std::string& name);

// Where the rows lie, after the checks Decode makes of the header (the same
// failures), in a file of `fileSize` bytes that `head` begins.
std::optional<pictures::RowLayout> Rows(std::string_view head, std::uint64_t fileSize, const std::string& name);

}  // namespace glintbook::dds
