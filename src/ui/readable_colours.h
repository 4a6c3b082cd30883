#pragma once
// Text colours that stay legible whatever a theme asks for: every text colour the windows
// use is held against what it is drawn on and, when the two are too close, moved towards
// white or black until they part by the WCAG AA ratio for text (4.5:1).

#include <QColor>
#include <QImage>
#include <QRect>
#include <vector>

namespace ebf::ui {

inline constexpr double kMinTextContrast = 4.5;

// WCAG 2 relative luminance (0 black .. 1 white) and contrast ratio (1 .. 21).
double RelativeLuminance(const QColor& c);
double ContrastRatio(const QColor& a, const QColor& b);

// `preferred` when it reaches `ratio` against every one of `grounds`; otherwise the colour
// nearest to it on the way to white or to black that does. When neither end reaches the
// ratio (grounds both very dark and very light), the end that comes closest.
QColor ReadableOn(const QColor& preferred, const std::vector<QColor>& grounds,
                  double ratio = kMinTextContrast);

// A quieter text colour (hints, disabled controls): `text` moved `amount` (0..1) of the
// way to `towards`, but no further than still reaches `ratio` against every ground.
QColor QuietOn(const QColor& text, const QColor& towards, const std::vector<QColor>& grounds,
               double amount, double ratio = kMinTextContrast);

// What a picture puts behind text: its darkest and lightest shades within `area` (the
// few most extreme pixels left out) and its mean, see-through pixels taken over `under`.
struct PictureShades {
  QColor dark, light, mean;
  std::vector<QColor> extremes() const { return {dark, light}; }
};
PictureShades ShadesOf(const QImage& picture, const QRect& area, const QColor& under);

// `a` moved `t` (0..1) of the way to `b`.
QColor Mix(const QColor& a, const QColor& b, double t);

}  // namespace ebf::ui
