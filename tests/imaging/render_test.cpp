// Drawing pictures onto a surface: copies, blending, scaling and clipping.

#include <gtest/gtest.h>

#include "imaging/dib.h"
#include "imaging/render.h"
#include "support/picture_tools.h"

namespace ebf {
namespace {

std::array<int, 3> At(const Surface& s, int x, int y) {
  const uint8_t* p = s.Row(y) + x * 4;
  return {p[0], p[1], p[2]};
}

Picture Solid(int w, int h, uint8_t b, uint8_t g, uint8_t r, uint8_t a) {
  Picture p;
  AllocatePicture(p, w, h);
  for (std::size_t i = 0; i < p.bgra.size(); i += 4) {
    p.bgra[i] = b, p.bgra[i + 1] = g, p.bgra[i + 2] = r, p.bgra[i + 3] = a;
  }
  return p;
}

TEST(Render, OwnSizeCopiesAndClips) {
  const Picture pic = test::GradientPicture(20, 10, false);
  Surface s(16, 8);
  ASSERT_TRUE(RenderPicture(pic, s, -3, -2, 20, 10, 100));
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 16; ++x) {
      const uint8_t* p = pic.Row(y + 2) + (x + 3) * 4;
      ASSERT_EQ(At(s, x, y), (std::array<int, 3>{p[0], p[1], p[2]})) << x << "," << y;
    }
  // Partly outside on the right and bottom: only the overlap changes.
  Surface t(10, 10);
  ASSERT_TRUE(RenderPicture(Solid(4, 4, 200, 100, 50, 255), t, 8, 7, 4, 4, 100));
  EXPECT_EQ(At(t, 9, 9), (std::array<int, 3>{200, 100, 50}));
  EXPECT_EQ(At(t, 8, 7), (std::array<int, 3>{200, 100, 50}));
  EXPECT_EQ(At(t, 7, 9), (std::array<int, 3>{0, 0, 0}));
  EXPECT_EQ(At(t, 9, 6), (std::array<int, 3>{0, 0, 0}));
  // Wholly outside draws nothing and is not an error; a rectangle of no size is.
  EXPECT_TRUE(RenderPicture(pic, t, 100, 100, 5, 5, 100));
  EXPECT_TRUE(RenderPicture(pic, t, -50, 0, 20, 10, 100));
  EXPECT_FALSE(RenderPicture(pic, t, 0, 0, 0, 5, 100));
}

TEST(Render, AlphaAndOpacityBlendOverTheSurface) {
  Surface s(4, 1);
  s.FillRect(0, 0, 4, 1, 200, 0, 0);  // red background
  // Half-transparent white over red: each channel half way.
  ASSERT_TRUE(RenderPicture(Solid(1, 1, 255, 255, 255, 128), s, 0, 0, 1, 1, 100));
  EXPECT_NEAR(At(s, 0, 0)[0], 128, 1);
  EXPECT_NEAR(At(s, 0, 0)[2], 228, 1);
  // Fully transparent leaves the surface as it was; opacity 0 likewise.
  ASSERT_TRUE(RenderPicture(Solid(1, 1, 255, 255, 255, 0), s, 1, 0, 1, 1, 100));
  EXPECT_EQ(At(s, 1, 0), (std::array<int, 3>{0, 0, 200}));
  ASSERT_TRUE(RenderPicture(Solid(1, 1, 255, 255, 255, 255), s, 2, 0, 1, 1, 0));
  EXPECT_EQ(At(s, 2, 0), (std::array<int, 3>{0, 0, 200}));
  ASSERT_TRUE(RenderPicture(Solid(1, 1, 255, 255, 255, 255), s, 3, 0, 1, 1, 50));
  EXPECT_NEAR(At(s, 3, 0)[0], 128, 1);
  // The colour of transparent pixels never bleeds into a scaled result.
  Picture twoTone = Solid(2, 1, 0, 255, 0, 255);
  twoTone.bgra[4] = 255, twoTone.bgra[5] = 0, twoTone.bgra[7] = 0;  // transparent blue
  Surface u(1, 1);
  ASSERT_TRUE(RenderPicture(twoTone, u, 0, 0, 1, 1, 100));
  EXPECT_EQ(At(u, 0, 0)[0], 0);         // no blue
  EXPECT_NEAR(At(u, 0, 0)[1], 128, 1);  // half the area is opaque green
}

TEST(Render, ShrinkingAveragesAndEnlargingInterpolates) {
  // A 1-pixel checkerboard shrunk by 2 becomes an even grey.
  Picture board;
  AllocatePicture(board, 8, 8);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 8; ++x) {
      uint8_t* p = board.Row(y) + x * 4;
      p[0] = p[1] = p[2] = ((x + y) & 1) ? 255 : 0;
      p[3] = 255;
    }
  Surface s(4, 4);
  ASSERT_TRUE(RenderPicture(board, s, 0, 0, 4, 4, 100));
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) EXPECT_NEAR(At(s, x, y)[1], 128, 1);

  // Black then white enlarged 4 times: flat ends, a rising middle.
  Picture pair = Solid(2, 1, 0, 0, 0, 255);
  pair.bgra[4] = pair.bgra[5] = pair.bgra[6] = 255;
  Surface wide(8, 1);
  ASSERT_TRUE(RenderPicture(pair, wide, 0, 0, 8, 1, 100));
  EXPECT_EQ(At(wide, 0, 0)[0], 0);
  EXPECT_EQ(At(wide, 7, 0)[0], 255);
  for (int x = 1; x < 8; ++x) EXPECT_GE(At(wide, x, 0)[0], At(wide, x - 1, 0)[0]);
  EXPECT_GT(At(wide, 4, 0)[0], 100);
  EXPECT_LT(At(wide, 3, 0)[0], 155);

  // The object form: 0 for a side means the picture's own size.
  c32bppDIB empty;
  EXPECT_FALSE(empty.Render(s, 0, 0));
}

}  // namespace
}  // namespace ebf
