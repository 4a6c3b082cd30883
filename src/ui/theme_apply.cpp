#include "ui/theme_apply.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QDir>
#include <QLinearGradient>
#include <QPainter>
#include <QStyle>
#include <QStyledItemDelegate>
#include <algorithm>

#include "common/files.h"
#include "ui/readable_colours.h"

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

int Alpha(int64_t value) {
  return static_cast<int>(std::clamp<int64_t>(value, 0, 255));
}

QString Url(const std::string& path) {
  return QStringLiteral("url(\"%1\")")
      .arg(QDir::fromNativeSeparators(QString::fromStdString(path)));
}

// The width of the border slices of a themed button picture; the text sits on the middle.
constexpr int kButtonSlice = 12;

// A button face: the theme's picture, or plain colours when the theme has none, and what
// lies behind the button's text on it.
struct ButtonFace {
  QString rule;
  std::vector<QColor> grounds;
  QColor mean;
};

ButtonFace MakeButtonFace(const QString& selector, const ThemeContext& theme, const char* picture,
                          const QColor& fallback, const QColor& border, const QColor& under) {
  const std::string path = FindThemePicture(theme.folders, theme.name, picture);
  QImage image;
  if (!path.empty() && image.load(QString::fromStdString(path))) {
    const int inset = std::min({kButtonSlice, image.width() / 3, image.height() / 3});
    const PictureShades shades =
        ShadesOf(image, image.rect().adjusted(inset, inset, -inset, -inset), under);
    return {QStringLiteral("%1 { border-image: %2 %3 %3 %3 %3 stretch stretch; }\n")
                .arg(selector, Url(path))
                .arg(kButtonSlice),
            shades.extremes(), shades.mean};
  }
  return {QStringLiteral("%1 { background: %2; border: 1px solid %3; border-radius: 6px; }\n")
              .arg(selector, Css(fallback), Css(border)),
          {fallback},
          fallback};
}

// The style marks the current row of a focused list with a tint laid over the row's text,
// which can take a barely legible pair below legibility; this outlines the row instead.
class FocusOutlineDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override {
    QStyleOptionViewItem plain(option);
    plain.state &= ~QStyle::State_HasFocus;
    QStyledItemDelegate::paint(painter, plain, index);
    if (!(option.state & QStyle::State_HasFocus)) return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(option.palette.color(QPalette::Highlight), 1));
    painter->setBrush(Qt::NoBrush);
    painter->drawRoundedRect(QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    painter->restore();
  }
};

// The button rule with the text colour that reads on its face.
QString ButtonRule(const ButtonFace& face, const QString& selector, const QColor& text) {
  return face.rule + QStringLiteral("%1 { color: %2; }\n").arg(selector, Css(text));
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
  c.editBg = theme.mainEditBg ? ToQColor(*theme.mainEditBg) : system.color(QPalette::Base);
  // Without a box colour the boxes sit a shade off the button face: darker on a light
  // desktop, lighter on a dark one.
  c.boxBg = theme.mainBoxBg ? ToQColor(*theme.mainBoxBg)
                            : (face.lightness() > 128 ? face.darker(106) : face.lighter(118));
  c.accent = theme.dialogTitleLineCol >= 0 && theme.dialogTitleLineCol != 0
                 ? ToQColor(theme.dialogTitleLineCol)
                 : system.color(QPalette::Highlight);
  // A theme may name any pair of colours; text that would not read on its ground is moved
  // towards white or black until it does.
  const QColor fg = theme.mainFg ? ToQColor(*theme.mainFg) : system.color(QPalette::ButtonText);
  const QColor editFg =
      theme.mainEditFg ? ToQColor(*theme.mainEditFg) : system.color(QPalette::Text);
  c.fg = ReadableOn(fg, {c.bg, c.boxBg});
  c.editFg = ReadableOn(editFg, {c.editBg});
  c.quiet = QuietOn(c.fg, c.bg, {c.bg, c.boxBg}, 0.55);
  c.editQuiet = QuietOn(c.editFg, c.editBg, {c.editBg}, 0.5);
  c.onAccent = ReadableOn(Qt::white, {c.accent});
  c.groupTitle = ReadableOn(Mix(c.fg, c.accent, 0.35), {c.boxBg});
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
  const QColor editDisabledBg = Mix(c.editBg, c.bg, 0.5);
  QPalette pal = window->palette();
  pal.setColor(QPalette::Window, c.bg);
  pal.setColor(QPalette::WindowText, c.fg);
  pal.setColor(QPalette::Button, c.boxBg);
  pal.setColor(QPalette::ButtonText, ReadableOn(c.fg, {c.boxBg}));
  pal.setColor(QPalette::Base, c.editBg);
  pal.setColor(QPalette::AlternateBase, c.boxBg);
  pal.setColor(QPalette::Text, c.editFg);
  pal.setColor(QPalette::PlaceholderText, c.editQuiet);
  pal.setColor(QPalette::Highlight, c.accent);
  pal.setColor(QPalette::HighlightedText, c.onAccent);
  pal.setColor(QPalette::ToolTipBase, c.editBg);
  pal.setColor(QPalette::ToolTipText, c.editFg);
  pal.setColor(QPalette::Disabled, QPalette::WindowText, c.quiet);
  pal.setColor(QPalette::Disabled, QPalette::ButtonText, QuietOn(c.fg, c.boxBg, {c.boxBg}, 0.55));
  pal.setColor(QPalette::Disabled, QPalette::Text,
               QuietOn(c.editFg, c.editBg, {c.editBg, editDisabledBg}, 0.5));
  pal.setColor(QPalette::Disabled, QPalette::Base, editDisabledBg);
  window->setPalette(pal);
  // A styled window does not always hand its palette down; give it to every control.
  for (QWidget* child : window->findChildren<QWidget*>()) child->setPalette(pal);

  const std::string& fontName = kind == WindowKind::Main ? t.mainFont : t.dialogFont;
  QFont font = QApplication::font();
  if (fontName != " ") font.setFamilies({QString::fromStdString(fontName), font.family()});
  window->setFont(font);

  const QColor border = Mix(c.boxBg, c.fg, 0.18);
  const QColor hoverBorder = Mix(c.boxBg, c.accent, 0.7);
  const QColor regionBg = Mix(c.boxBg, c.accent, 0.55);
  QString css;
  // Every rule that names a text colour stands on a ground this sheet or the palette
  // names too: the message boxes, file dialogs, menus and tool tips that open over a
  // themed window take this sheet but not the window's palette.
  css += QStringLiteral("QDialog { background-color: %1; color: %2; }\n").arg(Css(c.bg), Css(c.fg));
  css += QStringLiteral("QLabel, QCheckBox, QRadioButton { color: %1; }\n").arg(Css(c.fg));
  css += QStringLiteral(
             "QLineEdit, QComboBox, QPlainTextEdit { background: %1; color: %2;"
             " border: 1px solid %3; border-radius: 6px; padding: 3px 6px;"
             " selection-background-color: %4; selection-color: %9; }\n"
             "QLineEdit:focus, QComboBox:focus, QPlainTextEdit:focus"
             " { border-color: %4; }\n"
             "QLineEdit:disabled, QComboBox:disabled, QPlainTextEdit:disabled"
             " { background: %1; color: %10; }\n"
             "QAbstractItemView, QComboBox QAbstractItemView { background: %1; color: %2;"
             " selection-background-color: %4; selection-color: %9; }\n"
             "QListWidget { border: 1px solid %3; border-radius: 6px; }\n"
             "QListWidget:focus { border-color: %4; }\n"
             "QGroupBox { background: %6; border: 1px solid %3; border-radius: 10px;"
             " margin-top: 0px; padding: 30px 12px 10px 12px; }\n"
             "QGroupBox::title { subcontrol-origin: padding; subcontrol-position: top left;"
             " left: 14px; top: 9px; color: %7; font-weight: 600; }\n"
             "QFrame#panelCust { background: %6; border: 1px solid %3; border-radius: 10px; }\n"
             "QLabel#lblHint, QLabel[role=\"info\"] { color: %5; }\n"
             "QLabel#lblRegion { background: %8; color: %11; border: 1px solid %8; "
             "border-radius: 9px;"
             " padding: 1px 10px; font-weight: 600; }\n"
             "QPushButton { padding: 1px 12px; min-height: 18px; border-width: 5px; }\n"
             "QLabel:disabled, QCheckBox:disabled, QRadioButton:disabled { color: %5; }\n"
             "QPushButton:focus { outline: none; }\n")
             .arg(Css(c.editBg), Css(c.editFg), Css(border), Css(c.accent), Css(c.quiet),
                  Css(c.boxBg), Css(c.groupTitle), Css(regionBg), Css(c.onAccent))
             .arg(Css(c.editQuiet), Css(ReadableOn(Qt::white, {regionBg})));
  // A header is an item view too, so the rule above would give it the text box colours,
  // which the desktop style then shades into a gradient of its own: its sections get the
  // box colours instead, flat, so that the text reads on exactly what it stands on.
  css += QStringLiteral(
             "QHeaderView::section { background: %1; color: %2; border: none;"
             " border-right: 1px solid %3; border-bottom: 1px solid %3; padding: 3px 6px; }\n")
             .arg(Css(c.boxBg), Css(c.fg), Css(border));
  css += QStringLiteral(
             "QToolTip { background-color: %1; color: %2; border: 1px solid %3;"
             " padding: 3px 6px; }\n"
             "QMenu { background-color: %1; color: %2; border: 1px solid %3; padding: 4px; }\n"
             "QMenu::item { padding: 5px 20px 5px 12px; border-radius: 4px; }\n"
             "QMenu::item:selected { background-color: %4; color: %5; }\n"
             "QMenu::item:disabled { background: transparent; color: %6; }\n"
             "QMenu::separator { height: 1px; background: %3; margin: 4px 6px; }\n")
             .arg(Css(c.editBg), Css(c.editFg), Css(border), Css(c.accent), Css(c.onAccent),
                  Css(c.editQuiet));

  // Button text reads on the button's own face, which may be a picture of any colour.
  const ButtonFace normal =
      MakeButtonFace(QStringLiteral("QPushButton"), theme, "Btn_Normal.png", c.boxBg, border, c.bg);
  const ButtonFace hover =
      MakeButtonFace(QStringLiteral("QPushButton:hover, QPushButton:focus"), theme, "Btn_Hover.png",
                     Mix(c.boxBg, c.accent, 0.2), hoverBorder, c.bg);
  const ButtonFace pressed = MakeButtonFace(QStringLiteral("QPushButton:pressed"), theme,
                                            "Btn_Pressed.png", c.bg, border, c.bg);
  const ButtonFace accent = MakeButtonFace(QStringLiteral("QPushButton[accent=\"true\"]"), theme,
                                           "Btn_Accent.png", c.accent, c.accent, c.bg);
  const QColor normalText = ReadableOn(c.fg, normal.grounds);
  const QColor accentText = ReadableOn(Qt::white, accent.grounds);
  css += ButtonRule(normal, QStringLiteral("QPushButton"), normalText);
  css += ButtonRule(hover, QStringLiteral("QPushButton:hover, QPushButton:focus"),
                    ReadableOn(c.fg, hover.grounds));
  css +=
      ButtonRule(pressed, QStringLiteral("QPushButton:pressed"), ReadableOn(c.fg, pressed.grounds));
  css += QStringLiteral("QPushButton:disabled { color: %1; }\n")
             .arg(Css(QuietOn(normalText, normal.mean, normal.grounds, 0.55)));
  css += ButtonRule(accent, QStringLiteral("QPushButton[accent=\"true\"]"), accentText);
  css += QStringLiteral(
             "QPushButton[accent=\"true\"] { font-weight: 700; }\n"
             "QPushButton[accent=\"true\"]:disabled { color: %1; }\n")
             .arg(Css(QuietOn(accentText, accent.mean, accent.grounds, 0.45)));
  css += QStringLiteral(
             "QPushButton#cmdCustShowHide { border-image: none; background: transparent;"
             " border: none; text-align: left; padding: 4px 0; color: %1; font-weight: 600; }\n"
             "QPushButton#cmdCustShowHide:hover, QPushButton#cmdCustShowHide:focus"
             " { color: %2; }\n")
             .arg(Css(c.fg), Css(ReadableOn(c.accent, {c.bg})));
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

  for (QAbstractItemView* view : window->findChildren<QAbstractItemView*>()) {
    QAbstractItemDelegate* d = view->itemDelegate();
    if (d && !dynamic_cast<FocusOutlineDelegate*>(d) &&
        d->metaObject() == &QStyledItemDelegate::staticMetaObject)
      view->setItemDelegate(new FocusOutlineDelegate(view));
  }

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
  // The title stands on the picture's left part; its right part holds the emblem.
  const QImage image = picture_.toImage();
  const PictureShades shades =
      ShadesOf(image, QRect(0, 0, std::max(1, image.width() * 7 / 10), image.height()), Qt::black);
  const std::vector<QColor> grounds = shades.extremes();
  // A colour drawn with alpha is seen as its blend with what lies below.
  auto reads = [&grounds](const QColor& c) {
    for (const QColor& g : grounds)
      if (ContrastRatio(Mix(g, c, c.alphaF()), g) < kMinTextContrast) return false;
    return true;
  };
  textColour_ = ToQColor(t.dialogTitleTextCol, Alpha(t.dialogTitleTextAlpha));
  if (!reads(textColour_)) textColour_ = ReadableOn(textColour_, grounds);
  subtitleColour_ = textColour_;
  subtitleColour_.setAlphaF(textColour_.alphaF() * 0.72);
  if (!reads(subtitleColour_)) subtitleColour_ = QuietOn(textColour_, shades.mean, grounds, 0.28);
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
    p.setPen(subtitleColour_);
    p.drawText(QRect(left, top + fm.height(), textRect.width(), sm.height()), Qt::AlignLeft,
               subtitle_);
  }
  if (lineHeight_ > 0) p.fillRect(0, height() - lineHeight_, width(), lineHeight_, lineColour_);
}

}  // namespace ebf::ui
