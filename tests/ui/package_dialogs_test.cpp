// The dialogs around a package: its verification, its discs written back out as images,
// its copy onto a PSP, and the preview of how it will look in the PSP's menu.
#include <QTableWidget>
#include <tuple>

#include "assets/slots.h"
#include "fakes.h"
#include "imaging/png_writer.h"
#include "pbp/extract.h"
#include "pbp/toc.h"
#include "support/pbp_writer.h"
#include "transfer/psp_copy.h"
#include "transfer/volumes.h"
#include "ui/dialog_hooks.h"
#include "ui/eboot_to_iso.h"
#include "ui/preview_dialog.h"
#include "ui/transfer_dialog.h"
#include "ui/verify_dialog.h"

using namespace ebf;
using namespace ebf::test;

namespace {

void WriteSolidPng(const std::string& path, int w, int h, QColor c) {
  Surface s(w, h);
  s.FillRect(0, 0, w, h, c.red(), c.green(), c.blue());
  if (!WritePngFromDrawingContext(s, path, w, h)) qFatal("could not write %s", path.c_str());
}

QColor At(const Surface& s, int x, int y) {
  const uint8_t* p = s.Row(y) + x * 4;
  return QColor(p[2], p[1], p[0]);
}

const QColor kBack{100, 100, 100}, kHighlight{250, 250, 0}, kDefIcon{0, 250, 250}, kPic0{250, 0, 0},
    kPic1{0, 0, 250}, kBoot{0, 250, 0}, kIcon{250, 0, 250};

struct TransferFixture {
  TempDir psp, source;
  ui::ThemeContext theme;
  ScriptedPrompter prompter;
  FixedVolumes volumes;
  TransferFixture() : volumes({{psp.path(), "  PSP STICK "}}) {
    WriteFileText(source / "EBOOT.PBP", "new package");
  }
  std::unique_ptr<ui::TransferDialog> Open(const std::string& title, int autoTransfer,
                                           VolumeSource* v = nullptr) {
    return std::make_unique<ui::TransferDialog>(
        theme, prompter, v ? *v : volumes,
        ui::TransferRequest{source.folder(), title, "SLUS01234", autoTransfer});
  }
};

struct PreviewFixture {
  TempDir prog, art;
  ui::PreviewInputs in;
  PreviewFixture() {
    prog.MakeDir("Data");
    WriteSolidPng(prog / "Data/back.png", 480, 272, kBack);
    WriteSolidPng(prog / "Data/highlight.png", 200, 100, kHighlight);
    WriteSolidPng(prog / "Data/deficon.png", 144, 80, kDefIcon);
    WriteSolidPng(art / "pic0.png", 310, 180, kPic0);
    WriteSolidPng(art / "pic1.png", 480, 272, kPic1);
    WriteSolidPng(art / "boot.png", 480, 272, kBoot);
    WriteSolidPng(art / "icon0.png", 144, 80, kIcon);
    in.programFolder = prog.folder();
    in.slotFiles = {art / "icon0.png", "", art / "pic0.png",
                    art / "pic1.png",  "", art / "boot.png"};
    in.holdMs = 1500;
  }
};

}  // namespace

class PackageDialogsTest : public QObject {
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
    QCOMPARE(dialog.windowTitle(), u"Verify EBOOT.PBP"_s);
    QCOMPARE(dialog.verdict()->text(),
             u"Verified: every block reads and everything checked agrees."_s);
    QCOMPARE(dialog.findChild<QLabel*>("lblDigests")->text(),
             u"3 blocks read; the package carries no block digests: blocks could "
             "not be checked against them."_s);
    QTableWidget* t = dialog.table();
    QCOMPARE(t->rowCount(), 2);
    auto row = [t](int r) {
      QStringList cells;
      for (int c = 0; c < t->columnCount(); ++c) cells << t->item(r, c)->text();
      return cells.join(' ');
    };
    QVERIFY2(row(0).startsWith(u"1 data 47040 02d971dd "_s), qPrintable(row(0)));
    // 65,856 bytes of 0x5A, summed by hand with Python's zlib and hashlib.
    QCOMPARE(row(1),
             u"2 audio 65856 6051734d a819b0e0845e767ef0a624200c899aa0 "
             "6c92f64d2c27b11a293179a917365c7f90345390"_s);
    QVERIFY(!dialog.findChild<QPlainTextEdit*>("txtProblems"));

    // A damaged package: the verdict counts the problems and the list names them.
    VerifyReport bad = report;
    bad.problems = {"Block 1 (track 1, at byte 1100000) does not inflate."};
    bad.againstChecked = true;
    bad.againstText = "sector 20 (track 2) differs first";
    ui::VerifyDialog second(theme, dir / "EBOOT.PBP", bad);
    QCOMPARE(second.verdict()->text(), u"Not verified: 2 problems found."_s);
    QCOMPARE(Child<QPlainTextEdit>(&second, "txtProblems")->toPlainText(),
             u"Against the source: sector 20 (track 2) differs first\n"
             "Block 1 (track 1, at byte 1100000) does not inflate."_s);
  }
  // The discs' contents are the core's (pbp extract tests); here the questions on the way,
  // and each disc landing where it belongs.
  void asksForTheTargetAndWritesEveryDisc() {
    TempDir dir;
    PackageRecipe recipe;
    recipe.image = Bytes(kTestBlockSize + 100, 0x5A);
    const std::string eboot = dir / "EBOOT.PBP", iso = dir / "game.iso";
    WritePbp(eboot, recipe);
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    ui::ThemeContext theme;
    auto run = [&](const std::string& package, const std::string& target, int toc) {
      dialogs.results = {Q(target)};
      return ui::EbootToIso(nullptr, prompter, dialogs, theme, package, toc);
    };

    // A cancelled save dialog ends silently.
    QVERIFY(run(eboot, "", 0) == Outcome::Declined());
    QCOMPARE(dialogs.calls[0].title, u"Select where to save the ISO"_s);
    QCOMPARE(dialogs.calls[0].extension, u"iso"_s);
    QCOMPARE(dialogs.calls[0].filters.front().first, u"ISO Files (*.iso)"_s);
    QVERIFY(prompter.shown.empty());
    WriteFileText(dir / "EBOOT.sbi", "one disc's LibCrypt data");
    QVERIFY(run(eboot, iso, 0) == Outcome::Success());
    QCOMPARE(prompter.last(), QLatin1String(ui::kMsgIsoDone));
    QCOMPARE(FileSize(iso).value_or(0), uint64_t(2 * kTestBlockSize));
    QCOMPARE(ReadFileText(dir / "game.sbi"), std::string("one disc's LibCrypt data"));
    // Any other result is shown as it is.
    WriteFileText(dir / "bad.pbp", std::string(64, 'x'));
    QVERIFY(run(dir / "bad.pbp", dir / "bad.iso", 0) == Outcome::Failed(pbp::kPsarHeaderNotFound));
    QCOMPARE(prompter.last(), QLatin1String(pbp::kPsarHeaderNotFound));
    QCOMPARE(prompter.shown.back().icon, MsgIcon::Exclamation);

    // A package of several discs: one name asked for, every disc written beside it under its
    // number, each .ccd in the way asked about before anything is written.
    std::vector<PackageRecipe> discs(3);
    for (std::size_t i = 0; i < discs.size(); ++i) {
      discs[i].discId = "SLUS0123" + std::to_string(i);
      discs[i].image = Bytes((i + 1) * kTestBlockSize + 100, static_cast<uint8_t>(0x30 + i));
      discs[i].paddingBlock = true;
    }
    const std::string set = dir.MakeDir("set") + "/EBOOT.PBP";
    WriteDiscSetPbp(set, discs);
    WriteFileText(dir / "set/EBOOT_2.sbi", "disc 2's LibCrypt data");
    auto disc = [&](int n, const char* extension) {
      return dir / ("set/game (Disc " + std::to_string(n) + ")" + extension);
    };
    WriteFileText(disc(1, ".ccd"), "old sheet 1");
    WriteFileText(disc(3, ".ccd"), "old sheet 3");
    prompter.shown.clear();
    prompter.answers = {true, false};
    QVERIFY(run(set, dir / "set/game.iso", pbp::kTocCcd) == Outcome::Declined());
    QCOMPARE(prompter.shown.size(), std::size_t{2});
    QCOMPARE(prompter.last(), Q("The following file will be overwritten if you continue!\n" +
                                disc(3, ".ccd") + "\nDo you wish to continue?"));
    for (int n = 1; n <= 3; ++n) QVERIFY(!FileExists(disc(n, ".iso")));
    prompter.answers = {true, true};
    QVERIFY(run(set, dir / "set/game.iso", pbp::kTocCcd) == Outcome::Success());
    QVERIFY(!FileExists(dir / "set/game.iso"));
    for (int n = 1; n <= 3; ++n)
      QCOMPARE(FileSize(disc(n, ".iso")).value_or(0), uint64_t(n + 2) * kTestBlockSize);
    QCOMPARE(ReadFileText(disc(2, ".sbi")), std::string("disc 2's LibCrypt data"));
    QVERIFY(!FileExists(disc(1, ".sbi")) && !FileExists(disc(3, ".sbi")));
  }
  void listsVolumesAndCopiesByTitleOrId() {
    TransferFixture f;
    FixedVolumes none({});
    auto empty = f.Open("Game", 1, &none);
    QCOMPARE(empty->drives()->count(), 0);
    QVERIFY(!empty->findChild<QPushButton*>("cmdOK")->isEnabled());

    const std::string title = "A Rather Long Game Title That Goes On";  // 37 characters
    auto byTitle = f.Open(title, 1);
    auto* drives = byTitle->findChild<QComboBox*>("cboDrive");
    QCOMPARE(drives->count(), 1);
    QCOMPARE(drives->currentText(), Q("[" + f.psp.path() + "] PSP STICK"));
    QVERIFY(byTitle->findChild<QPushButton*>("cmdOK")->isEnabled());
    byTitle->OkClicked();
    QCOMPARE(byTitle->result(), int(QDialog::Accepted));
    const std::string titled = f.psp.path() + "/PSP/GAME/A Rather Long Game Title That G";
    QCOMPARE(byTitle->target(), titled);
    QCOMPARE(ReadFileText(titled + "/EBOOT.PBP"), std::string("new package"));
    QVERIFY(f.prompter.shown.empty());

    f.Open(title, 2)->OkClicked();
    QCOMPARE(ReadFileText(f.psp.path() + "/PSP/GAME/SLUS01234/EBOOT.PBP"),
             std::string("new package"));

    // The hooks of the main window use the same volumes.
    ui::MainWindow::Hooks hooks;
    ui::InstallDialogHooks(hooks, {std::make_shared<FixedVolumes>(f.volumes), {}});
    QVERIFY(hooks.selectGame && hooks.customGame && hooks.openDocMaker && hooks.openPreview &&
            hooks.openTransfer && hooks.ebootToIso);
    const std::string game = f.psp.path() + "/PSP/GAME/MYGAME";
    // The rule is the core's (PspGameFolder); here only that the hook asks the volumes.
    QVERIFY(hooks.isOnPspGameFolder(game));
    QVERIFY(!hooks.isOnPspGameFolder("/elsewhere/PSP/GAME/MYGAME"));

    // A folder that cannot be made keeps the dialog open.
    WriteFileText(f.psp / "PSP/GAME/Blocked", "a file where the folder should be");
    auto d = f.Open("Blocked", 1);
    d->show();
    d->OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(kMsgCouldNotCreateFolders));
    QCOMPARE(f.prompter.shown.back().icon, MsgIcon::Critical);
    QVERIFY(d->isVisible());
  }
  // Each tick's interval, alpha and whether the fade is drawn: the menu held, the fade
  // starting at the next tick, seven steps to the background, held, and the menu again.
  void previewFadesAndDrawsItsLayers() {
    PreviewFixture f;
    ui::PreviewDialog d(f.in, {});
    QVERIFY(d.timer().isActive());
    QStringList steps;
    for (int i = 0; i < 11; ++i) {
      if (i > 0) d.Tick();
      steps << u"%1 %2 %3"_s.arg(d.interval())
                   .arg(d.alpha())
                   .arg(QLatin1String(d.animating() ? "fading" : "held"));
      if (i == 0 || i == 9) QCOMPARE(&d.shown(), &d.layers().menu);
      const QColor c = At(d.shown(), 240, 136);
      if (i == 2)  // mostly the boot picture, a little background
        QVERIFY(c.green() > 180 && c.blue() > 0 && c.blue() < 60);
      if (i == 8) QCOMPARE(c, kPic1);  // the background alone
    }
    QCOMPARE(steps, (QStringList{"1500 0 held", "60 0 held", "60 40 fading", "60 80 fading",
                                 "60 120 fading", "60 160 fading", "60 200 fading", "60 240 fading",
                                 "1500 255 fading", "1500 0 held", "60 0 held"}));

    // The layers, each drawn in its place.
    const ui::PreviewLayers l = ui::DrawPreviewLayers(f.in);
    QCOMPARE(At(l.base, 0, 0), kBack);
    QCOMPARE(At(l.background, 240, 136), kPic1);
    QCOMPARE(At(l.gameboot, 479, 271), kBoot);
    // A 310 x 180 PIC0 sits at (165, 87), its corner 5 pixels inside the screen's.
    // Below the highlight (86..185) PIC0 begins at x 165; the highlight at (15, 86) goes
    // over PIC0, the icon at (24, 96) over both.
    // clang-format off
    for (auto [x, y, want] : {std::tuple{400, 87, kPic0}, {400, 86, kPic1}, {474, 266, kPic0},
           {475, 266, kPic1}, {474, 267, kPic1}, {165, 190, kPic0}, {164, 190, kPic1},
           {214, 185, kHighlight}, {215, 185, kPic0}, {15, 86, kHighlight}, {14, 86, kPic1},
           {24, 96, kIcon}, {167, 175, kIcon}, {168, 176, kHighlight}})
      QVERIFY2(At(l.menu, x, y) == want, qPrintable(u"%1,%2"_s.arg(x).arg(y)));
    // clang-format on

    // An unticked icon is the empty "null" file: the stock icon stands in. Without a
    // background the base shows through.
    f.in.slotFiles[0] = ResolveSlotFile(f.prog.folder(), false, "", "ICON0.PNG", false);
    f.in.slotFiles[3] = "";
    const ui::PreviewLayers plain = ui::DrawPreviewLayers(f.in);
    QCOMPARE(At(plain.menu, 24, 96), kDefIcon);
    QCOMPARE(At(plain.menu, 300, 20), kBack);
  }
};

QTEST_MAIN(PackageDialogsTest)
#include "package_dialogs_test.moc"
