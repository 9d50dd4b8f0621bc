// glintbook-demo-kit: small picture jobs for the demo script.
//   grab WINDOW-ID OUT.png     a picture of a window on the X display
//   sheet OUT.png FILE.bmp...  a contact sheet of album pictures with captions
#include "imaging/picture_io.h"
#include "platform/failure.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QScreen>
#include <cstdio>
#include <string>

using namespace glintbook;

namespace {

int Usage() {
    std::fprintf(stderr,
                 "usage: glintbook-demo-kit grab WINDOW-ID OUT.png\n"
                 "       glintbook-demo-kit sheet OUT.png FILE.bmp...\n");
    return 2;
}

QImage ToImage(const Picture& p) {
    QImage image(p.width, p.height, QImage::Format_RGB32);
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x) {
            const Colour c = p.at(x, y);
            image.setPixel(x, y, qRgb(c & 0xFF, (c >> 8) & 0xFF, (c >> 16) & 0xFF));
        }
    return image;
}

int Grab(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen) return std::fprintf(stderr, "no screen to grab from\n"), 1;
    const QPixmap shot = screen->grabWindow(WId(std::stoull(argv[2])));
    if (shot.isNull() || !shot.save(argv[3])) return std::fprintf(stderr, "could not grab the window\n"), 1;
    return 0;
}

int Sheet(int argc, char** argv) {
    // Captions need fonts, which need a GUI application; no display is.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const int count = argc - 3, columns = count < 5 ? count : 5, rows = (count + columns - 1) / columns;
    const int cell = 192, caption = 22, gap = 8;
    QImage sheet(columns * (cell + gap) + gap, rows * (cell + caption + gap) + gap, QImage::Format_RGB32);
    sheet.fill(QColor(0x2b, 0x22, 0x18));
    QPainter painter(&sheet);
    painter.setPen(QColor(0xe8, 0xdc, 0xb8));
    for (int i = 0; i < count; ++i) {
        const int x = gap + (i % columns) * (cell + gap), y = gap + (i / columns) * (cell + caption + gap);
        const QImage picture = ToImage(LoadPicture(argv[3 + i]));
        painter.drawImage(QRect(x, y, cell, cell), picture);
        painter.drawText(QRect(x, y + cell, cell, caption), Qt::AlignCenter,
                         QString("%1 (%2x%3)").arg(QFileInfo(argv[3 + i]).completeBaseName()).arg(picture.width()).arg(picture.height()));
    }
    painter.end();
    if (!sheet.save(argv[2])) return std::fprintf(stderr, "could not write %s\n", argv[2]), 1;
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::string job = argc > 1 ? argv[1] : "";
        if (job == "grab" && argc == 4) return Grab(argc, argv);
        if (job == "sheet" && argc >= 4) return Sheet(argc, argv);
        return Usage();
    } catch (const Failure& f) {
        std::fprintf(stderr, "%s\n", f.description().c_str());
        return 1;
    }
}
