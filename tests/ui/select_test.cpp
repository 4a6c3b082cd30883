#include <QApplication>
#include <QComboBox>
#include <QCompleter>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include "fakes.h"
#include "transfer/volumes.h"
#include "ui/dialog_hooks.h"
#include "ui/main_window.h"
#include "ui/select_dialog.h"

using namespace ebf;
using namespace ebf::test;

namespace {

constexpr const char* kDb =
    "SCUS-94476;SCUS94476;Fallback Save;Fallback Game;NTSC;SCUS94476\n"
    "SLUS-00594;SLUS00594;Metal Game;Metal Game [NTSC-U];NTSC;SLUS00594\n"
    "SLES-01234;SLES01234;Harbour;Moonlit Harbour (Disc 2);PAL;SLES11234\n"
    "SLUS00999;SLUS00999;No Dash;No Dash Game;NTSC;SLUS00999\n"
    "SLES-01234;SLES01234;Harbour;Moonlit Harbour (Disc 1);PAL;SLES01234\n";

}  // namespace

class SelectDialogTest : public QObject {
  Q_OBJECT

  struct Fixture {
    TempDir prog;
    ui::ThemeContext theme;
    ScriptedPrompter prompter;
    std::string db;
    explicit Fixture(const std::string& text = kDb) {
      FillProgramFolder(prog);
      db = prog / "Data/TarnwickPS1ID.db";
      WriteFileText(db, text);
      theme.folders = prog.folder();
    }
  };

 private slots:
  // Which entry is chosen is the core's (LoadGameList); here the dialog shows it.
  void preselectsTheCurrentIdAndSaysWhenNothingIsChosen() {
    Fixture f;
    ui::SelectDialog known(f.theme, f.prompter);
    QVERIFY(known.Load(f.db, true, "SLES11234", "typed title"));
    QCOMPARE(known.count(), 4);
    QCOMPARE(known.selectedIndex(), 2);
    QCOMPARE(known.titleText(), QStringLiteral("Moonlit Harbour (Disc 2)"));
    QCOMPARE(known.list()->itemText(1), QStringLiteral("Metal Game"));  // tag hidden

    // Without the fallback line nothing is chosen and the handed title stays.
    Fixture noFallback(std::string(kDb).substr(std::string(kDb).find('\n') + 1));
    ui::SelectDialog none(noFallback.theme, noFallback.prompter);
    QVERIFY(none.Load(noFallback.db, false, "SLUS99999", "typed title"));
    QCOMPARE(none.selectedIndex(), -1);
    QCOMPARE(none.titleText(), QStringLiteral("typed title"));
    none.OkClicked();
    QCOMPARE(noFallback.prompter.last(), QLatin1String(ui::kMsgSelectGame));
    QCOMPARE(none.result(), int(QDialog::Rejected));

    Fixture empty("not a game line\n");
    ui::SelectDialog d(empty.theme, empty.prompter);
    QVERIFY(!d.Load(empty.db, false, "", ""));
    QCOMPARE(empty.prompter.last(), QLatin1String(kNoGamesMessage));
  }

  void titleLengthLimit() {
    Fixture f;
    ui::SelectDialog d(f.theme, f.prompter);
    QVERIFY(d.Load(f.db, false, "SLUS00594", ""));
    d.list()->setEditText(QString(128, QLatin1Char('x')));
    d.OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgTitleTooLong));
    QCOMPARE(d.result(), int(QDialog::Rejected));
    d.list()->setEditText(QString(127, QLatin1Char('x')));
    d.OkClicked();
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(d.result(), int(QDialog::Accepted));
    QCOMPARE(d.chosen().discId, std::string("SLUS00594"));
  }

  void typingFiltersTheList() {
    Fixture f;
    ui::SelectDialog d(f.theme, f.prompter);
    QVERIFY(d.Load(f.db, false, "", ""));
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    d.list()->lineEdit()->clear();
    QTest::keyClicks(d.list()->lineEdit(), QStringLiteral("harb"));
    QCompleter* c = d.list()->completer();
    QCOMPARE(c->completionCount(), 2);
    QCOMPARE(c->completionModel()->index(0, 0).data().toString(),
             QStringLiteral("Moonlit Harbour (Disc 2)"));
    QTest::keyClicks(d.list()->lineEdit(), QStringLiteral("our (disc 1"));
    QCOMPARE(c->completionCount(), 1);
    // Picking the match selects its entry, so that OK takes its IDs.
    QSignalSpy picked(d.list(), &QComboBox::currentIndexChanged);
    emit c->activated(c->completionModel()->index(0, 0));
    QCOMPARE(d.selectedIndex(), 3);
    QCOMPARE(picked.size(), 1);
  }

  // Through the main window's button: OK writes title, region, save name and IDs back,
  // with the asset loader run for the disc ID and then for the package ID.
  void okAndCancelThroughTheMainWindow() {
    Fixture f;
    ScriptedDialogs dialogs;
    ui::MainWindow w({f.prog.folder(), f.prog / "ebootforge.ini", &f.prompter, &dialogs});
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
        d->list()->setEditText(QStringLiteral("Harbour, edited"));
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
};

QTEST_MAIN(SelectDialogTest)
#include "select_test.moc"
