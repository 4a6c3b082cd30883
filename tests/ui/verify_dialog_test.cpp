#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>

#include "fakes.h"
#include "support/pbp_writer.h"
#include "ui/verify_dialog.h"

using namespace ebf;
using namespace ebf::test;

class VerifyDialogTest : public QObject {
  Q_OBJECT

 private slots:
  void showsTheTracksAndTheVerdict() {
    TempDir dir;
    // Three blocks of 0x5A: a data track of 20 sectors and an audio track of 28.
    PackageRecipe recipe;
    recipe.image = Bytes(3 * kTestBlockSize, 0x5A);
    recipe.toc = MakeToc({{0x41, 0}, {0x01, 20}}, 48);
    WritePbp(dir / "EBOOT.PBP", recipe);
    NoProgress progress;
    CancelToken cancel;
    const VerifyReport report = VerifyPackage(dir / "EBOOT.PBP", {}, progress, cancel);
    ui::ThemeContext theme;
    ui::VerifyDialog dialog(theme, dir / "EBOOT.PBP", report);
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Verify EBOOT.PBP"));
    QCOMPARE(dialog.verdict()->text(),
             QStringLiteral("Verified: every block reads and everything checked agrees."));
    QCOMPARE(dialog.findChild<QLabel*>("lblDigests")->text(),
             QStringLiteral("3 blocks read; the package carries no block digests: blocks could "
                            "not be checked against them."));
    QTableWidget* t = dialog.table();
    QCOMPARE(t->rowCount(), 2);
    QCOMPARE(t->item(0, 1)->text(), QStringLiteral("data"));
    QCOMPARE(t->item(0, 2)->text(), QStringLiteral("47040"));
    QCOMPARE(t->item(1, 0)->text(), QStringLiteral("2"));
    QCOMPARE(t->item(1, 1)->text(), QStringLiteral("audio"));
    QCOMPARE(t->item(1, 2)->text(), QStringLiteral("65856"));
    // 65,856 bytes of 0x5A, summed by hand with Python's zlib and hashlib.
    QCOMPARE(t->item(1, 3)->text(), QStringLiteral("6051734d"));
    QCOMPARE(t->item(1, 4)->text(), QStringLiteral("a819b0e0845e767ef0a624200c899aa0"));
    QCOMPARE(t->item(1, 5)->text(), QStringLiteral("6c92f64d2c27b11a293179a917365c7f90345390"));
    QCOMPARE(t->item(0, 3)->text(), QStringLiteral("02d971dd"));
    QVERIFY(!dialog.findChild<QPlainTextEdit*>("txtProblems"));

    // A damaged package: the verdict counts the problems and the list names them.
    VerifyReport bad = report;
    bad.problems = {"Block 1 (track 1, at byte 1100000) does not inflate."};
    bad.againstChecked = true;
    bad.againstText = "sector 20 (track 2) differs first";
    ui::VerifyDialog second(theme, dir / "EBOOT.PBP", bad);
    QCOMPARE(second.verdict()->text(), QStringLiteral("Not verified: 2 problems found."));
    auto* list = second.findChild<QPlainTextEdit*>("txtProblems");
    QVERIFY(list);
    QCOMPARE(list->toPlainText(),
             QStringLiteral("Against the source: sector 20 (track 2) differs first\n"
                            "Block 1 (track 1, at byte 1100000) does not inflate."));
  }
};

QTEST_MAIN(VerifyDialogTest)
#include "verify_dialog_test.moc"
