#include "ui/backdrop_dialog.h"

#include <QPainter>

namespace ebf::ui {

BackdropDialog::BackdropDialog(const ThemeContext& theme, const std::string& pictureName,
                               QWidget* parent)
    : QDialog(parent), picture_(ThemePicture(theme, pictureName)) {}

void BackdropDialog::paintEvent(QPaintEvent*) {
  QPainter p(this);
  if (picture_.isNull()) return;
  const QPixmap scaled =
      picture_.scaled(size(), Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
  p.drawPixmap((width() - scaled.width()) / 2, (height() - scaled.height()) / 2, scaled);
  QColor veil = palette().color(QPalette::Window);
  veil.setAlpha(150);
  p.fillRect(rect(), veil);
}

}  // namespace ebf::ui
