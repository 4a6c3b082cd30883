#include <QTest>

#include "fakes.h"
#include "pbp/extract.h"
#include "pbp/toc.h"
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

  // A package of several discs: one name asked for, every disc written beside it under its
  // number, each .ccd in the way asked about before anything is written.
  void writesEveryDiscOfAPackageOfSeveral() {
    TempDir dir;
    std::vector<PackageRecipe> discs(3);
    for (std::size_t i = 0; i < discs.size(); ++i) {
      discs[i].discId = "SLUS0123" + std::to_string(i);
      discs[i].image = Bytes((i + 1) * kTestBlockSize + 100, static_cast<uint8_t>(0x30 + i));
      discs[i].paddingBlock = true;
    }
    const std::string eboot = dir / "EBOOT.PBP";
    WriteDiscSetPbp(eboot, discs);
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    ui::ThemeContext theme;
    const std::string iso = dir / "game.iso";
    auto disc = [&](int n, const char* extension) {
      return dir / ("game (Disc " + std::to_string(n) + ")" + extension);
    };

    WriteFileText(disc(1, ".ccd"), "old sheet 1");
    WriteFileText(disc(3, ".ccd"), "old sheet 3");
    dialogs.results = {QString::fromStdString(iso)};
    prompter.answers = {true, false};
    QVERIFY(ui::EbootToIso(nullptr, prompter, dialogs, theme, eboot, pbp::kTocCcd) ==
            Outcome::Declined());
    QCOMPARE(dialogs.calls.size(), std::size_t{1});
    QCOMPARE(prompter.shown.size(), std::size_t{2});
    QVERIFY(prompter.shown[0].text.contains(QString::fromStdString(disc(1, ".ccd"))));
    QCOMPARE(prompter.last(),
             QString::fromStdString("The following file will be overwritten if you continue!\n" +
                                    disc(3, ".ccd") + "\nDo you wish to continue?"));
    for (int n = 1; n <= 3; ++n) QVERIFY(!FileExists(disc(n, ".iso")));
    QCOMPARE(ReadFileText(disc(1, ".ccd")), std::string("old sheet 1"));

    // The discs' contents are the core's (pbp extract tests); here each lands by its number.
    dialogs.results = {QString::fromStdString(iso)};
    prompter.answers = {true, true};
    QVERIFY(ui::EbootToIso(nullptr, prompter, dialogs, theme, eboot, pbp::kTocCcd) ==
            Outcome::Success());
    QCOMPARE(prompter.last(), QLatin1String(ui::kMsgIsoDone));
    QVERIFY(!FileExists(iso));
    for (int n = 1; n <= 3; ++n)
      QCOMPARE(FileSize(disc(n, ".iso")).value_or(0), uint64_t(n + 2) * kTestBlockSize);
  }
};

QTEST_MAIN(EbootToIsoTest)
#include "eboot_to_iso_test.moc"
