#include "app/qt/dialog_look.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QRadioButton>
#include <QStyle>

namespace glintbook {

QIcon ProgramIcon() {
    QPixmap pixmap(32, 32);
    pixmap.fill(QColor(0x5a, 0x3e, 0x24));
    QPainter p(&pixmap);
    p.fillRect(3, 3, 26, 26, QColor(0xe8, 0xdc, 0xb8));
    p.fillRect(7, 7, 18, 14, QColor(0x3c, 0x64, 0x8c));
    p.fillRect(7, 15, 18, 6, QColor(0x4e, 0x6e, 0x3a));
    p.setBrush(QColor(0xf0, 0xd0, 0x60));
    p.setPen(Qt::NoPen);
    p.drawEllipse(QPoint(20, 11), 2, 2);
    p.fillRect(7, 23, 18, 2, QColor(0x8a, 0x74, 0x50));
    return QIcon(pixmap);
}

QFont DialogFont(const QWidget& window) {
    QFont font = QApplication::font();
    for (const char* family : {"MS Shell Dlg 2", "Tahoma", "Liberation Sans", "Arimo", "Arial", "Nimbus Sans"}) {
        if (QFontDatabase::hasFamily(family)) {
            font.setFamily(family);
            break;
        }
    }
    const QStyle* s = window.style();
    const int buttonPad = 2 * s->pixelMetric(QStyle::PM_ButtonMargin) + 4;
    const int checkPad = s->pixelMetric(QStyle::PM_IndicatorWidth) + s->pixelMetric(QStyle::PM_CheckBoxLabelSpacing) + 4;
    const int radioPad =
        s->pixelMetric(QStyle::PM_ExclusiveIndicatorWidth) + s->pixelMetric(QStyle::PM_RadioButtonLabelSpacing) + 4;
    auto fits = [&](const QFont& f) {
        const QFontMetrics m(f);
        for (const QAbstractButton* b : window.findChildren<QAbstractButton*>()) {
            const int pad = qobject_cast<const QPushButton*>(b) ? buttonPad
                            : qobject_cast<const QCheckBox*>(b) ? checkPad
                                                                : radioPad;
            if (m.horizontalAdvance(b->text()) + pad > b->width() || m.height() > b->height()) return false;
        }
        for (const QLabel* l : window.findChildren<QLabel*>())
            if (m.horizontalAdvance(l->text()) > l->width()) return false;
        return true;
    };
    for (double points = 8; points > 5; points -= 0.5) {
        font.setPointSizeF(points);
        if (fits(font)) break;
    }
    return font;
}

}  // namespace glintbook
