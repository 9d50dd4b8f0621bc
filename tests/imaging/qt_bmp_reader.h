#pragma once
// The reference our BMP reader is held to: the loader it replaced, which
// passed the files that CheckHeader accepted to Qt's reader (compressed ones
// decoded into zeroed indices, so that skipped pixels take the first colour).
// For the tests and the fuzz target only.
#include "../../fuzz/harness_bmp.h"

#include <QBuffer>
#include <QImage>
#include <QImageReader>

namespace glintbook::test {

inline fuzzing::Reading QtDecode(std::string_view bytes) {
    fuzzing::Reading out;
    bmp::HeaderInfo info;
    try { info = bmp::CheckHeader(bytes, "reference"); } catch (const Failure&) { return out; }
    const int w = int(info.width), h = int(info.height < 0 ? -info.height : info.height);
    QByteArray data = QByteArray::fromRawData(bytes.data(), qsizetype(bytes.size()));
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "bmp");
    reader.setDecideFormatFromContent(false);
    const qsizetype stride = (w + 3) / 4 * 4;
    std::vector<uchar> indices(info.compression == 1 || info.compression == 2 ? size_t(stride) * size_t(h) : 0, 0);
    QImage image = indices.empty() ? QImage() : QImage(indices.data(), w, h, stride, QImage::Format_Indexed8);
    if (!reader.read(&image) || image.width() != w || image.height() != h ||
        (!indices.empty() && image.constBits() != indices.data()))
        return out;
    // Colours 0x00BBGGRR, never premultiplied; indices past the colour table
    // read black (QImage::pixel says so, once, on a silenced channel).
    [[maybe_unused]] static const auto quiet =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    out.decoded = true;
    out.picture = Picture{w, h, Pixels(size_t(w) * size_t(h), 0)};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const QRgb c = image.pixel(x, y);
            out.picture.at(x, y) = qRed(c) | qGreen(c) << 8 | qBlue(c) << 16;
        }
    return out;
}

}  // namespace glintbook::test
