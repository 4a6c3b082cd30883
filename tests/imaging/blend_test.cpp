#include "imaging/blend.h"

#include <gtest/gtest.h>

namespace ebf {
namespace {

TEST(BlendSurface, ConstantOpacityOverSharedArea) {
  Surface top(4, 2), bottom(3, 3);
  top.FillRect(0, 0, 4, 2, 200, 100, 0);
  bottom.FillRect(0, 0, 3, 3, 0, 100, 255);

  Surface none = bottom;
  BlendSurface(top, none, 0);
  EXPECT_EQ(none.Row(0)[2], 0);  // red unchanged
  EXPECT_EQ(none.Row(0)[0], 255);

  Surface full = bottom;
  BlendSurface(top, full, 300);  // clamped to 255
  EXPECT_EQ(full.Row(1)[2], 200);
  EXPECT_EQ(full.Row(1)[0], 0);

  BlendSurface(top, bottom, 40);
  // Bytes are blue, green, red, unused.
  EXPECT_EQ(bottom.Row(0)[2], (200 * 40 + 127) / 255);   // 31
  EXPECT_EQ(bottom.Row(0)[0], (255 * 215 + 127) / 255);  // 215
  EXPECT_EQ(bottom.Row(1)[8 + 1], 100);                  // equal greens stay
  // The third row lies outside the top surface and keeps its colour.
  EXPECT_EQ(bottom.Row(2)[2], 0);
  EXPECT_EQ(bottom.Row(2)[0], 255);
}

}  // namespace
}  // namespace ebf
