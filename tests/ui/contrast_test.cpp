// Every window, dialog, message box, menu, tool tip and list pop-up the program shows,
// drawn offscreen under the shipped theme and under a user's theme that asks for dark text
// on a dark ground: each text must stand out from what is drawn behind it by at least
// 4.5:1 (WCAG AA), measured on the pixels (see contrast_probe.h).

#include <QComboBox>
#include <QCursor>
#include <QHeaderView>
#include <QMap>
#include <QMessageBox>
#include <QSpinBox>
#include <QTableWidget>
#include <QToolTip>

#include "app/settings.h"
#include "assets/slots.h"
#include "contrast_probe.h"
#include "disc/game_db.h"
#include "engine/conversion.h"
#include "fakes.h"
#include "pbp/rebuild.h"
#include "support/program_tree.h"
#include "transfer/volumes.h"
#include "ui/doc_dialog.h"
#include "ui/fix_save_dialog.h"
#include "ui/options_dialog.h"
#include "ui/preview_dialog.h"
#include "ui/progress_window.h"
#include "ui/select_dialog.h"
#include "ui/transfer_dialog.h"
#include "ui/verify_dialog.h"

using namespace ebf;
using namespace ebf::test;

namespace {

constexpr double kAA = 4.5;

// Dark grey text on a slightly darker grey, dark edit text on a dark edit box, a dark
// title over the header picture, a dark accent: a theme nobody could read as written.
constexpr const char* kDuskTheme =
    "MAINBGCOL = 201A18\n"
    "MAINFGCOL = 2A2422\n"
    "MAINBGEDITCOL = 141210\n"
    "MAINFGEDITCOL = 221E1C\n"
    "MAINBOXBGCOL = 262220\n"
    "MAINTITLE = Dusk\n"
    "DIALOGTITEXTCOL = 3A2A20\n"
    "DIALOGTITEXTALPHA = FF\n"
    "DIALOGTILINECOL = 302418\n"
    "DIALOGTILINEALPHA = FF\n"
    "DIALOGTILINEHEIGHT = 2\n";

void Settle() {
  for (int i = 0; i < 5; ++i) QApplication::processEvents();
}

}  // namespace

class ContrastTest : public QObject {
  Q_OBJECT

  std::vector<TextReading> readings_;
  QStringList windowsSeen_;

  // Shows `top` (if it is not up yet) and measures every text it draws.
  void Probe(QWidget* top, const QString& label) {
    top->show();
    Settle();
    windowsSeen_ << label;
    if (qEnvironmentVariableIsSet("EBF_CONTRAST_SHOTS"))  // to look at them while working
      top->grab().save(qEnvironmentVariable("EBF_CONTRAST_SHOTS") + "/" + label + ".png");
    const std::vector<TextProbe> probes = TextProbes(top);
    QVERIFY2(!probes.empty(), qPrintable(label + ": no text found"));
    for (const TextProbe& p : probes) {
      TextReading r = Measure(p);
      r.what = label + ": " + r.what;
      readings_.push_back(r);
    }
    Settle();
  }

  // Runs `open`, which shows a modal window and waits for it; probes that window once it is
  // up, then closes it.
  void ProbeModal(const std::function<void()>& open, const QString& label) {
    bool seen = false;
    std::function<void()> poll = [&] {
      QWidget* modal = QApplication::activeModalWidget();
      if (!modal || !modal->isVisible()) {
        QTimer::singleShot(10, poll);
        return;
      }
      seen = true;
      Settle();
      Probe(modal, label);
      if (auto* dialog = qobject_cast<QDialog*>(modal)) dialog->done(QDialog::Rejected);
    };
    QTimer::singleShot(0, poll);
    open();
    QVERIFY2(seen, qPrintable(label + ": no modal window came up"));
  }

  void ProbeAndHide(QWidget& top, const QString& label) {
    Probe(&top, label);
    top.hide();
  }

  void ProbeTheme(const std::string& prog, const std::string& themeName) {
    const QString t = QString::fromStdString(themeName) + " ";
    ui::QtPrompter prompter;
    ui::QtFileDialogs fileDialogs;
    ScriptedDialogs scripted;
    ui::MainWindow w({prog, prog + "ebootforge.ini", &prompter, &scripted});
    w.settings().theme = themeName;
    w.LoadAndApplyTheme();
    w.SetInputText("/nowhere/Moonlit Harbour (Disc 1).cue");  // missing: controls disabled
    w.SetTitleText("Moonlit Harbour");
    w.SetGameIdentity("SLUS01234", "SLUS01234");
    w.SetRegion("NTSC");
    w.SetOutputText("/nowhere/PSP/GAME/Moonlit Harbour");
    w.SetSlot(ui::MainWindow::kIcon0, true, "/nowhere/harbour-icon.png");
    w.SetSlot(ui::MainWindow::kIcon1, false, "");
    if (!w.customisationShown()) w.ToggleCustomisation();
    w.resize(820, 700);
    Probe(&w, t + "main window");

    // Message boxes of every kind, over the main window and over a dialog.
    ProbeModal([&] { w.GoClicked(); }, t + "warning box");
    ProbeModal([&] { w.ShowAbout(); }, t + "about box");
    ProbeModal([&] { prompter.Critical(&w, QLatin1String(pbp::kSameFileMessage)); },
               t + "critical box");
    ProbeModal([&] { prompter.Ask(&w, QLatin1String(kMsgOfferTransfer), false); },
               t + "question box");

    // The CD menu and a tool tip.
    auto* cd = Child<QPushButton>(&w, "cmdInCD");
    auto* menu = Child<QMenu>(&w, "mnuCD");
    cd->setEnabled(true);
    cd->click();
    Settle();
    QVERIFY(menu->isVisible());
    Probe(menu, t + "CD menu");
    menu->hide();
    auto* select = Child<QPushButton>(&w, "cmdGame");
    QToolTip::showText(select->mapToGlobal(QPoint(8, 8)), select->toolTip(), select);
    Settle();
    QWidget* tip = nullptr;
    for (QWidget* top : QApplication::topLevelWidgets())
      if (top->inherits("QTipLabel") && top->isVisible()) tip = top;
    QVERIFY(tip);
    Probe(tip, t + "tool tip");
    QToolTip::hideText();

    // A file dialog over the main window.
    ProbeModal(
        [&] {
          fileDialogs.OpenFile(&w, QStringLiteral("Select a PSX ISO or EBOOT to convert/patch"),
                               QString::fromStdString(prog),
                               {{QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
        },
        t + "file dialog");

    ui::ProgressWindow progress(ui::ProgressWindow::Kind::Progress, prompter, w.theme(), &w);
    // A compressed run: the image's size and the bytes written so far.
    progress.BeginStage("Converting to EBOOT...", 1.0, 537185075);
    progress.Advance(225232076, 0);
    progress.Tick();
    Probe(&progress, t + "progress window");
    ProbeModal([&] { prompter.Ask(&progress, QLatin1String(kMsgOfferTransfer), true); },
               t + "question over progress");
    progress.EndStage(true);
    progress.hide();

    ui::ProgressWindow log(ui::ProgressWindow::Kind::Log, prompter, w.theme(), &w);
    log.SetCaption("Converting to EBOOT...");
    log.Log("Game 1 of 3: Moonlit Harbour\r\n  Extracting ISO... Done");
    log.BeginStage("Converting to EBOOT...", 1.0, 537185075);
    Probe(&log, t + "log window");
    log.EndStage(true);
    log.hide();

    ui::OptionsDialog options(w.settings(), prog + "ebootforge.ini", w.theme(), scripted, prompter,
                              {});
    Probe(&options, t + "options");
    auto* resize = Child<QComboBox>(&options, "cboImgRes");
    resize->showPopup();
    Settle();
    Probe(resize->view()->window(), t + "list pop-up");
    resize->hidePopup();
    options.hide();

    ui::SelectDialog selectDialog(w.theme(), prompter);
    selectDialog.Load(GameDbPath(prog), true, "SCUS94476", "");
    ProbeAndHide(selectDialog, t + "game selection");

    ui::FixSaveDialog fixSave(w.theme(), prompter, "", "SLUS01234");
    Probe(&fixSave, t + "save name and ID");
    ProbeModal([&] { fixSave.OkClicked(); }, t + "warning over a dialog");
    fixSave.hide();

    ui::PreviewInputs previewIn;
    previewIn.programFolder = prog;
    for (int i = 0; i < kSlotCount; ++i)
      previewIn.slotFiles[i] = ResolveSlotFile(prog, true, "", kSlots[i].assetFileName, false);
    ui::PreviewDialog preview(previewIn, w.theme());
    preview.timer().stop();
    ProbeAndHide(preview, t + "preview");

    ui::DocDialog doc(w.theme(), prompter, scripted, "SLUS01234", "/nowhere/out");
    doc.AddPage(QStringLiteral("/nowhere/manual-01.png"), false);
    doc.AddPage(QStringLiteral("/nowhere/manual-02.jpg"), true);
    ProbeAndHide(doc, t + "documentation maker");

    FixedVolumes volumes({{"/media/mira/PSP", "PSP"}, {"/media/mira/CARD", "CARD 32GB"}});
    ui::TransferDialog transfer(w.theme(), prompter, volumes,
                                {"/nowhere/out", "Moonlit Harbour", "SLUS01234", 1});
    ProbeAndHide(transfer, t + "transfer");

    // A verified package with a data and an audio track, one of them damaged.
    VerifyReport report;
    report.blocks = 4182;
    report.digests = DigestCheck::Absent;
    report.tracks = {{1, false, 0, 289845600, "4a9e6f1c", "0b7c6b2d1f0e8a3c5d4e2f1a9b8c7d6e",
                      "9f8e7d6c5b4a39281706f5e4d3c2b1a098765432"},
                     {2, true, 123232, 48522480, "d41d8cd9", "e3b0c44298fc1c149afbf4c8996fb924",
                      "da39a3ee5e6b4b0d3255bfef95601890afd80709"}};
    report.problems = {"Block 2,417 at offset 91,334,656 (track 2) does not inflate."};
    ui::VerifyDialog verify(w.theme(), "/nowhere/out/EBOOT.PBP", report);
    ProbeAndHide(verify, t + "verify");
  }

 private slots:
  void initTestCase() {
    // The offscreen platform says so at every window; the measurements are what matter.
    static QtMessageHandler previous = nullptr;
    previous = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext& context, const QString& message) {
          if (message.startsWith(QLatin1String("This plugin does not support"))) return;
          previous(type, context, message);
        });
    DrawTextWithoutBlending();
    // No control sits under the pointer, so none is drawn hovered.
    QCursor::setPos(4000, 4000);
    // Pop-ups appear at once, so that they can be drawn the moment they are opened.
    for (auto effect : {Qt::UI_AnimateMenu, Qt::UI_FadeMenu, Qt::UI_AnimateCombo,
                        Qt::UI_AnimateTooltip, Qt::UI_FadeTooltip})
      QApplication::setEffectEnabled(effect, false);
  }

  void everyTextReadsUnderTheShippedAndADarkOnDarkTheme() {
    TempDir root;
    const std::string prog = CopyRuntimeTree(root);
    root.MakeDir("Themes/Dusk");
    WriteFileText(root / "Themes/Dusk/style.ini", kDuskTheme);

    for (const char* theme : {"Default", "Dusk"}) ProbeTheme(prog, theme);

    // Each kind of window was drawn under both themes.
    QCOMPARE(windowsSeen_.size(), 2 * 20);
    QStringList poor;
    for (const TextReading& r : readings_)
      if (r.ratio < kAA)
        poor << QStringLiteral("%1 -> %2:1 (%3 pixels)")
                    .arg(r.what)
                    .arg(r.ratio, 0, 'f', 2)
                    .arg(r.inkPixels);
    for (const QString& line : poor) qWarning("%s", qPrintable(line));
    if (qEnvironmentVariableIsSet("EBF_CONTRAST_ALL"))
      for (const TextReading& r : readings_)
        qInfo("%s %.2f %d", qPrintable(r.what), r.ratio, r.inkPixels);
    QVERIFY2(poor.isEmpty(), qPrintable(QString::number(poor.size()) + " texts read poorly"));
    QVERIFY(readings_.size() > 200);
  }

  // The measurement itself, on colours worked out by hand: a text of its ground's colour
  // reads 1:1, black on white 21:1; a text three quarters on a near ground reads as that
  // part; a table's shown cells and header sections are texts of their own, a hidden column
  // is not, and a cell on a near ground reads low.
  void theProbeMeasuresEachTextOnItsOwnGround() {
    QWidget top;
    top.setObjectName("probe");
    top.setStyleSheet("QWidget#probe { background: #808080; }");
    int y = 0;
    for (auto [text, sheet] :
         {std::pair{"Same colour", "color: #808080;"},
          {"Black on white", "color: black; background: white;"},
          {"Mostly on a near ground",
           "color: #606060; background: qlineargradient(x1: 0, y1: 0, x2: 1, y2: 0, stop: 0 "
           "#707070, stop: 0.75 #707070, stop: 0.7501 white, stop: 1 white);"}}) {
      auto* label = new QLabel(text, &top);
      label->setStyleSheet(sheet);
      label->adjustSize();
      label->move(0, y += 30);
    }
    auto* table = new QTableWidget(2, 3, &top);
    table->setStyleSheet("QTableWidget { color: #606060; background: white; }");
    table->setHorizontalHeaderLabels({"Name", "Hidden", "Code"});
    table->verticalHeader()->hide();
    for (int c = 0; c < 6; ++c)
      table->setItem(c / 3, c % 3, new QTableWidgetItem(QString(QLatin1Char(char('a' + c)))));
    table->item(1, 2)->setBackground(QColor(0x70, 0x70, 0x70));
    table->setColumnHidden(1, true);
    table->setFocusPolicy(Qt::NoFocus);  // no current cell drawn selected
    table->setGeometry(0, y + 30, 300, 120);
    top.resize(320, y + 160);
    top.show();
    Settle();

    QMap<QString, TextReading> seen;
    for (const TextProbe& p : TextProbes(&top)) {
      const TextReading r = Measure(p);
      seen[r.what.section('\'', 1, 1)] = r;
    }
    QCOMPARE(seen.keys(), (QStringList{"Black on white", "Code", "Mostly on a near ground", "Name",
                                       "Same colour", "a", "c", "d", "f"}));
    QCOMPARE(seen["Same colour"].ratio, 1.0);
    QCOMPARE(seen["Same colour"].inkPixels, 0);
    QVERIFY(std::abs(seen["Black on white"].ratio - 21.0) < 0.01);
    for (const char* low : {"Mostly on a near ground", "f"})
      QVERIFY2(seen[low].ratio > 1.2 && seen[low].ratio < 1.35,
               qPrintable(low + QStringLiteral(" ") + QString::number(seen[low].ratio)));
    for (const char* fine : {"Code", "Name", "a", "c", "d"})
      QVERIFY2(seen[fine].ratio > 6.0,
               qPrintable(fine + QStringLiteral(" ") + QString::number(seen[fine].ratio)));
  }
};

QTEST_MAIN(ContrastTest)
#include "contrast_test.moc"
