#include "app/frmMain.h"

#include "app/clear_album.h"
#include "app/index_text.h"
#include "app/messages.h"
#include "imaging/import.h"
#include "platform/failure.h"
#include "session/close_session.h"
#include "session/launch.h"
#include "session/monitor.h"
#include "settings/catalogue.h"
#include "settings/prepare_session.h"
#include "settings/register_plugin.h"
#include "settings/settings_file.h"

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QFrame>
#include <QStyle>
#include <QGuiApplication>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollBar>
#include <QTimer>
#include <cmath>
#include <new>
#include <stdexcept>

namespace glintbook {

namespace {

// The layout is given in twips for a dialog font of about 8 points.
constexpr int ClientWidthTwips = 4215;
constexpr int ClientHeightTwips = 1845;
constexpr int DialogFontPoints = 8;

// A 32x32 album page with a framed picture on it.
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

}  // namespace

// The layout was drawn for a narrow dialog font of about 8 points. Prefer
// one with those metrics; where only a wider one is installed, step the size
// down until every caption fits its control, rather than clip the captions.
QFont frmMain::DialogFont() const {
    QFont font = QApplication::font();
    for (const char* family : {"MS Shell Dlg 2", "Tahoma", "Liberation Sans", "Arimo", "Arial", "Nimbus Sans"}) {
        if (QFontDatabase::hasFamily(family)) {
            font.setFamily(family);
            break;
        }
    }
    const QStyle* s = style();
    const int buttonPad = 2 * s->pixelMetric(QStyle::PM_ButtonMargin) + 4;
    const int checkPad = s->pixelMetric(QStyle::PM_IndicatorWidth) + s->pixelMetric(QStyle::PM_CheckBoxLabelSpacing) + 4;
    const int radioPad =
        s->pixelMetric(QStyle::PM_ExclusiveIndicatorWidth) + s->pixelMetric(QStyle::PM_RadioButtonLabelSpacing) + 4;
    auto fits = [&](const QFont& f) {
        const QFontMetrics m(f);
        for (QPushButton* b : {cmdStart, cmdClear, cmdSetIndex, cmdExit})
            if (m.horizontalAdvance(b->text()) + buttonPad > b->width()) return false;
        for (QRadioButton* o : {optAlbum1, optAlbum2, optAlbum3, optAlbum4, opt512, opt1024})
            if (m.horizontalAdvance(o->text()) + radioPad > o->width()) return false;
        if (m.horizontalAdvance(chkTwo->text()) + checkPad > chkTwo->width()) return false;
        return m.horizontalAdvance(lblRes->text()) <= lblRes->width() && m.height() <= chkTwo->height();
    };
    for (double points = DialogFontPoints; points > 5; points -= 0.5) {
        font.setPointSizeF(points);
        if (fits(font)) break;
    }
    return font;
}

frmMain::frmMain(std::shared_ptr<MessageBoxes> boxes, std::function<void(int)> endProgram)
    : QDialog(nullptr, Qt::Window | Qt::MSWindowsFixedSizeDialogHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                           Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint),
      boxes_(boxes ? std::move(boxes) : std::make_shared<QtMessageBoxes>()),
      endProgram_(endProgram ? std::move(endProgram) : [](int status) { QCoreApplication::exit(status); }) {
    setObjectName("frmMain");
    setWindowTitle("Glintbook");
    setWindowIcon(ProgramIcon());

    const QScreen* screen = QGuiApplication::primaryScreen();
    scale_ = screen ? screen->logicalDotsPerInch() / 96.0 : 1.0;

    auto place = [this](QWidget* w, const char* name, int left, int top, int width, int height) {
        w->setObjectName(name);
        w->setGeometry(twips(left), twips(top), twips(width), twips(height));
    };

    cmdStart = new QPushButton("Start Morrowind", this);
    place(cmdStart, "cmdStart", 120, 120, 1335, 495);
    cmdStart->setToolTip("This will start Morrowind.");

    chkTwo = new QCheckBox("Loop Pictures", this);
    place(chkTwo, "chkTwo", 120, 720, 1335, 255);
    chkTwo->setToolTip("Checking this will make the program overwrite the pictures taken in this session as soon as "
                       "they reach the 25-pictures limit.");

    QRadioButton** albums[] = {&optAlbum1, &optAlbum2, &optAlbum3, &optAlbum4};
    const char* albumNames[] = {"optAlbum1", "optAlbum2", "optAlbum3", "optAlbum4"};
    for (int k = 0; k < 4; ++k) {
        *albums[k] = new QRadioButton(QString("Album %1").arg(k + 1), this);
        place(*albums[k], albumNames[k], k == 0 ? 120 : 1080 * k, 1200, 975, 255);
        (*albums[k])->setToolTip("Select which album to use.");
    }

    cmdClear = new QPushButton("Clear Album", this);
    place(cmdClear, "cmdClear", 1440, 120, 1335, 495);
    cmdClear->setToolTip("This will clear the currently selected album. Note that all created picture files will be "
                         "physically destroyed.");

    cmdSetIndex = new QPushButton("Set Index", this);
    place(cmdSetIndex, "cmdSetIndex", 1440, 600, 1335, 495);
    cmdSetIndex->setToolTip("Set the index in the INI from the box.");

    txtIndex = new QLineEdit(this);
    place(txtIndex, "txtIndex", 2880, 720, 945, 375);
    txtIndex->setReadOnly(true);
    txtIndex->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    txtIndex->setToolTip("The number of last taken picture from the album currently selected.");

    cmdExit = new QPushButton("Exit Program", this);
    place(cmdExit, "cmdExit", 2760, 120, 1335, 495);

    // Borderless, captionless: it only makes the resolution options a group
    // of their own.
    frmRes = new QFrame(this);
    place(frmRes, "frmRes", 120, 1440, 3975, 375);
    frmRes->setFrameShape(QFrame::NoFrame);

    lblRes = new QLabel("Picture Resolution:", frmRes);
    place(lblRes, "lblRes", 0, 120, 1335, 255);

    opt512 = new QRadioButton("512x512", frmRes);
    place(opt512, "opt512", 1680, 120, 975, 255);
    opt512->setToolTip("Checking this will make textures saved for painting use have 512x512 pixels resolution.");

    opt1024 = new QRadioButton("1024x1024", frmRes);
    place(opt1024, "opt1024", 2880, 120, 1095, 255);
    opt1024->setToolTip("Checking this will make textures saved for painting use have 1024x1024 pixels resolution.");

    spnIndex = new QScrollBar(Qt::Vertical, this);
    place(spnIndex, "spnIndex", 3840, 720, 255, 375);
    spnIndex->setRange(0, AlbumCapacity);
    spnIndex->setSingleStep(1);
    spnIndex->setPageStep(5);
    spnIndex->setFocusPolicy(Qt::StrongFocus);

    // Tab order as laid out; the label and the frame take no focus.
    QWidget* order[] = {cmdStart, chkTwo,  optAlbum1, optAlbum2, optAlbum3, optAlbum4, cmdClear,
                        cmdSetIndex, txtIndex, cmdExit, opt512, opt1024, spnIndex};
    for (size_t i = 0; i + 1 < std::size(order); ++i) setTabOrder(order[i], order[i + 1]);

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
    chkTwo->setChecked(false);

    setFixedSize(twips(ClientWidthTwips), twips(ClientHeightTwips));
    setFont(DialogFont());

    auto on = [this](auto* sender, auto signal, void (frmMain::*handler)()) {
        connect(sender, signal, this, [this, handler] { dispatch([this, handler] { (this->*handler)(); }); });
    };
    on(cmdStart, &QPushButton::clicked, &frmMain::cmdStart_Click);
    on(cmdClear, &QPushButton::clicked, &frmMain::cmdClear_Click);
    on(cmdSetIndex, &QPushButton::clicked, &frmMain::cmdSetIndex_Click);
    on(cmdExit, &QPushButton::clicked, &frmMain::cmdExit_Click);
    void (frmMain::*albumHandlers[])() = {&frmMain::optAlbum1_Click, &frmMain::optAlbum2_Click,
                                          &frmMain::optAlbum3_Click, &frmMain::optAlbum4_Click};
    for (int k = 0; k < 4; ++k) {
        auto handler = albumHandlers[k];
        connect(*albums[k], &QRadioButton::toggled, this, [this, handler](bool set) {
            if (set) dispatch([this, handler] { (this->*handler)(); });
        });
    }
    on(spnIndex, &QScrollBar::valueChanged, &frmMain::spnIndex_Change);

    Timer1 = new QTimer(this);
    Timer1->setObjectName("Timer1");
    Timer1->setInterval(1000);
    on(Timer1, &QTimer::timeout, &frmMain::Timer1_Timer);

    // The load handler fills the index box before the window is first shown.
    dispatch([this] { Form_Load(); });
    Timer1->start();
    cmdStart->setFocus();
}

frmMain::~frmMain() = default;

int frmMain::twips(int value) const { return int(std::lround(value * scale_ / 15.0)); }

Controls frmMain::controls() const {
    Controls c;
    c.optAlbum = {optAlbum1->isChecked(), optAlbum2->isChecked(), optAlbum3->isChecked(), optAlbum4->isChecked()};
    c.opt512 = opt512->isChecked();
    c.opt1024 = opt1024->isChecked();
    c.chkTwo = chkTwo->isChecked();
    return c;
}

void frmMain::dispatch(const std::function<void()>& handler) {
    if (ended_ || halted_) return;
    try {
        handler();
    } catch (const ProgramEnd& end) {
        unload(end.status);
    } catch (const Failure& failure) {
        fail(failure);
    } catch (const std::bad_alloc&) {
        fail(Failure(ErrOutOfMemory, "Out of memory"));
    } catch (const std::exception& e) {
        fail(Failure(ErrInternal, std::string("Internal error: ") + e.what()));
    }
}

void frmMain::fail(const Failure& failure) {
    // The box waits in an event loop of its own: stop everything first, so
    // that no tick or click runs between the failure and the end.
    halt();
    ShowFailure(*boxes_, failure);
    unload(1);
}

void frmMain::halt() {
    halted_ = true;
    Timer1->stop();
}

void frmMain::unload(int status) {
    if (ended_) return;
    ended_ = true;
    Timer1->stop();
    hide();
    endProgram_(status);
}

void frmMain::closeEvent(QCloseEvent* event) {
    // Closing the window by the platform's means is Exit Program.
    if (!ended_) dispatch([this] { cmdExit_Click(); });
    event->accept();
}

void frmMain::reject() { cmdExit->click(); }

// --- Index display ---------------------------------------------------------

void frmMain::refreshIndex(int album) {
    const int n = ReadSettingInt(section::Own, AlbumIndexKey(album));
    txtIndex->setText(QString::fromStdString(DecimalText(n)));
    const long long v = AlbumCapacity - WholePart(TextValue(txtIndex->text().toStdString()));
    if (v >= spnIndex->minimum() && v <= spnIndex->maximum()) {
        spnIndex->setValue(int(v));  // a change runs spnIndex_Change, which writes the same text
    } else {
        // A stored index outside 0..25 (edited by hand, or a negative one a
        // session left) is shown as it is; the scroll bar rests at its
        // nearest end without rewriting the box, and the arrows step from
        // there.
        const QSignalBlocker quiet(spnIndex);
        spnIndex->setValue(v < spnIndex->minimum() ? spnIndex->minimum() : spnIndex->maximum());
    }
}

void frmMain::Form_Load() { refreshIndex(1); }
void frmMain::optAlbum1_Click() { refreshIndex(1); }
void frmMain::optAlbum2_Click() { refreshIndex(2); }
void frmMain::optAlbum3_Click() { refreshIndex(3); }
void frmMain::optAlbum4_Click() { refreshIndex(4); }

void frmMain::spnIndex_Change() {
    txtIndex->setText(QString::fromStdString(DecimalText(AlbumCapacity - spnIndex->value())));
}

void frmMain::cmdSetIndex_Click() {
    const int album = SelectedAlbum(controls());
    if (album == 0) return;
    WriteSetting(section::Own, AlbumIndexKey(album), txtIndex->text().toLocal8Bit().toStdString());
    const double n = TextValue(txtIndex->text().toLocal8Bit().toStdString());
    WriteSetting(section::General, key::ScreenShotIndex, DecimalText(WholePart(n + AlbumOffset(album))));
}

// --- Clearing, exit ----------------------------------------------------------

void frmMain::cmdClear_Click() {
    const int album = SelectedAlbum(controls());
    if (album == 0) return;
    ClearAlbum(album);
    switch (album) {
    case 1: optAlbum1_Click(); break;
    case 2: optAlbum2_Click(); break;
    case 3: optAlbum3_Click(); break;
    case 4: optAlbum4_Click(); break;
    }
}

void frmMain::cmdExit_Click() {
    // Stores nothing; a running game is left alone.
    throw ProgramEnd{0};
}

// --- Session -------------------------------------------------------------------

void frmMain::cmdStart_Click() {
    if (const auto message = LaunchGame(controls())) boxes_->show(*message, "Glintbook", MessageIcon::None);
}

void frmMain::Timer1_Timer() {
    if (MonitorTick(gameRunning_, controls(), processSource) == TickOutcome::SnapshotFailed) {
        halt();  // no further ticks while the box is open
        boxes_->show(CriticalErrorText, "Critical Error", MessageIcon::Stop);
        throw ProgramEnd{1};
    }
}

void frmMain::PrepareSession() { glintbook::PrepareSession(controls()); }
void frmMain::RegisterPlugin() { glintbook::RegisterPlugin(); }
void frmMain::CloseSession() { glintbook::CloseSession(controls()); }
void frmMain::ImportScreenshot() {
    if (glintbook::ImportScreenshot(controls()) == ImportOutcome::AlbumClosed) CloseSession();
}

}  // namespace glintbook
