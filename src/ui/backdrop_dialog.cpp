#include "ui/backdrop_dialog.h"

#include <QPainter>

#include "ui/readable_colours.h"

namespace ebf::ui {
namespace {

constexpr int kUsualVeil = 150;

}  // namespace

BackdropDialog::BackdropDialog(const ThemeContext& theme, const std::string& pictureName,
                               QWidget* parent)
    : QDialog(parent), picture_(ThemePicture(theme, pictureName)) {
  const WindowColours c = ResolveColours(theme.values);
  const QImage image = picture_.toImage();
  const PictureShades shades = ShadesOf(image, image.rect(), c.bg);
  // The thinnest veil (from the usual 150 up) under which the quietest text still reads on
  // the picture's darkest and lightest parts; a full veil is the window colour itself.
  int alpha = kUsualVeil;
  for (; alpha < 255; ++alpha) {
    const double t = alpha / 255.0;
    if (ContrastRatio(c.quiet, Mix(shades.dark, c.bg, t)) >= kMinTextContrast &&
        ContrastRatio(c.quiet, Mix(shades.light, c.bg, t)) >= kMinTextContrast)
      break;
  }
  veil_ = c.bg;
  veil_.setAlpha(alpha);
}

void BackdropDialog::paintEvent(QPaintEvent*) {
  QPainter p(this);
  if (picture_.isNull()) return;
  const QPixmap scaled =
      picture_.scaled(size(), Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
  p.drawPixmap((width() - scaled.width()) / 2, (height() - scaled.height()) / 2, scaled);
  p.fillRect(rect(), veil_);
}

}  // namespace ebf::ui
