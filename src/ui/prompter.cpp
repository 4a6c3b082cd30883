#include "ui/prompter.h"

#include <QMessageBox>
#include <QPushButton>

namespace ebf::ui {

Answer QtPrompter::Show(QWidget* parent, MsgIcon icon, const QString& text, Buttons buttons,
                        bool defaultNo) {
  QMessageBox box(parent);
  box.setWindowTitle(QStringLiteral("ebootforge"));
  box.setText(text);
  switch (icon) {
    case MsgIcon::Exclamation:
      box.setIcon(QMessageBox::Warning);
      break;
    case MsgIcon::Critical:
      box.setIcon(QMessageBox::Critical);
      break;
    case MsgIcon::Information:
      box.setIcon(QMessageBox::Information);
      break;
  }
  if (buttons == Buttons::Ok) {
    box.setStandardButtons(QMessageBox::Ok);
    box.exec();
    return Answer::Ok;
  }
  box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
  box.setDefaultButton(defaultNo ? QMessageBox::No : QMessageBox::Yes);
  return box.exec() == QMessageBox::Yes ? Answer::Yes : Answer::No;
}

}  // namespace ebf::ui
