// "Clear Album": the album's textures become the stock texture, its index
// and the game's counter start over, and a failing copy ends the program
// with what was done before it kept.
#include "platform/failure.h"
#include "settings/catalogue.h"
#include "settings/settings_file.h"
#include "support/game_folder.h"
#include "window_fixture.h"

#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QTest>

using namespace glintbook;
using glintbook::test::GameFolder;
using glintbook::test::Window;

namespace {

const std::string Stock = "BM-stock-texture-bytes";

std::string Texture(int t) { return "Data Files/Textures/qor_tx_photo_" + std::to_string(t) + ".bmp"; }

void Install(const GameFolder& folder, bool withStock) {
    folder.mkdir("Data Files/Textures");
    if (withStock) folder.write("Data Files/Textures/qor_tx_photo_orig.bmp", Stock);
}

void SelectAlbum(frmMain& f, int k) {
    QRadioButton* o[] = {f.optAlbum1, f.optAlbum2, f.optAlbum3, f.optAlbum4};
    QTest::mouseClick(o[k - 1], Qt::LeftButton);
}

}  // namespace

class ClearTest : public QObject {
    Q_OBJECT

private slots:
    void clearsTheSelectedAlbumOnly() {
        GameFolder folder;
        Install(folder, true);
        folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=38\r\n[Glintbook]\r\nAlbum1Index=6\r\nAlbum2Index=13\r\n");
        folder.write(Texture(30), "an album picture");
        folder.write(Texture(24), "album 1's last picture");
        folder.write("Data Files/BookArt/Photo 31.bmp", "book art");
        Window w;
        SelectAlbum(*w.form, 2);
        QCOMPARE(w.form->txtIndex->text(), QString("13"));
        QTest::mouseClick(w.form->cmdClear, Qt::LeftButton);

        for (int t = 25; t <= 49; ++t) QCOMPARE(folder.read(Texture(t)), Stock);
        QVERIFY(!folder.exists(Texture(50)));
        QCOMPARE(folder.read(Texture(24)), std::string("album 1's last picture"));
        QCOMPARE(folder.read("Data Files/BookArt/Photo 31.bmp"), std::string("book art"));
        QCOMPARE(ReadSettingText(section::General, key::ScreenShotIndex), std::string("25"));
        QCOMPARE(ReadSettingText(section::Own, "Album2Index"), std::string("0"));
        QCOMPARE(ReadSettingText(section::Own, "Album1Index"), std::string("6"));
        QCOMPARE(w.form->txtIndex->text(), QString("0"));
        QCOMPARE(w.form->spnIndex->value(), 25);
        QVERIFY(w.boxes->shown.empty());
        QVERIFY(!w.endStatus);
    }

    void clearingTwiceIsClearingOnce() {
        GameFolder folder;
        Install(folder, true);
        folder.write("Morrowind.ini", "[Glintbook]\r\nAlbum4Index=9\r\n");
        Window w;
        SelectAlbum(*w.form, 4);
        QTest::mouseClick(w.form->cmdClear, Qt::LeftButton);
        const std::string once = folder.read("Morrowind.ini");
        QTest::mouseClick(w.form->cmdClear, Qt::LeftButton);
        QCOMPARE(folder.read("Morrowind.ini"), once);
        QCOMPARE(once, std::string("[Glintbook]\r\nAlbum4Index=0\r\n[General]\r\nScreen Shot Index=75\r\n"));
        for (int t = 75; t <= 99; ++t) QCOMPARE(folder.read(Texture(t)), Stock);
        QVERIFY(w.boxes->shown.empty());
    }

    void albumOneCopiesBeforeWritingTheSettings() {
        GameFolder folder;
        Install(folder, true);
        Window w;
        QTest::mouseClick(w.form->cmdClear, Qt::LeftButton);
        for (int t = 0; t <= 24; ++t) QCOMPARE(folder.read(Texture(t)), Stock);
        QCOMPARE(folder.read("Morrowind.ini"), std::string("[General]\r\nScreen Shot Index=0\r\n[Glintbook]\r\nAlbum1Index=0\r\n"));
    }

    void aMissingStockTextureEndsTheProgramAlbumOneUntouched() {
        GameFolder folder;
        Install(folder, false);
        const std::string ini = "[General]\r\nScreen Shot Index=12\r\n[Glintbook]\r\nAlbum1Index=12\r\n";
        folder.write("Morrowind.ini", ini);
        Window w;
        QTest::mouseClick(w.form->cmdClear, Qt::LeftButton);
        QCOMPARE(w.endStatus, std::optional<int>(1));
        QVERIFY(w.form->logic.ended());
        QCOMPARE(w.boxes->shown.size(), size_t(1));
        const auto& box = w.boxes->shown[0];
        QVERIFY2(box.text.find("53") != std::string::npos, box.text.c_str());
        QVERIFY2(box.text.find("File not found") != std::string::npos, box.text.c_str());
        QVERIFY(box.icon == MessageIcon::Stop);
        QCOMPARE(folder.read("Morrowind.ini"), ini);
        QVERIFY(!folder.exists(Texture(0)));
        // Nothing runs once the program has ended.
        QTest::mouseClick(w.form->cmdSetIndex, Qt::LeftButton);
        QCOMPARE(folder.read("Morrowind.ini"), ini);
        QCOMPARE(w.ends, 1);
    }

    void aMissingStockTextureLeavesAlbumTwosSettingsReset() {
        GameFolder folder;
        Install(folder, false);
        folder.write("Morrowind.ini", "[General]\r\nScreen Shot Index=40\r\n[Glintbook]\r\nAlbum2Index=15\r\n");
        Window w;
        SelectAlbum(*w.form, 2);
        QTest::mouseClick(w.form->cmdClear, Qt::LeftButton);
        QCOMPARE(w.endStatus, std::optional<int>(1));
        QCOMPARE(ReadSettingText(section::General, key::ScreenShotIndex), std::string("25"));
        QCOMPARE(ReadSettingText(section::Own, "Album2Index"), std::string("0"));
        QCOMPARE(w.form->txtIndex->text(), QString("15"));  // the refresh never ran
    }

    void aCopyFailingHalfwayKeepsTheCopiesBeforeIt() {
        GameFolder folder;
        Install(folder, true);
        folder.mkdir(Texture(7));  // a folder where texture 7 should go
        Window w;
        QTest::mouseClick(w.form->cmdClear, Qt::LeftButton);
        QCOMPARE(w.endStatus, std::optional<int>(1));
        for (int t = 0; t < 7; ++t) QCOMPARE(folder.read(Texture(t)), Stock);
        QVERIFY(!folder.exists(Texture(8)));
        QVERIFY(!folder.exists("Morrowind.ini"));
        QCOMPARE(w.boxes->shown.size(), size_t(1));
    }
};

QTEST_MAIN(ClearTest)
#include "qt_clear.moc"
