#include "imaging/blend.h"

#include <algorithm>

namespace ebf {

void BlendSurface(const Surface& src, Surface& dst, int alpha) {
  alpha = std::clamp(alpha, 0, 255);
  const int w = std::min(src.width(), dst.width());
  const int h = std::min(src.height(), dst.height());
  const int keep = 255 - alpha;
  for (int y = 0; y < h; ++y) {
    const uint8_t* s = src.Row(y);
    uint8_t* d = dst.Row(y);
    for (int i = 0; i < w * 4; ++i)
      d[i] = static_cast<uint8_t>((s[i] * alpha + d[i] * keep + 127) / 255);
  }
}

}  // namespace ebf
