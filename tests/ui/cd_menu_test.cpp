// The CD menu of the main window, with a BIN/CUE set opened by libcdio as the drive (no
// machine here has one): without a drive each entry says so; "Make an image from a disc..."
// saves a Redump-style set where the user chose and takes it as the input; "Convert
// straight from a drive..." rips into Temp, converts into the output folder and removes the
// rip; a cancelled rip leaves nothing.
#include <QAction>
#include <QLineEdit>
#include <QTest>
#include <filesystem>

#include <QPushButton>
#include <QTimer>

#include "fakes.h"
#include "support/cd_sets.h"
#include "support/inflating_reader.h"
#include "support/program_tree.h"
#include "ui/main_window.h"
#include "ui/progress_window.h"

using namespace ebf;
using namespace ebf::test;

namespace {

std::vector<std::string> Entries(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& e : std::filesystem::directory_iterator(std::filesystem::u8path(folder), ec))
    names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

class CdMenuTest : public QObject {
  Q_OBJECT

  struct Fixture {
    TempDir prog, work;
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    std::vector<std::string> drives, resolved;
    std::unique_ptr<ui::MainWindow> w;
    Bytes disc;

    // The stand-in files of fakes.h, or a copy of the real runtime tree for a conversion.
    explicit Fixture(bool realRuntime = false) {
      if (realRuntime)
        CopyRuntimeTree(prog);
      else
        FillProgramFolder(prog);
      // The mixed set as one file with a one-file sheet: libcdio reads it as a disc.
      CdSet set = WriteMixedSet(work.MakeDir("set"));
      disc = set.disc;
      WriteFileBytes(work / "drive.bin", set.disc);
      WriteFileText(work / "drive.cue",
                    "FILE \"drive.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n"
                    "  TRACK 02 AUDIO\n    INDEX 00 00:04:00\n    INDEX 01 00:06:00\n"
                    "  TRACK 03 AUDIO\n    INDEX 00 00:08:70\n    INDEX 01 00:09:70\n");
      ui::MainWindow::Hooks hooks;
      hooks.resolveInput = [this](ui::MainWindow& mw, const std::string& path) {
        resolved.push_back(path);
        mw.SetInputText(path);
        mw.SetTitleText("Disc");
        mw.SetGameIdentity("SLUS01234", "SLUS01234");
        mw.SetRegion("NTSC");
      };
      hooks.listDrives = [this] { return drives; };
      w = std::make_unique<ui::MainWindow>(
          ui::MainWindow::Services{prog.folder(), prog / "ebootforge.ini", &prompter, &dialogs},
          hooks);
    }
    void Choose(const char* action) {
      QAction* a = w->findChild<QAction*>(action);
      if (!a) qFatal("no action %s", action);
      QVERIFY(a->isEnabled());
      a->trigger();
    }
  };

 private slots:
  void withoutADriveEachEntrySaysSo() {
    Fixture f;
    for (const char* action : {"mnuCDImage", "mnuCDDevice"}) f.Choose(action);
    QCOMPARE(f.prompter.shown.size(), size_t(2));
    for (const auto& said : f.prompter.shown) {
      QCOMPARE(said.text, QLatin1String(ui::kMsgNoDrive));
      QCOMPARE(said.icon, MsgIcon::Exclamation);
    }
    QVERIFY(f.dialogs.calls.empty());
    QVERIFY(f.resolved.empty());
  }

  void makeAnImageSavesARedumpSetAndTakesItAsInput() {
    Fixture f;
    f.drives = {f.work / "drive.cue"};
    const std::string folder = f.work.MakeDir("rips");
    // A cancelled save dialog stops quietly.
    f.Choose("mnuCDImage");
    QCOMPARE(f.dialogs.calls.back().extension, QStringLiteral("cue"));
    QVERIFY(f.prompter.shown.empty());
    QVERIFY(Entries(folder).empty());

    f.dialogs.results = {QString::fromStdString(folder + "/My Game.cue")};
    f.Choose("mnuCDImage");
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgRipDone));
    const std::vector<std::string> want = {"My Game (Track 1).bin", "My Game (Track 2).bin",
                                           "My Game (Track 3).bin", "My Game.cue"};
    QCOMPARE(Entries(folder), want);
    // Track 1 holds the first 300 sectors of the disc (up to track 2's INDEX 00); the rest
    // of the rip is the core's (disc/rip tests).
    QCOMPARE(FileSize(folder + "/My Game (Track 1).bin").value_or(0), uint64_t{300 * 2352});
    QCOMPARE(f.resolved, std::vector<std::string>{folder + "/My Game.cue"});

    // Cancelled from the progress window while a long disc is read: nothing is written,
    // nothing is said.
    WriteFileBytes(f.work / "long.bin", Bytes(20000 * 2352, 0x5A));
    WriteFileText(f.work / "long.cue",
                  "FILE \"long.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n");
    f.drives = {f.work / "long.cue"};
    const std::string other = f.work.MakeDir("cancelled");
    f.dialogs.results = {QString::fromStdString(other + "/Other.cue")};
    f.prompter.shown.clear();
    QTimer clicker;
    QObject::connect(&clicker, &QTimer::timeout, [&] {
      auto* progress = f.w->findChild<ui::ProgressWindow*>();
      if (progress && progress->isVisible())
        QTest::mouseClick(progress->findChild<QPushButton*>("cmdCancel"), Qt::LeftButton);
    });
    clicker.start(1);
    f.Choose("mnuCDImage");
    clicker.stop();
    QVERIFY(f.prompter.shown.empty());
    QVERIFY(Entries(other).empty());
    QCOMPARE(f.resolved.size(), size_t(1));

    // A drive that cannot be read: its message.
    f.drives = {f.work / "missing.cue"};
    f.dialogs.results = {QString::fromStdString(other + "/Other.cue")};
    f.Choose("mnuCDImage");
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QVERIFY(!f.prompter.last().isEmpty());
    QVERIFY(Entries(other).empty());
  }

  void convertStraightFromADriveRipsIntoTempAndClearsUp() {
    Fixture f(true);
    f.drives = {f.work / "drive.cue"};
    // No output folder yet: it is asked for; a cancelled picker stops before any rip.
    f.Choose("mnuCDDevice");
    QCOMPARE(f.dialogs.calls.back().kind, QStringLiteral("folder"));
    QVERIFY(f.resolved.empty());

    const std::string out = f.work.MakeDir("out");
    f.dialogs.results = {QString::fromStdString(out)};
    f.Choose("mnuCDDevice");
    const std::string temp = f.prog.folder() + "Temp/Disc";
    QCOMPARE(f.resolved, std::vector<std::string>{temp + "/Disc.cue"});
    QCOMPARE(f.prompter.last(),
             QStringLiteral("Conversion Done :)  Just copy the EBOOT.PBP file to "
                            "ms0:/PSP/GAME/<Game Name>  Enjoy!"));
    // The package holds the disc in the drive, track for track.
    InflatingReader reader(out + "/EBOOT.PBP");
    QCOMPARE(reader.tracks().size(), size_t(3));
    Bytes back;
    QCOMPARE(reader.ReadSectors(0, static_cast<uint32_t>(f.disc.size() / 2352), back),
             std::string());
    QVERIFY(back == f.disc);
    // Afterwards the rip is gone and the input box no longer names it.
    QVERIFY(!std::filesystem::exists(std::filesystem::u8path(temp)));
    QCOMPARE(f.w->findChild<QLineEdit*>("txtIn")->text(), QString());
    QCOMPARE(f.w->findChild<QLineEdit*>("txtOut")->text(), QString::fromStdString(out));
  }
};

QTEST_MAIN(CdMenuTest)
#include "cd_menu_test.moc"
