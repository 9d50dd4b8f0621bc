// Whole sessions through the real window and the game simulator, as a player
// has them: the game is started from the window or by other means,
// screenshots become album pictures, and the program ends when the game does.
// The monitor's other cases are tested without a window. The monitor's interval
// is shortened here through Timer1, which the program itself never changes.
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_folder.h"
#include "window_fixture.h"

#include <QCheckBox>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <filesystem>
#include <fstream>

using namespace glintbook;
using glintbook::test::GameFolder;
using glintbook::test::Window;

namespace {

constexpr int TickMs = 100;
constexpr int WaitMs = 15000;

// A game folder as a player has it: the game's own settings file, the stock
// texture, the plug-in, and the simulator installed as the game.
void InstallGame(const GameFolder& folder) {
    folder.write("Morrowind.ini", test::TestData("Morrowind-sample.ini"));
    folder.write("Data Files/Textures/qor_tx_photo_orig.bmp", "stock");
    folder.write("Data Files/Glintbook.esp", "plug-in");
    std::filesystem::copy_file(GAME_SIM_PATH, folder.file("Morrowind.exe"));
}

// A player who has run a session before: no first-run defaults, and the
// game's screenshots switched on.
void Veteran() {
    WriteSetting(section::Own, key::EverRun, "1");
    WriteSetting(section::General, key::ScreenShotEnable, "1");
}

void Command(const GameFolder& folder, const std::string& line) {
    std::ofstream(folder.file("game-sim.commands"), std::ios::app) << line << "\n";
}

std::string Photo(int p) { return "Data Files/BookArt/Photo " + std::to_string(p) + ".bmp"; }

void Fast(Window& w) { w.form->Timer1->setInterval(TickMs); }

// A simulator started by other means than the Start button, fed on stdin.
struct OtherGame {
    QProcess process;
    explicit OtherGame(const GameFolder& folder) {
        process.setWorkingDirectory(QString::fromStdString(folder.path()));
        process.start(QString::fromStdString(folder.file("Morrowind.exe")), {});
        process.waitForStarted();
    }
    void send(const char* line) {
        process.write(line);
        process.write("\n");
        process.waitForBytesWritten();
    }
    ~OtherGame() {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished();
        }
    }
};

}  // namespace

class SessionTest : public QObject {
    Q_OBJECT

private slots:
    void startedFromTheWindowThreeShotsThenQuit() {
        GameFolder folder;
        InstallGame(folder);
        Window w;
        Fast(w);
        QTest::mouseClick(w.form->cmdStart, Qt::LeftButton);
        QVERIFY(w.boxes->shown.empty());
        QCOMPARE(ReadSettingText(section::GameFiles, "GameFile3"), std::string("Glintbook.esp"));
        QTRY_VERIFY_WITH_TIMEOUT(w.form->logic.GameRunning(), WaitMs);
        const char* shots[] = {"shot", "shot 1920x1080", "shot 640x480"};
        for (int i = 0; i < 3; ++i) {
            Command(folder, shots[i]);
            QTRY_VERIFY_WITH_TIMEOUT(folder.exists(Photo(i + 1)), WaitMs);
        }
        Command(folder, "quit");
        QTRY_VERIFY_WITH_TIMEOUT(w.endStatus.has_value(), WaitMs);
        QCOMPARE(*w.endStatus, 0);
        QCOMPARE(ReadSettingInt(section::Own, "Album1Index"), 3);
        for (int i = 0; i < 3; ++i) {
            QVERIFY(folder.exists("Screenshots/ScreenShot " + std::to_string(i) + "_0.bmp"));
            QVERIFY(folder.exists("Data Files/Textures/qor_tx_photo_" + std::to_string(i) + ".bmp"));
            QVERIFY(!folder.exists("ScreenShot " + std::to_string(i) + ".bmp"));
        }
        QVERIFY(w.boxes->shown.empty());
    }

    void aGameStartedByOtherMeansIsTakenOver() {
        GameFolder folder;
        InstallGame(folder);
        Veteran();
        WriteSetting(section::Own, "Album2Index", "7");
        Window w;
        Fast(w);
        QTest::mouseClick(w.form->optAlbum2, Qt::LeftButton);
        OtherGame game(folder);
        QTRY_VERIFY_WITH_TIMEOUT(w.form->logic.GameRunning(), WaitMs);
        QCOMPARE(ReadSettingInt(section::General, key::ScreenShotIndex), 32);
        game.send("shot");
        QTRY_VERIFY_WITH_TIMEOUT(folder.exists(Photo(33)), WaitMs);
        QVERIFY(folder.exists("Data Files/Textures/qor_tx_photo_32.bmp"));
        game.send("quit");
        QTRY_VERIFY_WITH_TIMEOUT(w.endStatus.has_value(), WaitMs);
        QCOMPARE(ReadSettingInt(section::Own, "Album2Index"), 8);
    }
};

QTEST_MAIN(SessionTest)
#include "qt_session.moc"
