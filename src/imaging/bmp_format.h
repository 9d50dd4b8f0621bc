#pragma once
// BMP pictures in memory: the encoder behind SavePicture and the checked
// decoder behind LoadPicture, for code that wants the bytes without a file.
#include "imaging/picture.h"
#include "imaging/picture_readers.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace glintbook::bmp {

// The limits every reader shares (picture_readers.h), also by these names.
using pictures::kMaxPixels;
using pictures::kMaxSide;

// The picture as an uncompressed 24-bit BMP: a 14-byte file header, a 40-byte
// BITMAPINFOHEADER, then the rows bottom-up, 3 bytes a pixel (blue, green,
// red), each row padded with zeros to a multiple of 4 bytes. The game reads
// this form. Throws Failure(ErrInvalidPicture) for an empty or malformed
// picture or one too large for the format's 32-bit sizes.
std::string Encode24(const Picture& picture);

// What a BMP header claims, as far as the checks before decoding need it.
struct HeaderInfo {
    std::int64_t width = 0;
    std::int64_t height = 0;  // negative: rows stored top-down
    int bitsPerPixel = 0;
    std::uint32_t compression = 0;  // 0 none, 1 RLE8, 2 RLE4, 3 bit fields
    std::uint32_t pixelOffset = 0;
    std::uint32_t headerSize = 0;   // 12 (core), 40 (info), 64 (OS/2), 108 (V4) or 124 (V5)
};

// Reads and checks a BMP header against the size of `bytes`: the signature,
// a known header form with one plane, dimensions within the limits above, a
// supported bit depth and compression, and (uncompressed) all rows present.
// `name` names the file in the message of the Failure(ErrInvalidPicture)
// thrown otherwise.
HeaderInfo CheckHeader(std::string_view bytes, const std::string& name);
// The same for a file of `fileSize` bytes of which `head` holds the first
// min(fileSize, kHeadBytes).
HeaderInfo CheckHeader(std::string_view head, std::uint64_t fileSize, const std::string& name);

// Decodes BMP bytes once CheckHeader has passed them: 1, 4 and 8 bits with a
// colour table (indices past a short table read black), 16 and 32 bits plain
// or with bit-field masks, 24 bits, RLE8 and RLE4, rows bottom-up or
// top-down. Alpha is ignored: the colours are taken as stored, as the game's
// own loader takes them. Anything else, a colour table or masks that do not
// fit, rows or a compressed stream cut short, throws
// Failure(ErrInvalidPicture).
Picture Decode(std::string_view bytes, const std::string& name);

// Where an uncompressed file's rows lie, after the checks Decode makes of
// its header (the same failures); nothing for a compressed one.
std::optional<pictures::RowLayout> Rows(std::string_view head, std::uint64_t fileSize, const std::string& name);

}  // namespace glintbook::bmp
