#pragma once
// Measures how well a window's texts stand out, on the pixels the window draws: every text
// is drawn once in heavy strokes (so that some pixels are wholly the text's colour, not
// an anti-aliased blend) and once with its colour made transparent, and the largest
// contrast between a pixel of the text and the same pixel without it is the text's
// reading (WCAG 2 contrast ratio, 1 to 21). A style sheet that wins over the palette, a
// picture behind a label or a veil over it are all in the pixels, so all are measured.

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QStyle>
#include <QStyleOptionButton>
#include <QStyleOptionGroupBox>
#include <QWidget>
#include <cmath>
#include <functional>
#include <vector>

#include "ui/theme_apply.h"

namespace ebf::test {

// WCAG 2 relative luminance of an sRGB colour.
inline double Luminance(QRgb c) {
  auto channel = [](int v) {
    const double s = v / 255.0;
    return s <= 0.04045 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * channel(qRed(c)) + 0.7152 * channel(qGreen(c)) + 0.0722 * channel(qBlue(c));
}

inline double Contrast(QRgb a, QRgb b) {
  const double la = Luminance(a), lb = Luminance(b);
  return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
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
  for (int y = 0; y < with.height(); ++y) {
    const QRgb* a = reinterpret_cast<const QRgb*>(with.constScanLine(y));
    const QRgb* b = reinterpret_cast<const QRgb*>(without.constScanLine(y));
    for (int x = 0; x < with.width(); ++x) {
      if ((a[x] & 0xFFFFFF) == (b[x] & 0xFFFFFF)) continue;
      ++reading.inkPixels;
      reading.ratio = std::max(reading.ratio, Contrast(a[x], b[x]));
    }
  }
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
// combo boxes, list rows, menu entries and the themed header's title and subtitle.
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
    } else if (auto* check = qobject_cast<QCheckBox*>(w)) {
      QStyleOptionButton opt;
      opt.initFrom(check);
      opt.text = check->text();
      const QRect area = check->style()->subElementRect(QStyle::SE_CheckBoxContents, &opt, check);
      if (!check->text().isEmpty())
        probes.push_back({w, area, Describe(w, check->text()), InkBySheet(w)});
    } else if (auto* radio = qobject_cast<QRadioButton*>(w)) {
      QStyleOptionButton opt;
      opt.initFrom(radio);
      opt.text = radio->text();
      const QRect area =
          radio->style()->subElementRect(QStyle::SE_RadioButtonContents, &opt, radio);
      if (!radio->text().isEmpty())
        probes.push_back({w, area, Describe(w, radio->text()), InkBySheet(w)});
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
      if (!combo->isEditable() && !combo->currentText().isEmpty())
        probes.push_back({w, w->rect(), Describe(w, combo->currentText()), InkBySheet(w)});
    } else if (auto* plain = qobject_cast<QPlainTextEdit*>(w)) {
      if (!plain->toPlainText().trimmed().isEmpty())
        probes.push_back({plain->viewport(), plain->viewport()->rect(),
                          Describe(w, plain->toPlainText()), InkBySheet(w)});
    } else if (auto* view = qobject_cast<QAbstractItemView*>(w)) {
      QAbstractItemModel* model = view->model();
      if (!model) continue;
      QWidget* owner = w;
      for (QWidget* p = w->parentWidget(); p; p = p->parentWidget())
        if (qobject_cast<QComboBox*>(p)) owner = p;
      for (int row = 0; row < model->rowCount(view->rootIndex()); ++row) {
        const QModelIndex index = model->index(row, 0, view->rootIndex());
        const QRect rect = view->visualRect(index).intersected(view->viewport()->rect());
        const QString text = index.data().toString();
        if (rect.isEmpty() || text.isEmpty()) continue;
        probes.push_back({view->viewport(), rect, Describe(w, text), InkBySheet(owner)});
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
