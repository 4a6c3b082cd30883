// The main window with the real core behind it.
#include <QAction>

#include "app/settings.h"
#include "fakes.h"
#include "imaging/png_writer.h"
#include "pbp/inspect.h"
#include "support/cd_sets.h"
#include "support/disc_builder.h"
#include "support/inflating_reader.h"
#include "support/program_tree.h"
#include "support/recording_host.h"
#include "support/runtime.h"
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

struct FlowFixture : WindowFixture {
  FlowFixture() {
    CopyRuntimeTree(prog);
    Open();
    w->settings().defaultOutputDir = work / "out";
    w->settings().defaultOutDirOpt = 3;  // a folder named by the game ID
  }
  std::string Disc(const std::string& name, const std::string& exe = "SLUS_005.94") {
    const std::string path = work / name;
    WriteFileBytes(path,
                   BuildDiscImage(GameDisc(exe, NoiseBytes(60000, 4)), SectorLayout::Mode2Raw));
    return path;
  }
  std::string OutFolder() const { return WithTrailingSep(work / "out") + "SLUS00594" + kSep; }
};

// The CD menu of the main window, with a BIN/CUE set opened by libcdio as the drive (no
// machine here has one): without a drive each entry says so; "Make an image from a disc..."
// saves a Redump-style set where the user chose and takes it as the input; "Convert
// straight from a drive..." rips into Temp, converts into the output folder and removes the
// rip; a cancelled rip leaves nothing.
struct CdFixture : WindowFixture {
  std::vector<std::string> drives, resolved;
  Bytes disc;

  // A copy of the real runtime tree, for the conversion from a drive.
  CdFixture() {
    CopyRuntimeTree(prog);
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
    Open(hooks);
  }
  void Choose(const char* action) {
    QAction* a = w->findChild<QAction*>(action);
    if (!a) qFatal("no action %s", action);
    QVERIFY(a->isEnabled());
    a->trigger();
  }
};

}  // namespace

// The main window with the real core behind it: the resolver fills the window from a
// dropped image, Go runs the real converter, packages switch the window into package mode.
class ConversionFlowTest : public QObject {
  Q_OBJECT

 private slots:
  // Go carries what the window shows into a real package: nothing in between stands in
  // for the window's choices.
  void dropFillsTheWindowAndGoMakesAPackage() {
    FlowFixture f;
    // A refused drop leaves the window as it was (the refusals are the core's).
    WriteFileText(f.work / "game.mds", "x");
    f.w->DropFiles({Q(f.work / "game.mds")}, -1);
    QVERIFY(f.prompter.last().startsWith(u"Sorry, currently MDS isn't available"_s));
    QVERIFY(f.Text("txtIn").isEmpty());
    const std::string bin = f.Disc("Metal Gear.bin");
    const Bytes image = ReadFileBytes(bin);
    // A picture in the user's resource folder fills its slot (which file is found is the
    // core's: library tests), and its row says where it came from.
    f.w->settings().resourceRoot = f.work / "res";
    const std::string found = f.work.MakeDir("res/slus-00594") + "/ICON0.png";
    QVERIFY(WritePngFromDrawingContext(Surface(144, 80), found, 144, 80));
    f.w->DropFiles({Q(bin)}, -1);
    auto* source = f.Get<QLabel>("lblCustICON0Source");
    QCOMPARE(f.Text("txtCustICON0"), Q(found));
    QCOMPARE(source->text(), u"from resource folder"_s);
    QVERIFY(!source->isHidden());
    QVERIFY(f.Get<QLabel>("lblCustSND0Source")->isHidden());
    QCOMPARE(f.Text("txtIn"), Q(bin));
    QCOMPARE(f.Get<QLabel>("lblRegion")->text(), u"NTSC"_s);
    QCOMPARE(f.Text("txtOut"), Q(WithTrailingSep(f.work / "out") + "SLUS00594"));
    QVERIFY(f.Get<QCheckBox>("chkPAL2NTSCScr")->isEnabled());
    QVERIFY(!f.Get<QCheckBox>("chkRecompressEBOOT")->isEnabled());
    // The user's own ICON0 instead of the one found, no sound, level 0.
    const std::string icon = f.work / "icon.png";
    std::filesystem::copy_file(f.prog / "PSXCust/Default/ICON0.PNG", icon);
    f.Get<QLineEdit>("txtCustICON0")->setText(Q(icon));
    QVERIFY(source->isHidden());
    f.Get<QCheckBox>("chkCustSND0")->setChecked(false);
    f.Get<QSpinBox>("txtCompress")->setValue(0);
    f.prompter.shown.clear();
    f.Click("cmdGo");
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(f.prompter.last(), QLatin1String(kMsgConversionDone));
    QVERIFY(f.prompter.shown.back().icon == MsgIcon::Information);

    // The package carries the title, save name and ID the drop found, the slots and the disc.
    const std::string eboot = f.OutFolder() + "EBOOT.PBP";
    RunRecorder quiet;
    const std::string seen = f.work.MakeDir("seen") + "/";
    const pbp::Inspection inside = pbp::InspectEboot(eboot, seen, quiet);
    QCOMPARE(inside.title, std::string("Metal Gear Solid [NTSC-U]"));
    QCOMPARE(inside.saveName, std::string("Metal Gear Solid"));
    QCOMPARE(inside.gameId, std::string("SLUS00594"));
    QVERIFY(ReadFileBytes(seen + "ICON0.PNG") == ReadFileBytes(icon));
    QCOMPARE(FileSize(seen + "SND0.AT3").value_or(99), uint64_t{0});
    InflatingReader reader(eboot);
    Bytes back;
    QVERIFY(reader.ReadSectors(0, uint32_t(image.size() / 2352), back).empty());
    QVERIFY(back == image);
    // Level 0: every block a stored-mode deflate stream, 5 bytes longer than its sectors.
    QCOMPARE(reader.entrySizes().at(0), uint16_t{37637});
    // The settings file now names the input just converted and the level used.
    const SettingsFileContents saved = LoadSettingsFile(f.prog / "ebootforge.ini", f.prog.folder());
    QCOMPARE(saved.lastUsedImage.value_or(""), bin);
    QCOMPARE(saved.settings.compressLevel, std::string("0"));

    // The package as input: package mode, identity from the package itself.
    f.w->DropFiles({Q(f.OutFolder() + "EBOOT.PBP")}, -1);
    QVERIFY(f.w->packageLoaded());
    QCOMPARE(f.Text("txtTitle"), u"Metal Gear Solid [NTSC-U]"_s);
    QCOMPARE(f.w->gameId(), std::string("SLUS00594"));
    QVERIFY(f.Get<QPushButton>("cmdCustICON0Extract")->isEnabled());
    QVERIFY(f.Get<QCheckBox>("chkRecompressEBOOT")->isEnabled());
    QVERIFY(!f.Get<QCheckBox>("chkPAL2NTSCScr")->isEnabled());
    QVERIFY(!f.Get<QLineEdit>("txtOut")->isEnabled());

    // Patched in place with a new title.
    f.Get<QLineEdit>("txtTitle")->setText(u"Solid Snake"_s);
    f.Click("cmdGo");
    QCOMPARE(f.prompter.last(), QLatin1String(kMsgPatchingDone));
    QCOMPARE(f.Text("txtTitle"), u"Solid Snake"_s);

    // And back to a disc image.
    f.w->DropFiles({Q(bin)}, -1);
    QVERIFY(!f.w->packageLoaded());
    QVERIFY(!f.Get<QPushButton>("cmdCustICON0Extract")->isEnabled());
    QVERIFY(f.Get<QLineEdit>("txtOut")->isEnabled());
  }

  // One disc of a game on several: the discs beside it appear in a list, which the user
  // can put in order; Go makes one package of them, in that order.
  void aDiscOfASetBringsItsSiblingsAndGoMakesOnePackage() {
    FlowFixture f;
    const std::string one = f.Disc("Metal Gear Solid (Disc 1).bin");
    const std::string two = f.Disc("Metal Gear Solid (Disc 2).bin", "SLUS_007.76");
    f.Disc("metal gear solid (disc 3).BIN", "SLUS_012.40");
    f.Disc("Metal Gear Solid (Demo).bin", "SLUS_901.01");  // not a disc of the set
    auto* list = f.Get<QListWidget>("lstDiscs");
    auto shown = [&] { return list->isVisibleTo(f.w.get()); };
    QVERIFY(!shown());  // a single disc looks as it always has

    f.w->DropFiles({Q(two)}, -1);
    QVERIFY(shown());
    QCOMPARE(list->count(), 3);
    QCOMPARE(list->item(0)->text(), u"Metal Gear Solid (Disc 1).bin"_s);
    QCOMPARE(list->item(1)->text(), u"Metal Gear Solid (Disc 2).bin"_s);
    QCOMPARE(list->item(2)->text(), u"metal gear solid (disc 3).BIN"_s);
    QVERIFY(!f.Text("txtTitle").contains(u"Disc"_s));
    // Whichever disc was chosen, the game goes by disc 1's ID.
    QCOMPARE(f.w->gameId(), std::string("SLUS00594"));
    QCOMPARE(f.Text("txtIn").toStdString(), one);

    // Disc 3 before disc 2; then an unwanted disc in and out again.
    list->setCurrentRow(2);
    f.Click("cmdDiscUp");
    QCOMPARE(list->item(1)->text(), u"metal gear solid (disc 3).BIN"_s);
    f.dialogs.results = {Q(f.work / "Metal Gear Solid (Demo).bin")};
    f.Click("cmdDiscAdd");
    QCOMPARE(list->count(), 4);
    list->setCurrentRow(3);
    f.Click("cmdDiscRemove");
    QCOMPARE(list->count(), 3);

    f.Get<QSpinBox>("txtCompress")->setValue(1);
    f.Click("cmdGo");
    QVERIFY2(f.prompter.last().startsWith(u"Conversion Done :)"_s), qPrintable(f.prompter.last()));
    // The package loaded back lists its discs in the order chosen (their bytes are the
    // core's), with nothing to change there.
    f.w->DropFiles({Q(f.OutFolder() + "EBOOT.PBP")}, -1);
    QVERIFY(f.w->packageLoaded());
    QVERIFY(shown());
    QCOMPARE(list->count(), 3);
    for (auto [row, id] : {std::pair{0, "SLUS00594"}, {1, "SLUS01240"}, {2, "SLUS00776"}}) {
      const QString expected = u"Disc %1: %2, %3 sectors, 1 track, "_s.arg(row + 1)
                                   .arg(QLatin1String(id))
                                   .arg(ReadFileBytes(one).size() / 2352);
      QVERIFY2(list->item(row)->text().startsWith(expected),
               qPrintable(list->item(row)->text() + u" / "_s + expected));
    }
    QVERIFY(!f.Get<QPushButton>("cmdDiscAdd")->isVisibleTo(f.w.get()));
    QVERIFY(!f.Get<QPushButton>("cmdDiscUp")->isVisibleTo(f.w.get()));

    // A new single input hides the list again.
    const std::string single = f.Disc("Another Game.bin", "SLUS_901.01");
    f.w->DropFiles({Q(single)}, -1);
    QVERIFY(!shown());
  }

  // Cancel in the progress window stops a run within a second, leaving nothing of its own
  // (the window answering throughout is progress_test's).
  void cancelDuringARunLeavesNoStagedFiles() {
    FlowFixture f;
    UseConverter(f.prog);
    FakeMode slow("slow");  // ten seconds, unless cancelled
    const std::string bin = f.Disc("game.bin");
    const Bytes image = ReadFileBytes(bin);
    f.w->DropFiles({Q(bin)}, -1);
    QElapsedTimer clock;
    qint64 cancelledAt = 0;
    // Cancel from the progress window once the converter is running.
    QTimer::singleShot(1500, [&] {
      for (auto* p : f.w->findChildren<ui::ProgressWindow*>())
        if (p->isVisible()) {
          cancelledAt = clock.elapsed();
          Child<QPushButton>(p, "cmdCancel")->click();
        }
    });
    clock.start();
    f.Click("cmdGo");
    QVERIFY(cancelledAt > 0);
    QVERIFY2(clock.elapsed() - cancelledAt < 1000, qPrintable(QString::number(cancelledAt)));
    QVERIFY(f.w->isVisible());
    QVERIFY(f.prompter.shown.empty());  // a cancel says nothing more
    // What the run staged is cleared up (file by file: engine/conversion tests).
    QVERIFY(Entries(f.OutFolder()).empty());
    QVERIFY(!FileExists(f.prog / "Temp/RUN.NOTE") && !FileExists(f.prog / "Temp/TempBIN.bin"));
    QVERIFY(ReadFileBytes(bin) == image);
  }

  void thePatchesListAndTheLibCryptNotice() {
    FlowFixture f;
    auto* list = f.Get<QListWidget>("lstPatches");
    auto* libcrypt = f.Get<QLabel>("lblLibCrypt");

    const Bytes image = ReadFileBytes(f.Disc("game.bin"));
    // PPF 1.0: a 56-byte header, then "FIXED" at offset 0x92E.
    WriteFileText(f.work / "game.ppf", std::string("PPF10\0", 6) + std::string(50, ' ') +
                                           std::string("\x2E\x09\0\0\5FIXED", 10));
    WriteFileText(f.work / "other.ips", std::string("PATCH\x00\x09\x2E\x00\x04ips!EOF", 17));
    WriteFileBytes(f.work / "game.sbi",
                   {'S', 'B', 'I', 0, 0x03, 0x08, 0x05, 1, 0x41, 1, 1, 3, 6, 6, 0, 3, 8, 0x15});

    // The patch beside the image is offered (Yes), the key shown without the notice.
    f.w->DropFiles({Q(f.work / "game.bin")}, -1);
    QVERIFY(f.prompter.shown.at(0).text.startsWith(u"A patch lies beside the disc image:\r\n"_s));
    QCOMPARE(list->count(), 1);
    QCOMPARE(list->item(0)->text(), u"game.ppf"_s);
    QCOMPARE(libcrypt->text(), u"LibCrypt key 0x8000 (from game.sbi)"_s);

    // Without a patch the notice says what a PSP needs.
    list->setCurrentRow(0);
    f.Click("cmdPatchRemove");
    QCOMPARE(list->count(), 0);
    QVERIFY(libcrypt->text().contains(u"anti-LibCrypt patch"_s));

    // Two patches over the same bytes: the one applied last wins.
    f.dialogs.results = {Q(f.work / "other.ips"), Q(f.work / "game.ppf")};
    f.Click("cmdPatchAdd");
    f.Click("cmdPatchAdd");
    QCOMPARE(list->item(1)->text(), u"game.ppf"_s);
    f.Click("cmdPatchUp");
    QCOMPARE(list->item(0)->text(), u"game.ppf"_s);
    QCOMPARE(libcrypt->text(), u"LibCrypt key 0x8000 (from game.sbi)"_s);

    f.Click("cmdGo");
    QVERIFY(f.prompter.last().startsWith(u"Conversion Done :)"_s));
    const std::string out = f.OutFolder();
    InflatingReader reader(out + "EBOOT.PBP");
    Bytes disc;
    QVERIFY(reader.ReadSectors(0, uint32_t(image.size() / 2352), disc).empty());
    Bytes expected = image;
    const char* written = "ips!D";
    std::copy(written, written + 5, expected.begin() + 2350);
    QVERIFY(disc == expected);
    QCOMPARE(ReadFileBytes(out + "EBOOT.sbi"), ReadFileBytes(f.work / "game.sbi"));
  }
  // Without a drive each entry says so; with one, an image is saved and taken as input.
  void theCdMenuRipsAnImageOrConvertsStraightFromADrive() {
    CdFixture f;
    for (const char* action : {"mnuCDImage", "mnuCDDevice"}) f.Choose(action);
    QCOMPARE(f.prompter.shown.size(), size_t(2));
    for (const auto& said : f.prompter.shown) {
      QCOMPARE(said.text, QLatin1String(ui::kMsgNoDrive));
      QCOMPARE(said.icon, MsgIcon::Exclamation);
    }
    QVERIFY(f.dialogs.calls.empty());
    QVERIFY(f.resolved.empty());

    f.drives = {f.work / "drive.cue"};
    f.prompter.shown.clear();
    const std::string folder = f.work.MakeDir("rips");
    // A cancelled save dialog stops quietly.
    f.Choose("mnuCDImage");
    QCOMPARE(f.dialogs.calls.back().extension, u"cue"_s);
    QVERIFY(f.prompter.shown.empty());
    QVERIFY(Entries(folder).empty());

    f.dialogs.results = {Q(folder + "/My Game.cue")};
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
    f.dialogs.results = {Q(other + "/Other.cue")};
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
    f.dialogs.results = {Q(other + "/Other.cue")};
    f.Choose("mnuCDImage");
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QVERIFY(!f.prompter.last().isEmpty());
    QVERIFY(Entries(other).empty());

    // Convert straight from a drive: rips into Temp, converts into the output folder and clears up.
    f.drives = {f.work / "drive.cue"};
    // No output folder yet: it is asked for; a cancelled picker stops before any rip.
    f.resolved.clear();
    f.Choose("mnuCDDevice");
    QCOMPARE(f.dialogs.calls.back().kind, u"folder"_s);
    QVERIFY(f.resolved.empty());

    const std::string out = f.work.MakeDir("out");
    f.dialogs.results = {Q(out)};
    f.Choose("mnuCDDevice");
    const std::string temp = f.prog.folder() + "Temp/Disc";
    QCOMPARE(f.resolved, std::vector<std::string>{temp + "/Disc.cue"});
    QCOMPARE(f.prompter.last(), QLatin1String(kMsgConversionDone));
    // The package holds the disc in the drive, track for track.
    InflatingReader reader(out + "/EBOOT.PBP");
    QCOMPARE(reader.tracks().size(), size_t(3));
    Bytes back;
    QVERIFY(reader.ReadSectors(0, uint32_t(f.disc.size() / 2352), back).empty());
    QVERIFY(back == f.disc);
    // Afterwards the rip is gone and the input box no longer names it.
    QVERIFY(!std::filesystem::exists(std::filesystem::u8path(temp)));
    QCOMPARE(f.Text("txtIn"), QString());
    QCOMPARE(f.Text("txtOut"), Q(out));
  }
};

QTEST_MAIN(ConversionFlowTest)

#include "conversion_flow_test.moc"
