#include "app/qt/frmMain.h"

#include "app/form_layout.h"
#include "app/qt/dialog_look.h"
#include "settings/catalogue.h"

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QFrame>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QSocketNotifier>
#include <QTimer>

namespace glintbook {

namespace {

void QtMessageBox(const std::string& text, const std::string& caption, MessageIcon icon) {
    QMessageBox box(icon == MessageIcon::Stop ? QMessageBox::Critical : QMessageBox::NoIcon,
                    QString::fromStdString(caption), QString::fromStdString(text), QMessageBox::Ok,
                    QApplication::activeWindow());
    box.exec();
}

QWidget* Make(const form::Control& c, QWidget* parent) {
    const QString caption = QString::fromUtf8(c.caption);
    switch (c.kind) {
    case form::Kind::CommandButton: return new QPushButton(caption, parent);
    case form::Kind::CheckBox: return new QCheckBox(caption, parent);
    case form::Kind::OptionButton: return new QRadioButton(caption, parent);
    case form::Kind::TextBox: return new QLineEdit(parent);
    case form::Kind::Label: return new QLabel(caption, parent);
    case form::Kind::ScrollBar: return new QScrollBar(Qt::Vertical, parent);
    case form::Kind::Frame: {
        // Borderless, captionless: it only makes the resolution options a
        // group of their own.
        auto* frame = new QFrame(parent);
        frame->setFrameShape(QFrame::NoFrame);
        return frame;
    }
    }
    return nullptr;
}

}  // namespace

frmMain::frmMain(ShowBox showBox, std::function<void(int)> endProgram)
    : QDialog(nullptr, Qt::Window | Qt::MSWindowsFixedSizeDialogHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                           Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint),
      logic(*this),
      showBox_(showBox ? std::move(showBox) : QtMessageBox),
      endProgram_(endProgram ? std::move(endProgram) : [](int status) {
          // Queued, so that it also ends a program whose loop has not begun.
          QMetaObject::invokeMethod(qApp, [status] { QCoreApplication::exit(status); }, Qt::QueuedConnection);
      }) {
    setObjectName("frmMain");
    setWindowTitle(form::Title);
    setWindowIcon(ProgramIcon());

    const QScreen* screen = QGuiApplication::primaryScreen();
    const double dpi = screen ? screen->logicalDotsPerInch() : 96.0;
    const auto px = [dpi](int twips) { return form::Pixels(twips, dpi); };

    QWidget* made[form::ControlCount] = {};
    for (int id = 0; id < form::ControlCount; ++id) {
        const form::Control& c = form::Controls[size_t(id)];
        QWidget* w = Make(c, c.inFrame ? made[form::frmRes] : this);
        w->setObjectName(c.name);
        w->setGeometry(px(c.left), px(c.top), px(c.width), px(c.height));
        if (*c.tooltip) w->setToolTip(QString::fromUtf8(c.tooltip));
        made[id] = w;
    }
    cmdStart = static_cast<QPushButton*>(made[form::cmdStart]);
    chkTwo = static_cast<QCheckBox*>(made[form::chkTwo]);
    optAlbum1 = static_cast<QRadioButton*>(made[form::optAlbum1]);
    optAlbum2 = static_cast<QRadioButton*>(made[form::optAlbum2]);
    optAlbum3 = static_cast<QRadioButton*>(made[form::optAlbum3]);
    optAlbum4 = static_cast<QRadioButton*>(made[form::optAlbum4]);
    cmdClear = static_cast<QPushButton*>(made[form::cmdClear]);
    cmdSetIndex = static_cast<QPushButton*>(made[form::cmdSetIndex]);
    txtIndex = static_cast<QLineEdit*>(made[form::txtIndex]);
    cmdExit = static_cast<QPushButton*>(made[form::cmdExit]);
    frmRes = static_cast<QFrame*>(made[form::frmRes]);
    lblRes = static_cast<QLabel*>(made[form::lblRes]);
    opt512 = static_cast<QRadioButton*>(made[form::opt512]);
    opt1024 = static_cast<QRadioButton*>(made[form::opt1024]);
    spnIndex = static_cast<QScrollBar*>(made[form::spnIndex]);

    txtIndex->setReadOnly(true);
    txtIndex->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    spnIndex->setRange(0, AlbumCapacity);
    spnIndex->setSingleStep(1);
    spnIndex->setPageStep(5);
    spnIndex->setFocusPolicy(Qt::StrongFocus);

    // Tab order as the table lists it; the label and the frame take no focus.
    QWidget* previous = nullptr;
    for (QWidget* w : made) {
        if (w == frmRes || w == lblRes) continue;
        if (previous) setTabOrder(previous, w);
        previous = w;
    }

    cmdStart->setDefault(true);
    for (QPushButton* b : {cmdStart, cmdClear, cmdSetIndex, cmdExit}) b->setAutoDefault(true);

    // Qt looks for a radio button's auto-exclusive siblings among all
    // descendants of its parent, so the resolution options inside frmRes
    // would share the album options' group; explicit groups keep them apart.
    auto* albumGroup = new QButtonGroup(this);
    for (QRadioButton* o : {optAlbum1, optAlbum2, optAlbum3, optAlbum4}) albumGroup->addButton(o);
    auto* resolutionGroup = new QButtonGroup(frmRes);
    resolutionGroup->addButton(opt512);
    resolutionGroup->addButton(opt1024);

    optAlbum1->setChecked(true);
    opt512->setChecked(true);

    setFixedSize(px(form::ClientWidth), px(form::ClientHeight));
    setFont(DialogFont(*this));

    auto on = [this](auto* sender, auto signal, std::function<void()> handler) {
        connect(sender, signal, this, [this, handler] { logic.dispatch(handler); });
    };
    on(cmdStart, &QPushButton::clicked, [this] { logic.cmdStart_Click(); });
    on(cmdClear, &QPushButton::clicked, [this] { logic.cmdClear_Click(); });
    on(cmdSetIndex, &QPushButton::clicked, [this] { logic.cmdSetIndex_Click(); });
    on(cmdExit, &QPushButton::clicked, [this] { logic.cmdExit_Click(); });
    QRadioButton* albums[] = {optAlbum1, optAlbum2, optAlbum3, optAlbum4};
    for (int k = 1; k <= 4; ++k) {
        connect(albums[k - 1], &QRadioButton::toggled, this, [this, k](bool set) {
            if (set) logic.dispatch([this, k] { logic.optAlbum_Click(k); });
        });
    }
    on(spnIndex, &QScrollBar::valueChanged, [this] { logic.spnIndex_Change(); });

    Timer1 = new QTimer(this);
    Timer1->setObjectName("Timer1");
    Timer1->setInterval(form::TimerInterval);
    // Queued: the timer's own activation returns before the tick runs. Qt
    // does not fire a timer again while its last activation is under way,
    // so a box a tick opens (a notice) would otherwise hold every later tick
    // until the player closes it, the game's end included.
    connect(Timer1, &QTimer::timeout, this, [this] { logic.dispatch([this] { logic.Timer1_Timer(); }); },
            Qt::QueuedConnection);

    // The load handler fills the index box before the window is first shown.
    logic.dispatch([this] { logic.Form_Load(); });
    if (!logic.ended()) Timer1->start();
    cmdStart->setFocus();
}

frmMain::~frmMain() = default;

void frmMain::answerCalls(instance::FolderClaim& claim) {
    if (claim.calls() < 0) return;
    auto* calls = new QSocketNotifier(qintptr(claim.calls()), QSocketNotifier::Read, this);
    connect(calls, &QSocketNotifier::activated, this, [this, &claim] {
        if (claim.TakeCalls() == 0) return;
        setWindowState(windowState() & ~Qt::WindowMinimized);
        show();
        raise();
        activateWindow();
    });
}

Choices frmMain::choices() const {
    return form::ChoicesFrom([this](form::Id id) {
        return findChild<const QAbstractButton*>(form::Controls[size_t(id)].name)->isChecked();
    });
}

std::string frmMain::indexText() const { return txtIndex->text().toStdString(); }
void frmMain::setIndexText(const std::string& text) { txtIndex->setText(QString::fromStdString(text)); }
int frmMain::spinValue() const { return spnIndex->value(); }

void frmMain::setSpinValue(int value) {
    const QSignalBlocker quiet(spnIndex);
    spnIndex->setValue(value);
}

void frmMain::showMessage(const std::string& text, const std::string& caption, MessageIcon icon) {
    showBox_(text, caption, icon);
}

void frmMain::stopTimer() { Timer1->stop(); }

void frmMain::unload(int status) {
    hide();
    endProgram_(status);
}

void frmMain::closeEvent(QCloseEvent* event) {
    // Closing the window by the platform's means is Exit Program.
    if (!logic.ended()) logic.dispatch([this] { logic.cmdExit_Click(); });
    event->accept();
}

void frmMain::reject() { cmdExit->click(); }

}  // namespace glintbook
