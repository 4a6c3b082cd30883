#pragma once
// A small floating-point painter for the program's own artwork: premultiplied RGBA,
// analytic anti-aliasing through distance fields, additive light for glows and ribbons.

#include <cstdint>
#include <string>
#include <vector>

namespace artgen {

struct Colour {
  float r, g, b, a = 1.0f;
};

// "#RRGGBB" style 0xRRGGBB.
Colour Hex(uint32_t rgb, float alpha = 1.0f);
Colour Mix(const Colour& a, const Colour& b, float t);

class Canvas {
 public:
  Canvas(int width, int height);
  int width() const { return w_; }
  int height() const { return h_; }

  // Straight colour painted over the pixel with the given coverage.
  void Over(int x, int y, const Colour& c, float coverage = 1.0f);
  // Light added to the pixel (the alpha rises with it).
  void Add(int x, int y, const Colour& c, float amount);
  // Multiplies the pixel's opacity (used to cut holes and round corners).
  void Fade(int x, int y, float keep);

  // Linear gradient along the direction (dx, dy) through the stops, evenly spaced.
  void LinearGradient(float dx, float dy, const std::vector<Colour>& stops);
  // Light falling off from a centre; `squash` flattens it vertically.
  void Glow(float cx, float cy, float radius, const Colour& c, float amount, float squash = 1.0f);
  // A silky band of light following a sum of two sine waves across the width.
  struct Wave {
    float baseY, amp1, len1, phase1, amp2, len2, phase2;
    float At(float x) const;
  };
  void Ribbon(const Wave& wave, float thickness, const Colour& c, float amount);
  // A soft sheet of light between two waves, brightest at its edges.
  void Sheet(const Wave& top, const Wave& bottom, const Colour& c, float amount);
  // Rounded rectangle; `fill` from top to bottom colour.
  void RoundRect(float x, float y, float w, float h, float radius, const Colour& top,
                 const Colour& bottom);
  // A rounded-rectangle outline of the given width.
  void RoundRectOutline(float x, float y, float w, float h, float radius, float width,
                        const Colour& c);
  // Clears everything outside a rounded rectangle (transparent corners).
  void ClipRoundRect(float x, float y, float w, float h, float radius);
  // A straight stroke with round ends.
  void Line(float x0, float y0, float x1, float y1, float width, const Colour& c);
  // A filled circle, `top` to `bottom` gradient.
  void Circle(float cx, float cy, float radius, const Colour& top, const Colour& bottom);
  // A ring (annulus) of light or paint.
  void Ring(float cx, float cy, float radius, float width, const Colour& c);
  // The disc emblem: a glossy optical disc with grooves, sheen and a clear hub.
  void Disc(float cx, float cy, float radius, float opacity = 1.0f);
  // A soft shadow under a circle.
  void Shadow(float cx, float cy, float radius, float blur, float opacity);
  // A cog wheel outline in the given colour.
  void Cog(float cx, float cy, float radius, int teeth, const Colour& c);
  // A page with a folded corner and text lines.
  void Page(float cx, float cy, float height, const Colour& c);
  // Fine grain to keep the gradients from banding once quantised.
  void Grain(float amount, uint32_t seed);

  // 8-bit straight RGBA, rows top to bottom, with ordered dithering.
  std::vector<uint8_t> Rgba8() const;
  std::vector<uint8_t> Rgb8() const;  // composited over black

 private:
  float* At(int x, int y) { return &px_[(static_cast<size_t>(y) * w_ + x) * 4]; }
  const float* At(int x, int y) const { return &px_[(static_cast<size_t>(y) * w_ + x) * 4]; }
  int w_, h_;
  std::vector<float> px_;  // premultiplied
};

bool WritePng(const std::string& path, const Canvas& canvas);
bool WriteJpeg(const std::string& path, const Canvas& canvas, int quality);

}  // namespace artgen
