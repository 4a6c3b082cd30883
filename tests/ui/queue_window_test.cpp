// The batch queue's window with the real queue, the real converter (or the stand-in where
// a run must fail or last), a folder standing in for a PSP: a library becomes rows and
// every row ends in its state; Stop after this one, Stop now, a failed row queued again.

#include "ui/queue_window.h"
#include "fakes.h"
#include "support/disc_builder.h"
#include "support/program_tree.h"
#include "transfer/volumes.h"
#include "ui/queue_table.h"

using namespace ebf;
using namespace ebf::test;

class QueueWindowTest : public QObject {
  Q_OBJECT

  struct Fixture {
    TempDir prog, work;
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    std::unique_ptr<ui::QueueWindow> w;

    Fixture() {
      CopyRuntimeTree(prog);
      ui::QueueWindow::Services s{prog.folder(), {}, {}, &prompter, &dialogs, nullptr, {}};
      s.settings.defaultOutputDir = work / "out";
      s.volumes = std::make_shared<FixedVolumes>(
          std::vector<RemovableVolume>{{work.MakeDir("psp"), "PSP"}});
      s.freeSpace = [](const std::string&) { return std::optional<uint64_t>(1ull << 40); };
      w = std::make_unique<ui::QueueWindow>(std::move(s));
      w->show();
    }
    void Game(const std::string& name, const std::string& exe) {
      WriteFileBytes(work / name,
                     BuildDiscImage(GameDisc(exe, NoiseBytes(20000, 5)), SectorLayout::Mode2Raw));
    }
    void Click(const char* name) { Child<QPushButton>(w.get(), name)->click(); }
    // Every row as "title | state | reason", the test's folder written as "~".
    QStringList Rows() {
      QStringList rows;
      ui::QueueTable* t = w->table();
      for (int r = 0; r < t->rowCount(); ++r)
        rows << u"%1 | %2 | %3"_s
                    .arg(t->item(r, ui::QueueTable::kTitle)->text(),
                         t->item(r, ui::QueueTable::kState)->text(),
                         t->item(r, ui::QueueTable::kReason)->text())
                    .replace(Q(work.path()), u"~"_s);
      return rows;
    }
  };

 private slots:
  // A folder becomes rows, a run ends each in its state with its reason shown, the window
  // answers throughout, and each row keeps its log (which row ends how is the core's:
  // library/queue tests).
  void aLibraryBecomesRowsThatEndInTheirStates() {
    Fixture f;
    f.work.MakeDir("lib");
    f.Game("lib/Metal Gear (Disc 1).bin", "SLUS_005.94");
    f.Game("lib/Metal Gear (Disc 2).bin", "SLUS_007.76");
    WriteFileBytes(f.work / "lib/readme.iso", NoiseBytes(60000, 9));
    f.dialogs.results = {Q(f.work / "lib")};
    f.Click("cmdAddFolder");
    QCOMPARE(f.w->table()->rowCount(), 2);
    QCOMPARE(f.w->table()->item(0, ui::QueueTable::kDiscs)->text(), u"2"_s);
    Child<QCheckBox>(f.w.get(), "chkCopyToPsp")->setChecked(true);

    GapWatch gaps;  // from the click to the end of the run
    f.Click("cmdStart");
    const qint64 worstGap = gaps.Worst();
    QVERIFY2(worstGap < 100, qPrintable(u"worst gap %1 ms"_s.arg(worstGap)));
    QCOMPARE(f.Rows(),
             QStringList({"Metal Gear Solid [NTSC-U] | Done | Copied to ~/psp/PSP/GAME/SLUS00594",
                          "readme | Skipped (not a disc) | readme.iso is not a PlayStation disc: "
                          "it holds no ISO 9660 file system."}));
    QCOMPARE(Child<QLabel>(f.w.get(), "lblSummary")->text().left(31),
             u"1 done, 0 failed, 1 skipped in "_s);
    QVERIFY(FileExists(f.work / "psp/PSP/GAME/SLUS00594/EBOOT.PBP"));
    const QString log = f.w->LogOf(f.w->table()->IdAt(0));
    QVERIFY2(log.contains(u"  disc 2: "_s) && log.contains(u"\nDone"_s), qPrintable(log));
    QVERIFY(f.prompter.shown.empty());
  }

  // Stop after this one: the running game ends, the next waits (that the next Start takes it
  // is the core's: library/queue tests). The games come in by a drop.
  void stopAfterThisOneLetsTheRunningGameEnd() {
    Fixture f;
    f.Game("a.bin", "SLUS_005.94");
    f.Game("b.bin", "SCUS_944.76");
    QMimeData mime;
    mime.setUrls(
        {QUrl::fromLocalFile(Q(f.work / "a.bin")), QUrl::fromLocalFile(Q(f.work / "b.bin"))});
    QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    // Straight to the window: the application hands a drop on only while a drag is on.
    static_cast<QObject*>(f.w.get())->event(&drop);
    QCOMPARE(f.w->table()->rowCount(), 2);
    QObject::connect(f.w.get(), &ui::QueueWindow::rowStarted, [&] { f.Click("cmdStopAfter"); });
    f.Click("cmdStart");
    QCOMPARE(f.Rows(), QStringList({"Metal Gear Solid [NTSC-U] | Done | ",
                                    "Hot Shots Golf 2 [NTSC-U] | Queued | "}));
  }

  // Stop now cancels the game being converted as Cancel does: no package, no temporary
  // file; the window asked before it would close in the middle of the run.
  void stopNowLeavesNothingAndAFailedRowIsQueuedAgain() {
    Fixture f;
    UseConverter(f.prog);
    std::optional<FakeMode> mode;
    mode.emplace("slow");  // ten seconds, unless cancelled
    f.Game("a.bin", "SLUS_005.94");
    f.Game("b.bin", "SCUS_944.76");
    f.w->AddPaths({Q(f.work / "a.bin"), Q(f.work / "b.bin")});
    f.prompter.answers = {false};  // "Stop ... and close the window?" No
    QTimer::singleShot(600, f.w.get(), [&] { f.w->close(); });
    QTimer::singleShot(900, f.w.get(), [&] { f.Click("cmdStopNow"); });
    QElapsedTimer clock;
    clock.start();
    f.Click("cmdStart");
    QVERIFY2(clock.elapsed() < 3000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(f.w->isVisible());
    QCOMPARE(f.prompter.shown.size(), std::size_t(1));
    QCOMPARE(f.Rows(), QStringList({"Metal Gear Solid [NTSC-U] | Cancelled | Cancelled.",
                                    "Hot Shots Golf 2 [NTSC-U] | Queued | "}));
    const std::string out = f.work / "out/Metal Gear Solid [NTSC-U]/";
    for (const char* name : {"EBOOT.PBP", "EBOOT.PBP.part"})
      QVERIFY2(!FileExists(out + name), name);
    QVERIFY(!FileExists(f.prog / "Temp/RUN.NOTE"));
    QVERIFY(!FileExists(f.prog / "Temp/START.DAT"));

    // A converter that fails fails its row, whose log keeps what it said; Retry queues the
    // row again (that it then runs is the core's: library/queue tests).
    mode.emplace("error");
    f.Click("cmdStart");
    QCOMPARE(f.Rows()[1],
             u"Hot Shots Golf 2 [NTSC-U] | Failed | Error occurred "
             "during conversion!  Tarnwick returned the following:"_s);
    QVERIFY(f.w->LogOf(f.w->table()->IdAt(1)).contains(u"Cannot read the image"_s));
    f.w->table()->selectRow(1);
    f.Click("cmdRetry");
    QCOMPARE(f.Rows()[1], u"Hot Shots Golf 2 [NTSC-U] | Queued | "_s);
  }
};

QTEST_MAIN(QueueWindowTest)
#include "queue_window_test.moc"
