// The Patches list of the Game box with the real core behind it: the patch beside a dropped
// image is offered and listed, the LibCrypt line gives the key and, while the disc has no
// patch, the notice; patches are added and put in order, and Go makes a package whose disc
// has them applied in that order, with EBOOT.sbi beside it.
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTest>

#include "fakes.h"
#include "support/disc_builder.h"
#include "support/inflating_reader.h"
#include "support/program_tree.h"
#include "ui/main_window.h"

using namespace ebf;
using namespace ebf::test;

class PatchesTest : public QObject {
  Q_OBJECT

 private slots:
  void thePatchesListAndTheLibCryptNotice() {
    TempDir prog, work;
    CopyRuntimeTree(prog);
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    ui::MainWindow w(
        ui::MainWindow::Services{prog.folder(), prog / "ebootforge.ini", &prompter, &dialogs});
    w.settings().defaultOutputDir = work / "out";
    w.settings().defaultOutDirOpt = 3;
    auto get = [&w](const char* name) {
      QWidget* c = w.findChild<QWidget*>(name);
      if (!c) qFatal("no control %s", name);
      return c;
    };
    auto* list = static_cast<QListWidget*>(get("lstPatches"));
    auto* libcrypt = static_cast<QLabel*>(get("lblLibCrypt"));

    const Bytes image =
        BuildDiscImage(GameDisc("SLUS_005.94", NoiseBytes(60000, 4)), SectorLayout::Mode2Raw);
    WriteFileBytes(work / "game.bin", image);
    Bytes ppf = {'P', 'P', 'F', '1', '0', 0};
    ppf.resize(56, ' ');
    const Bytes record = {0x2E, 0x09, 0x00, 0x00, 0x05, 'F', 'I', 'X', 'E', 'D'};
    ppf.insert(ppf.end(), record.begin(), record.end());
    WriteFileBytes(work / "game.ppf", ppf);
    WriteFileText(work / "other.ips", std::string("PATCH\x00\x09\x2E\x00\x04ips!EOF", 17));
    WriteFileBytes(work / "game.sbi",
                   {'S', 'B', 'I', 0, 0x03, 0x08, 0x05, 1, 0x41, 1, 1, 3, 6, 6, 0, 3, 8, 0x15});

    // The patch beside the image is offered (Yes), the key shown without the notice.
    w.DropFiles({QString::fromStdString(work / "game.bin")}, -1);
    QVERIFY(prompter.shown.at(0).text.startsWith(
        QStringLiteral("A patch lies beside the disc image:\r\n")));
    QCOMPARE(list->count(), 1);
    QCOMPARE(list->item(0)->text(), QStringLiteral("game.ppf"));
    QCOMPARE(libcrypt->text(), QStringLiteral("LibCrypt key 0x8000 (from game.sbi)"));

    // Without a patch the notice says what a PSP needs.
    list->setCurrentRow(0);
    QTest::mouseClick(static_cast<QPushButton*>(get("cmdPatchRemove")), Qt::LeftButton);
    QCOMPARE(list->count(), 0);
    QVERIFY(libcrypt->text().endsWith(
        QStringLiteral("convert it with an anti-LibCrypt patch. Emulators read the protection "
                       "from EBOOT.sbi beside the package.")));

    // Two patches over the same bytes: the one applied last wins.
    dialogs.results = {QString::fromStdString(work / "other.ips"),
                       QString::fromStdString(work / "game.ppf")};
    QTest::mouseClick(static_cast<QPushButton*>(get("cmdPatchAdd")), Qt::LeftButton);
    QTest::mouseClick(static_cast<QPushButton*>(get("cmdPatchAdd")), Qt::LeftButton);
    QCOMPARE(list->item(1)->text(), QStringLiteral("game.ppf"));
    QTest::mouseClick(static_cast<QPushButton*>(get("cmdPatchUp")), Qt::LeftButton);
    QCOMPARE(list->item(0)->text(), QStringLiteral("game.ppf"));
    QCOMPARE(libcrypt->text(), QStringLiteral("LibCrypt key 0x8000 (from game.sbi)"));

    QTest::mouseClick(static_cast<QPushButton*>(get("cmdGo")), Qt::LeftButton);
    QVERIFY(prompter.last().startsWith(QStringLiteral("Conversion Done :)")));
    const std::string out = WithTrailingSep(work / "out") + "SLUS00594" + kSep;
    InflatingReader reader(out + "EBOOT.PBP");
    Bytes disc;
    QCOMPARE(reader.ReadSectors(0, static_cast<uint32_t>(image.size() / 2352), disc),
             std::string());
    Bytes expected = image;
    const char* written = "ips!D";
    std::copy(written, written + 5, expected.begin() + 2350);
    QVERIFY(disc == expected);
    QCOMPARE(ReadFileBytes(out + "EBOOT.sbi"), ReadFileBytes(work / "game.sbi"));
  }
};

QTEST_MAIN(PatchesTest)
#include "patches_test.moc"
