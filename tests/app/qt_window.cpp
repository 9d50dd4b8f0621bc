// The main window: its controls, their layout and roles, the index display
// and the ways the program ends from the window.
#include "platform/failure.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_folder.h"
#include "window_fixture.h"

#include <QCheckBox>
#include <QGuiApplication>
#include <QScreen>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <functional>
#include <stdexcept>

using namespace glintbook;
using glintbook::test::GameFolder;
using glintbook::test::Window;

namespace {

void WriteIni(const GameFolder& folder, const std::string& text) { folder.write("Morrowind.ini", text); }

std::string Txt(const frmMain& f) { return f.txtIndex->text().toStdString(); }

// The up/down arrows of the scroll bar, pressed as keys with the focus on it.
void Upper(frmMain& f, int times = 1) {
    for (int i = 0; i < times; ++i) QTest::keyClick(f.spnIndex, Qt::Key_Up);
}
void Lower(frmMain& f, int times = 1) {
    for (int i = 0; i < times; ++i) QTest::keyClick(f.spnIndex, Qt::Key_Down);
}

}  // namespace

class WindowTest : public QObject {
    Q_OBJECT

private slots:
    void initialStateShowsAlbumOnesStoredIndex() {
        GameFolder folder;
        WriteIni(folder, "[Glintbook]\r\nAlbum1Index=7\r\nAlbum2Index=3\r\n");
        Window w;
        frmMain& f = *w.form;
        QVERIFY(f.optAlbum1->isChecked());
        QVERIFY(!f.optAlbum2->isChecked() && !f.optAlbum3->isChecked() && !f.optAlbum4->isChecked());
        QVERIFY(f.opt512->isChecked());
        QVERIFY(!f.opt1024->isChecked());
        QVERIFY(!f.chkTwo->isChecked());
        QCOMPARE(Txt(f), std::string("7"));
        QCOMPARE(f.spnIndex->value(), 18);
        QVERIFY(f.txtIndex->isReadOnly());
        QCOMPARE(f.spnIndex->minimum(), 0);
        QCOMPARE(f.spnIndex->maximum(), 25);
        QCOMPARE(f.spnIndex->singleStep(), 1);
        QVERIFY(f.Timer1->isActive());
        QCOMPARE(f.Timer1->interval(), 1000);
        QCOMPARE(f.windowTitle(), QString("Glintbook"));
        QVERIFY(!f.windowIcon().isNull());
        QVERIFY(!f.logic.GameRunning());
        QVERIFY(w.boxes->shown.empty());
    }

    void withoutSettingsFileTheIndexIsZero() {
        GameFolder folder;
        Window w;
        QCOMPARE(Txt(*w.form), std::string("0"));
        QCOMPARE(w.form->spnIndex->value(), 25);
        QVERIFY(!folder.exists("Morrowind.ini"));  // reading creates nothing
    }

    void focusStartsOnStart() {
        GameFolder folder;
        Window w;
        w.form->show();
        QVERIFY(QTest::qWaitForWindowActive(w.form.get()));
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(w.form->cmdStart));
        QVERIFY(w.form->cmdStart->isDefault());
    }

    void layoutMatchesTheTableAt96Dpi() {
        GameFolder folder;
        Window w;
        frmMain& f = *w.form;
        if (QGuiApplication::primaryScreen()->logicalDotsPerInch() != 96) QSKIP("the screen is not at 96 dots per inch");
        struct Row {
            QWidget* w;
            const char* name;
            int left, top, width, height;
            QWidget* parent;
        };
        const Row rows[] = {
            {f.cmdStart, "cmdStart", 8, 8, 89, 33, &f},       {f.chkTwo, "chkTwo", 8, 48, 89, 17, &f},
            {f.optAlbum1, "optAlbum1", 8, 80, 65, 17, &f},    {f.optAlbum2, "optAlbum2", 72, 80, 65, 17, &f},
            {f.optAlbum3, "optAlbum3", 144, 80, 65, 17, &f},  {f.optAlbum4, "optAlbum4", 216, 80, 65, 17, &f},
            {f.cmdClear, "cmdClear", 96, 8, 89, 33, &f},      {f.cmdSetIndex, "cmdSetIndex", 96, 40, 89, 33, &f},
            {f.txtIndex, "txtIndex", 192, 48, 63, 25, &f},    {f.cmdExit, "cmdExit", 184, 8, 89, 33, &f},
            {f.frmRes, "frmRes", 8, 96, 265, 25, &f},         {f.lblRes, "lblRes", 0, 8, 89, 17, f.frmRes},
            {f.opt512, "opt512", 112, 8, 65, 17, f.frmRes},   {f.opt1024, "opt1024", 192, 8, 73, 17, f.frmRes},
            {f.spnIndex, "spnIndex", 256, 48, 17, 25, &f},
        };
        for (const Row& r : rows) {
            QCOMPARE(r.w->objectName(), QString(r.name));
            QCOMPARE(r.w->geometry(), QRect(r.left, r.top, r.width, r.height));
            QCOMPARE(r.w->parentWidget(), r.parent);
        }
        QCOMPARE(f.Timer1->objectName(), QString("Timer1"));
        QCOMPARE(f.objectName(), QString("frmMain"));
    }

    void windowHasAFixedClientArea() {
        GameFolder folder;
        Window w;
        frmMain& f = *w.form;
        if (QGuiApplication::primaryScreen()->logicalDotsPerInch() != 96) QSKIP("the screen is not at 96 dots per inch");
        f.show();
        QVERIFY(QTest::qWaitForWindowExposed(&f));
        QCOMPARE(f.size(), QSize(281, 123));
        QCOMPARE(f.minimumSize(), QSize(281, 123));
        QCOMPARE(f.maximumSize(), QSize(281, 123));
        f.resize(400, 300);
        QCOMPARE(f.size(), QSize(281, 123));
    }

    void tabOrderFollowsTheTable() {
        GameFolder folder;
        Window w;
        frmMain& f = *w.form;
        const QList<QWidget*> expected = {f.cmdStart,  f.chkTwo,  f.optAlbum1, f.optAlbum2, f.optAlbum3,
                                          f.optAlbum4, f.cmdClear, f.cmdSetIndex, f.txtIndex, f.cmdExit,
                                          f.opt512,    f.opt1024, f.spnIndex};
        QList<QWidget*> chain;
        QWidget* w0 = f.cmdStart;
        QWidget* it = w0;
        do {
            if (it->focusPolicy() & Qt::TabFocus) chain.push_back(it);
            it = it->nextInFocusChain();
        } while (it != w0 && chain.size() < 40);
        QCOMPARE(chain, expected);
        QCOMPARE(f.lblRes->focusPolicy(), Qt::NoFocus);
        QCOMPARE(f.frmRes->focusPolicy(), Qt::NoFocus);
    }

    void tooltipsAreTheProgramsOwnTexts() {
        GameFolder folder;
        Window w;
        frmMain& f = *w.form;
        QCOMPARE(f.cmdStart->toolTip(), QString("This will start Morrowind."));
        QCOMPARE(f.cmdClear->toolTip(), QString("This will clear the currently selected album. Note that all created "
                                                "picture files will be physically destroyed."));
        QCOMPARE(f.cmdSetIndex->toolTip(), QString("Set the index in the INI from the box."));
        QCOMPARE(f.txtIndex->toolTip(), QString("The number of last taken picture from the album currently selected."));
        for (QRadioButton* o : {f.optAlbum1, f.optAlbum2, f.optAlbum3, f.optAlbum4})
            QCOMPARE(o->toolTip(), QString("Select which album to use."));
        QCOMPARE(f.chkTwo->toolTip(), QString("Checking this will make the program overwrite the pictures taken in "
                                              "this session as soon as they reach the 25-pictures limit."));
        QCOMPARE(f.opt512->toolTip(),
                 QString("Checking this will make textures saved for painting use have 512x512 pixels resolution."));
        QCOMPARE(f.opt1024->toolTip(),
                 QString("Checking this will make textures saved for painting use have 1024x1024 pixels resolution."));
        for (QWidget* none : {static_cast<QWidget*>(f.cmdExit), static_cast<QWidget*>(f.lblRes),
                              static_cast<QWidget*>(f.frmRes), static_cast<QWidget*>(f.spnIndex)})
            QVERIFY(none->toolTip().isEmpty());
        QCOMPARE(f.cmdStart->text(), QString("Start Morrowind"));
        QCOMPARE(f.cmdClear->text(), QString("Clear Album"));
        QCOMPARE(f.cmdSetIndex->text(), QString("Set Index"));
        QCOMPARE(f.cmdExit->text(), QString("Exit Program"));
        QCOMPARE(f.chkTwo->text(), QString("Loop Pictures"));
        QCOMPARE(f.lblRes->text(), QString("Picture Resolution:"));
        QCOMPARE(f.opt512->text(), QString("512x512"));
        QCOMPARE(f.opt1024->text(), QString("1024x1024"));
        QCOMPARE(f.optAlbum3->text(), QString("Album 3"));
    }

    void optionGroupsAreSeparateAndNeverEmpty() {
        GameFolder folder;
        Window w;
        frmMain& f = *w.form;
        f.show();
        QTest::mouseClick(f.optAlbum1, Qt::LeftButton);  // clicking the set option keeps it set
        QVERIFY(f.optAlbum1->isChecked());
        QTest::mouseClick(f.opt1024, Qt::LeftButton);
        QVERIFY(f.opt1024->isChecked() && !f.opt512->isChecked());
        QVERIFY(f.optAlbum1->isChecked());
        QTest::mouseClick(f.optAlbum3, Qt::LeftButton);
        QVERIFY(f.optAlbum3->isChecked() && !f.optAlbum1->isChecked());
        QVERIFY(f.opt1024->isChecked());
        QTest::mouseClick(f.opt1024, Qt::LeftButton);
        QVERIFY(f.opt1024->isChecked());
    }

    void escapeEndsTheProgramWithoutWriting() {
        GameFolder folder;
        const std::string ini = "[General]\r\nScreen Shot Index=33\r\n[Glintbook]\r\nAlbum1Index=4\r\n";
        WriteIni(folder, ini);
        Window w;
        w.form->show();
        QVERIFY(QTest::qWaitForWindowActive(w.form.get()));
        QTest::keyClick(w.form->chkTwo, Qt::Key_Escape);
        QCOMPARE(w.endStatus, std::optional<int>(0));
        QVERIFY(w.form->logic.ended());
        QVERIFY(!w.form->Timer1->isActive());
        QCOMPARE(folder.read("Morrowind.ini"), ini);
    }

    void exitButtonAndClosingTheWindowEndWithoutWriting() {
        GameFolder folder;
        const std::string ini = "[Glintbook]\r\nAlbum1Index=4\r\n";
        WriteIni(folder, ini);
        {
            Window w;
            w.form->show();
            QTest::mouseClick(w.form->cmdExit, Qt::LeftButton);
            QCOMPARE(w.endStatus, std::optional<int>(0));
            QCOMPARE(w.ends, 1);
        }
        {
            Window w;
            w.form->show();
            QVERIFY(QTest::qWaitForWindowExposed(w.form.get()));
            w.form->close();
            QCOMPARE(w.endStatus, std::optional<int>(0));
            QCOMPARE(w.ends, 1);
        }
        QCOMPARE(folder.read("Morrowind.ini"), ini);
    }

    void enterOnACheckBoxOrOptionPressesStart() {
        GameFolder folder;
        Window w;
        frmMain& f = *w.form;
        f.show();
        QVERIFY(QTest::qWaitForWindowActive(&f));
        QSignalSpy started(f.cmdStart, &QPushButton::clicked);
        QSignalSpy cleared(f.cmdClear, &QPushButton::clicked);
        f.chkTwo->setFocus();
        QTest::keyClick(f.chkTwo, Qt::Key_Return);
        QCOMPARE(started.count(), 1);
        f.optAlbum2->setFocus();
        QTest::keyClick(f.optAlbum2, Qt::Key_Enter);
        QCOMPARE(started.count(), 2);
        // With no game in the folder, Start says so and the program stays.
        QCOMPARE(w.boxes->shown.size(), size_t(2));
        QCOMPARE(w.boxes->shown[0].text, std::string("Morrowind.exe cannot be found in this folder."));
        QCOMPARE(w.boxes->shown[0].caption, std::string("Glintbook"));
        QVERIFY(w.boxes->shown[0].icon == MessageIcon::None);
        QVERIFY(!w.endStatus);
        // Enter on another command button presses that button instead.
        f.cmdClear->setFocus();
        QTest::keyClick(f.cmdClear, Qt::Key_Return);
        QCOMPARE(cleared.count(), 1);
        QCOMPARE(started.count(), 2);
    }

    void steppingChangesOnlyTheDisplay() {
        GameFolder folder;
        const std::string ini = "[Glintbook]\r\nAlbum1Index=9\r\nAlbum2Index=4\r\n";
        WriteIni(folder, ini);
        Window w;
        frmMain& f = *w.form;
        f.show();
        QTest::mouseClick(f.optAlbum2, Qt::LeftButton);
        QCOMPARE(Txt(f), std::string("4"));
        Upper(f, 3);
        QCOMPARE(Txt(f), std::string("7"));
        QCOMPARE(f.spnIndex->value(), 18);
        QCOMPARE(folder.read("Morrowind.ini"), ini);
        QTest::mouseClick(f.optAlbum1, Qt::LeftButton);
        QCOMPARE(Txt(f), std::string("9"));
        QTest::mouseClick(f.optAlbum2, Qt::LeftButton);
        QCOMPARE(Txt(f), std::string("4"));
        Lower(f, 2);
        QCOMPARE(Txt(f), std::string("2"));
    }

    void arrowsStopAtTheEnds() {
        GameFolder folder;
        WriteIni(folder, "[Glintbook]\r\nAlbum1Index=25\r\nAlbum2Index=0\r\n");
        Window w;
        frmMain& f = *w.form;
        f.show();
        QCOMPARE(Txt(f), std::string("25"));
        QCOMPARE(f.spnIndex->value(), 0);
        Upper(f);
        QCOMPARE(Txt(f), std::string("25"));
        QTest::mouseClick(f.optAlbum2, Qt::LeftButton);
        QCOMPARE(Txt(f), std::string("0"));
        QCOMPARE(f.spnIndex->value(), 25);
        Lower(f);
        QCOMPARE(Txt(f), std::string("0"));
        Upper(f);
        QCOMPARE(Txt(f), std::string("1"));
    }

    void storedIndexOutsideTheRangeIsShownAsItIs() {
        GameFolder folder;
        WriteIni(folder, "[Glintbook]\r\nAlbum1Index=30\r\nAlbum2Index=-3\r\nAlbum3Index=oops\r\n");
        Window w;
        frmMain& f = *w.form;
        f.show();
        QCOMPARE(Txt(f), std::string("30"));
        QCOMPARE(f.spnIndex->value(), 0);
        Lower(f);  // steps from the scroll bar's end
        QCOMPARE(Txt(f), std::string("24"));
        QTest::mouseClick(f.optAlbum2, Qt::LeftButton);
        QCOMPARE(Txt(f), std::string("-3"));
        QCOMPARE(f.spnIndex->value(), 25);
        Upper(f);
        QCOMPARE(Txt(f), std::string("1"));
        QTest::mouseClick(f.optAlbum3, Qt::LeftButton);
        QCOMPARE(Txt(f), std::string("0"));
        QCOMPARE(f.spnIndex->value(), 25);
    }

    void setIndexWritesTheAlbumKeyThenTheCounter() {
        GameFolder folder;
        Window w;
        frmMain& f = *w.form;
        f.show();
        QTest::mouseClick(f.optAlbum3, Qt::LeftButton);
        Upper(f, 7);
        QTest::mouseClick(f.cmdSetIndex, Qt::LeftButton);
        // Both sections were created by the writes, in the order made.
        QCOMPARE(folder.read("Morrowind.ini"),
                 std::string("[Glintbook]\r\nAlbum3Index=7\r\n[General]\r\nScreen Shot Index=57\r\n"));
        QCOMPARE(Txt(f), std::string("7"));
    }

    void setIndexAtTheEdgesOfTheRange() {
        GameFolder folder;
        WriteIni(folder, "[General]\r\nScreen Shot Index=12\r\n[Glintbook]\r\nAlbum4Index=3\r\nAlbum1Index=5\r\n");
        Window w;
        frmMain& f = *w.form;
        f.show();
        QTest::mouseClick(f.optAlbum4, Qt::LeftButton);
        Upper(f, 30);
        QCOMPARE(Txt(f), std::string("25"));
        QTest::mouseClick(f.cmdSetIndex, Qt::LeftButton);
        QCOMPARE(ReadSettingText(section::Own, "Album4Index"), std::string("25"));
        QCOMPARE(ReadSettingText(section::General, key::ScreenShotIndex), std::string("100"));

        QTest::mouseClick(f.optAlbum1, Qt::LeftButton);
        Lower(f, 30);
        QCOMPARE(Txt(f), std::string("0"));
        QTest::mouseClick(f.cmdSetIndex, Qt::LeftButton);
        QCOMPARE(ReadSettingText(section::Own, "Album1Index"), std::string("0"));
        QCOMPARE(ReadSettingText(section::General, key::ScreenShotIndex), std::string("0"));
        QCOMPARE(ReadSettingText(section::Own, "Album4Index"), std::string("25"));
    }

    void setIndexStoresAnOutOfRangeDisplayUnchanged() {
        GameFolder folder;
        WriteIni(folder, "[Glintbook]\r\nAlbum2Index=-3\r\n");
        Window w;
        frmMain& f = *w.form;
        QTest::mouseClick(f.optAlbum2, Qt::LeftButton);
        QTest::mouseClick(f.cmdSetIndex, Qt::LeftButton);
        QCOMPARE(ReadSettingText(section::Own, "Album2Index"), std::string("-3"));
        QCOMPARE(ReadSettingInt(section::General, key::ScreenShotIndex), 22);
    }

    void selectingAnAlbumShowsItsStoredIndexNotTheRunningCounter() {
        GameFolder folder;
        WriteIni(folder, "[General]\r\nScreen Shot Index=61\r\n[Glintbook]\r\nAlbum3Index=2\r\n");
        Window w;
        QTest::mouseClick(w.form->optAlbum3, Qt::LeftButton);
        QCOMPARE(Txt(*w.form), std::string("2"));
    }

    void theDisplayReadsTheFileAfreshAtEachSelection() {
        GameFolder folder;
        WriteIni(folder, "[Glintbook]\r\nAlbum2Index=4\r\n");
        Window w;
        QTest::mouseClick(w.form->optAlbum2, Qt::LeftButton);
        QCOMPARE(Txt(*w.form), std::string("4"));
        WriteSetting(section::Own, "Album2Index", "11");  // e.g. a session of another run
        QTest::mouseClick(w.form->optAlbum1, Qt::LeftButton);
        QTest::mouseClick(w.form->optAlbum2, Qt::LeftButton);
        QCOMPARE(Txt(*w.form), std::string("11"));
    }

    void aProcessListThatCannotBeReadStopsWithTheCriticalError() {
        GameFolder folder;
        const std::string ini = "[General]\r\nScreen Shot Index=7\r\n";
        WriteIni(folder, ini);
        Window w;
        int snapshots = 0;
        w.form->logic.processSource = [&snapshots] {
            ++snapshots;
            return std::optional<std::vector<std::string>>();
        };
        w.form->Timer1->setInterval(20);
        QTRY_VERIFY(w.endStatus.has_value());
        QCOMPARE(*w.endStatus, 1);
        QCOMPARE(w.boxes->shown.size(), size_t(1));
        QCOMPARE(w.boxes->shown[0].text, std::string("Glintbook encountered a critical error and needs to close."));
        QCOMPARE(w.boxes->shown[0].caption, std::string("Critical Error"));
        QVERIFY(w.boxes->shown[0].icon == MessageIcon::Stop);
        QTest::qWait(100);
        QCOMPARE(snapshots, 1);
        QCOMPARE(folder.read("Morrowind.ini"), ini);
    }

    void anyFailureInAHandlerIsShownAndEndsTheProgram() {
        struct Case {
            std::function<void()> handler;
            const char* shown;
        };
        const Case cases[] = {
            {[] { throw Failure(ErrPathNotFound, "Path not found: x"); }, "Run-time error '76':\n\nPath not found: x"},
            {[] { throw std::bad_alloc(); }, "Run-time error '7':\n\nOut of memory"},
            {[] { throw std::out_of_range("index"); }, "Run-time error '51':\n\nInternal error: index"},
        };
        for (const Case& c : cases) {
            GameFolder folder;
            Window w;
            bool after = false;
            w.form->logic.dispatch([&] {
                c.handler();
                after = true;
            });
            QVERIFY(!after);
            QCOMPARE(w.endStatus, std::optional<int>(1));
            QCOMPARE(w.boxes->shown.size(), size_t(1));
            QCOMPARE(w.boxes->shown[0].text, std::string(c.shown));
            QVERIFY(!w.form->Timer1->isActive());
            w.form->logic.dispatch([&] { after = true; });  // nothing runs once it has ended
            QVERIFY(!after);
        }
    }

    void theMonitorTicksOnItsOwnFromTheStart() {
        GameFolder folder;
        WriteIni(folder, "[Glintbook]\r\nEverRun=1\r\n");
        folder.write("Data Files/Glintbook.esp", "");
        Window w;
        std::vector<std::string> names = {"init"};
        w.form->logic.processSource = [&names] { return std::optional<std::vector<std::string>>(names); };
        w.form->Timer1->setInterval(20);
        QTest::qWait(100);
        QVERIFY(!w.form->logic.GameRunning());
        names.push_back("Morrowind.exe");
        QTRY_VERIFY(w.form->logic.GameRunning());
        QCOMPARE(ReadSettingInt(section::General, key::ScreenShotIndex), 0);
        names.pop_back();
        QTRY_VERIFY(w.endStatus.has_value());
        QCOMPARE(*w.endStatus, 0);
        QCOMPARE(ReadSettingText(section::Own, "Album1Index"), std::string("0"));
    }
};

QTEST_MAIN(WindowTest)
#include "qt_window.moc"
