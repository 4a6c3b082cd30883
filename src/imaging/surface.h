#pragma once
// Our drawing surface: an opaque 32-bit canvas (blue, green, red, unused) that pictures are
// drawn onto and the PNG writer reads from. A fresh surface is black.

#include <cstdint>
#include <vector>

namespace ebf {

class Surface {
 public:
  Surface() = default;
  // Sides outside 1..16384 give an empty surface.
  Surface(int width, int height);

  int width() const { return width_; }
  int height() const { return height_; }
  bool empty() const { return pixels_.empty(); }

  uint8_t* Row(int y) { return pixels_.data() + static_cast<std::size_t>(y) * width_ * 4; }
  const uint8_t* Row(int y) const {
    return pixels_.data() + static_cast<std::size_t>(y) * width_ * 4;
  }

  // Paints [x, x + w) x [y, y + h), clipped to the surface.
  void FillRect(int x, int y, int w, int h, uint8_t red, uint8_t green, uint8_t blue);

 private:
  int width_ = 0;
  int height_ = 0;
  std::vector<uint8_t> pixels_;
};

}  // namespace ebf
