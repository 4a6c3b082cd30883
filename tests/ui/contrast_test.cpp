// Every window, dialog, message box, menu, tool tip and list pop-up the program shows,
// drawn offscreen under the shipped theme and under a user's theme that asks for dark text
// on a dark ground: each text must stand out from what is drawn behind it by at least
// 4.5:1 (WCAG AA), measured on the pixels.
//
// How a text is measured: it is drawn once in heavy strokes and once with its colour made
// transparent, both without anti-aliasing (DrawTextWithoutBlending), so that each pixel of
// the text is wholly the text's colour as it shows there (a translucent text blended with
// what is under it). The pixels that differ are the text, the second drawing's pixels under
// them its own ground, and the text's reading (WCAG 2 contrast ratio, 1 to 21) is what nine
// tenths of its pixels reach against the ground right under them: a text half over a
// picture of its own colour reads low even where the other half stands out. A style sheet
// that wins over the palette, a picture behind a label or a veil over it are all in the
// pixels, so all are measured.

#include <QCursor>
#include <QGroupBox>
#include <QHeaderView>
#include <QMap>
#include <QMenu>
#include <QStyle>
#include <QStyleOption>
#include <QTableWidget>
#include <QToolTip>
#include <algorithm>

#include "app/settings.h"
#include "assets/slots.h"
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
#include "ui/readable_colours.h"
#include "ui/select_dialog.h"
#include "ui/theme_apply.h"
#include "ui/transfer_dialog.h"
#include "ui/verify_dialog.h"

using namespace ebf;
using namespace ebf::test;

namespace {

struct TextReading {
  QString what;      // "frmOpt QLabel 'Images:'"
  double ratio = 1;  // 1 when no pixel of the text was drawn
  int inkPixels = 0;
};

enum class Ink { AsIs, Solid, Hidden };

// Reads one text of a window: the widget that draws it, where (in the widget's
// coordinates), and how to draw it in heavy strokes, make it vanish, and bring it back,
// without moving anything (the window is drawn between the changes without laying it out
// again).
TextReading Measure(QWidget* widget, const QRect& area, const QString& what,
                    const std::function<void(Ink)>& ink) {
  QWidget* top = widget->window();
  const QRect r(widget->mapTo(top, area.topLeft()), area.size());
  ink(Ink::Solid);
  const QImage with = top->grab(r).toImage().convertToFormat(QImage::Format_RGB32);
  ink(Ink::Hidden);
  const QImage without = top->grab(r).toImage().convertToFormat(QImage::Format_RGB32);
  ink(Ink::AsIs);
  TextReading reading{what};
  if (with.size() != without.size()) return reading;
  std::vector<double> ratios;
  for (int y = 0; y < with.height(); ++y)
    for (int x = 0; x < with.width(); ++x) {
      const QRgb a = with.pixel(x, y), b = without.pixel(x, y);
      if ((a & 0xFFFFFF) != (b & 0xFFFFFF))
        ratios.push_back(ui::ContrastRatio(QColor(a), QColor(b)));
    }
  reading.inkPixels = static_cast<int>(ratios.size());
  if (ratios.empty()) return reading;
  const std::size_t tenth = ratios.size() / 10;
  std::nth_element(ratios.begin(), ratios.begin() + tenth, ratios.end());
  reading.ratio = ratios[tenth];
  return reading;
}

// Style sheets of the widget's own, which win over the window's: one for heavy strokes,
// one for a transparent text colour.
std::function<void(Ink)> InkBySheet(
    QWidget* w, const QString& solid = u"* { font-weight: 900; }"_s,
    const QString& hidden = u"* { color: transparent; selection-color: transparent; }"_s) {
  const QString own = w->styleSheet();
  // A sheet of bare declarations applies to the widget itself; it keeps doing so in a rule.
  const QString ownRules = own.contains('{') || own.trimmed().isEmpty() ? own : "* { " + own + " }";
  return [w, own, ownRules, solid, hidden](Ink ink) {
    w->setStyleSheet(ink == Ink::AsIs ? own
                                      : ownRules + "\n" + (ink == Ink::Solid ? solid : hidden));
  };
}

// Every text that `top` shows: labels, buttons, check boxes, group titles, text boxes,
// combo boxes, every shown column of list, table and tree rows, header sections, menu
// entries and the themed header's title and subtitle.
std::vector<TextReading> ReadTexts(QWidget* top) {
  std::vector<TextReading> readings;
  auto add = [&](QWidget* w, QWidget* drawer, const QRect& area, const QString& text,
                 const std::function<void(Ink)>& ink) {
    if (text.trimmed().isEmpty() || !area.isValid() || area.isEmpty()) return;
    const QString name = w->objectName().isEmpty() ? QString() : "#" + w->objectName();
    readings.push_back(Measure(
        drawer, area,
        u"%1 %2%3 '%4'"_s.arg(w->window()->objectName(),
                              QLatin1String(w->metaObject()->className()), name, text.left(40)),
        ink));
  };
  QList<QWidget*> widgets = top->findChildren<QWidget*>();
  widgets.prepend(top);
  for (QWidget* w : widgets) {
    if (!w->isVisibleTo(top) || w->width() <= 0 || w->height() <= 0) continue;
    if (w != top && w->window() != top) continue;  // another window: probed on its own
    if (auto* header = qobject_cast<ui::ThemedHeader*>(w)) {
      const QString title = header->title(), subtitle = header->subtitle();
      add(w, w, w->rect(), title,
          [header, title](Ink ink) { header->SetTitle(ink == Ink::Hidden ? QString() : title); });
      add(w, w, w->rect(), subtitle, [header, subtitle](Ink ink) {
        header->SetSubtitle(ink == Ink::Hidden ? u" "_s : subtitle);
      });
    } else if (auto* label = qobject_cast<QLabel*>(w)) {
      add(w, w, w->rect(), label->text(), InkBySheet(w));
    } else if (qobject_cast<QCheckBox*>(w) || qobject_cast<QRadioButton*>(w)) {
      auto* box = static_cast<QAbstractButton*>(w);
      QStyleOptionButton opt;
      opt.initFrom(box);
      opt.text = box->text();
      const auto element = qobject_cast<QCheckBox*>(w) ? QStyle::SE_CheckBoxContents
                                                       : QStyle::SE_RadioButtonContents;
      add(w, w, box->style()->subElementRect(element, &opt, box), box->text(), InkBySheet(w));
    } else if (auto* button = qobject_cast<QAbstractButton*>(w)) {
      add(w, w, w->rect(), button->text(), InkBySheet(w));
    } else if (auto* group = qobject_cast<QGroupBox*>(w)) {
      QStyleOptionGroupBox opt;
      opt.initFrom(group);
      opt.text = group->title();
      opt.subControls = QStyle::SC_GroupBoxLabel;
      add(w, w,
          group->style()->subControlRect(QStyle::CC_GroupBox, &opt, QStyle::SC_GroupBoxLabel,
                                         group),
          group->title(),
          InkBySheet(w, u"QGroupBox::title { font-weight: 900; }"_s,
                     u"QGroupBox::title { color: transparent; }"_s));
    } else if (auto* edit = qobject_cast<QLineEdit*>(w)) {
      // Combo and spin boxes keep the font and colours of their inner text box to
      // themselves; its text is restyled through them.
      QWidget* owner = w;
      for (QWidget* p = w->parentWidget(); p && !p->isWindow(); p = p->parentWidget())
        if (qobject_cast<QComboBox*>(p) || qobject_cast<QAbstractSpinBox*>(p)) owner = p;
      add(w, w, w->rect(), edit->text(), InkBySheet(owner));
    } else if (auto* combo = qobject_cast<QComboBox*>(w)) {
      // The text's field only: the drop-down arrow takes the text's colour too.
      QStyleOptionComboBox opt;
      opt.initFrom(combo);
      opt.editable = combo->isEditable();
      opt.currentText = combo->currentText();
      if (!combo->isEditable())
        add(w, w,
            combo->style()->subControlRect(QStyle::CC_ComboBox, &opt, QStyle::SC_ComboBoxEditField,
                                           combo),
            combo->currentText(), InkBySheet(w));
    } else if (auto* plain = qobject_cast<QPlainTextEdit*>(w)) {
      add(w, plain->viewport(), plain->viewport()->rect(), plain->toPlainText(), InkBySheet(w));
    } else if (auto* header = qobject_cast<QHeaderView*>(w)) {
      if (!header->model()) continue;
      const bool horizontal = header->orientation() == Qt::Horizontal;
      for (int section = 0; section < header->count(); ++section) {
        if (header->isSectionHidden(section)) continue;
        // The label's place in the section, beside the sort arrow, which takes the text's
        // colour too.
        QStyleOptionHeader opt;
        opt.initFrom(header);
        const int at = header->sectionViewportPosition(section),
                  size = header->sectionSize(section);
        opt.rect = horizontal ? QRect(at, 0, size, header->viewport()->height())
                              : QRect(0, at, header->viewport()->width(), size);
        opt.section = section;
        opt.orientation = header->orientation();
        if (horizontal) opt.state |= QStyle::State_Horizontal;
        opt.text = header->model()->headerData(section, header->orientation()).toString();
        opt.textAlignment = header->defaultAlignment();
        if (header->isSortIndicatorShown() && header->sortIndicatorSection() == section)
          opt.sortIndicator = QStyleOptionHeader::SortDown;
        add(w, header->viewport(),
            header->style()
                ->subElementRect(QStyle::SE_HeaderLabel, &opt, header)
                .intersected(header->viewport()->rect()),
            opt.text,
            InkBySheet(header, u"QHeaderView::section { font-weight: 900; }"_s,
                       u"QHeaderView::section { color: transparent; }"_s));
      }
    } else if (auto* view = qobject_cast<QAbstractItemView*>(w)) {
      QAbstractItemModel* model = view->model();
      if (!model) continue;
      QWidget* combo = nullptr;
      for (QWidget* p = w->parentWidget(); p; p = p->parentWidget())
        if (qobject_cast<QComboBox*>(p)) combo = p;
      // The cells by a sheet naming the view alone: a heavier font on its header would make
      // the header taller and move every row between the two drawings.
      const QString self = QString::fromLatin1(view->metaObject()->className());
      const std::function<void(Ink)> ink =
          combo ? InkBySheet(combo)
                : InkBySheet(view, self + " { font-weight: 900; }",
                             self + " { color: transparent; selection-color: transparent; }");
      // Every shown cell: a list's other columns and a table's or tree's hidden ones have
      // no place in the view.
      for (int row = 0; row < model->rowCount(view->rootIndex()); ++row)
        for (int column = 0; column < model->columnCount(view->rootIndex()); ++column) {
          const QModelIndex index = model->index(row, column, view->rootIndex());
          add(w, view->viewport(), view->visualRect(index).intersected(view->viewport()->rect()),
              index.data().toString(), ink);
        }
    } else if (auto* menu = qobject_cast<QMenu*>(w)) {
      for (QAction* action : menu->actions())
        if (!action->isSeparator())
          add(w, w, menu->actionGeometry(action), action->text(),
              InkBySheet(w, u"QMenu { font-weight: 900; }"_s,
                         u"QMenu::item { color: transparent; }"_s));
    }
  }
  return readings;
}

// Dark grey text on a slightly darker grey, dark edit text on a dark edit box, a dark and
// faint title over the header picture, a dark accent: a theme nobody could read as written.
constexpr const char* kDuskTheme =
    "MAINBGCOL = 201A18\nMAINFGCOL = 2A2422\nMAINBGEDITCOL = 141210\nMAINFGEDITCOL = 221E1C\n"
    "MAINBOXBGCOL = 262220\nMAINTITLE = Dusk\nDIALOGTITEXTCOL = 3A2A20\n"
    "DIALOGTITEXTALPHA = 20\nDIALOGTILINECOL = 302418\nDIALOGTILINEALPHA = FF\n"
    "DIALOGTILINEHEIGHT = 2\n";

void Settle() {
  for (int i = 0; i < 5; ++i) QApplication::processEvents();
}

}  // namespace

class ContrastTest : public QObject {
  Q_OBJECT

  std::vector<TextReading> readings_;
  QStringList windowsSeen_;

  // Shows `top` (if it is not up yet) and measures every text it draws; hides it after
  // when asked.
  void Probe(QWidget* top, const QString& label, bool hide = false) {
    top->show();
    Settle();
    windowsSeen_ << label;
    const std::size_t before = readings_.size();
    for (const TextReading& r : ReadTexts(top))
      readings_.push_back({label + ": " + r.what, r.ratio, r.inkPixels});
    QVERIFY2(readings_.size() > before, qPrintable(label + ": no text found"));
    Settle();
    if (hide) top->hide();
  }

  // Runs `open`, which shows a modal window and waits for it; probes that window once it is
  // up, then closes it.
  void ProbeModal(const std::function<void()>& open, const QString& label) {
    bool seen = false;
    std::function<void()> poll = [&] {
      QWidget* modal = QApplication::activeModalWidget();
      if (!modal || !modal->isVisible()) return QTimer::singleShot(10, poll);
      seen = true;
      Settle();
      Probe(modal, label);
      if (auto* dialog = qobject_cast<QDialog*>(modal)) dialog->done(QDialog::Rejected);
    };
    QTimer::singleShot(0, poll);
    open();
    QVERIFY2(seen, qPrintable(label + ": no modal window came up"));
  }

  void ProbeTheme(const std::string& prog, const std::string& themeName) {
    const QString t = Q(themeName) + " ";
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
    Probe(menu, t + "CD menu", true);
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
          fileDialogs.OpenFile(&w, u"Select a PSX ISO or EBOOT to convert/patch"_s, Q(prog),
                               {{u"All Files (*.*)"_s, u"*.*"_s}});
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
    Probe(&log, t + "log window", true);

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
    Probe(&selectDialog, t + "game selection", true);

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
    Probe(&preview, t + "preview", true);

    ui::DocDialog doc(w.theme(), prompter, scripted, "SLUS01234", "/nowhere/out");
    doc.AddPage(u"/nowhere/manual-01.png"_s, false);
    doc.AddPage(u"/nowhere/manual-02.jpg"_s, true);
    Probe(&doc, t + "documentation maker", true);

    FixedVolumes volumes({{"/media/mira/PSP", "PSP"}, {"/media/mira/CARD", "CARD 32GB"}});
    ui::TransferDialog transfer(w.theme(), prompter, volumes,
                                {"/nowhere/out", "Moonlit Harbour", "SLUS01234", 1});
    Probe(&transfer, t + "transfer", true);

    // A verified package with a data and an audio track, one of them damaged.
    VerifyReport report;
    report.blocks = 4182;
    report.digests = DigestCheck::Absent;
    const std::string md5(32, 'c'), sha1(40, 'e');
    report.tracks = {{1, false, 0, 289845600, "4a9e6f1c", md5, sha1},
                     {2, true, 123232, 48522480, "d41d8cd9", md5, sha1}};
    report.problems = {"Block 2,417 at offset 91,334,656 (track 2) does not inflate."};
    ui::VerifyDialog verify(w.theme(), "/nowhere/out/EBOOT.PBP", report);
    Probe(&verify, t + "verify", true);
  }

 private slots:
  void initTestCase() {
    // Every font draws its glyphs without anti-aliased edges (see the top of this file).
    QFont font = QApplication::font();
    font.setStyleStrategy(QFont::NoAntialias);
    QApplication::setFont(font);
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
      if (r.ratio < ui::kMinTextContrast)
        poor << u"%1 -> %2:1 (%3 pixels)"_s.arg(r.what).arg(r.ratio, 0, 'f', 2).arg(r.inkPixels);
    for (const QString& line : poor) qWarning("%s", qPrintable(line));
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
    for (const TextReading& r : ReadTexts(&top)) seen[r.what.section('\'', 1, 1)] = r;
    QCOMPARE(seen.keys(), (QStringList{"Black on white", "Code", "Mostly on a near ground", "Name",
                                       "Same colour", "a", "c", "d", "f"}));
    QCOMPARE(seen["Same colour"].ratio, 1.0);
    QCOMPARE(seen["Same colour"].inkPixels, 0);
    QVERIFY(std::abs(seen["Black on white"].ratio - 21.0) < 0.01);
    for (const char* low : {"Mostly on a near ground", "f"})
      QVERIFY2(seen[low].ratio > 1.2 && seen[low].ratio < 1.35,
               qPrintable(low + u" "_s + QString::number(seen[low].ratio)));
    for (const char* fine : {"Code", "Name", "a", "c", "d"})
      QVERIFY2(seen[fine].ratio > 6.0,
               qPrintable(fine + u" "_s + QString::number(seen[fine].ratio)));
  }
};

QTEST_MAIN(ContrastTest)
#include "contrast_test.moc"
