#include "ui/readable_colours.h"

#include <algorithm>
#include <cmath>

namespace ebf::ui {
namespace {

// Steps on the way from a colour to white or black; fine enough that the colour found is
// within a shade of the nearest one that reads.
constexpr int kSteps = 128;
// Pictures larger than this many pixels are sampled on a grid.
constexpr int kMaxSamples = 40000;
// The share of pixels at either end that a picture's shades leave out.
constexpr double kOutliers = 0.03;

double Channel(int v) {
  const double s = v / 255.0;
  return s <= 0.04045 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
}

double WorstRatio(const QColor& c, const std::vector<QColor>& grounds) {
  double worst = 21;
  for (const QColor& g : grounds) worst = std::min(worst, ContrastRatio(c, g));
  return worst;
}

QColor Opaque(const QColor& c) {
  return QColor(c.red(), c.green(), c.blue());
}

}  // namespace

double RelativeLuminance(const QColor& c) {
  return 0.2126 * Channel(c.red()) + 0.7152 * Channel(c.green()) + 0.0722 * Channel(c.blue());
}

double ContrastRatio(const QColor& a, const QColor& b) {
  const double la = RelativeLuminance(a), lb = RelativeLuminance(b);
  return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QColor Mix(const QColor& a, const QColor& b, double t) {
  auto m = [t](int x, int y) { return static_cast<int>(std::lround(x + (y - x) * t)); };
  return QColor(m(a.red(), b.red()), m(a.green(), b.green()), m(a.blue(), b.blue()));
}

QColor ReadableOn(const QColor& preferred, const std::vector<QColor>& grounds, double ratio) {
  const QColor start = Opaque(preferred);
  if (grounds.empty() || WorstRatio(start, grounds) >= ratio) return start;
  QColor best;
  int bestStep = kSteps + 1;
  for (const QColor end : {QColor(Qt::white), QColor(Qt::black)}) {
    for (int step = 1; step <= kSteps && step < bestStep; ++step) {
      const QColor c = Mix(start, end, double(step) / kSteps);
      if (WorstRatio(c, grounds) >= ratio) {
        best = c;
        bestStep = step;
        break;
      }
    }
  }
  if (best.isValid()) return best;
  const QColor white(Qt::white), black(Qt::black);
  return WorstRatio(white, grounds) >= WorstRatio(black, grounds) ? white : black;
}

QColor QuietOn(const QColor& text, const QColor& towards, const std::vector<QColor>& grounds,
               double amount, double ratio) {
  const QColor start = Opaque(text);
  const int most = static_cast<int>(std::lround(std::clamp(amount, 0.0, 1.0) * kSteps));
  for (int step = most; step > 0; --step) {
    const QColor c = Mix(start, towards, double(step) / kSteps);
    if (WorstRatio(c, grounds) >= ratio) return c;
  }
  return start;
}

PictureShades ShadesOf(const QImage& picture, const QRect& area, const QColor& under) {
  const QRect r = area.intersected(picture.rect());
  if (picture.isNull() || r.isEmpty()) return {under, under, under};
  const QImage img = picture.convertToFormat(QImage::Format_ARGB32);
  const int stride =
      std::max(1, static_cast<int>(std::sqrt(double(r.width()) * r.height() / kMaxSamples)));
  std::vector<std::pair<double, QRgb>> samples;
  double sumR = 0, sumG = 0, sumB = 0;
  for (int y = r.top(); y <= r.bottom(); y += stride) {
    const QRgb* line = reinterpret_cast<const QRgb*>(img.constScanLine(y));
    for (int x = r.left(); x <= r.right(); x += stride) {
      const QRgb p = line[x];
      const double a = qAlpha(p) / 255.0;
      const QColor c(static_cast<int>(std::lround(qRed(p) * a + under.red() * (1 - a))),
                     static_cast<int>(std::lround(qGreen(p) * a + under.green() * (1 - a))),
                     static_cast<int>(std::lround(qBlue(p) * a + under.blue() * (1 - a))));
      samples.emplace_back(RelativeLuminance(c), c.rgb());
      sumR += c.red();
      sumG += c.green();
      sumB += c.blue();
    }
  }
  std::sort(samples.begin(), samples.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  const std::size_t n = samples.size();
  const std::size_t skip = static_cast<std::size_t>(double(n) * kOutliers);
  PictureShades s;
  s.dark = QColor(samples[skip].second);
  s.light = QColor(samples[n - 1 - skip].second);
  s.mean = QColor(static_cast<int>(std::lround(sumR / n)), static_cast<int>(std::lround(sumG / n)),
                  static_cast<int>(std::lround(sumB / n)));
  return s;
}

}  // namespace ebf::ui
