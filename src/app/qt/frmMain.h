#pragma once
// The program's window on Linux: the controls, laid out from the shared
// table, with their events passed to the toolkit-free handlers.
#include "app/main_form.h"
#include "platform/instance.h"

#include <QDialog>
#include <functional>

class QCheckBox;
class QFrame;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QScrollBar;
class QTimer;

namespace glintbook {

class frmMain : public QDialog, public FormView {
    Q_OBJECT

public:
    // `showBox` shows the messages (QMessageBox when empty); `endProgram` is
    // called once with the exit status when the program ends (by default it
    // leaves the application's event loop, also one not yet entered).
    explicit frmMain(ShowBox showBox = nullptr, std::function<void(int)> endProgram = nullptr);
    ~frmMain() override;

    // Controls, in tab order; named as the rest of the program knows them.
    QPushButton* cmdStart;
    QCheckBox* chkTwo;
    QRadioButton* optAlbum1;
    QRadioButton* optAlbum2;
    QRadioButton* optAlbum3;
    QRadioButton* optAlbum4;
    QPushButton* cmdClear;
    QPushButton* cmdSetIndex;
    QLineEdit* txtIndex;
    QPushButton* cmdExit;
    QFrame* frmRes;
    QLabel* lblRes;
    QRadioButton* opt512;
    QRadioButton* opt1024;
    QScrollBar* spnIndex;
    QTimer* Timer1;  // public so that tests may shorten its interval; the program never changes it

    MainForm logic;

    // Brings the window forward whenever a later Glintbook started in this
    // folder calls the holder of `claim`, which must outlive the window.
    void answerCalls(instance::FolderClaim& claim);

protected:
    void closeEvent(QCloseEvent* event) override;
    void reject() override;  // Esc

private:
    Choices choices() const override;
    std::string indexText() const override;
    void setIndexText(const std::string& text) override;
    int spinValue() const override;
    void setSpinValue(int value) override;
    void showMessage(const std::string& text, const std::string& caption, MessageIcon icon) override;
    void stopTimer() override;
    void unload(int status) override;

    ShowBox showBox_;
    std::function<void(int)> endProgram_;
};

}  // namespace glintbook
