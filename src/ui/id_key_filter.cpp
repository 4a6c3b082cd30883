#include "ui/id_key_filter.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>

namespace ebf::ui {

void IdKeyFilter::Attach(QLineEdit* box) {
  box->installEventFilter(new IdKeyFilter(box));
}

bool IdKeyFilter::Accepts(int code) {
  return (code >= 48 && code <= 58) || code == 8 || code == 3 || code == 22;
}

bool IdKeyFilter::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::KeyPress) return QObject::eventFilter(watched, event);
  const auto* key = static_cast<QKeyEvent*>(event);
  const QString text = key->text();
  // Keys that type nothing (arrows, Home, Delete) and the dialog keys (Tab, Enter, Escape)
  // are not characters of the box and pass.
  if (text.isEmpty()) return false;
  const int code = text.at(0).unicode();
  if (code == 9 || code == 13 || code == 27 || code == 127) return false;
  if (key->matches(QKeySequence::Copy) || key->matches(QKeySequence::Paste)) return false;
  if (Accepts(code)) return false;
  QApplication::beep();
  return true;
}

}  // namespace ebf::ui
