#pragma once
// Carries the values of a theme onto Qt windows: palette and style sheet from the colours
// and fonts, themed button faces, and the header strip that dialogs draw from the
// DIALOGTI... values over their title picture.

#include <QColor>
#include <QPixmap>
#include <QWidget>
#include <string>

#include "app/theme.h"

namespace ebf::ui {

// The active theme: its values and where its pictures are.
struct ThemeContext {
  Theme values;
  ProgramFolders folders;
  std::string name = "Default";
};

// A theme colour as Qt colour; `alpha` 0-255.
QColor ToQColor(ThemeColour colour, int alpha = 255);

// The resolved colours of a window (theme value or the desktop's own). Text colours are
// the theme's when they read on their grounds, else moved towards white or black until
// they do: fg on bg and boxBg, editFg on editBg.
struct WindowColours {
  QColor bg, fg, editBg, editFg, boxBg, accent;
  QColor quiet;       // hints and disabled labels, on bg and boxBg
  QColor editQuiet;   // disabled text boxes and placeholders, on editBg
  QColor onAccent;    // text on the accent colour (selections)
  QColor groupTitle;  // group box titles, on boxBg
};
WindowColours ResolveColours(const Theme& theme);

// The theme's picture, the Default theme's, or the built-in placeholder.
QPixmap ThemePicture(const ThemeContext& theme, const std::string& fileName);
QPixmap PlaceholderPicture();

enum class WindowKind { Main, Dialog };
// Palette, fonts and style sheet for a window and everything in it.
void ApplyTheme(QWidget* window, const ThemeContext& theme, WindowKind kind);

// A header strip: the picture scaled to its height (anchored right, so that a narrow
// window keeps the picture's emblem), the title in the theme's title font and colour, and
// the title line along the bottom. A title colour that would not read on the picture is
// moved towards white or black until it does.
class ThemedHeader : public QWidget {
  Q_OBJECT
 public:
  ThemedHeader(const QString& pictureName, const QString& title, QWidget* parent = nullptr);
  void SetTitle(const QString& title);
  void SetSubtitle(const QString& subtitle);
  void ApplyTheme(const ThemeContext& theme);
  QString title() const { return title_; }
  QString subtitle() const { return subtitle_; }
  QColor textColour() const { return textColour_; }
  QColor subtitleColour() const { return subtitleColour_; }
  QColor lineColour() const { return lineColour_; }
  int lineHeight() const { return lineHeight_; }
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent*) override;

 private:
  QString pictureName_, title_, subtitle_;
  QPixmap picture_;
  QColor textColour_ = Qt::white, subtitleColour_ = Qt::white, lineColour_ = Qt::transparent;
  int lineHeight_ = 0;
  QString titleFont_;
};

}  // namespace ebf::ui
