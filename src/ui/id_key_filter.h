#pragma once
// The key filter of the five-digit game ID boxes: digits and ":" (character codes 48 to
// 58, the colon being a long-standing quirk users rely on), Backspace, Ctrl+C and Ctrl+V.
// Any other typed character is swallowed with a beep. Pasted text is not filtered.

#include <QObject>

class QLineEdit;

namespace ebf::ui {

class IdKeyFilter : public QObject {
  Q_OBJECT
 public:
  using QObject::QObject;
  // Installs a filter owned by the box.
  static void Attach(QLineEdit* box);
  // Whether a typed character code passes.
  static bool Accepts(int code);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
};

}  // namespace ebf::ui
