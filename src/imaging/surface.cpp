#include "imaging/surface.h"

#include <algorithm>

#include "imaging/picture.h"

namespace ebf {

Surface::Surface(int width, int height) {
  if (width < 1 || height < 1 || width > kMaxPictureSide || height > kMaxPictureSide) return;
  width_ = width;
  height_ = height;
  pixels_.assign(static_cast<std::size_t>(width) * height * 4, 0);
  for (std::size_t i = 3; i < pixels_.size(); i += 4) pixels_[i] = 255;
}

void Surface::FillRect(int x, int y, int w, int h, uint8_t red, uint8_t green, uint8_t blue) {
  const int64_t x0 = std::max<int64_t>(x, 0), y0 = std::max<int64_t>(y, 0);
  const int64_t x1 = std::min<int64_t>(static_cast<int64_t>(x) + w, width_);
  const int64_t y1 = std::min<int64_t>(static_cast<int64_t>(y) + h, height_);
  for (int64_t row = y0; row < y1; ++row) {
    uint8_t* p = Row(static_cast<int>(row));
    for (int64_t col = x0; col < x1; ++col) {
      p[col * 4 + 0] = blue;
      p[col * 4 + 1] = green;
      p[col * 4 + 2] = red;
      p[col * 4 + 3] = 255;
    }
  }
}

}  // namespace ebf
