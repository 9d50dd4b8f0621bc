#pragma once
// Loading pictures from BMP, PNG, JPEG, TGA and DDS files, saving them as BMP files.
#include "imaging/picture.h"

#include <string>

namespace glintbook {

// Keeps the memory of freed pictures for the next ones, where the C library
// allows it; a program that handles picture after picture calls it once at
// its start. It changes how the whole process allocates.
void KeepPictureMemory();

// Loads a BMP, PNG, JPEG, TGA or DDS file, told apart by its first bytes
// (picture_readers.h). A missing, unreadable, truncated or damaged file, one
// of another format, or one that claims absurd dimensions, throws Failure
// (platform/failure.h).
Picture LoadPicture(const std::string& path);

// Saves as an uncompressed 24-bit BMP (BITMAPINFOHEADER, bottom-up rows
// padded to 4 bytes), written atomically (temporary file, then rename),
// replacing a file of that name. Throws Failure when it cannot be written.
void SavePicture(const Picture& picture, const std::string& path);

}  // namespace glintbook
