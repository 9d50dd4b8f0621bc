// A whole session through the real window, the system's process list and
// the game simulator: Start starts the game, its screenshots become album
// pictures, and the program ends when the game does. The monitor's other
// cases are tested without a window; only the tick is shortened here.
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_kit.h"
#include "window_fixture.h"

#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <filesystem>
#include <fstream>

using namespace glintbook;

class SessionTest : public QObject {
    Q_OBJECT

private slots:
    void startedFromTheWindowThreeShotsThenQuit() {
        constexpr int WaitMs = 15000;
        test::GameFolder folder;
        test::InstallGame(folder, test::TestData("Morrowind-sample.ini"), {.stock = true});
        std::filesystem::copy_file(GAME_SIM_PATH, folder.file("Morrowind.exe"));
        auto command = [&](const char* line) { std::ofstream(folder.file("game-sim.commands"), std::ios::app) << line << "\n"; };
        test::Window w;
        w.form->Timer1->setInterval(100);
        QTest::mouseClick(w.form->cmdStart, Qt::LeftButton);
        QCOMPARE(ReadSettingText(section::GameFiles, "GameFile3"), std::string("Glintbook.esp"));
        QTRY_VERIFY_WITH_TIMEOUT(w.form->logic.GameRunning(), WaitMs);
        const char* shots[] = {"shot", "shot 1920x1080", "shot 640x480"};
        for (int i = 0; i < 3; ++i) {
            command(shots[i]);
            QTRY_VERIFY_WITH_TIMEOUT(folder.exists("Data Files/BookArt/Photo " + std::to_string(i + 1) + ".bmp"), WaitMs);
            QVERIFY(folder.exists("Screenshots/ScreenShot " + std::to_string(i) + "_0.bmp"));
            QVERIFY(folder.exists("Data Files/Textures/qor_tx_photo_" + std::to_string(i) + ".bmp"));
            QVERIFY(!folder.exists("ScreenShot " + std::to_string(i) + ".bmp"));
        }
        command("quit");
        QTRY_COMPARE_WITH_TIMEOUT(w.endStatus, std::optional<int>(0), WaitMs);
        QCOMPARE(ReadSettingInt(section::Own, "Album1Index"), 3);
        QVERIFY(w.boxes.empty());
    }
};

QTEST_MAIN(SessionTest)
#include "qt_session.moc"
