// The Qt window as a player meets it: its size, the two option groups, Enter
// and Esc, the controls and the timer driving the handlers (whose own rules
// are tested without a window).
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "app/qt/frmMain.h"
#include "support/game_kit.h"

#include <QCheckBox>
#include <QGuiApplication>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace glintbook;
using glintbook::test::GameFolder;

// The window with its message boxes recorded instead of waiting for a
// person, its end recorded instead of leaving the event loop; shown, as the
// tests act on it as a player does.
struct Window {
    struct Box {
        std::string text, caption;
        MessageIcon icon;
    };
    std::vector<Box> boxes;
    std::optional<int> endStatus;
    int ends = 0;
    std::unique_ptr<frmMain> form = std::make_unique<frmMain>(
        [this](const std::string& t, const std::string& c, MessageIcon i) { boxes.push_back({t, c, i}); },
        [this](int status) { endStatus = status, ++ends; });
    Window() { form->show(); }
};

class WindowTest : public QObject {
    Q_OBJECT

private slots:
    void sizeAndPlacesAt96Dpi() {
        if (QGuiApplication::primaryScreen()->logicalDotsPerInch() != 96) QSKIP("the screen is not at 96 dots per inch");
        GameFolder folder;
        Window w;
        frmMain& f = *w.form;
        QVERIFY(QTest::qWaitForWindowExposed(&f));
        QCOMPARE(f.cmdSetIndex->geometry(), QRect(96, 40, 89, 33));  // one row over cmdClear's bottom edge
        QCOMPARE(f.spnIndex->geometry(), QRect(256, 48, 17, 25));
        QCOMPARE(f.opt1024->mapTo(&f, QPoint(0, 0)), QPoint(200, 104));  // inside frmRes
        QCOMPARE(f.size(), QSize(281, 123));
        f.resize(400, 300);
        QCOMPARE(f.size(), QSize(281, 123));
    }

    void optionGroupsAreSeparateAndNeverEmpty() {
        GameFolder folder;
        Window w;
        frmMain& f = *w.form;
        // Clicking the set option keeps it set; a click in one group leaves the other.
        for (QRadioButton* o : {f.optAlbum1, f.opt1024, f.optAlbum3, f.opt1024}) QTest::mouseClick(o, Qt::LeftButton);
        QVERIFY(f.optAlbum3->isChecked() && !f.optAlbum1->isChecked() && f.opt1024->isChecked() && !f.opt512->isChecked());
        QTest::mouseClick(f.chkTwo, Qt::LeftButton);
        QVERIFY((static_cast<const FormView&>(f).choices() == Choices{3, 1024, true}));  // what the session is told
    }

    void enterPressesStartUnlessOnAnotherButton() {
        GameFolder folder;
        Window w;
        frmMain& f = *w.form;
        QVERIFY(QTest::qWaitForWindowActive(&f));
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(f.cmdStart));
        QSignalSpy started(f.cmdStart, &QPushButton::clicked), cleared(f.cmdClear, &QPushButton::clicked);
        for (QWidget* on : {static_cast<QWidget*>(f.chkTwo), static_cast<QWidget*>(f.optAlbum2)}) {
            on->setFocus();
            QTest::keyClick(on, Qt::Key_Return);
        }
        QCOMPARE(started.count(), 2);
        QCOMPARE(w.boxes.size(), size_t(2));  // no game here: Start says so, and the program stays
        QVERIFY(w.boxes[1].text == "Morrowind.exe cannot be found in this folder." && w.boxes[1].caption == "Glintbook" &&
                w.boxes[1].icon == MessageIcon::None && !w.endStatus);
        f.cmdClear->setFocus();
        QTest::keyClick(f.cmdClear, Qt::Key_Return);
        QCOMPARE(cleared.count(), 1);
        QCOMPARE(started.count(), 2);
    }

    void escapeAndClosingEndWithoutWriting() {
        GameFolder folder;
        const std::string ini = "[General]\r\nScreen Shot Index=33\r\n[Glintbook]\r\nAlbum1Index=4\r\n";
        folder.write("Morrowind.ini", ini);
        {
            Window w;
            QVERIFY(QTest::qWaitForWindowActive(w.form.get()));
            QTest::keyClick(w.form->chkTwo, Qt::Key_Escape);
            QCOMPARE(w.endStatus, std::optional<int>(0));
            QVERIFY(!w.form->Timer1->isActive());
        }
        {
            Window w;
            w.form->close();
            QCOMPARE(w.endStatus, std::optional<int>(0));
            QCOMPARE(w.ends, 1);
        }
        QCOMPARE(folder.read("Morrowind.ini"), ini);
    }

    void theControlsDriveTheHandlers() {
        GameFolder folder;
        folder.write("Morrowind.ini", "[Glintbook]\r\nAlbum1Index=9\r\nAlbum2Index=4\r\n");
        Window w;
        frmMain& f = *w.form;
        QCOMPARE(f.txtIndex->text(), QString("9"));
        QVERIFY(f.txtIndex->isReadOnly());
        QTest::mouseClick(f.optAlbum2, Qt::LeftButton);
        QCOMPARE(f.txtIndex->text(), QString("4"));
        for (int i = 0; i < 3; ++i) QTest::keyClick(f.spnIndex, Qt::Key_Up);
        QCOMPARE(f.txtIndex->text(), QString("7"));
        QTest::mouseClick(f.cmdSetIndex, Qt::LeftButton);
        QCOMPARE(ReadSettingText(section::General, key::ScreenShotIndex), std::string("32"));
        QCOMPARE(ReadSettingText(section::Own, "Album2Index"), std::string("7"));
    }

    void theTimerRunsTheMonitorAndStopsForTheCriticalError() {
        GameFolder folder;
        Window w;
        QCOMPARE(w.form->Timer1->interval(), 1000);
        int snapshots = 0;
        w.form->logic.processSource = [&snapshots] {
            ++snapshots;
            return std::optional<std::vector<std::string>>();
        };
        w.form->Timer1->setInterval(20);
        QTRY_COMPARE(w.endStatus, std::optional<int>(1));
        QCOMPARE(w.boxes.size(), size_t(1));
        QCOMPARE(w.boxes[0].caption, std::string("Critical Error"));
        QTest::qWait(100);
        QCOMPARE(snapshots, 1);
    }

    void aSecondGlintbookInTheFolderCallsTheFirstForwardAndEnds() {
        GameFolder folder;
        Window first;
        instance::FolderClaim claim;
        QVERIFY(claim.state() == instance::FolderClaim::State::Held);
        first.form->answerCalls(claim);
        first.form->showMinimized();
        const std::string writing = ".Morrowind.ini.tmp-a1B2c3";  // a write of the first one, under way
        folder.write(writing, "[General]\r\n");
        QProcess second;
        second.start(GLINTBOOK_PATH);
        QVERIFY(second.waitForFinished(20000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QVERIFY(folder.exists(writing));
        QTRY_VERIFY(!first.form->isMinimized() && first.form->isVisible());
    }
};

QTEST_MAIN(WindowTest)
#include "qt_window.moc"
