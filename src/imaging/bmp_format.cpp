#include "imaging/bmp_format.h"

#include "platform/failure.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QImageReader>
#include <QList>

#include <cstring>
#include <limits>
#include <vector>

namespace glintbook::bmp {

namespace {

constexpr int kFileHeader = 14;
constexpr int kInfoHeader = 40;

[[noreturn]] void Invalid(const std::string& name, const std::string& why) {
    throw Failure(ErrInvalidPicture, "Invalid picture: " + name + " (" + why + ")");
}

std::uint32_t U16(std::string_view b, size_t at) {
    return std::uint32_t(std::uint8_t(b[at])) | std::uint32_t(std::uint8_t(b[at + 1])) << 8;
}
std::uint32_t U32(std::string_view b, size_t at) { return U16(b, at) | U16(b, at + 2) << 16; }

void Put16(std::string& b, size_t at, std::uint32_t v) {
    b[at] = char(v & 0xFF);
    b[at + 1] = char((v >> 8) & 0xFF);
}
void Put32(std::string& b, size_t at, std::uint32_t v) {
    Put16(b, at, v & 0xFFFF);
    Put16(b, at + 2, v >> 16);
}

// Whether an RLE8 (or RLE4) pixel stream ends, by an end-of-bitmap code or
// by ending its last row, before the data does. Qt's reader takes a stream
// cut short as a whole picture and leaves the rest of its buffer as it found
// it, so a truncated file must be caught here.
bool RleComplete(std::string_view data, std::int64_t height, bool fourBits) {
    size_t i = 0;
    std::int64_t y = 0;
    while (y < height) {
        if (i + 2 > data.size()) return false;
        const auto count = std::uint8_t(data[i]), code = std::uint8_t(data[i + 1]);
        i += 2;
        if (count > 0) continue;  // a run of `count` pixels
        if (code == 0) {          // end of row
            ++y;
        } else if (code == 1) {  // end of bitmap
            return true;
        } else if (code == 2) {  // move right and down
            if (i + 2 > data.size()) return false;
            y += std::uint8_t(data[i + 1]);
            i += 2;
        } else {  // `code` literal pixels, padded to a 16-bit boundary
            size_t literal = fourBits ? (code + 1u) / 2 : code;
            literal += literal % 2;
            if (i + literal > data.size()) return false;
            i += literal;
        }
    }
    return true;
}

Colour FromQRgb(QRgb p) {  // 0xAARRGGBB to 0x00BBGGRR, alpha dropped
    return ((p >> 16) & 0xFFu) | (p & 0xFF00u) | ((p & 0xFFu) << 16);
}

// An 8-bit indexed image of the picture's size into its colours. Indices past
// the palette (a file may claim fewer colours than it uses) read black.
void FromIndexed(const QImage& image, Picture& picture) {
    QList<QRgb> palette = image.colorTable();
    palette.resize(256, qRgb(0, 0, 0));
    for (int y = 0; y < picture.height; ++y) {
        const uchar* line = image.constScanLine(y);
        Colour* out = picture.pixels.data() + size_t(y) * size_t(picture.width);
        for (int x = 0; x < picture.width; ++x) out[x] = FromQRgb(palette[line[x]]);
    }
}

}  // namespace

std::string Encode24(const Picture& picture) {
    const std::int64_t w = picture.width, h = picture.height;
    if (w < 1 || h < 1 || picture.pixels.size() != size_t(w) * size_t(h))
        throw Failure(ErrInvalidPicture, "Invalid picture: cannot save an empty or malformed picture");
    const std::int64_t stride = (w * 3 + 3) / 4 * 4;
    const std::int64_t imageSize = stride * h;
    if (w > std::numeric_limits<std::int32_t>::max() || h > std::numeric_limits<std::int32_t>::max() ||
        imageSize > std::int64_t(std::numeric_limits<std::uint32_t>::max()) - kFileHeader - kInfoHeader)
        throw Failure(ErrInvalidPicture, "Invalid picture: too large for a BMP file");

    std::string out(size_t(kFileHeader + kInfoHeader + imageSize), '\0');
    out[0] = 'B';
    out[1] = 'M';
    Put32(out, 2, std::uint32_t(kFileHeader + kInfoHeader + imageSize));  // file size
    Put32(out, 10, kFileHeader + kInfoHeader);                              // offset of the pixels
    Put32(out, 14, kInfoHeader);
    Put32(out, 18, std::uint32_t(w));
    Put32(out, 22, std::uint32_t(h));  // positive: bottom-up
    Put16(out, 26, 1);                 // planes
    Put16(out, 28, 24);                // bits per pixel
    Put32(out, 30, 0);                 // BI_RGB
    Put32(out, 34, std::uint32_t(imageSize));
    // Resolution, palette size and important colours stay 0.

    auto* dst = reinterpret_cast<std::uint8_t*>(out.data()) + kFileHeader + kInfoHeader;
    for (std::int64_t y = h - 1; y >= 0; --y, dst += stride) {
        const Colour* src = picture.pixels.data() + size_t(y) * size_t(w);
        for (std::int64_t x = 0; x < w; ++x) {
            const Colour c = src[x];
            dst[3 * x] = std::uint8_t(c >> 16);     // blue
            dst[3 * x + 1] = std::uint8_t(c >> 8);  // green
            dst[3 * x + 2] = std::uint8_t(c);       // red
        }
    }
    return out;
}

HeaderInfo CheckHeader(std::string_view bytes, const std::string& name) {
    if (bytes.size() < 2 || bytes[0] != 'B' || bytes[1] != 'M') Invalid(name, "not a BMP file");
    if (bytes.size() < kFileHeader + 16) Invalid(name, "truncated header");
    const std::uint32_t headerSize = U32(bytes, 14);
    // The core (12-byte) form, and the info forms from 16 bytes (OS/2 2.x)
    // through 40, 52, 56, 64, 108 and 124 (V5).
    if (headerSize != 12 && (headerSize < 16 || headerSize > 124)) Invalid(name, "unknown header form");
    if (bytes.size() < kFileHeader + size_t(headerSize)) Invalid(name, "truncated header");

    HeaderInfo info;
    info.pixelOffset = U32(bytes, 10);
    if (headerSize == 12) {
        info.width = U16(bytes, 18);
        info.height = U16(bytes, 20);
        info.bitsPerPixel = int(U16(bytes, 24));
    } else {
        info.width = std::int32_t(U32(bytes, 18));
        info.height = std::int32_t(U32(bytes, 22));
        info.bitsPerPixel = int(U16(bytes, 28));
        info.compression = headerSize >= 20 ? U32(bytes, 30) : 0;
    }
    const std::int64_t rows = info.height < 0 ? -info.height : info.height;
    if (info.width < 1 || rows < 1) Invalid(name, "no pixels");
    if (info.width > kMaxSide || rows > kMaxSide || info.width * rows > kMaxPixels)
        Invalid(name, "claims " + std::to_string(info.width) + " x " + std::to_string(rows) + " pixels");

    const int bpp = info.bitsPerPixel;
    if (bpp != 1 && bpp != 4 && bpp != 8 && bpp != 16 && bpp != 24 && bpp != 32)
        Invalid(name, std::to_string(bpp) + " bits per pixel");
    const bool rle = (info.compression == 1 && bpp == 8) || (info.compression == 2 && bpp == 4);
    const bool fields = info.compression == 3 && (bpp == 16 || bpp == 32);
    if (info.compression != 0 && !rle && !fields) Invalid(name, "unsupported compression");
    if (rle && info.height < 0) Invalid(name, "compressed rows stored top-down");

    if (info.pixelOffset < kFileHeader + headerSize || info.pixelOffset >= bytes.size())
        Invalid(name, "pixel data outside the file");
    if (!rle) {
        const std::int64_t stride = (info.width * bpp + 31) / 32 * 4;
        if (std::int64_t(info.pixelOffset) + stride * rows > std::int64_t(bytes.size()))
            Invalid(name, "truncated pixel data");
    }
    return info;
}

// Qt's reader rather than a decoder of our own: it knows every BMP variant.
// Safety needs two things around it: CheckHeader first, so that no size it is
// asked to allocate comes from an unchecked header and no uncompressed row is
// missing, and for compressed data a check that the stream is complete (see
// RleComplete), decoded into zeroed memory.
Picture Decode(std::string_view bytes, const std::string& name) {
    const HeaderInfo info = CheckHeader(bytes, name);

    const QByteArray data = QByteArray::fromRawData(bytes.data(), qsizetype(bytes.size()));
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "bmp");
    reader.setDecideFormatFromContent(false);

    const std::int64_t rows = info.height < 0 ? -info.height : info.height;
    Picture picture;
    picture.width = int(info.width);
    picture.height = int(rows);
    picture.pixels.resize(size_t(info.width) * size_t(rows));

    if (info.compression == 1 || info.compression == 2) {
        // Compressed rows may skip pixels; decoded into zeroed indices they
        // take the first palette colour, as in a fresh bitmap.
        if (!RleComplete(bytes.substr(info.pixelOffset), rows, info.compression == 2))
            Invalid(name, "truncated compressed pixel data");
        const qsizetype stride = (qsizetype(info.width) + 3) / 4 * 4;
        std::vector<uchar> indices(size_t(stride) * size_t(rows), 0);
        QImage image(indices.data(), picture.width, picture.height, stride, QImage::Format_Indexed8);
        if (!reader.read(&image)) Invalid(name, reader.errorString().toStdString());
        if (image.constBits() != indices.data() || image.format() != QImage::Format_Indexed8)
            Invalid(name, "unexpected compressed form");
        FromIndexed(image, picture);
        return picture;
    }

    // Offered the picture's own pixels as a 32-bit image, the reader decodes
    // the common forms (16, 24, 32 bits without alpha) straight into them;
    // for other forms it makes an image of its own, converted below.
    auto* own = reinterpret_cast<uchar*>(picture.pixels.data());
    QImage image(own, picture.width, picture.height, qsizetype(picture.width) * 4, QImage::Format_RGB32);
    if (!reader.read(&image)) Invalid(name, reader.errorString().toStdString());
    if (image.width() != picture.width || image.height() != picture.height)
        Invalid(name, "decoded size differs from header");
    // Colours as stored: never premultiplied, alpha dropped.
    if (image.constBits() == own && image.format() == QImage::Format_RGB32) {
        for (Colour& p : picture.pixels) p = FromQRgb(p);
    } else if (image.format() == QImage::Format_Indexed8 || image.format() == QImage::Format_Mono ||
               image.format() == QImage::Format_MonoLSB) {
        if (image.format() != QImage::Format_Indexed8) image.convertTo(QImage::Format_Indexed8);
        FromIndexed(image, picture);
    } else {
        if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32)
            image.convertTo(image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
        for (int y = 0; y < picture.height; ++y) {
            const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
            Colour* out = picture.pixels.data() + size_t(y) * size_t(picture.width);
            for (int x = 0; x < picture.width; ++x) out[x] = FromQRgb(line[x]);
        }
    }
    return picture;
}

}  // namespace glintbook::bmp
