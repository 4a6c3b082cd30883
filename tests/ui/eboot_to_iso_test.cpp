#include <QTest>

#include "fakes.h"
#include "pbp/extract.h"
#include "support/pbp_writer.h"
#include "ui/eboot_to_iso.h"

using namespace ebf;
using namespace ebf::test;

class EbootToIsoTest : public QObject {
  Q_OBJECT

 private slots:
  void asksForTheTargetAndTheCcd() {
    TempDir dir;
    PackageRecipe recipe;
    recipe.image = Bytes(kTestBlockSize + 100, 0x5A);
    const std::string eboot = dir / "EBOOT.PBP";
    WritePbp(eboot, recipe);
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    ui::ThemeContext theme;
    const std::string iso = dir / "game.iso";

    // A cancelled save dialog ends silently.
    QVERIFY(ui::EbootToIso(nullptr, prompter, dialogs, theme, eboot, 0) == Outcome::Declined());
    QCOMPARE(dialogs.calls[0].title, QStringLiteral("Select where to save the ISO"));
    QCOMPARE(dialogs.calls[0].extension, QStringLiteral("iso"));
    QCOMPARE(dialogs.calls[0].filters.front().first, QStringLiteral("ISO Files (*.iso)"));
    QVERIFY(prompter.shown.empty());

    // A .ccd beside the target: No stops before anything is written.
    WriteFileText(dir / "game.ccd", "old sheet");
    dialogs.results = {QString::fromStdString(iso)};
    prompter.answers = {false};
    QVERIFY(ui::EbootToIso(nullptr, prompter, dialogs, theme, eboot, 0) == Outcome::Declined());
    QCOMPARE(prompter.last(),
             QString::fromStdString("The following file will be overwritten if you continue!\n" +
                                    (dir / "game.ccd") + "\nDo you wish to continue?"));
    QVERIFY(!FileExists(iso));

    dialogs.results = {QString::fromStdString(iso)};
    prompter.answers = {true};
    QVERIFY(ui::EbootToIso(nullptr, prompter, dialogs, theme, eboot, 0) == Outcome::Success());
    QCOMPARE(prompter.last(), QLatin1String(ui::kMsgIsoDone));
    QCOMPARE(FileSize(iso).value_or(0), uint64_t(2 * kTestBlockSize));

    // Any other result is shown as it is.
    WriteFileText(dir / "bad.pbp", std::string(64, 'x'));
    dialogs.results = {QString::fromStdString(dir / "bad.iso")};
    QVERIFY(ui::EbootToIso(nullptr, prompter, dialogs, theme, dir / "bad.pbp", 0) ==
            Outcome::Failed(pbp::kPsarHeaderNotFound));
    QCOMPARE(prompter.last(), QLatin1String(pbp::kPsarHeaderNotFound));
    QCOMPARE(prompter.shown.back().icon, MsgIcon::Exclamation);
  }
};

QTEST_MAIN(EbootToIsoTest)
#include "eboot_to_iso_test.moc"
