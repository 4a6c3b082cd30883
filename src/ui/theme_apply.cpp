#include "ui/theme_apply.h"

#include <QApplication>
#include <QDir>
#include <QLinearGradient>
#include <QPainter>
#include <QStyle>
#include <algorithm>

#include "common/files.h"

namespace ebf::ui {
namespace {

QString Css(const QColor& c) {
  return c.alpha() == 255 ? c.name()
                          : QStringLiteral("rgba(%1,%2,%3,%4)")
                                .arg(c.red())
                                .arg(c.green())
                                .arg(c.blue())
                                .arg(c.alpha());
}

QColor Blend(const QColor& a, const QColor& b, double t) {
  return QColor::fromRgbF(a.redF() + (b.redF() - a.redF()) * t,
                          a.greenF() + (b.greenF() - a.greenF()) * t,
                          a.blueF() + (b.blueF() - a.blueF()) * t);
}

int Alpha(int64_t value) {
  return static_cast<int>(std::clamp<int64_t>(value, 0, 255));
}

QString Url(const std::string& path) {
  return QStringLiteral("url(\"%1\")")
      .arg(QDir::fromNativeSeparators(QString::fromStdString(path)));
}

// A themed button face, or plain colours when the theme has no picture for it.
QString ButtonRule(const QString& selector, const ThemeContext& theme, const char* picture,
                   const QColor& fallback, const QColor& border) {
  const std::string path = FindThemePicture(theme.folders, theme.name, picture);
  if (!path.empty())
    return QStringLiteral("%1 { border-image: %2 12 12 12 12 stretch stretch; }\n")
        .arg(selector, Url(path));
  return QStringLiteral("%1 { background: %2; border: 1px solid %3; border-radius: 6px; }\n")
      .arg(selector, Css(fallback), Css(border));
}

}  // namespace

QColor ToQColor(ThemeColour colour, int alpha) {
  if (colour < 0) return QColor(0, 0, 0, 0);
  const Rgb rgb = ThemeColourToRgb(colour);
  return QColor(rgb.r, rgb.g, rgb.b, alpha);
}

WindowColours ResolveColours(const Theme& theme) {
  const QPalette system = QApplication::style()->standardPalette();
  const QColor face = system.color(QPalette::Button);
  WindowColours c;
  c.bg = theme.mainBg ? ToQColor(*theme.mainBg) : face;
  c.fg = theme.mainFg ? ToQColor(*theme.mainFg) : system.color(QPalette::ButtonText);
  c.editBg = theme.mainEditBg ? ToQColor(*theme.mainEditBg) : system.color(QPalette::Base);
  c.editFg = theme.mainEditFg ? ToQColor(*theme.mainEditFg) : system.color(QPalette::Text);
  // Without a box colour the boxes sit a shade off the button face: darker on a light
  // desktop, lighter on a dark one.
  c.boxBg = theme.mainBoxBg ? ToQColor(*theme.mainBoxBg)
                            : (face.lightness() > 128 ? face.darker(106) : face.lighter(118));
  c.accent = theme.dialogTitleLineCol >= 0 && theme.dialogTitleLineCol != 0
                 ? ToQColor(theme.dialogTitleLineCol)
                 : system.color(QPalette::Highlight);
  return c;
}

QPixmap PlaceholderPicture() {
  // A quiet blue strip: stands in for any theme picture that no theme provides.
  QPixmap pixmap(480, 64);
  QPainter p(&pixmap);
  QLinearGradient g(0, 0, 480, 64);
  g.setColorAt(0, QColor(0x0B, 0x14, 0x26));
  g.setColorAt(1, QColor(0x1B, 0x5A, 0x80));
  p.fillRect(pixmap.rect(), g);
  return pixmap;
}

QPixmap ThemePicture(const ThemeContext& theme, const std::string& fileName) {
  const std::string path = FindThemePicture(theme.folders, theme.name, fileName);
  QPixmap pixmap;
  if (path.empty() || !pixmap.load(QString::fromStdString(path))) return PlaceholderPicture();
  return pixmap;
}

void ApplyTheme(QWidget* window, const ThemeContext& theme, WindowKind kind) {
  const Theme& t = theme.values;
  const WindowColours c = ResolveColours(t);
  QPalette pal = window->palette();
  pal.setColor(QPalette::Window, c.bg);
  pal.setColor(QPalette::WindowText, c.fg);
  pal.setColor(QPalette::Button, c.boxBg);
  pal.setColor(QPalette::ButtonText, c.fg);
  pal.setColor(QPalette::Base, c.editBg);
  pal.setColor(QPalette::AlternateBase, c.boxBg);
  pal.setColor(QPalette::Text, c.editFg);
  pal.setColor(QPalette::Highlight, c.accent);
  pal.setColor(QPalette::HighlightedText, Qt::white);
  pal.setColor(QPalette::ToolTipBase, c.editBg);
  pal.setColor(QPalette::ToolTipText, c.editFg);
  const QColor dim = Blend(c.fg, c.bg, 0.55);
  for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
    pal.setColor(QPalette::Disabled, role, dim);
  pal.setColor(QPalette::Disabled, QPalette::Base, Blend(c.editBg, c.bg, 0.5));
  window->setPalette(pal);
  // A styled window does not always hand its palette down; give it to every control.
  for (QWidget* child : window->findChildren<QWidget*>()) child->setPalette(pal);

  const std::string& fontName = kind == WindowKind::Main ? t.mainFont : t.dialogFont;
  QFont font = QApplication::font();
  if (fontName != " ") font.setFamilies({QString::fromStdString(fontName), font.family()});
  window->setFont(font);

  const QColor border = Blend(c.boxBg, c.fg, 0.18);
  const QColor hoverBorder = Blend(c.boxBg, c.accent, 0.7);
  QString css;
  // Children of a styled window do not always take the window's palette; name the text
  // colour for the plain controls outright.
  css += QStringLiteral("QLabel, QCheckBox, QRadioButton { color: %1; }\n").arg(Css(c.fg));
  css += QStringLiteral(
             "QLineEdit, QComboBox, QPlainTextEdit { background: %1; color: %2;"
             " border: 1px solid %3; border-radius: 6px; padding: 3px 6px;"
             " selection-background-color: %4; }\n"
             "QLineEdit:focus, QComboBox:focus, QPlainTextEdit:focus"
             " { border-color: %4; }\n"
             "QLineEdit:disabled, QSpinBox:disabled, QComboBox:disabled { color: %5; }\n"
             "QComboBox QAbstractItemView { background: %1; color: %2; }\n"
             "QGroupBox { background: %6; border: 1px solid %3; border-radius: 10px;"
             " margin-top: 0px; padding: 30px 12px 10px 12px; }\n"
             "QGroupBox::title { subcontrol-origin: padding; subcontrol-position: top left;"
             " left: 14px; top: 9px; color: %7; font-weight: 600; }\n"
             "QFrame#panelCust { background: %6; border: 1px solid %3; border-radius: 10px; }\n"
             "QLabel#lblHint, QLabel[role=\"info\"] { color: %5; }\n"
             "QLabel#lblRegion { background: %8; color: white; border: 1px solid %8; "
             "border-radius: 9px;"
             " padding: 1px 10px; font-weight: 600; }\n"
             "QPushButton { padding: 1px 12px; min-height: 18px; border-width: 5px; }\n"
             "QLabel:disabled, QCheckBox:disabled, QRadioButton:disabled { color: %5; }\n"
             "QPushButton:disabled { color: %5; }\n"
             "QPushButton:focus { outline: none; }\n")
             .arg(Css(c.editBg), Css(c.editFg), Css(border), Css(c.accent), Css(dim), Css(c.boxBg),
                  Css(Blend(c.fg, c.accent, 0.35)), Css(Blend(c.boxBg, c.accent, 0.55)));
  css += QStringLiteral("QPushButton { color: %1; }\n").arg(Css(c.fg));
  css += ButtonRule(QStringLiteral("QPushButton"), theme, "Btn_Normal.png", c.boxBg, border);
  css += ButtonRule(QStringLiteral("QPushButton:hover, QPushButton:focus"), theme, "Btn_Hover.png",
                    Blend(c.boxBg, c.accent, 0.2), hoverBorder);
  css += ButtonRule(QStringLiteral("QPushButton:pressed"), theme, "Btn_Pressed.png", c.bg, border);
  css += ButtonRule(QStringLiteral("QPushButton[accent=\"true\"]"), theme, "Btn_Accent.png",
                    c.accent, c.accent);
  css += QStringLiteral("QPushButton[accent=\"true\"] { color: white; font-weight: 700; }\n");
  css += QStringLiteral(
             "QPushButton#cmdCustShowHide { border-image: none; background: transparent;"
             " border: none; text-align: left; padding: 4px 0; color: %1; font-weight: 600; }\n"
             "QPushButton#cmdCustShowHide:hover, QPushButton#cmdCustShowHide:focus"
             " { color: %2; }\n")
             .arg(Css(c.fg), Css(c.accent));
  // Check marks from the theme's pictures, when it has them; else the desktop's own.
  const std::pair<const char*, const char*> marks[] = {
      {"QCheckBox::indicator:unchecked", "Chk_Off.png"},
      {"QCheckBox::indicator:checked", "Chk_On.png"},
      {"QRadioButton::indicator:unchecked", "Rad_Off.png"},
      {"QRadioButton::indicator:checked", "Rad_On.png"}};
  bool allMarks = true;
  for (const auto& [selector, file] : marks)
    allMarks &= !FindThemePicture(theme.folders, theme.name, file).empty();
  if (allMarks) {
    css += QStringLiteral(
        "QCheckBox::indicator, QRadioButton::indicator { width: 16px;"
        " height: 16px; }\n"
        "QCheckBox::indicator:disabled, QRadioButton::indicator:disabled"
        " { opacity: 0.5; }\n");
    for (const auto& [selector, file] : marks)
      css +=
          QStringLiteral("%1 { image: %2; }\n")
              .arg(QLatin1String(selector), Url(FindThemePicture(theme.folders, theme.name, file)));
  }
  window->setStyleSheet(css);

  for (ThemedHeader* header : window->findChildren<ThemedHeader*>()) header->ApplyTheme(theme);
}

ThemedHeader::ThemedHeader(const QString& pictureName, const QString& title, QWidget* parent)
    : QWidget(parent), pictureName_(pictureName), title_(title) {
  setObjectName(QStringLiteral("header"));
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  picture_ = PlaceholderPicture();
}

void ThemedHeader::SetTitle(const QString& title) {
  title_ = title;
  update();
}

void ThemedHeader::SetSubtitle(const QString& subtitle) {
  subtitle_ = subtitle;
  updateGeometry();
  update();
}

void ThemedHeader::ApplyTheme(const ThemeContext& theme) {
  const Theme& t = theme.values;
  picture_ = ThemePicture(theme, pictureName_.toStdString());
  textColour_ = ToQColor(t.dialogTitleTextCol, Alpha(t.dialogTitleTextAlpha));
  lineColour_ = ToQColor(t.dialogTitleLineCol, Alpha(t.dialogTitleLineAlpha));
  lineHeight_ = std::max(0, t.dialogTitleLineHeight);
  titleFont_ = t.dialogTitleFont == " " ? QString() : QString::fromStdString(t.dialogTitleFont);
  update();
}

QSize ThemedHeader::sizeHint() const {
  return QSize(360, subtitle_.isEmpty() ? 56 : 68);
}

void ThemedHeader::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.setRenderHint(QPainter::SmoothPixmapTransform);
  // Cover the strip: scale to its height (or width if that is larger), anchored right.
  const double scale =
      std::max(double(height()) / picture_.height(), double(width()) / picture_.width());
  const QSizeF drawn(picture_.width() * scale, picture_.height() * scale);
  p.drawPixmap(QRectF(QPointF(width() - drawn.width(), (height() - drawn.height()) / 2), drawn),
               picture_, picture_.rect());

  QFont font = this->font();
  if (!titleFont_.isEmpty()) font.setFamilies({titleFont_, font.family()});
  font.setPointSizeF(font.pointSizeF() * 1.55);
  font.setWeight(QFont::DemiBold);
  p.setFont(font);
  p.setPen(textColour_);
  const int left = 18;
  QRect textRect = rect().adjusted(left, 0, -left, -lineHeight_);
  if (subtitle_.isEmpty()) {
    p.drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft, title_);
  } else {
    const QFontMetrics fm(font);
    QFont small = this->font();
    const QFontMetrics sm(small);
    const int total = fm.height() + sm.height();
    const int top = (textRect.height() - total) / 2;
    p.drawText(QRect(left, top, textRect.width(), fm.height()), Qt::AlignLeft, title_);
    p.setFont(small);
    QColor sub = textColour_;
    sub.setAlphaF(sub.alphaF() * 0.72);
    p.setPen(sub);
    p.drawText(QRect(left, top + fm.height(), textRect.width(), sm.height()), Qt::AlignLeft,
               subtitle_);
  }
  if (lineHeight_ > 0) p.fillRect(0, height() - lineHeight_, width(), lineHeight_, lineColour_);
}

}  // namespace ebf::ui
