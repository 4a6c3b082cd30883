#include "imaging/render.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace ebf {
namespace {

// Source taps for one destination pixel along one axis.
struct Taps {
  int first = 0;
  std::vector<float> weights;
};

Taps TapsFor(int64_t index, int64_t destLength, int sourceLength) {
  Taps t;
  const double scale = static_cast<double>(sourceLength) / static_cast<double>(destLength);
  if (scale > 1.0) {
    // Shrinking: the box of source pixels that this destination pixel covers.
    const double left = static_cast<double>(index) * scale, right = left + scale;
    const int j0 = static_cast<int>(std::floor(left));
    const int j1 = std::min(sourceLength, static_cast<int>(std::ceil(right)));
    t.first = j0;
    for (int j = j0; j < j1; ++j) {
      const double w = std::min(right, j + 1.0) - std::max(left, static_cast<double>(j));
      t.weights.push_back(static_cast<float>(w / scale));
    }
  } else {
    const double centre = (static_cast<double>(index) + 0.5) * scale - 0.5;
    const double base = std::floor(centre);
    const float f = static_cast<float>(centre - base);
    int j0 = static_cast<int>(base), j1 = j0 + 1;
    j0 = std::clamp(j0, 0, sourceLength - 1);
    j1 = std::clamp(j1, 0, sourceLength - 1);
    if (j0 == j1 || f == 0.0f) {
      t.first = j0;
      t.weights = {1.0f};
    } else {
      t.first = j0;
      t.weights = {1.0f - f, f};
    }
  }
  return t;
}

}  // namespace

bool RenderPicture(const Picture& picture, Surface& surface, int64_t x, int64_t y, int64_t width,
                   int64_t height, int opacity) {
  if (picture.empty() || width < 1 || height < 1 || surface.empty()) return false;
  const int64_t cx0 = std::max<int64_t>(x, 0), cy0 = std::max<int64_t>(y, 0);
  const int64_t cx1 = std::min<int64_t>(x + width, surface.width());
  const int64_t cy1 = std::min<int64_t>(y + height, surface.height());
  if (cx0 >= cx1 || cy0 >= cy1) return true;
  const float alphaScale = static_cast<float>(std::clamp(opacity, 0, 100)) / 100.0f;
  const int cols = static_cast<int>(cx1 - cx0), rows = static_cast<int>(cy1 - cy0);

  std::vector<Taps> colTaps(cols), rowTaps(rows);
  for (int i = 0; i < cols; ++i) colTaps[i] = TapsFor(cx0 - x + i, width, picture.width);
  for (int i = 0; i < rows; ++i) rowTaps[i] = TapsFor(cy0 - y + i, height, picture.height);

  // Horizontally filtered source rows, premultiplied by alpha, kept in a small ring: the
  // rows each destination row needs only move forward, so memory stays at a few rows
  // however large the picture is.
  std::size_t ringRows = 1;
  for (const Taps& t : rowTaps) ringRows = std::max(ringRows, t.weights.size());
  const std::size_t rowFloats = static_cast<std::size_t>(cols) * 4;
  std::vector<float> ring(ringRows * rowFloats);
  std::vector<int> ringHolds(ringRows, -1);
  auto filteredRow = [&](int sy) -> const float* {
    const std::size_t slot = static_cast<std::size_t>(sy) % ringRows;
    float* out = &ring[slot * rowFloats];
    if (ringHolds[slot] == sy) return out;
    ringHolds[slot] = sy;
    const uint8_t* src = picture.Row(sy);
    for (int i = 0; i < cols; ++i, out += 4) {
      const Taps& t = colTaps[i];
      const uint8_t* p = src + static_cast<std::size_t>(t.first) * 4;
      float b = 0, g = 0, r = 0, a = 0;
      for (float w : t.weights) {
        const float wa = w * p[3];
        b += wa * p[0];
        g += wa * p[1];
        r += wa * p[2];
        a += wa;
        p += 4;
      }
      out[0] = b, out[1] = g, out[2] = r, out[3] = a;
    }
    return &ring[slot * rowFloats];
  };

  // Vertical pass, then blend over the surface.
  std::vector<float> line(rowFloats);
  for (int j = 0; j < rows; ++j) {
    std::fill(line.begin(), line.end(), 0.0f);
    const Taps& t = rowTaps[j];
    for (std::size_t k = 0; k < t.weights.size(); ++k) {
      const float w = t.weights[k];
      const float* in = filteredRow(t.first + static_cast<int>(k));
      for (std::size_t i = 0; i < rowFloats; ++i) line[i] += w * in[i];
    }
    uint8_t* dst = surface.Row(static_cast<int>(cy0 + j)) + cx0 * 4;
    for (int i = 0; i < cols; ++i, dst += 4) {
      const float* v = &line[static_cast<std::size_t>(i) * 4];
      const float a = v[3] / 255.0f * alphaScale;  // coverage 0..1
      const float keep = 1.0f - a;
      for (int c = 0; c < 3; ++c) {
        const float value = v[c] / 255.0f * alphaScale + dst[c] * keep;
        dst[c] = static_cast<uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
      }
    }
  }
  return true;
}

}  // namespace ebf
