#include "app/messages.h"

#include "platform/failure.h"

#include <QApplication>
#include <QMessageBox>

namespace glintbook {

void QtMessageBoxes::show(const std::string& text, const std::string& caption, MessageIcon icon) {
    QMessageBox box(icon == MessageIcon::Stop ? QMessageBox::Critical : QMessageBox::NoIcon,
                    QString::fromLocal8Bit(caption.c_str()), QString::fromLocal8Bit(text.c_str()), QMessageBox::Ok,
                    QApplication::activeWindow());
    box.exec();
}

void ShowFailure(MessageBoxes& boxes, const Failure& failure) {
    boxes.show(FailureMessage(failure), "Glintbook", MessageIcon::Stop);
}

}  // namespace glintbook
