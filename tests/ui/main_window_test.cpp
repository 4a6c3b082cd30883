// The main window with stand-ins for the core's runs: its controls, its checks and
// messages, its drops and pickers; and the start of the program that opens it.
#include <QSignalSpy>
#include <QUuid>

#include "fakes.h"
#include "support/messages.h"
#include "ui/single_instance.h"
#include "ui/startup_flow.h"

using namespace ebf;
using namespace ebf::test;

class MainWindowTest : public QObject {
  Q_OBJECT

  struct Fixture : WindowFixture {
    std::vector<std::string> resolved;
    std::vector<std::string> transfers;
    bool onPsp = false;

    // The stand-in files of fakes.h with the stand-in converter.
    Fixture() {
      FillProgramFolder(prog);
      UseConverter(prog);
      ui::MainWindow::Hooks hooks;
      hooks.resolveInput = [this](ui::MainWindow& mw, const std::string& path) {
        resolved.push_back(path);
        mw.SetInputText(path);
      };
      hooks.isOnPspGameFolder = [this](const std::string&) { return onPsp; };
      hooks.openTransfer = [this](ui::MainWindow&, const std::string& folder) {
        transfers.push_back(folder);
      };
      Open(hooks);
    }
  };

 private slots:
  // The title box holds at most 127 bytes of UTF-8 (what PARAM.SFO takes), cut whole
  // characters at a time from the end of what came in; then the other controls, the panel,
  // the slots and their extract buttons.
  void controlsPanelAndSlots() {
    Fixture f;
    auto* box = f.Get<QLineEdit>("txtTitle");
    const QString star = QString::fromUtf8("\xE2\x98\x86");  // three bytes
    box->setText(QString(300, QLatin1Char('y')));
    QCOMPARE(box->text(), QString(127, QLatin1Char('y')));
    box->setText(QString(125, QLatin1Char('x')));
    box->insert(u"ab"_s + star);  // pasted: as much as fits
    QCOMPARE(box->text(), QString(125, QLatin1Char('x')) + u"ab"_s);
    box->setText(QString(42, star[0]));  // 126 bytes: one more star does not fit
    box->setCursorPosition(0);
    box->insert(star);
    QCOMPARE(box->text(), QString(42, star[0]));

    QCOMPARE(f.Get<QSpinBox>("txtCompress")->maximum(), 9);
    // Dialogs that other parts of the program provide stay off until they are hooked up;
    // extract buttons wait for a package input.
    for (const char* off : {"cmdGame", "cmdPreview", "cmdCustPIC1Extract"})
      QVERIFY2(!f.Get<QWidget>(off)->isEnabled(), off);
    f.w->SetPackageLoaded(true);
    QVERIFY(f.Get<QPushButton>("cmdCustPIC1Extract")->isEnabled());

    f.w->show();
    auto* toggle = f.Get<QPushButton>("cmdCustShowHide");
    QCOMPARE(toggle->text(), u"    Customize the EBOOT (+)"_s);
    QVERIFY(!f.Get<QLineEdit>("txtCustICON0")->isVisible());
    f.Click("cmdCustShowHide");
    QCOMPARE(toggle->text(), u"    Customize the EBOOT (-)"_s);
    QVERIFY(f.Get<QLineEdit>("txtCustICON0")->isVisible());
    QVERIFY(f.w->settings().showCust);
    f.Click("cmdCustShowHide");
    QVERIFY(!f.w->settings().showCust);
    // Unticking a slot greys its box, browse button and info but keeps the text.
    f.Get<QLineEdit>("txtCustSND0")->setText("/music.at3");
    f.Get<QCheckBox>("chkCustSND0")->setChecked(false);
    for (const char* grey : {"txtCustSND0", "cmdCustSND0Browse", "lblCustSND0Info"})
      QVERIFY2(!f.Get<QWidget>(grey)->isEnabled(), grey);
    QCOMPARE(f.Get<QLineEdit>("txtCustSND0")->text(), u"/music.at3"_s);

    // Extract copies the loaded package's file where the user picks.
    f.prog.MakeDir("Temp");
    WriteFileText(f.prog / "Temp/ICON1.PMF", "movie");
    f.Click("cmdCustShowHide");
    const std::string target = f.work / "saved.pmf";
    f.dialogs.results = {Q(target)};
    f.Click("cmdCustICON1Extract");
    const auto& call = f.dialogs.calls.back();
    QCOMPARE(call.kind, u"save"_s);
    QCOMPARE(call.title, u"Select where to save ICON1.PMF"_s);
    QCOMPARE(call.proposedName, u"ICON1.PMF"_s);
    QCOMPARE(call.extension, u"pmf"_s);
    QCOMPARE(ReadFileText(target), std::string("movie"));
    f.Click("cmdCustGamebootExtract");  // cancelled: no file, no message
    QCOMPARE(f.dialogs.calls.back().title, u"Select where to save the gameboot PNG"_s);
    QVERIFY(f.dialogs.calls.back().proposedName.isEmpty());
    QVERIFY(f.prompter.shown.empty());
  }

  // The checks themselves are the core's (engine/plan); here only that the window feeds
  // them its controls, asks its questions and shows what they say.
  void goChecksClosingMessagesDropsAndBrowsing() {
    Fixture f;
    auto go = [&] {
      f.prompter.shown.clear();
      f.Click("cmdGo");
      return f.prompter.shown.empty() ? QString() : f.prompter.shown.front().text;
    };
    QCOMPARE(go(), u"The input file doesn't exist!"_s);
    const std::string iso = f.work / "game.iso";
    WriteFileText(iso, "x");
    f.Get<QLineEdit>("txtIn")->setText(Q(iso));
    f.Get<QLineEdit>("txtOut")->setText(Q(f.work / "out"));
    f.Get<QLineEdit>("txtTitle")->setText("My Game");
    f.w->SetGameIdentity("SLUS00594", "SLUS00594");
    f.w->SetRegion("NTSC");
    f.prompter.answers = {false};
    QVERIFY(go().startsWith("It appears that you're using an ISO."));
    QVERIFY(!f.prompter.shown[0].defaultNo);       // Yes is the default
    QCOMPARE(f.prompter.shown.size(), size_t(1));  // No ends the handler silently
    WriteFileText(f.work / "game.bin", "x");
    f.Get<QLineEdit>("txtIn")->setText(Q(f.work / "game.bin"));
    f.Get<QLineEdit>("txtCustGameboot")->setText(Q(f.work / "boot.png"));
    QCOMPARE(go(), u"The Gameboot PNG file doesn't exist!"_s);
    QVERIFY(!FileExists(f.work / "out/fake_args.txt"));  // the converter never ran

    // What a run's end says: nothing after a cancel or a No, the failure as it is, the
    // closing line by the kind of job and the transfer setting.
    ConversionPlan disc;
    disc.kind = JobKind::NewPackage;
    disc.output = "/psp/PSP/GAME/X/";
    ConversionPlan patch = disc, recompress = disc;
    patch.kind = JobKind::PatchPackage;
    recompress.kind = JobKind::RecompressPackage;
    const Outcome ok = Outcome::Success(), failed = Outcome::Failed("The BIN file is gone\nline 2");
    struct Row {
      Outcome outcome;
      const ConversionPlan& plan;
      int autoTransfer;
      bool onPsp;
      const char* said;  // "" for nothing
      MsgIcon icon;
    } rows[] = {
        {Outcome::Cancelled(), disc, 0, false, "", MsgIcon::Information},
        {Outcome::Declined(), disc, 0, false, "", MsgIcon::Information},
        {failed, disc, 0, false, "The BIN file is gone\nline 2", MsgIcon::Exclamation},
        {ok, patch, 1, false, "Patching Done!  Enjoy :)", MsgIcon::Information},
        {ok, recompress, 0, false,
         "Conversion Done :)  Just copy the EBOOT.PBP file to ms0:/PSP/GAME/<Game Name>  Enjoy!",
         MsgIcon::Information},
        {ok, disc, 1, true,
         "Conversion Done :)  The output folder you have selected appears to be the correct "
         "location on the PSP drive (if not, you'll need to copy).  If this is so, just run the "
         "game from the GAME menu.  Enjoy!",
         MsgIcon::Information},
        {ok, disc, 1, false,
         "Conversion Done :)  Do you want to transfer the game to the PSP now?\r\n(note, if you "
         "wish, you can disable this feature by editing the INI file, if you find this annoying)",
         MsgIcon::Information},
    };
    ConversionResult result;
    for (const Row& row : rows) {
      f.prompter.shown.clear();
      f.prompter.answers = {false};
      f.w->settings().autoTransfer = row.autoTransfer;
      f.onPsp = row.onPsp;
      result.outcome = row.outcome;
      f.w->ShowClosingMessage(result, row.plan);
      QVERIFY2(f.prompter.last() == QLatin1String(row.said), row.said);
      QCOMPARE(f.prompter.shown.size(), size_t(*row.said ? 1 : 0));
      if (*row.said) QVERIFY2(f.prompter.shown[0].icon == row.icon, row.said);
    }
    QVERIFY(f.prompter.shown.back().buttons == ui::Buttons::YesNo);
    QVERIFY(f.transfers.empty());  // No to the transfer
    f.prompter.answers = {true};
    f.w->ShowClosingMessage(result, disc);  // the last row's success again
    QCOMPARE(f.transfers, std::vector<std::string>{"/psp/PSP/GAME/X/"});

    const std::string a = f.work / "a.cue", b = f.work / "b.bin", c = f.work / "c.iso";
    for (const auto& p : {a, b, c}) WriteFileText(p, "x");
    const QStringList three = {Q(a), Q(b), Q(c)};
    f.prompter.shown.clear();
    f.w->DropFiles(three, -1);
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(f.prompter.last(),
             u"More than one file was dropped - only the first file will be used."_s);
    QCOMPARE(f.resolved, std::vector<std::string>{a});
    // A dropped file that has vanished is ignored without a word.
    f.prompter.shown.clear();
    f.w->DropFiles({Q(f.work / "gone.iso")}, -1);
    QVERIFY(f.prompter.shown.empty());
    QCOMPARE(f.resolved.size(), size_t(1));
    // On a slot: warn once, the first file goes into that slot's box.
    f.w->DropFiles(three, ui::MainWindow::kSnd0);
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(f.Get<QLineEdit>("txtCustSND0")->text(), three[0]);

    // Slot controls and the window take file drags; plain text drags are turned away.
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(Q(b))});
    QMimeData text;
    text.setText("words");
    auto accepts = [](QWidget* target, QMimeData* mime) {
      QDragEnterEvent drag(QPoint(5, 5), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
      drag.ignore();
      QCoreApplication::sendEvent(target, &drag);
      return drag.isAccepted();
    };
    for (const char* slot : {"cmdCustPIC0Browse", "txtCustPIC0", "chkCustPIC0"})
      QVERIFY2(accepts(f.Get<QWidget>(slot), &files) && !accepts(f.Get<QWidget>(slot), &text),
               slot);
    QVERIFY(accepts(f.w.get(), &files) && !accepts(f.w.get(), &text));

    // Browse: title, filters and start folder; the pick goes to the resolver.
    f.w->settings().defaultImagePath = f.work.path();
    f.dialogs.results = {Q(c)};
    f.Click("cmdInBrowse");
    QCOMPARE(f.dialogs.calls.back().startAt, Q(f.work.path()));
    QCOMPARE(f.dialogs.calls.back().filters.size(), size_t(2));
    QCOMPARE(f.dialogs.calls.back().filters[0].second,
             u"*.iso;*.bin;*.img;*.cue;*.mdf;*.chd;*.ecm;*.PBP"_s);
    QCOMPARE(f.resolved.back(), c);
    f.Click("cmdInBrowse");  // cancelled: nothing more
    QCOMPARE(f.resolved.size(), size_t(2));

    f.w->show();
    f.Click("cmdCustShowHide");
    f.dialogs.results = {"/pics/boot.gif"};
    f.Click("cmdCustGamebootBrowse");
    QCOMPARE(f.Get<QLineEdit>("txtCustGameboot")->text(), u"/pics/boot.gif"_s);
  }

  // The start of the program, run again and again on one window. Which files are
  // required is the core's (app/settings tests); a missing one ends the start with its
  // message, before anything is written or opened.
  void startUp() {
    Fixture f;
    ui::MainWindow& w = *f.w;
    auto start = [&](const std::string& ini, const std::string& commandLine) {
      f.prompter.shown.clear();
      f.resolved.clear();
      if (!ini.empty()) WriteFileText(f.prog / "ebootforge.ini", ini);
      return ui::RunStartup(w, commandLine);
    };
    std::remove((f.prog / "Data/tarnwick.exe").c_str());
    QVERIFY(!start("", ""));
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(f.prompter.last(), Q(ConverterMissingMessage()));
    QVERIFY(f.prompter.shown[0].icon == MsgIcon::Critical);
    QVERIFY(f.prompter.shown[0].buttons == ui::Buttons::Ok);
    QVERIFY(!FileExists(f.prog / "ebootforge.ini"));
    UseConverter(f.prog);

    // The settings, the theme and the panel come back, and the last image.
    const std::string out = f.prog.MakeDir("out"), last = f.prog / "last game.bin";
    const std::string given = f.prog / "given game.cue";
    WriteFileText(last, "image");
    WriteFileText(given, "b");
    f.prog.MakeDir("Themes/Night");
    WriteFileText(f.prog / "Themes/Night/style.ini", "MAINTITLE = Night Owl\n");
    QVERIFY(!w.customisationShown());
    QVERIFY(start("LastUsedImage = " + last + "\r\nDefaultOutputDir = " + out +
                      "\r\nShowCust = 1\r\nCompressLevel = 4\r\nTheme = Night\r\n",
                  ""));
    QVERIFY(f.prompter.shown.empty());
    QCOMPARE(f.resolved, std::vector<std::string>{last});
    QCOMPARE(f.Text("txtOut"), Q(out));
    QCOMPARE(f.Get<QSpinBox>("txtCompress")->value(), 4);
    QVERIFY(w.customisationShown());
    QCOMPARE(w.theme().name, std::string("Night"));
    QCOMPARE(w.windowTitle(), u"Night Owl"_s);

    // The command line beats the last image; the panel folds as the file says.
    QVERIFY(start("LastUsedImage = " + last + "\r\nShowCust = 0\r\n", "\"" + given + "\""));
    QCOMPARE(f.resolved, std::vector<std::string>{given});
    QVERIFY(!w.customisationShown());
    // A command line naming nothing that exists falls back to the last image; a vanished
    // last image is skipped without a word.
    QVERIFY(start("LastUsedImage = " + (f.prog / "gone.bin") + "\r\n", f.prog / "nothing.iso"));
    QVERIFY(f.resolved.empty());
    QVERIFY(f.prompter.shown.empty());
    QCOMPARE(w.theme().name, std::string("Default"));
    QCOMPARE(w.windowTitle(), u"Plain"_s);

    // A PAL fix a killed conversion left on the user's image is put back (the core's) and
    // said so; one that cannot be is a warning.
    f.prog.MakeDir("Temp");
    WriteFileBytes(f.prog / "game.bin", NoiseBytes(64, 3));
    for (const auto& [image, icon] : {std::pair{f.prog / "game.bin", MsgIcon::Information},
                                      {f.prog / "gone.bin", MsgIcon::Exclamation}}) {
      WriteFileText(f.prog / "Temp/PALFIX.UNDO", image + "\n8 00000011 00000000\n");
      QVERIFY(start("", ""));
      QCOMPARE(f.prompter.shown.size(), size_t(1));
      QVERIFY(f.prompter.last().contains(Q(image)));
      QVERIFY(f.prompter.shown[0].icon == icon);
    }

    // Raised by a second copy, the window comes back from wherever it was.
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    w.showMinimized();
    w.hide();
    w.BringToFront();
    QVERIFY(w.isVisible());
    QVERIFY(!w.isMinimized());

    // A second copy finds the first and brings it to the front.
    const QString key = u"ebf-test-"_s + QUuid::createUuid().toString(QUuid::Id128);
    ui::SingleInstance first(key);
    QVERIFY(!first.AskRunningCopy(200));  // nobody runs yet
    QVERIFY(first.Listen());
    QSignalSpy raised(&first, &ui::SingleInstance::Activated);
    ui::SingleInstance second(key);
    QVERIFY(second.AskRunningCopy());
    QVERIFY(raised.wait(3000));
    QCOMPARE(raised.count(), 1);

    // The key differs by program folder, so copies installed apart do not meet.
    QVERIFY(ui::InstanceKey("/opt/a/") != ui::InstanceKey("/opt/b/"));
  }
};

QTEST_MAIN(MainWindowTest)

#include "main_window_test.moc"
