#include "canvas.h"

#include <algorithm>
#include <cmath>

namespace artgen {
namespace {

constexpr float kPi = 3.14159265358979f;

float Clamp01(float v) {
  return std::clamp(v, 0.0f, 1.0f);
}
// Coverage of a pixel by a shape whose signed distance (negative inside) is d.
float Cov(float d) {
  return Clamp01(0.5f - d);
}
float Smooth(float e0, float e1, float x) {
  const float t = Clamp01((x - e0) / (e1 - e0));
  return t * t * (3.0f - 2.0f * t);
}

float RoundRectDistance(float px, float py, float x, float y, float w, float h, float r) {
  const float cx = x + w / 2, cy = y + h / 2;
  const float qx = std::fabs(px - cx) - (w / 2 - r);
  const float qy = std::fabs(py - cy) - (h / 2 - r);
  const float ox = std::max(qx, 0.0f), oy = std::max(qy, 0.0f);
  return std::sqrt(ox * ox + oy * oy) + std::min(std::max(qx, qy), 0.0f) - r;
}

}  // namespace

Colour Hex(uint32_t rgb, float alpha) {
  return {((rgb >> 16) & 0xFF) / 255.0f, ((rgb >> 8) & 0xFF) / 255.0f, (rgb & 0xFF) / 255.0f,
          alpha};
}

Colour Mix(const Colour& a, const Colour& b, float t) {
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t,
          a.a + (b.a - a.a) * t};
}

Canvas::Canvas(int width, int height)
    : w_(width), h_(height), px_(static_cast<size_t>(width) * height * 4, 0.0f) {}

void Canvas::Over(int x, int y, const Colour& c, float coverage) {
  if (x < 0 || y < 0 || x >= w_ || y >= h_) return;
  const float a = Clamp01(c.a * coverage);
  if (a <= 0) return;
  float* p = At(x, y);
  p[0] = c.r * a + p[0] * (1 - a);
  p[1] = c.g * a + p[1] * (1 - a);
  p[2] = c.b * a + p[2] * (1 - a);
  p[3] = a + p[3] * (1 - a);
}

void Canvas::Add(int x, int y, const Colour& c, float amount) {
  if (x < 0 || y < 0 || x >= w_ || y >= h_ || amount <= 0) return;
  float* p = At(x, y);
  const float a = amount * c.a;
  p[0] += c.r * a;
  p[1] += c.g * a;
  p[2] += c.b * a;
  p[3] = std::min(1.0f, p[3] + a);
  // Keep premultiplied values legal so that bright light saturates softly.
  for (int i = 0; i < 3; ++i) p[i] = std::min(p[i], p[3]);
}

void Canvas::Fade(int x, int y, float keep) {
  if (x < 0 || y < 0 || x >= w_ || y >= h_) return;
  float* p = At(x, y);
  for (int i = 0; i < 4; ++i) p[i] *= Clamp01(keep);
}

void Canvas::LinearGradient(float dx, float dy, const std::vector<Colour>& stops) {
  const float len = std::sqrt(dx * dx + dy * dy);
  dx /= len;
  dy /= len;
  // Project the corners to find the span of the gradient.
  float lo = 1e9f, hi = -1e9f;
  for (float cx : {0.0f, float(w_)})
    for (float cy : {0.0f, float(h_)}) {
      const float t = cx * dx + cy * dy;
      lo = std::min(lo, t);
      hi = std::max(hi, t);
    }
  const int n = static_cast<int>(stops.size()) - 1;
  for (int y = 0; y < h_; ++y)
    for (int x = 0; x < w_; ++x) {
      float t = ((x + 0.5f) * dx + (y + 0.5f) * dy - lo) / (hi - lo) * n;
      const int i = std::clamp(static_cast<int>(t), 0, n - 1);
      Over(x, y, Mix(stops[i], stops[i + 1], Smooth(0, 1, t - i)));
    }
}

void Canvas::Glow(float cx, float cy, float radius, const Colour& c, float amount, float squash) {
  for (int y = 0; y < h_; ++y)
    for (int x = 0; x < w_; ++x) {
      const float dx = (x + 0.5f - cx) / radius, dy = (y + 0.5f - cy) / (radius * squash);
      const float d2 = dx * dx + dy * dy;
      if (d2 < 9.0f) Add(x, y, c, amount * std::exp(-d2 * 2.0f));
    }
}

float Canvas::Wave::At(float x) const {
  return baseY + amp1 * std::sin(2 * kPi * x / len1 + phase1) +
         amp2 * std::sin(2 * kPi * x / len2 + phase2);
}

void Canvas::Ribbon(const Wave& wave, float thickness, const Colour& c, float amount) {
  for (int x = 0; x < w_; ++x) {
    const float cy = wave.At(x + 0.5f);
    // Slope correction keeps the line's width even where the wave is steep.
    const float slope = wave.At(x + 1.5f) - cy;
    const float norm = 1.0f / std::sqrt(1 + slope * slope);
    const int y0 = std::max(0, int(cy - thickness * 4)),
              y1 = std::min(h_ - 1, int(cy + thickness * 4));
    for (int y = y0; y <= y1; ++y) {
      const float d = std::fabs(y + 0.5f - cy) * norm;
      const float core = Cov(d - thickness * 0.35f) * 0.9f;
      const float halo = std::exp(-(d * d) / (thickness * thickness)) * 0.5f;
      Add(x, y, c, amount * std::max(core, halo));
    }
  }
}

void Canvas::Sheet(const Wave& top, const Wave& bottom, const Colour& c, float amount) {
  for (int x = 0; x < w_; ++x) {
    float a = top.At(x + 0.5f), b = bottom.At(x + 0.5f);
    if (a > b) std::swap(a, b);
    const float span = std::max(b - a, 1.0f);
    for (int y = std::max(0, int(a) - 1); y <= std::min(h_ - 1, int(b) + 1); ++y) {
      const float t = (y + 0.5f - a) / span;
      if (t < 0 || t > 1) continue;
      const float edge = std::pow(std::fabs(t - 0.5f) * 2, 3.0f);
      Add(x, y, c, amount * (0.25f + 0.75f * edge));
    }
  }
}

void Canvas::RoundRect(float x, float y, float w, float h, float radius, const Colour& top,
                       const Colour& bottom) {
  for (int py = std::max(0, int(y) - 1); py < std::min(h_, int(y + h) + 2); ++py)
    for (int px = std::max(0, int(x) - 1); px < std::min(w_, int(x + w) + 2); ++px) {
      const float d = RoundRectDistance(px + 0.5f, py + 0.5f, x, y, w, h, radius);
      Over(px, py, Mix(top, bottom, Clamp01((py + 0.5f - y) / h)), Cov(d));
    }
}

void Canvas::RoundRectOutline(float x, float y, float w, float h, float radius, float width,
                              const Colour& c) {
  for (int py = std::max(0, int(y) - 2); py < std::min(h_, int(y + h) + 3); ++py)
    for (int px = std::max(0, int(x) - 2); px < std::min(w_, int(x + w) + 3); ++px) {
      const float d = RoundRectDistance(px + 0.5f, py + 0.5f, x, y, w, h, radius);
      Over(px, py, c, Cov(std::fabs(d + width / 2) - width / 2));
    }
}

void Canvas::ClipRoundRect(float x, float y, float w, float h, float radius) {
  for (int py = 0; py < h_; ++py)
    for (int px = 0; px < w_; ++px)
      Fade(px, py, Cov(RoundRectDistance(px + 0.5f, py + 0.5f, x, y, w, h, radius)));
}

void Canvas::Ring(float cx, float cy, float radius, float width, const Colour& c) {
  for (int y = std::max(0, int(cy - radius - width) - 1);
       y < std::min(h_, int(cy + radius + width) + 2); ++y)
    for (int x = std::max(0, int(cx - radius - width) - 1);
         x < std::min(w_, int(cx + radius + width) + 2); ++x) {
      const float d = std::hypot(x + 0.5f - cx, y + 0.5f - cy);
      Over(x, y, c, Cov(std::fabs(d - radius) - width / 2));
    }
}

void Canvas::Line(float x0, float y0, float x1, float y1, float width, const Colour& c) {
  const float dx = x1 - x0, dy = y1 - y0, len2 = dx * dx + dy * dy;
  for (int y = std::max(0, int(std::min(y0, y1) - width) - 1);
       y < std::min(h_, int(std::max(y0, y1) + width) + 2); ++y)
    for (int x = std::max(0, int(std::min(x0, x1) - width) - 1);
         x < std::min(w_, int(std::max(x0, x1) + width) + 2); ++x) {
      const float px = x + 0.5f - x0, py = y + 0.5f - y0;
      const float t = Clamp01((px * dx + py * dy) / len2);
      const float d = std::hypot(px - t * dx, py - t * dy);
      Over(x, y, c, Cov(d - width / 2));
    }
}

void Canvas::Circle(float cx, float cy, float radius, const Colour& top, const Colour& bottom) {
  for (int y = std::max(0, int(cy - radius) - 1); y < std::min(h_, int(cy + radius) + 2); ++y)
    for (int x = std::max(0, int(cx - radius) - 1); x < std::min(w_, int(cx + radius) + 2); ++x) {
      const float d = std::hypot(x + 0.5f - cx, y + 0.5f - cy);
      Over(x, y, Mix(top, bottom, Clamp01((y + 0.5f - (cy - radius)) / (2 * radius))),
           Cov(d - radius));
    }
}

void Canvas::Shadow(float cx, float cy, float radius, float blur, float opacity) {
  for (int y = 0; y < h_; ++y)
    for (int x = 0; x < w_; ++x) {
      const float d = std::hypot(x + 0.5f - cx, y + 0.5f - cy) - radius;
      const float a = opacity * (1 - Smooth(-blur, blur, d));
      if (a > 0.002f) Over(x, y, Hex(0x000000), a);
    }
}

void Canvas::Disc(float cx, float cy, float radius, float opacity) {
  const Colour silver = Hex(0xD6E2F0), deep = Hex(0x8EA6C4);
  const Colour cyan = Hex(0x8FE3FF), violet = Hex(0xC7B2FF), gold = Hex(0xFFE9B8);
  const float hole = radius * 0.13f, hub = radius * 0.36f;
  for (int y = std::max(0, int(cy - radius) - 1); y < std::min(h_, int(cy + radius) + 2); ++y)
    for (int x = std::max(0, int(cx - radius) - 1); x < std::min(w_, int(cx + radius) + 2); ++x) {
      const float dx = x + 0.5f - cx, dy = y + 0.5f - cy;
      const float d = std::sqrt(dx * dx + dy * dy);
      const float cover = Cov(d - radius) * Cov(hole - d) * opacity;
      if (cover <= 0) continue;
      const float th = std::atan2(dy, dx);
      const float r = d / radius;
      Colour c;
      if (d < hub) {
        // Clear plastic hub with a faint inner ring.
        c = Mix(Hex(0xF4F8FF), Hex(0xC4D4E8), r / 0.36f);
        c.a = 0.55f + 0.3f * Smooth(hole, hub, d);
        const float ring = Cov(std::fabs(d - radius * 0.24f) - 0.6f);
        c = Mix(c, Hex(0xFFFFFF, 0.9f), ring * 0.5f);
      } else {
        const float sheen = std::pow(std::fabs(std::cos(th - 0.9f)), 6.0f);
        const float hue = 0.5f + 0.5f * std::sin(th * 2 + r * 5);
        c = Mix(deep, silver, 0.35f + 0.45f * (1 - r) + 0.2f * std::sin(th * 2 + 0.4f));
        c = Mix(c, Mix(cyan, violet, hue), 0.35f + 0.25f * sheen);
        c = Mix(c, gold, 0.22f * sheen * (1 - std::fabs(r - 0.7f) * 2));
        c = Mix(c, Hex(0xFFFFFF), 0.55f * sheen);
        const float groove = 0.5f + 0.5f * std::sin(d * 1.7f);
        c = Mix(c, deep, 0.06f * groove);
        // A thin bright edge where the data area meets the hub, and a soft rim.
        c = Mix(c, Hex(0xFFFFFF), 0.7f * Cov(std::fabs(d - hub) - 0.7f));
        c = Mix(c, Hex(0x5E7594), Smooth(radius * 0.94f, radius, d) * 0.7f);
        c.a = 1.0f;
      }
      Over(x, y, c, cover);
    }
}

void Canvas::Cog(float cx, float cy, float radius, int teeth, const Colour& c) {
  for (int y = std::max(0, int(cy - radius) - 2); y < std::min(h_, int(cy + radius) + 3); ++y)
    for (int x = std::max(0, int(cx - radius) - 2); x < std::min(w_, int(cx + radius) + 3); ++x) {
      const float dx = x + 0.5f - cx, dy = y + 0.5f - cy;
      const float d = std::sqrt(dx * dx + dy * dy);
      const float tooth = Smooth(-0.25f, 0.25f, std::cos(teeth * std::atan2(dy, dx)));
      const float outer = radius * (0.78f + 0.22f * tooth);
      Over(x, y, c, Cov(d - outer) * Cov(radius * 0.34f - d));
    }
}

void Canvas::Page(float cx, float cy, float height, const Colour& c) {
  const float w = height * 0.76f, x = cx - w / 2, y = cy - height / 2;
  const float fold = height * 0.24f;
  for (int py = std::max(0, int(y) - 1); py < std::min(h_, int(y + height) + 2); ++py)
    for (int px = std::max(0, int(x) - 1); px < std::min(w_, int(x + w) + 2); ++px) {
      const float fx = px + 0.5f, fy = py + 0.5f;
      float cover = Cov(RoundRectDistance(fx, fy, x, y, w, height, height * 0.06f));
      // Cut the folded corner along its diagonal; the flap is drawn fainter below.
      const float diag = ((fx - (x + w - fold)) - (fy - y)) / 1.4142f;
      Over(px, py, c, cover * Cov(diag));
    }
  // Folded flap and the text lines.
  for (int py = int(y); py < int(y + fold) + 1; ++py)
    for (int px = int(x + w - fold); px < int(x + w) + 1; ++px) {
      const float fx = px + 0.5f - (x + w - fold), fy = py + 0.5f - y;
      if (fx < fy + 0.5f) Over(px, py, Colour{c.r, c.g, c.b, c.a * 0.55f}, Cov(fx - fy - 0.5f));
    }
  const float line = height * 0.06f;
  for (int i = 0; i < 4; ++i) {
    const float ly = y + height * (0.38f + 0.14f * i);
    const float lw = (i == 3 ? 0.45f : 0.62f) * w;
    for (int py = int(ly); py < int(ly + line) + 1; ++py)
      for (int px = int(x + w * 0.19f); px < int(x + w * 0.19f + lw); ++px)
        Fade(px, py, 1 - 0.7f * Cov(std::fabs(py + 0.5f - ly - line / 2) - line / 2));
  }
}

void Canvas::Grain(float amount, uint32_t seed) {
  uint32_t s = seed * 2654435761u + 1;
  for (size_t i = 0; i < px_.size(); i += 4) {
    s ^= s << 13;
    s ^= s >> 17;
    s ^= s << 5;
    const float n = ((s & 0xFFFF) / 65535.0f - 0.5f) * amount * px_[i + 3];
    for (int k = 0; k < 3; ++k) px_[i + k] = std::clamp(px_[i + k] + n, 0.0f, px_[i + 3]);
  }
}

std::vector<uint8_t> Canvas::Rgba8() const {
  static const int bayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
  std::vector<uint8_t> out(static_cast<size_t>(w_) * h_ * 4);
  for (int y = 0; y < h_; ++y)
    for (int x = 0; x < w_; ++x) {
      const float* p = At(x, y);
      const float dither = (bayer[y & 3][x & 3] - 7.5f) / 16.0f;
      uint8_t* o = &out[(static_cast<size_t>(y) * w_ + x) * 4];
      const float a = Clamp01(p[3]);
      for (int k = 0; k < 3; ++k) {
        const float v = a > 0 ? Clamp01(p[k] / a) : 0.0f;
        o[k] = static_cast<uint8_t>(std::clamp(std::lround(v * 255 + dither), 0L, 255L));
      }
      o[3] = static_cast<uint8_t>(std::clamp(std::lround(a * 255 + dither), 0L, 255L));
    }
  return out;
}

std::vector<uint8_t> Canvas::Rgb8() const {
  static const int bayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
  std::vector<uint8_t> out(static_cast<size_t>(w_) * h_ * 3);
  for (int y = 0; y < h_; ++y)
    for (int x = 0; x < w_; ++x) {
      const float* p = At(x, y);
      const float dither = (bayer[y & 3][x & 3] - 7.5f) / 16.0f;
      for (int k = 0; k < 3; ++k)
        out[(static_cast<size_t>(y) * w_ + x) * 3 + k] =
            static_cast<uint8_t>(std::clamp(std::lround(Clamp01(p[k]) * 255 + dither), 0L, 255L));
    }
  return out;
}

}  // namespace artgen
