#pragma once
// The program's only window: every control, every handler and the session
// routines. The handlers work directly on the controls and Morrowind.ini;
// the logic they call lives in plain C++ beside them.
#include "session/monitor.h"
#include "settings/controls.h"

#include <QDialog>
#include <functional>
#include <memory>

class QCheckBox;
class QFrame;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QScrollBar;
class QTimer;

namespace glintbook {

class Failure;
class MessageBoxes;

class frmMain : public QDialog {
    Q_OBJECT

public:
    // `boxes` shows the messages (a QtMessageBoxes when null); `endProgram` is
    // called once with the exit status when the program ends (by default it
    // leaves the application's event loop).
    explicit frmMain(std::shared_ptr<MessageBoxes> boxes = nullptr, std::function<void(int)> endProgram = nullptr);
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

    // Where the monitor reads the process list; the system's when empty.
    // Tests set it to watch a list of their own.
    ProcessSource processSource;

    // The option buttons and the check box as the session routines read them.
    Controls controls() const;
    bool GameRunning() const { return gameRunning_; }
    bool ended() const { return ended_; }

    // Twips to pixels on this screen (15 twips a pixel at 96 dots per inch).
    int twips(int value) const;

    // Event handlers; each runs through dispatch().
    void Form_Load();
    void cmdStart_Click();
    void cmdClear_Click();
    void cmdSetIndex_Click();
    void cmdExit_Click();
    void optAlbum1_Click();
    void optAlbum2_Click();
    void optAlbum3_Click();
    void optAlbum4_Click();
    void spnIndex_Change();
    void Timer1_Timer();

    // Session routines.
    void PrepareSession();
    void RegisterPlugin();
    void CloseSession();
    void ImportScreenshot();

    // Runs a handler the way the event loop does: an unhandled failure shows
    // its box and ends the program; a routine that ends the program unloads
    // the window. Nothing runs once the program has ended.
    void dispatch(const std::function<void()>& handler);

protected:
    void closeEvent(QCloseEvent* event) override;
    void reject() override;  // Esc

private:
    QFont DialogFont() const;
    void refreshIndex(int album);
    void unload(int status);
    void halt();  // nothing more runs: the program is about to end
    void fail(const Failure& failure);

    std::shared_ptr<MessageBoxes> boxes_;
    std::function<void(int)> endProgram_;
    double scale_ = 1.0;
    bool gameRunning_ = false;
    bool ended_ = false;
    bool halted_ = false;
};

}  // namespace glintbook
