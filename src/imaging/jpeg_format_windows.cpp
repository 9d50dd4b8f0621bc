// The JPEG reader of the Windows program, which has no libjpeg (Debian
// builds none for mingw): stb_image (Debian's libstb-dev, a header compiled
// in here), chosen over Windows' own WIC by measurement (bench/RESULTS.md).
// stb_image decodes what it can find and fills the rest, so the file's
// structure is walked here first, to its end-of-image marker, as libjpeg
// walks it on Linux: a file cut short or of a form stb_image would read
// differently from libjpeg is refused before any pixel is decoded.
#include "imaging/jpeg_format.h"

#include "imaging/picture_readers.h"

#include <cstring>

#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_ONLY_JPEG
#define STBI_NO_STDIO
#define STBI_NO_LINEAR
#define STBI_NO_HDR
#include <stb_image.h>

namespace glintbook::jpeg {

namespace {

using pictures::Invalid;

// Walks the markers from the start of image to the end of image: each
// segment by its length, each scan's entropy-coded data to the next marker
// that is not a restart. Checks the frame: 8-bit, Huffman-coded baseline,
// extended or progressive, one or three components, a size within the
// limits.
void Walk(std::string_view bytes, const std::string& name) {
    const std::uint8_t* b = pictures::Bytes(bytes);
    const size_t n = bytes.size();
    bool frame = false;
    for (size_t at = 2;;) {
        if (at + 2 > n) Invalid(name, "cut short before its end-of-image marker");
        if (b[at] != 0xFF) Invalid(name, "damaged: no marker where one belongs");
        const int marker = b[at + 1];
        if (marker == 0xFF) {  // fill byte
            ++at;
            continue;
        }
        if (marker == 0xD9) {
            if (!OnlyPadding(bytes.substr(at + 2))) Invalid(name, "damaged: data after its end-of-image marker");
            break;
        }
        if (marker == 0xD8 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {
            at += 2;
            continue;
        }
        if (at + 4 > n) Invalid(name, "cut short before its end-of-image marker");
        const size_t length = size_t(b[at + 2]) << 8 | b[at + 3];
        if (length < 2 || at + 2 + length > n) Invalid(name, "cut short before its end-of-image marker");
        const std::uint8_t* body = b + at + 4;
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC) {
            if (marker > 0xC2) Invalid(name, "a lossless, hierarchical or arithmetic-coded JPEG, not read here");
            if (length < 8) Invalid(name, "damaged: a frame header too short");
            if (body[0] != 8) Invalid(name, "not 8 bits a sample");
            if (body[5] != 1 && body[5] != 3) Invalid(name, body[5] == 4 ? "CMYK" : "neither greyscale nor colour");
            pictures::CheckSize(std::int64_t(body[3]) << 8 | body[4], std::int64_t(body[1]) << 8 | body[2], name);
            frame = true;
        }
        at += 2 + length;
        if (marker == 0xDA) {  // the scan's data runs to the next marker but a restart or a stuffed 0xFF
            while (at + 1 < n && !(b[at] == 0xFF && b[at + 1] != 0 && !(b[at + 1] >= 0xD0 && b[at + 1] <= 0xD7))) ++at;
        }
    }
    if (!frame) Invalid(name, "no frame");
}

}  // namespace

Picture DecodeWithStbImage(std::string_view bytes) {
    int w = 0, h = 0, channels = 0;
    stbi_uc* rgba = stbi_load_from_memory(pictures::Bytes(bytes), int(bytes.size()), &w, &h, &channels, 4);
    if (!rgba) return {};
    Picture picture = pictures::Blank(w, h);
    std::memcpy(picture.pixels.data(), rgba, picture.pixels.size() * 4);  // red, green, blue, alpha bytes
    stbi_image_free(rgba);
    for (Colour& c : picture.pixels) c &= 0xFFFFFF;
    return picture;
}

Picture Decode(std::string_view bytes, const std::string& name) {
    if (!IsJpeg(bytes)) Invalid(name, "not a JPEG file");
    Walk(bytes, name);
    Picture picture = DecodeWithStbImage(bytes);
    if (picture.pixels.empty()) Invalid(name, std::string("damaged: ") + stbi_failure_reason());
    return picture;
}

}  // namespace glintbook::jpeg
