#pragma once
// PNG pictures in memory: the checked decoder behind LoadPicture for the
// open engine's screenshots.
#include "imaging/picture.h"
#include "imaging/picture_rows.h"

#include <memory>
#include <string>
#include <string_view>

namespace glintbook::png {

// Whether `bytes` start with the PNG signature.
bool IsPng(std::string_view bytes);

// Decodes PNG bytes: every colour type and bit depth, with or without
// interlacing, within the size limits of the BMP reader. Alpha and
// transparency are ignored, as the BMP reader ignores them; 16-bit channels
// keep their high byte. A file that is not PNG, is cut short anywhere before
// its end chunk, fails a chunk's checksum, or whose compressed pixels do not
// give exactly the rows its header promises throws
// Failure(ErrInvalidPicture) naming `name`.
Picture Decode(std::string_view bytes, const std::string& name);

// The same picture's rows, top to bottom, each unfiltered as it is asked
// for: the file is read and its pixels inflated now, with the same failures
// (an unknown row filter shows when its row is read). An interlaced picture
// is decoded whole. The bytes are not kept.
std::unique_ptr<pictures::RowSource> Rows(std::string_view bytes, std::shared_ptr<const void> keep,
                                          const std::string& name);

}  // namespace glintbook::png
