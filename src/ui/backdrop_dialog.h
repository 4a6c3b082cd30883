#pragma once
// A dialog drawn over a theme picture (BG_SaveID.jpg, BG_Transfer.jpg), the picture
// scaled to cover the window and dimmed towards the window colour so text stays legible.

#include <QDialog>

#include "ui/theme_apply.h"

namespace ebf::ui {

class BackdropDialog : public QDialog {
  Q_OBJECT
 public:
  BackdropDialog(const ThemeContext& theme, const std::string& pictureName,
                 QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QPixmap picture_;
};

}  // namespace ebf::ui
