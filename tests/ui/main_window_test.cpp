#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>
#include <QUrl>

#include "app/settings.h"
#include "fakes.h"
#include "pbp/extract.h"
#include "pbp/inspect.h"
#include "support/disc_builder.h"
#include "support/fake_program.h"
#include "support/inflating_reader.h"
#include "support/program_tree.h"
#include "support/recording_host.h"
#include "ui/main_window.h"
#include "ui/progress_window.h"

using namespace ebf;
using namespace ebf::test;

class MainWindowTest : public QObject {
  Q_OBJECT

  struct Fixture {
    TempDir prog, work;
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    std::vector<std::string> resolved;
    std::vector<std::string> transfers;
    bool onPsp = false;
    std::unique_ptr<ui::MainWindow> w;

    // The stand-in files of fakes.h with the stand-in converter, or a copy of the real
    // runtime tree for runs that must make a real package.
    explicit Fixture(bool realRuntime = false) {
      if (realRuntime) {
        CopyRuntimeTree(prog);
      } else {
        FillProgramFolder(prog);
        std::filesystem::copy_file(FakeConverterPath(), prog / "Data/tarnwick.exe",
                                   std::filesystem::copy_options::overwrite_existing);
      }
      ui::MainWindow::Hooks hooks;
      hooks.resolveInput = [this](ui::MainWindow& mw, const std::string& path) {
        resolved.push_back(path);
        mw.SetInputText(path);
      };
      hooks.isOnPspGameFolder = [this](const std::string&) { return onPsp; };
      hooks.openTransfer = [this](ui::MainWindow&, const std::string& folder) {
        transfers.push_back(folder);
      };
      w = std::make_unique<ui::MainWindow>(
          ui::MainWindow::Services{prog.folder(), prog / "ebootforge.ini", &prompter, &dialogs},
          hooks);
    }
    template <class T>
    T* Get(const char* name) {
      T* c = w->findChild<T*>(name);
      if (!c) qFatal("no control %s", name);
      return c;
    }
    void Click(const char* name) { QTest::mouseClick(Get<QPushButton>(name), Qt::LeftButton); }
    // Whether a run reached the converter: the stand-in notes its arguments where it runs.
    bool ConverterRan() const { return FileExists(work / "out/fake_args.txt"); }
    // A form that passes every check.
    std::string FillValid(const std::string& inputName = "game.bin") {
      const std::string input = work / inputName;
      WriteFileText(input, "image");
      Get<QLineEdit>("txtIn")->setText(QString::fromStdString(input));
      Get<QLineEdit>("txtOut")->setText(QString::fromStdString(work / "out"));
      Get<QLineEdit>("txtTitle")->setText("My Game");
      w->SetGameIdentity("SLUS00594", "SLUS00594");
      w->SetRegion("NTSC");
      return input;
    }
  };

 private slots:
  // The title box holds at most 127 bytes of UTF-8 (what PARAM.SFO takes), cut whole
  // characters at a time from the end of what came in.
  void titleBoxCountsBytes() {
    Fixture f;
    auto* box = f.Get<QLineEdit>("txtTitle");
    const QString star = QString::fromUtf8("\xE2\x98\x86");  // three bytes
    box->setText(QString(300, QLatin1Char('y')));
    QCOMPARE(box->text(), QString(127, QLatin1Char('y')));
    box->setText(QString(125, QLatin1Char('x')));
    box->insert(QStringLiteral("ab") + star);  // pasted: as much as fits
    QCOMPARE(box->text(), QString(125, QLatin1Char('x')) + QStringLiteral("ab"));
    box->setText(QString(42, star[0]));  // 126 bytes: one more star does not fit
    box->setCursorPosition(0);
    box->insert(star);
    QCOMPARE(box->text(), QString(42, star[0]));
  }

  void everyControlIsThere() {
    Fixture f;
    QCOMPARE(f.w->objectName(), QStringLiteral("frmMain"));
    for (const char* name :
         {"txtIn", "cmdInBrowse", "cmdInCD", "txtTitle", "lblRegion", "cmdGame", "cmdGameCust",
          "txtOut", "txtCompress", "chkPAL2NTSCScr", "chkPAL2NTSCGFX", "chkRecompressEBOOT",
          "cmdCustShowHide", "cmdGo", "cmdOptions", "cmdDoc", "cmdPreview", "cmdAbout", "cmdBatch"})
      QVERIFY2(f.w->findChild<QWidget*>(name), name);
    for (const char* key : {"ICON0", "ICON1", "PIC0", "PIC1", "SND0", "Gameboot"})
      for (const char* pattern :
           {"chkCust%1", "txtCust%1", "cmdCust%1Browse", "cmdCust%1Extract", "lblCust%1Info"}) {
        const QString name = QString::fromLatin1(pattern).arg(QLatin1String(key));
        QVERIFY2(f.w->findChild<QWidget*>(name), qPrintable(name));
      }
    auto* menu = f.w->findChild<QMenu*>("mnuCD");
    QVERIFY(menu);
    QCOMPARE(menu->actions().size(), 2);
    // Enabled with or without a drive: choosing one says when there is none.
    for (QAction* a : menu->actions()) QVERIFY(a->isEnabled());
    QCOMPARE(menu->actions()[0]->objectName(), QStringLiteral("mnuCDImage"));
    QCOMPARE(menu->actions()[1]->objectName(), QStringLiteral("mnuCDDevice"));
    // The compression box spins from 0 to 9.
    auto* compress = f.Get<QSpinBox>("txtCompress");
    QCOMPARE(compress->minimum(), 0);
    QCOMPARE(compress->maximum(), 9);
    // Dialogs that other parts of the program provide stay off until they are hooked up.
    QVERIFY(!f.Get<QPushButton>("cmdGame")->isEnabled());
    QVERIFY(!f.Get<QPushButton>("cmdPreview")->isEnabled());
    QVERIFY(f.Get<QPushButton>("cmdGo")->isEnabled());
    // Extract buttons wait for a package input.
    QVERIFY(!f.Get<QPushButton>("cmdCustPIC1Extract")->isEnabled());
    f.w->SetPackageLoaded(true);
    QVERIFY(f.Get<QPushButton>("cmdCustPIC1Extract")->isEnabled());
  }

  void customisationPanelAndSlots() {
    Fixture f;
    f.w->show();
    auto* toggle = f.Get<QPushButton>("cmdCustShowHide");
    QCOMPARE(toggle->text(), QStringLiteral("    Customize the EBOOT (+)"));
    QVERIFY(!f.Get<QLineEdit>("txtCustICON0")->isVisible());
    f.Click("cmdCustShowHide");
    QCOMPARE(toggle->text(), QStringLiteral("    Customize the EBOOT (-)"));
    QVERIFY(f.Get<QLineEdit>("txtCustICON0")->isVisible());
    QVERIFY(f.w->settings().showCust);
    f.Click("cmdCustShowHide");
    QCOMPARE(toggle->text(), QStringLiteral("    Customize the EBOOT (+)"));
    QVERIFY(!f.w->settings().showCust);

    // Unticking a slot greys its box, browse button and info but keeps the text.
    f.Get<QLineEdit>("txtCustSND0")->setText("/music.at3");
    f.Get<QCheckBox>("chkCustSND0")->setChecked(false);
    QVERIFY(!f.Get<QLineEdit>("txtCustSND0")->isEnabled());
    QVERIFY(!f.Get<QPushButton>("cmdCustSND0Browse")->isEnabled());
    QVERIFY(!f.Get<QLabel>("lblCustSND0Info")->isEnabled());
    QCOMPARE(f.Get<QLineEdit>("txtCustSND0")->text(), QStringLiteral("/music.at3"));
    f.Get<QCheckBox>("chkCustSND0")->setChecked(true);
    QVERIFY(f.Get<QLineEdit>("txtCustSND0")->isEnabled());
  }

  // The checks themselves are the core's (engine/plan); here only that the window feeds
  // them its controls and shows what they say.
  void goChecksReachTheWindow() {
    Fixture f;
    auto go = [&] {
      f.prompter.shown.clear();
      f.Click("cmdGo");
      return f.prompter.shown.empty() ? QString() : f.prompter.shown.front().text;
    };
    QCOMPARE(go(), QStringLiteral("The input file doesn't exist!"));

    const std::string iso = f.work / "game.iso";
    WriteFileText(iso, "x");
    f.Get<QLineEdit>("txtIn")->setText(QString::fromStdString(iso));
    f.prompter.answers = {false};
    QVERIFY(go().startsWith("It appears that you're using an ISO."));
    QVERIFY(!f.prompter.shown[0].defaultNo);       // Yes is the default
    QCOMPARE(f.prompter.shown.size(), size_t(1));  // No ends the handler silently

    f.FillValid();
    f.Get<QLineEdit>("txtOut")->setText(QString::fromStdString(f.prog.folder() + "Data"));
    QCOMPARE(go(), QStringLiteral("The output folder is cannot be the same as the Data folder!"));
    f.Get<QLineEdit>("txtOut")->setText(QString::fromStdString(f.work / "out"));
    f.w->SetGameIdentity("SAVE", "SLUS0059A");
    QCOMPARE(go(), QStringLiteral("Game ID is invalid (well tarnwick will at least say that)"));
    QVERIFY(!f.ConverterRan());
  }

  void regionQuestionsAndSlotChecks() {
    Fixture f;
    f.FillValid();
    // NTSC with one fix ticked asks, No by default; No ends the run.
    f.Get<QCheckBox>("chkPAL2NTSCGFX")->setChecked(true);
    f.prompter.answers = {false};
    f.Click("cmdGo");
    QVERIFY(f.prompter.last().startsWith("It seems that you're trying to apply a PAL -> NTSC fix"));
    QVERIFY(f.prompter.shown.back().defaultNo);
    QVERIFY(!f.ConverterRan());
    // PAL with one fix ticked asks nothing; PAL with none asks.
    f.w->SetRegion("PAL");
    f.prompter.shown.clear();
    f.Get<QLineEdit>("txtCustPIC1")->setText(QString::fromStdString(f.work / "nope.png"));
    f.Click("cmdGo");
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(f.prompter.last(), QStringLiteral("The PIC1.PNG file doesn't exist!"));
    f.Get<QCheckBox>("chkPAL2NTSCGFX")->setChecked(false);
    f.prompter.shown.clear();
    f.prompter.answers = {true};
    f.Get<QLineEdit>("txtCustGameboot")->setText(QString::fromStdString(f.work / "boot.png"));
    f.Get<QLineEdit>("txtCustPIC1")->clear();
    f.Click("cmdGo");
    QCOMPARE(f.prompter.shown.size(), size_t(2));
    QVERIFY(f.prompter.shown[0].text.startsWith("It seems that you're converting a PAL game"));
    QVERIFY(f.prompter.shown[0].defaultNo);
    QCOMPARE(f.prompter.shown[1].text, QStringLiteral("The Gameboot PNG file doesn't exist!"));
    QVERIFY(!f.ConverterRan());
  }

  // Go carries what the window shows into a real package: the window's choices reach the
  // converter through the real plan, nothing in between stands in for them.
  void goRunsAndCloses() {
    Fixture f(true);
    const std::string input = f.work / "game.bin";
    const Bytes image = BuildDiscImage(GameDisc("SLUS_005.94"), SectorLayout::Mode2Raw);
    WriteFileBytes(input, image);
    f.Get<QLineEdit>("txtIn")->setText(QString::fromStdString(input));
    f.Get<QLineEdit>("txtOut")->setText(QString::fromStdString(f.work / "out"));
    f.Get<QLineEdit>("txtTitle")->setText("My Game");
    f.w->SetGameIdentity("My Save", "SLUS00594");
    f.w->SetRegion("NTSC");
    // The user's own ICON0 (a valid PNG of the icon's size), and no sound.
    const std::string icon = f.work / "icon.png";
    std::filesystem::copy_file(f.prog / "PSXCust/Default/ICON0.PNG", icon);
    f.Get<QLineEdit>("txtCustICON0")->setText(QString::fromStdString(icon));
    f.Get<QCheckBox>("chkCustSND0")->setChecked(false);
    f.Get<QSpinBox>("txtCompress")->setValue(0);
    f.w->show();
    f.Click("cmdGo");
    QVERIFY(f.w->isVisible());
    QCOMPARE(f.prompter.last(),
             QStringLiteral("Conversion Done :)  Just copy the EBOOT.PBP file to "
                            "ms0:/PSP/GAME/<Game Name>  Enjoy!"));
    QVERIFY(f.prompter.shown.back().icon == MsgIcon::Information);
    QCOMPARE(f.prompter.shown.size(), size_t(1));

    // The package carries the window's title, save name, ID and assets, and the disc.
    const std::string eboot = f.work / "out/EBOOT.PBP";
    RunRecorder quiet;
    const std::string temp = f.work.MakeDir("seen") + "/";
    const pbp::Inspection seen = pbp::InspectEboot(eboot, temp, quiet);
    QCOMPARE(seen.message, std::string());
    QCOMPARE(seen.title, std::string("My Game"));
    QCOMPARE(seen.saveName, std::string("My Save"));
    QCOMPARE(seen.gameId, std::string("SLUS00594"));
    QVERIFY(ReadFileBytes(temp + "ICON0.PNG") == ReadFileBytes(icon));
    QCOMPARE(FileSize(temp + "SND0.AT3").value_or(99), uint64_t{0});
    InflatingReader reader(eboot);
    QCOMPARE(reader.error(), std::string());
    Bytes back;
    QCOMPARE(reader.ReadSectors(0, static_cast<uint32_t>(image.size() / 2352), back),
             std::string());
    QVERIFY(back == image);
    // Level 0: every block a stored-mode deflate stream, 5 bytes longer than its sectors
    // (the padding block after them included).
    QVERIFY(!reader.entrySizes().empty());
    for (uint16_t size : reader.entrySizes()) QCOMPARE(size, uint16_t{37637});
    // The settings file now names the input just converted and the level used.
    const SettingsFileContents saved = LoadSettingsFile(f.prog / "ebootforge.ini", f.prog.folder());
    QCOMPARE(saved.lastUsedImage.value_or(""), input);
    QCOMPARE(saved.settings.compressLevel, std::string("0"));
  }

  void closingMessages() {
    Fixture f;
    ConversionPlan disc;
    disc.kind = JobKind::NewPackage;
    disc.input = "/x/game.bin";
    disc.output = "/psp/PSP/GAME/X/";
    auto closing = [&](const Outcome& outcome, const ConversionPlan& plan) {
      f.prompter.shown.clear();
      ConversionResult result;
      result.outcome = outcome;
      f.w->ShowClosingMessage(result, plan);
      return f.prompter.shown;
    };
    QVERIFY(closing(Outcome::Cancelled(), disc).empty());
    QVERIFY(closing(Outcome::Declined(), disc).empty());
    auto shown = closing(Outcome::Failed("The BIN file could not be found!!!\nline two"), disc);
    QCOMPARE(shown.size(), size_t(1));
    QCOMPARE(shown[0].text, QStringLiteral("The BIN file could not be found!!!\nline two"));
    QVERIFY(shown[0].icon == MsgIcon::Exclamation);

    ConversionPlan pbp = disc;
    pbp.kind = JobKind::PatchPackage;
    QCOMPARE(closing(Outcome::Success(), pbp)[0].text, QStringLiteral("Patching Done!  Enjoy :)"));
    pbp.kind = JobKind::RecompressPackage;
    QVERIFY(closing(Outcome::Success(), pbp)[0].text.startsWith("Conversion Done :)  Just copy"));

    f.w->settings().autoTransfer = 1;
    f.onPsp = true;
    QVERIFY(closing(Outcome::Success(), disc)[0].text.startsWith(
        "Conversion Done :)  The output folder you have selected appears to be the correct"));
    f.onPsp = false;
    f.prompter.answers = {false};
    shown = closing(Outcome::Success(), disc);
    QCOMPARE(shown[0].text, QStringLiteral("Conversion Done :)  Do you want to transfer the game "
                                           "to the PSP now?\r\n(note, if you wish, you can "
                                           "disable this feature by editing the INI file, if "
                                           "you find this annoying)"));
    QVERIFY(shown[0].icon == MsgIcon::Information);
    QVERIFY(shown[0].buttons == ui::Buttons::YesNo);
    QVERIFY(f.transfers.empty());
    f.prompter.answers = {true};
    closing(Outcome::Success(), disc);
    QCOMPARE(f.transfers, std::vector<std::string>{"/psp/PSP/GAME/X/"});
  }

  void dropsAndBrowsing() {
    Fixture f;
    const std::string a = f.work / "a.cue", b = f.work / "b.bin", c = f.work / "c.iso";
    for (const auto& p : {a, b, c}) WriteFileText(p, "x");
    const QStringList three = {QString::fromStdString(a), QString::fromStdString(b),
                               QString::fromStdString(c)};
    f.w->DropFiles(three, -1);
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(f.prompter.last(),
             QStringLiteral("More than one file was dropped - only the first file will be used."));
    QCOMPARE(f.resolved, std::vector<std::string>{a});
    // A dropped file that has vanished is ignored without a word.
    f.prompter.shown.clear();
    f.w->DropFiles({QString::fromStdString(f.work / "gone.iso")}, -1);
    QVERIFY(f.prompter.shown.empty());
    QCOMPARE(f.resolved.size(), size_t(1));
    // On a slot: warn once, the first file goes into that slot's box.
    f.w->DropFiles(three, ui::MainWindow::kSnd0);
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(f.Get<QLineEdit>("txtCustSND0")->text(), three[0]);

    // Slot controls and the window take file drags; plain text drags are turned away.
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(QString::fromStdString(b))});
    QMimeData text;
    text.setText("words");
    for (QWidget* target : {static_cast<QWidget*>(f.Get<QPushButton>("cmdCustPIC0Browse")),
                            static_cast<QWidget*>(f.Get<QLineEdit>("txtCustPIC0")),
                            static_cast<QWidget*>(f.Get<QCheckBox>("chkCustPIC0")),
                            static_cast<QWidget*>(f.w.get())}) {
      QDragEnterEvent withFiles(QPoint(5, 5), Qt::CopyAction, &files, Qt::LeftButton,
                                Qt::NoModifier);
      QCoreApplication::sendEvent(target, &withFiles);
      QVERIFY(withFiles.isAccepted());
      QDragEnterEvent withText(QPoint(5, 5), Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
      withText.ignore();
      QCoreApplication::sendEvent(target, &withText);
      QVERIFY(!withText.isAccepted());
    }

    // Browse: title, filters and start folder; the pick goes to the resolver.
    f.w->settings().defaultImagePath = f.work.path();
    f.dialogs.results = {QString::fromStdString(c)};
    f.Click("cmdInBrowse");
    QCOMPARE(f.dialogs.calls.back().title,
             QStringLiteral("Select a PSX ISO or EBOOT to convert/patch"));
    QCOMPARE(f.dialogs.calls.back().startAt, QString::fromStdString(f.work.path()));
    QCOMPARE(f.dialogs.calls.back().filters.size(), size_t(2));
    QCOMPARE(f.dialogs.calls.back().filters[0].second,
             QStringLiteral("*.iso;*.bin;*.img;*.cue;*.mdf;*.chd;*.ecm;*.PBP"));
    QCOMPARE(f.resolved.back(), c);
    f.Click("cmdInBrowse");  // cancelled: nothing more
    QCOMPARE(f.resolved.size(), size_t(2));

    f.w->show();
    f.Click("cmdCustShowHide");
    f.dialogs.results = {"/pics/boot.gif"};
    f.Click("cmdCustGamebootBrowse");
    QCOMPARE(f.dialogs.calls.back().title, QStringLiteral("Select an Image file"));
    QCOMPARE(f.Get<QLineEdit>("txtCustGameboot")->text(), QStringLiteral("/pics/boot.gif"));
    f.Click("cmdCustSND0Browse");
    QCOMPARE(f.dialogs.calls.back().title, QStringLiteral("Select a ATRAC3 file"));
  }

  void extractCopiesTheLoadedAsset() {
    Fixture f;
    f.prog.MakeDir("Temp");
    WriteFileText(f.prog / "Temp/ICON1.PMF", "movie");
    f.w->SetPackageLoaded(true);
    f.w->show();
    f.Click("cmdCustShowHide");
    const std::string target = f.work / "saved.pmf";
    f.dialogs.results = {QString::fromStdString(target)};
    f.Click("cmdCustICON1Extract");
    const auto& call = f.dialogs.calls.back();
    QCOMPARE(call.kind, QStringLiteral("save"));
    QCOMPARE(call.title, QStringLiteral("Select where to save ICON1.PMF"));
    QCOMPARE(call.proposedName, QStringLiteral("ICON1.PMF"));
    QCOMPARE(call.extension, QStringLiteral("pmf"));
    QCOMPARE(ReadFileText(target), std::string("movie"));
    f.Click("cmdCustGamebootExtract");  // cancelled: no file, no message
    QCOMPARE(f.dialogs.calls.back().title, QStringLiteral("Select where to save the gameboot PNG"));
    QVERIFY(f.dialogs.calls.back().proposedName.isEmpty());
    QVERIFY(f.prompter.shown.empty());
  }
};

QTEST_MAIN(MainWindowTest)
#include "main_window_test.moc"
