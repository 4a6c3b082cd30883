#pragma once
// Measures how well a window's texts stand out, on the pixels the window draws: every text
// is drawn once in heavy strokes and once with its colour made transparent, both without
// anti-aliasing (DrawTextWithoutBlending), so that each pixel of the text is wholly the
// text's colour as it shows there (a translucent text blended with what is under it). The
// pixels that differ are the text, the second drawing's pixels under them its own ground,
// and the text's reading (WCAG 2 contrast ratio, 1 to 21) is what nine tenths of its pixels
// reach against the ground right under them: a text half over a picture of its own colour
// reads low even where the other half stands out. A style sheet that wins over the
// palette, a picture behind a label or a veil over it are all in the pixels, so all are
// measured.

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QStyle>
#include <QStyleOptionButton>
#include <QStyleOptionComboBox>
#include <QStyleOptionGroupBox>
#include <QStyleOptionHeader>
#include <QTableView>
#include <QTreeView>
#include <QWidget>
#include <algorithm>
#include <functional>
#include <vector>

#include "ui/readable_colours.h"
#include "ui/theme_apply.h"

namespace ebf::test {

// Every font of the application from now on draws its glyphs without anti-aliased edges.
inline void DrawTextWithoutBlending() {
  QFont font = QApplication::font();
  font.setStyleStrategy(QFont::NoAntialias);
  QApplication::setFont(font);
}

struct TextReading {
  QString what;      // "frmOpt QLabel 'Images:'"
  double ratio = 1;  // 1 when no pixel of the text was drawn
  int inkPixels = 0;
};

enum class Ink { AsIs, Solid, Hidden };

// One text of a window: the widget that draws it, where (in the widget's coordinates), and
// how to draw it in heavy strokes, make it vanish, and bring it back, without moving
// anything (the window is drawn between the changes without laying it out again).
struct TextProbe {
  QWidget* widget;
  QRect area;
  QString what;
  std::function<void(Ink)> ink;
};

inline TextReading Measure(const TextProbe& p) {
  QWidget* top = p.widget->window();
  const QRect r(p.widget->mapTo(top, p.area.topLeft()), p.area.size());
  p.ink(Ink::Solid);
  const QImage with = top->grab(r).toImage().convertToFormat(QImage::Format_RGB32);
  p.ink(Ink::Hidden);
  const QImage without = top->grab(r).toImage().convertToFormat(QImage::Format_RGB32);
  p.ink(Ink::AsIs);
  TextReading reading{p.what};
  if (with.size() != without.size()) return reading;
  std::vector<double> ratios;
  for (int y = 0; y < with.height(); ++y) {
    const QRgb* a = reinterpret_cast<const QRgb*>(with.constScanLine(y));
    const QRgb* b = reinterpret_cast<const QRgb*>(without.constScanLine(y));
    for (int x = 0; x < with.width(); ++x)
      if ((a[x] & 0xFFFFFF) != (b[x] & 0xFFFFFF))
        ratios.push_back(ui::ContrastRatio(QColor(a[x]), QColor(b[x])));
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
inline std::function<void(Ink)> InkBySheet(QWidget* w, const QString& solid,
                                           const QString& hidden) {
  const QString own = w->styleSheet();
  // A sheet of bare declarations applies to the widget itself; it keeps doing so in a rule.
  const QString ownRules = own.contains('{') || own.trimmed().isEmpty() ? own : "* { " + own + " }";
  return [w, own, ownRules, solid, hidden](Ink ink) {
    w->setStyleSheet(ink == Ink::AsIs ? own
                                      : ownRules + "\n" + (ink == Ink::Solid ? solid : hidden));
  };
}

inline std::function<void(Ink)> InkBySheet(QWidget* w) {
  return InkBySheet(w, QStringLiteral("* { font-weight: 900; }"),
                    QStringLiteral("* { color: transparent; selection-color: transparent; }"));
}

// The same for an item view's cells, naming the view alone: a heavier font on its header
// would make the header taller and move every row between the two drawings.
inline std::function<void(Ink)> InkByViewSheet(QAbstractItemView* view) {
  const QString self = QString::fromLatin1(view->metaObject()->className());
  return InkBySheet(
      view, self + QStringLiteral(" { font-weight: 900; }"),
      self + QStringLiteral(" { color: transparent; selection-color: transparent; }"));
}

// Combo and spin boxes keep the font and colours of their inner text box and list to
// themselves; their text is restyled through them.
inline QWidget* StyleOwner(QWidget* w) {
  QWidget* owner = w;
  for (QWidget* p = w->parentWidget(); p && !p->isWindow(); p = p->parentWidget())
    if (qobject_cast<QComboBox*>(p) || qobject_cast<QAbstractSpinBox*>(p)) owner = p;
  if (owner == w && w->isWindow())  // a combo box's list pop-up
    for (QWidget* p = w->parentWidget(); p; p = p->parentWidget())
      if (qobject_cast<QComboBox*>(p)) owner = p;
  return owner;
}

inline QString Describe(QWidget* w, const QString& text) {
  QString name = w->objectName().isEmpty() ? QString() : "#" + w->objectName();
  return QStringLiteral("%1 %2%3 '%4'")
      .arg(w->window()->objectName(), QLatin1String(w->metaObject()->className()), name,
           text.left(40));
}

// Every text that `top` shows: labels, buttons, check boxes, group titles, text boxes,
// combo boxes, every shown column of list, table and tree rows, header sections, menu
// entries and the themed header's title and subtitle.
inline std::vector<TextProbe> TextProbes(QWidget* top) {
  std::vector<TextProbe> probes;
  QList<QWidget*> widgets = top->findChildren<QWidget*>();
  widgets.prepend(top);
  for (QWidget* w : widgets) {
    if (!w->isVisibleTo(top) || w->width() <= 0 || w->height() <= 0) continue;
    if (w != top && w->window() != top) continue;  // another window: probed on its own
    if (auto* header = qobject_cast<ui::ThemedHeader*>(w)) {
      const QString title = header->title(), subtitle = header->subtitle();
      if (!title.isEmpty())
        probes.push_back({w, w->rect(), Describe(w, title), [header, title](Ink ink) {
                            header->SetTitle(ink == Ink::Hidden ? QString() : title);
                          }});
      if (!subtitle.isEmpty())
        probes.push_back({w, w->rect(), Describe(w, subtitle), [header, subtitle](Ink ink) {
                            header->SetSubtitle(ink == Ink::Hidden ? QStringLiteral(" ")
                                                                   : subtitle);
                          }});
    } else if (auto* label = qobject_cast<QLabel*>(w)) {
      if (!label->text().trimmed().isEmpty())
        probes.push_back({w, w->rect(), Describe(w, label->text()), InkBySheet(w)});
    } else if (qobject_cast<QCheckBox*>(w) || qobject_cast<QRadioButton*>(w)) {
      auto* box = static_cast<QAbstractButton*>(w);
      QStyleOptionButton opt;
      opt.initFrom(box);
      opt.text = box->text();
      const auto element = qobject_cast<QCheckBox*>(w) ? QStyle::SE_CheckBoxContents
                                                       : QStyle::SE_RadioButtonContents;
      if (!box->text().isEmpty())
        probes.push_back({w, box->style()->subElementRect(element, &opt, box),
                          Describe(w, box->text()), InkBySheet(w)});
    } else if (auto* button = qobject_cast<QAbstractButton*>(w)) {
      if (!button->text().isEmpty())
        probes.push_back({w, w->rect(), Describe(w, button->text()), InkBySheet(w)});
    } else if (auto* group = qobject_cast<QGroupBox*>(w)) {
      QStyleOptionGroupBox opt;
      opt.initFrom(group);
      opt.text = group->title();
      opt.subControls = QStyle::SC_GroupBoxLabel;
      const QRect area = group->style()->subControlRect(QStyle::CC_GroupBox, &opt,
                                                        QStyle::SC_GroupBoxLabel, group);
      if (!group->title().isEmpty() && area.isValid())
        probes.push_back({w, area, Describe(w, group->title()),
                          InkBySheet(w, QStringLiteral("QGroupBox::title { font-weight: 900; }"),
                                     QStringLiteral("QGroupBox::title { color: transparent; }"))});
    } else if (auto* edit = qobject_cast<QLineEdit*>(w)) {
      if (!edit->text().isEmpty())
        probes.push_back({w, w->rect(), Describe(w, edit->text()), InkBySheet(StyleOwner(w))});
    } else if (auto* combo = qobject_cast<QComboBox*>(w)) {
      // The text's field only: the drop-down arrow takes the text's colour too.
      QStyleOptionComboBox opt;
      opt.initFrom(combo);
      opt.editable = combo->isEditable();
      opt.currentText = combo->currentText();
      const QRect area = combo->style()->subControlRect(QStyle::CC_ComboBox, &opt,
                                                        QStyle::SC_ComboBoxEditField, combo);
      if (!combo->isEditable() && !combo->currentText().isEmpty())
        probes.push_back({w, area, Describe(w, combo->currentText()), InkBySheet(w)});
    } else if (auto* plain = qobject_cast<QPlainTextEdit*>(w)) {
      if (!plain->toPlainText().trimmed().isEmpty())
        probes.push_back({plain->viewport(), plain->viewport()->rect(),
                          Describe(w, plain->toPlainText()), InkBySheet(w)});
    } else if (auto* header = qobject_cast<QHeaderView*>(w)) {
      QAbstractItemModel* model = header->model();
      if (!model) continue;
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
        opt.text = model->headerData(section, header->orientation()).toString();
        opt.textAlignment = header->defaultAlignment();
        if (header->isSortIndicatorShown() && header->sortIndicatorSection() == section)
          opt.sortIndicator = QStyleOptionHeader::SortDown;
        const QRect rect = header->style()
                               ->subElementRect(QStyle::SE_HeaderLabel, &opt, header)
                               .intersected(header->viewport()->rect());
        if (rect.isEmpty() || opt.text.isEmpty()) continue;
        probes.push_back(
            {header->viewport(), rect, Describe(w, opt.text),
             InkBySheet(header, QStringLiteral("QHeaderView::section { font-weight: 900; }"),
                        QStringLiteral("QHeaderView::section { color: transparent; }"))});
      }
    } else if (auto* view = qobject_cast<QAbstractItemView*>(w)) {
      QAbstractItemModel* model = view->model();
      if (!model) continue;
      QWidget* combo = nullptr;
      for (QWidget* p = w->parentWidget(); p; p = p->parentWidget())
        if (qobject_cast<QComboBox*>(p)) combo = p;
      const std::function<void(Ink)> ink = combo ? InkBySheet(combo) : InkByViewSheet(view);
      // Every shown column: a list shows its model column, a table or tree those not hidden.
      auto* list = qobject_cast<QListView*>(view);
      auto* table = qobject_cast<QTableView*>(view);
      auto* tree = qobject_cast<QTreeView*>(view);
      for (int row = 0; row < model->rowCount(view->rootIndex()); ++row) {
        for (int column = 0; column < model->columnCount(view->rootIndex()); ++column) {
          if ((list && column != list->modelColumn()) || (table && table->isColumnHidden(column)) ||
              (tree && tree->isColumnHidden(column)))
            continue;
          const QModelIndex index = model->index(row, column, view->rootIndex());
          const QRect rect = view->visualRect(index).intersected(view->viewport()->rect());
          const QString text = index.data().toString();
          if (rect.isEmpty() || text.isEmpty()) continue;
          probes.push_back({view->viewport(), rect, Describe(w, text), ink});
        }
      }
    } else if (auto* menu = qobject_cast<QMenu*>(w)) {
      for (QAction* action : menu->actions()) {
        const QRect rect = menu->actionGeometry(action);
        if (action->isSeparator() || action->text().isEmpty() || rect.isEmpty()) continue;
        probes.push_back({w, rect, Describe(w, action->text()),
                          InkBySheet(w, QStringLiteral("QMenu { font-weight: 900; }"),
                                     QStringLiteral("QMenu::item { color: transparent; }"))});
      }
    }
  }
  return probes;
}

}  // namespace ebf::test
