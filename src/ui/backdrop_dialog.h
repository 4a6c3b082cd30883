#pragma once
// A dialog drawn over a theme picture (BG_SaveID.jpg, BG_Transfer.jpg), the picture
// scaled to cover the window under a veil of the window colour, as thick as the quietest
// text on it needs to stay legible.

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
  QColor veil_;
};

}  // namespace ebf::ui
