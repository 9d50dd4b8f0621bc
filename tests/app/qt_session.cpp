// A whole session through the real window, the system's process list and
// the game simulator, as a player has it: Start starts the game, its
// screenshots become album pictures, and the program ends when the game
// does. The monitor's other cases are tested without a window. Its interval
// is shortened here through Timer1, which the program itself never changes.
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_folder.h"
#include "window_fixture.h"

#include <QPushButton>
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

void Command(const GameFolder& folder, const std::string& line) {
    std::ofstream(folder.file("game-sim.commands"), std::ios::app) << line << "\n";
}

std::string Photo(int p) { return "Data Files/BookArt/Photo " + std::to_string(p) + ".bmp"; }

}  // namespace

class SessionTest : public QObject {
    Q_OBJECT

private slots:
    void startedFromTheWindowThreeShotsThenQuit() {
        GameFolder folder;
        InstallGame(folder);
        Window w;
        w.form->Timer1->setInterval(TickMs);
        QTest::mouseClick(w.form->cmdStart, Qt::LeftButton);
        QVERIFY(w.boxes.empty());
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
        QVERIFY(w.boxes.empty());
    }
};

QTEST_MAIN(SessionTest)
#include "qt_session.moc"
