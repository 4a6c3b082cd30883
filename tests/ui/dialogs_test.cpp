// The program's smaller dialogs, each driven as the user drives it: the save name and
// ID, the game selection, the options, and the documentation maker.
#include <QClipboard>
#include <QCompleter>

#include "app/settings.h"
#include "common/bytes.h"
#include "docmaker/document_dat.h"
#include "fakes.h"
#include "imaging/png_writer.h"
#include "support/runtime.h"
#include "transfer/volumes.h"
#include "ui/dialog_hooks.h"
#include "ui/doc_dialog.h"
#include "ui/fix_save_dialog.h"
#include "ui/id_key_filter.h"
#include "ui/options_dialog.h"
#include "ui/select_dialog.h"

using namespace ebf;
using namespace ebf::test;

namespace {

// A program folder with the start-up files, and scripted boxes and pickers.
struct DialogFixture {
  TempDir prog, work;
  ui::ThemeContext theme;
  ScriptedPrompter prompter;
  ScriptedDialogs dialogs;
  DialogFixture() {
    FillProgramFolder(prog);
    theme.folders = prog.folder();
  }
};

constexpr const char* kDb =
    "SCUS-94476;SCUS94476;Fallback Save;Fallback Game;NTSC;SCUS94476\n"
    "SLUS-00594;SLUS00594;Metal Game;Metal Game [NTSC-U];NTSC;SLUS00594\n"
    "SLES-01234;SLES01234;Harbour;Moonlit Harbour (Disc 2);PAL;SLES11234\n"
    "SLUS00999;SLUS00999;No Dash;No Dash Game;NTSC;SLUS00999\n"
    "SLES-01234;SLES01234;Harbour;Moonlit Harbour (Disc 1);PAL;SLES01234\n";

struct SelectFixture : DialogFixture {
  const std::string db = prog / "Data/TarnwickPS1ID.db";
  SelectFixture() { WriteFileText(db, kDb); }
};

struct OptionsFixture : DialogFixture {
  TempDir images, out;
  const std::string settingsFile = prog / "ebootforge.ini";
  Settings settings;
  int themeReloads = 0;

  OptionsFixture() {
    prog.MakeDir("Themes/Night");
    prog.MakeDir("Themes/Sketch");  // no style.ini: not a theme
    WriteFileText(prog / "Themes/Night/style.ini", "MAINBGCOL = 000000\n");
    WriteFileText(settingsFile,
                  "LastUsedImage = /games/Some Game.cue\r\n"
                  "DefGameID = SCUS94476\r\nPreviewDelay = 2500\r\nAddISOPadding = 1\r\n"
                  "EBOOT_TOC_Extract = 2\r\nTheme = Night\r\nCompressLevel = 5\r\n");
    settings = LoadSettingsFile(settingsFile, prog.folder()).settings;
  }
  std::unique_ptr<ui::OptionsDialog> Open() {
    return std::make_unique<ui::OptionsDialog>(settings, settingsFile, theme, dialogs, prompter,
                                               [this] { ++themeReloads; });
  }
};

struct DocFixture : DialogFixture {
  TempDir pages, out;
  std::unique_ptr<ui::DocDialog> Open(const std::string& gameId = "SLUS01234") {
    return std::make_unique<ui::DocDialog>(theme, prompter, dialogs, gameId, out.folder());
  }
};

QStringList Selected(QListWidget* l) {
  QStringList s;
  for (int i = 0; i < l->count(); ++i)
    if (l->item(i)->isSelected()) s << l->item(i)->text();
  return s;
}

}  // namespace

class DialogsTest : public QObject {
  Q_OBJECT

  ui::ThemeContext theme_;
  ScriptedPrompter prompter_;

 private slots:
  void opensWithTheCurrentValuesAndTheIdTakesDigitsAndColon() {
    ui::FixSaveDialog d(theme_, prompter_, "MY SAVE", "SLUS01234");
    auto* combo = Child<QComboBox>(&d, "cboID");
    QCOMPARE(Child<QLineEdit>(&d, "txtSave")->text(), u"MY SAVE"_s);
    QCOMPARE(combo->currentText(), u"SLUS"_s);
    QCOMPARE(Child<QLineEdit>(&d, "txtID")->text(), u"01234"_s);
    QCOMPARE(combo->count(), 12);
    for (int i : {5, 9, 11}) QCOMPARE(combo->itemText(i), QLatin1String(i == 11 ? "ESPM" : "SLPS"));

    // Digits, colon, and Backspace, Ctrl+C and Ctrl+V.
    for (int key : {'0', '9', ':', '\b', '\x03', '\x16'}) QVERIFY(ui::IdKeyFilter::Accepts(key));
    for (int key : {'/', ';', 'a'}) QVERIFY(!ui::IdKeyFilter::Accepts(key));

    // No ID: both parts blank.
    ui::FixSaveDialog blank(theme_, prompter_, "S", "");
    QCOMPARE(Child<QComboBox>(&blank, "cboID")->currentText(), QString());
    blank.show();
    auto* id = Child<QLineEdit>(&blank, "txtID");
    QCOMPARE(id->text(), QString());
    QTest::keyClicks(id, u"1a:3 b45x"_s);
    QCOMPARE(id->text(), u"1:345"_s);
    QTest::keyClick(id, Qt::Key_Backspace);
    QCOMPARE(id->text(), u"1:34"_s);
    // A paste is not filtered.
    QApplication::clipboard()->setText(u"z"_s);
    QTest::keyClick(id, Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(id->text(), u"1:34z"_s);

    // OK checks the boxes and hands back what they hold.
    ScriptedPrompter p;
    ui::FixSaveDialog ok(theme_, p, "", "SLUS0123");
    ok.OkClicked();
    QCOMPARE(p.last(), QLatin1String(ui::kMsgEnterSaveName));
    Child<QLineEdit>(&ok, "txtSave")->setText(u"New save"_s);
    ok.OkClicked();  // four digits
    QCOMPARE(p.last(), QLatin1String(ui::kMsgEnterValidId));
    QCOMPARE(p.shown.back().icon, MsgIcon::Exclamation);
    Child<QLineEdit>(&ok, "txtID")->setText(u"1:345"_s);
    Child<QComboBox>(&ok, "cboID")->setEditText(u"abc"_s);
    ok.OkClicked();
    QCOMPARE(p.shown.size(), size_t(3));
    QCOMPARE(ok.result(), int(QDialog::Rejected));
    // The prefix is not judged here; the conversion's checks refuse it later.
    Child<QComboBox>(&ok, "cboID")->setEditText(u"abcd"_s);
    ok.OkClicked();
    QCOMPARE(p.shown.size(), size_t(3));
    QCOMPARE(ok.result(), int(QDialog::Accepted));
    QCOMPARE(ok.gameId(), std::string("abcd1:345"));
    QCOMPARE(ok.saveName(), std::string("New save"));
  }

  // Which entry is chosen is the core's (LoadGameList); here the dialog shows it.
  void selectionPreselectsFiltersAndHoldsTheTitle() {
    SelectFixture f;
    ui::SelectDialog known(f.theme, f.prompter);
    QVERIFY(known.Load(f.db, true, "SLES11234", "typed title"));
    QCOMPARE(known.count(), 4);
    QCOMPARE(known.selectedIndex(), 2);
    QCOMPARE(known.titleText(), u"Moonlit Harbour (Disc 2)"_s);
    QCOMPARE(known.list()->itemText(1), u"Metal Game"_s);  // tag hidden

    // Without the fallback line nothing is chosen and the handed title stays.
    WriteFileText(f.db, std::string(kDb).substr(std::string(kDb).find('\n') + 1));
    ui::SelectDialog none(f.theme, f.prompter);
    QVERIFY(none.Load(f.db, false, "SLUS99999", "typed title"));
    QCOMPARE(none.selectedIndex(), -1);
    QCOMPARE(none.titleText(), u"typed title"_s);
    none.OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgSelectGame));
    QCOMPARE(none.result(), int(QDialog::Rejected));

    WriteFileText(f.db, "not a game line\n");
    ui::SelectDialog noGames(f.theme, f.prompter);
    QVERIFY(!noGames.Load(f.db, false, "", ""));
    QCOMPARE(f.prompter.last(), QLatin1String(kNoGamesMessage));

    // Typing filters the list, and the title is held to 127 characters.
    WriteFileText(f.db, kDb);
    f.prompter.shown.clear();
    ui::SelectDialog d(f.theme, f.prompter);
    QVERIFY(d.Load(f.db, false, "", ""));
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    d.list()->lineEdit()->clear();
    QTest::keyClicks(d.list()->lineEdit(), u"harb"_s);
    QCompleter* c = d.list()->completer();
    QCOMPARE(c->completionCount(), 2);
    QCOMPARE(c->completionModel()->index(0, 0).data().toString(), u"Moonlit Harbour (Disc 2)"_s);
    QTest::keyClicks(d.list()->lineEdit(), u"our (disc 1"_s);
    QCOMPARE(c->completionCount(), 1);
    // Picking the match selects its entry, so that OK takes its IDs.
    emit c->activated(c->completionModel()->index(0, 0));
    QCOMPARE(d.selectedIndex(), 3);
    // The title is held to 127 characters.
    d.list()->setEditText(QString(128, QLatin1Char('x')));
    d.OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgTitleTooLong));
    QCOMPARE(d.result(), int(QDialog::Rejected));
    d.list()->setEditText(QString(127, QLatin1Char('x')));
    d.OkClicked();
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(d.result(), int(QDialog::Accepted));
    QCOMPARE(d.chosen().discId, std::string("SLES01234"));

    // Through the main window's button: OK writes title, region, save name and IDs back,
    // with the asset loader run for the disc ID and then for the package ID.
    ui::MainWindow w({f.prog.folder(), f.prog / "ebootforge.ini", &f.prompter, &f.dialogs});
    std::vector<std::pair<std::string, bool>> passes;
    ui::DialogServices services{
        std::make_shared<FixedVolumes>(std::vector<RemovableVolume>{}),
        [&](ui::MainWindow& mw, bool second) { passes.emplace_back(mw.gameId(), second); }};
    w.SetTitleText("Old title");
    w.SetGameIdentity("Old save", "SLUS00594");

    auto answer = [](bool ok, int pick) {
      QTimer::singleShot(0, [ok, pick] {
        auto* d = qobject_cast<ui::SelectDialog*>(QApplication::activeModalWidget());
        if (!d) qFatal("the selection dialog is not open");
        if (!ok) return d->reject();
        d->list()->setCurrentIndex(pick);
        d->list()->setEditText(u"Harbour, edited"_s);
        d->OkClicked();
      });
    };
    answer(false, 0);
    ui::SelectGame(w, services);
    QCOMPARE(w.gameId(), std::string("SLUS00594"));
    QCOMPARE(ui::MainWindowText(w, "txtTitle"), std::string("Old title"));
    QVERIFY(passes.empty());

    answer(true, 2);
    ui::SelectGame(w, services);
    QCOMPARE(ui::MainWindowText(w, "txtTitle"), std::string("Harbour, edited"));
    QCOMPARE(ui::MainWindowText(w, "lblRegion"), std::string("PAL"));
    QCOMPARE(w.saveName(), std::string("Harbour"));
    QCOMPARE(w.gameId(), std::string("SLES01234"));
    const std::vector<std::pair<std::string, bool>> expected{{"SLES11234", false},
                                                             {"SLES01234", true}};
    QVERIFY(passes == expected);
  }
  void fillsFromSettingsCancelsAndSaves() {
    OptionsFixture f;
    f.settings.defaultOutDirOpt = 2;
    f.settings.autoTransfer = 1;
    f.settings.imgResMode = 3;
    f.settings.hideNameTags = true;
    f.settings.theme = "NIGHT";  // the list entry is found case-blind
    auto d = f.Open();
    QCOMPARE(d->windowTitle(), u"options"_s);
    auto* themes = Child<QComboBox>(d.get(), "cboTheme");
    QCOMPARE(themes->count(), 2);
    QCOMPARE(themes->itemText(0), u"Default"_s);
    QCOMPARE(themes->itemText(1), u"Night"_s);
    QCOMPARE(themes->currentText(), u"Night"_s);
    QVERIFY(Child<QRadioButton>(d.get(), "optOutDirAct_2")->isChecked());
    QVERIFY(Child<QRadioButton>(d.get(), "optAutoTransAct_1")->isChecked());
    QCOMPARE(Child<QComboBox>(d.get(), "cboImgRes")->currentIndex(), 3);
    QCOMPARE(Child<QComboBox>(d.get(), "cboImgRes")->count(), 4);
    QVERIFY(Child<QCheckBox>(d.get(), "chkHideTags")->isChecked());
    QVERIFY(!Child<QCheckBox>(d.get(), "chkImgResCentre")->isChecked());
    // Cancel changes nothing.
    const std::string before = ReadFileText(f.settingsFile);
    const Settings kept = f.settings;
    Child<QLineEdit>(d.get(), "txtOut")->setText("/elsewhere");
    Child<QRadioButton>(d.get(), "optAutoTransAct_2")->setChecked(true);
    QTest::mouseClick(Child<QPushButton>(d.get(), "cmdCancel"), Qt::LeftButton);
    QCOMPARE(d->result(), int(QDialog::Rejected));
    QVERIFY(f.settings == kept);
    QCOMPARE(ReadFileText(f.settingsFile), before);
    // OK with the same theme in other letters keeps the user's spelling and reloads nothing.
    QTest::mouseClick(Child<QPushButton>(f.Open().get(), "cmdOK"), Qt::LeftButton);
    QCOMPARE(f.themeReloads, 0);
    QCOMPARE(f.settings.theme, std::string("NIGHT"));

    // The browse buttons' titles are crossed, as they always were.
    auto b = f.Open();
    f.dialogs.results = {"/picked/cust", "", "/picked/out"};
    for (const char* browse : {"cmdInBrowse", "cmdCustBrowse", "cmdOutBrowse"})
      QTest::mouseClick(Child<QPushButton>(b.get(), browse), Qt::LeftButton);
    QStringList titles;
    for (const auto& c : f.dialogs.calls) titles << c.kind + ": " + c.title;
    QCOMPARE(titles, (QStringList{"folder: Select Default Customize Folder",
                                  "folder: Select Default Image Folder",
                                  "folder: Select Default Output Folder"}));
    QCOMPARE(Child<QLineEdit>(b.get(), "txtIn")->text(), u"/picked/cust"_s);
    // A cancelled picker leaves the box as it was.
    QCOMPARE(Child<QLineEdit>(b.get(), "txtCust")->text(), QString());
    QCOMPARE(Child<QLineEdit>(b.get(), "txtOut")->text(), u"/picked/out"_s);

    Settings expected = f.settings;  // the settings the dialog does not show stay as they were
    d = f.Open();
    Child<QLineEdit>(d.get(), "txtIn")->setText(Q(f.images.path()));
    Child<QLineEdit>(d.get(), "txtOut")->setText(Q(f.out.path()));
    Child<QCheckBox>(d.get(), "chkCustSearchDest")->setChecked(true);
    Child<QCheckBox>(d.get(), "chkImgResCentre")->setChecked(true);
    Child<QComboBox>(d.get(), "cboImgRes")->setCurrentIndex(2);
    Child<QRadioButton>(d.get(), "optOutDirAct_3")->setChecked(true);
    Child<QRadioButton>(d.get(), "optAutoTransAct_2")->setChecked(true);
    Child<QComboBox>(d.get(), "cboTheme")->setCurrentIndex(0);  // Default
    Child<QLineEdit>(d.get(), "txtResources")->setText(Q(f.images.path()));
    Child<QLineEdit>(d.get(), "txtThumbnails")->setText(Q(f.out.path()));
    QTest::mouseClick(Child<QPushButton>(d.get(), "cmdOK"), Qt::LeftButton);
    QCOMPARE(d->result(), int(QDialog::Accepted));
    QCOMPARE(f.themeReloads, 1);
    QVERIFY(f.prompter.shown.empty());

    // Read the rewritten file back as the next start would.
    expected.defaultImagePath = expected.resourceRoot = f.images.path();
    expected.defaultOutputDir = expected.thumbnailsRoot = f.out.path();
    expected.useSourceDirAsCust = expected.imgResCentre = true;
    expected.imgResMode = 2;
    expected.defaultOutDirOpt = 3;
    expected.autoTransfer = 2;
    expected.theme = "Default";
    const SettingsFileContents back = LoadSettingsFile(f.settingsFile, f.prog.folder());
    QVERIFY2(back.settings == expected && f.settings == expected,
             ReadFileText(f.settingsFile).c_str());
    QCOMPARE(back.lastUsedImage.value_or(""), std::string("/games/Some Game.cue"));
    // One folder per game ID is one choice away.
    auto again = f.Open();
    Child<QRadioButton>(again.get(), "optNameTemplate")->setChecked(true);
    QTest::mouseClick(Child<QPushButton>(again.get(), "cmdOK"), Qt::LeftButton);
    QCOMPARE(f.settings.nameTemplate, std::string("%GAMEID%"));
  }
  void docMakerEditsTheListWritesAndExtracts() {
    DocFixture f;
    QCOMPARE(Child<QLineEdit>(f.Open("SLUS0123").get(), "txtID")->text(), QString());
    auto d = f.Open();
    QCOMPARE(Child<QComboBox>(d.get(), "cboID")->currentText(), u"SLUS"_s);
    QCOMPARE(Child<QLineEdit>(d.get(), "txtID")->text(), u"01234"_s);
    QCOMPARE(Child<QLineEdit>(d.get(), "txtOut")->text(), Q(f.out / "DOCUMENT.DAT"));
    QListWidget* l = d->list();
    for (const char* p : {"a", "b", "c", "d", "e", "f"}) d->AddPage(QLatin1String(p), false);
    for (int i : {2, 3, 4}) l->item(i)->setSelected(true);  // lines 3 to 5
    d->MoveUp();
    d->MoveUp();
    QCOMPARE(d->pages(), (QStringList{"c", "d", "e", "a", "b", "f"}));
    QCOMPARE(Selected(l), (QStringList{"c", "d", "e"}));
    d->MoveUp();  // the first line is selected: nothing moves
    QCOMPARE(d->pages(), (QStringList{"c", "d", "e", "a", "b", "f"}));

    // Keys on the list: Alt+Down moves, Delete removes, Ctrl+Delete empties.
    l->clearSelection();
    l->item(4)->setSelected(true);
    QTest::keyClick(l, Qt::Key_Down, Qt::AltModifier);
    QCOMPARE(d->pages(), (QStringList{"c", "d", "e", "a", "f", "b"}));
    d->MoveDown();  // the last line is selected
    QCOMPARE(d->pages().last(), u"b"_s);
    l->item(0)->setSelected(true);
    QTest::keyClick(l, Qt::Key_Delete);
    QCOMPARE(d->pages(), (QStringList{"d", "e", "a", "f"}));
    QTest::keyClick(l, Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(Selected(l).size(), 4);
    QTest::keyClick(l, Qt::Key_Delete, Qt::ControlModifier);
    QCOMPARE(l->count(), 0);

    // A folder adds its pictures, a drop its pictures and those of a folder, selected.
    f.pages.MakeDir("sub");
    for (const char* n : {"one.png", "two.JPEG", "notes.txt", "sub/deep.png"})
      WriteFileText(f.pages / n, "x");
    f.dialogs.results = {Q(f.pages.folder())};
    d->AddDirClicked();
    QCOMPARE(f.dialogs.calls.back().title, u"Select Directory to Add"_s);
    QStringList got = d->pages();
    got.sort();
    QCOMPARE(got, (QStringList{Q(f.pages / "one.png"), Q(f.pages / "two.JPEG")}));
    QVERIFY(Selected(d->list()).isEmpty());

    d->list()->clear();
    d->DropPaths({Q(f.pages / "sub"), Q(f.pages / "notes.txt"), Q(f.pages / "one.png")});
    QCOMPARE(d->pages(), (QStringList{Q(f.pages / "sub/deep.png"), Q(f.pages / "one.png")}));
    QCOMPARE(Selected(d->list()), QStringList{Q(f.pages / "one.png")});

    // The file's layout is the core's (docmaker tests); here the checks, the questions and
    // the messages on the way to it, and the pages back out.
    d->list()->clear();
    d->OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgNothingToConvert));
    const std::string png = f.pages / "page.png";
    QVERIFY(WritePngFromDrawingContext(Surface(16, 16), png, 16, 16));
    for (int i = 0; i < 101; ++i) d->AddPage(Q(png), false);
    const std::string dat = f.out / "DOCUMENT.DAT";
    f.prompter.answers = {false};
    d->OkClicked();  // No to the page warning
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgTooManyPages));
    QVERIFY(f.prompter.shown.back().defaultNo);
    QVERIFY(!FileExists(dat));
    d->OkClicked();  // Yes, but there is no template
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgDocHeadMissing));
    QVERIFY(CopyFileTo(RuntimeFolder() + "Data/DOCHead.dat", f.prog / "Data/DOCHead.dat"));
    Child<QLineEdit>(d.get(), "txtID")->setText(u"0123"_s);
    d->OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgEnterValidId));
    QVERIFY(!FileExists(dat));
    Child<QLineEdit>(d.get(), "txtID")->setText(u"12:45"_s);
    d->OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgDocDone));
    QCOMPARE(f.prompter.shown.back().icon, MsgIcon::Information);
    const Bytes bytes = ReadFileBytes(dat);
    QVERIFY(bytes.size() > 136 + 101 * 128);
    QCOMPARE(LoadLe32(bytes.data() + 132), 101u);
    QCOMPARE(std::string(bytes.begin() + 12, bytes.begin() + 21), std::string("SLUS12:45"));

    TempDir pagesOut;
    f.dialogs.calls.clear();
    f.dialogs.results = {Q(dat), Q(pagesOut.folder())};
    d->ExtractClicked();
    QCOMPARE(f.dialogs.calls[0].title, u"Select a DOCUMENT.DAT file"_s);
    QCOMPARE(f.dialogs.calls[1].title, u"Select Output Directory"_s);
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgDocExtracted));
    QCOMPARE(ReadFileBytes(pagesOut / DocumentPageFileName(0, 101)), ReadFileBytes(png));
  }
};

QTEST_MAIN(DialogsTest)

#include "dialogs_test.moc"
