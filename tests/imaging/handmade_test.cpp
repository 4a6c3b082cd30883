// Bitmap and icon layouts that ImageMagick does not write, and headers that lie, built byte
// by byte.

#include <gtest/gtest.h>

#include "common/bytes.h"
#include "imaging/dib.h"
#include "support/picture_tools.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

// BGRA of pixel (x, y), top row 0.
std::array<int, 4> Pixel(const c32bppDIB& dib, int x, int y) {
  const uint8_t* p = dib.picture().Row(y) + x * 4;
  return {p[0], p[1], p[2], p[3]};
}

Bytes InfoHeader(int32_t width, int32_t height, uint16_t bits, uint32_t compression,
                 uint32_t colours) {
  Bytes h;
  for (uint32_t v : {40u, static_cast<uint32_t>(width), static_cast<uint32_t>(height)})
    AppendLe32(h, v);
  AppendLe16(h, 1);
  AppendLe16(h, bits);
  for (uint32_t v : {compression, 0u, 0u, 0u, colours, 0u}) AppendLe32(h, v);
  return h;
}

// "BM" file: header, palette (BGR0 entries), pixels.
Bytes BitmapFile(const Bytes& info, const Bytes& palette, const Bytes& pixels) {
  const uint32_t offset = static_cast<uint32_t>(14 + info.size() + palette.size());
  Bytes f = {'B', 'M'};
  for (uint32_t v : {offset + static_cast<uint32_t>(pixels.size()), 0u, offset}) AppendLe32(f, v);
  for (const Bytes* part : {&info, &palette, &pixels})
    f.insert(f.end(), part->begin(), part->end());
  return f;
}

// Entry i is blue 10i, green 20i, red 5i.
Bytes Palette(int count) {
  Bytes p;
  for (int i = 0; i < count; ++i)
    p.insert(p.end(), {static_cast<uint8_t>(i * 10), static_cast<uint8_t>(i * 20),
                       static_cast<uint8_t>(i * 5), 0});
  return p;
}

TEST(HandmadeBitmap, TopDownRowsMatchBottomUp) {
  // 2 x 2, 24-bit: stored rows are padded to 8 bytes.
  const Bytes bottomFirst = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0};
  const Bytes topFirst = {7, 8, 9, 10, 11, 12, 0, 0, 1, 2, 3, 4, 5, 6, 0, 0};
  c32bppDIB up, down;
  ASSERT_TRUE(up.LoadPictureBytes(BitmapFile(InfoHeader(2, 2, 24, 0, 0), {}, bottomFirst)));
  ASSERT_TRUE(down.LoadPictureBytes(BitmapFile(InfoHeader(2, -2, 24, 0, 0), {}, topFirst)));
  EXPECT_EQ(Pixel(up, 0, 0), (std::array<int, 4>{7, 8, 9, 255}));
  EXPECT_EQ(Pixel(up, 1, 1), (std::array<int, 4>{4, 5, 6, 255}));
  EXPECT_EQ(up.picture().bgra, down.picture().bgra);
}

TEST(HandmadeBitmap, RunLengthRecordsWithDeltaAndLiterals) {
  // RLE4, 5 x 3. Bottom row: a run of 4 alternating 1/2, then end of line. Middle row:
  // three literal pixels 3, 4, 5 (two bytes, already even), then a delta of (1, 1) that
  // jumps to x = 4 of the top row, one pixel 6, end of bitmap.
  const Bytes rle4 = {4, 0x12, 0, 0, 0, 3, 0x34, 0x50, 0, 2, 1, 1, 1, 0x60, 0, 1};
  c32bppDIB dib;
  ASSERT_TRUE(dib.LoadPictureBytes(BitmapFile(InfoHeader(5, 3, 4, 2, 16), Palette(16), rle4)));
  ASSERT_EQ(dib.Width(), 5);
  ASSERT_EQ(dib.Height(), 3);
  EXPECT_EQ(Pixel(dib, 0, 2), (std::array<int, 4>{10, 20, 5, 255}));   // index 1
  EXPECT_EQ(Pixel(dib, 1, 2), (std::array<int, 4>{20, 40, 10, 255}));  // index 2
  EXPECT_EQ(Pixel(dib, 3, 2)[0], 20);
  EXPECT_EQ(Pixel(dib, 4, 2)[3], 0);   // the run stopped short: not drawn
  EXPECT_EQ(Pixel(dib, 2, 1)[0], 50);  // index 5
  EXPECT_EQ(Pixel(dib, 3, 1)[3], 0);   // skipped by the delta
  EXPECT_EQ(Pixel(dib, 4, 0)[0], 60);  // index 6 after the delta
  EXPECT_EQ(Pixel(dib, 0, 0)[3], 0);

  // RLE8 literal runs of odd length are padded to a 16-bit boundary.
  const Bytes rle8 = {0, 3, 7, 8, 9, 0, 0, 0, 0, 1};
  ASSERT_TRUE(dib.LoadPictureBytes(BitmapFile(InfoHeader(3, 1, 8, 1, 16), Palette(16), rle8)));
  EXPECT_EQ(Pixel(dib, 0, 0)[0], 70);
  EXPECT_EQ(Pixel(dib, 2, 0)[0], 90);

  // Without its end-of-bitmap mark the data was cut short.
  const Bytes cut = {4, 0x12, 0, 0};
  EXPECT_FALSE(dib.LoadPictureBytes(BitmapFile(InfoHeader(5, 3, 4, 2, 16), Palette(16), cut)));
  EXPECT_FALSE(dib.IsLoaded());
}

// An icon directory with the given images (width, height, bytes).
Bytes IconFile(uint16_t type, const std::vector<std::pair<std::pair<int, int>, Bytes>>& images) {
  Bytes f;
  for (uint16_t v : {uint16_t{0}, type, static_cast<uint16_t>(images.size())}) AppendLe16(f, v);
  uint32_t offset = static_cast<uint32_t>(6 + 16 * images.size());
  for (const auto& [size, bytes] : images) {
    f.insert(f.end(), {static_cast<uint8_t>(size.first), static_cast<uint8_t>(size.second), 0, 0, 1,
                       0, 0, 0});
    AppendLe32(f, static_cast<uint32_t>(bytes.size()));
    AppendLe32(f, offset);
    offset += static_cast<uint32_t>(bytes.size());
  }
  for (const auto& image : images) f.insert(f.end(), image.second.begin(), image.second.end());
  return f;
}

TEST(HandmadeIcon, AndMaskMakesPixelsTransparent) {
  // 2 x 2, 24-bit colour rows, then the mask: bottom-left and top-right set.
  Bytes image = InfoHeader(2, 4, 24, 0, 0);
  const Bytes colours = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0};
  const Bytes mask = {0x80, 0, 0, 0, 0x40, 0, 0, 0};
  image.insert(image.end(), colours.begin(), colours.end());
  image.insert(image.end(), mask.begin(), mask.end());
  c32bppDIB dib;
  for (uint16_t type : {1, 2}) {  // icon and cursor
    ASSERT_TRUE(dib.LoadPictureBytes(IconFile(type, {{{2, 2}, image}})));
    EXPECT_EQ(dib.Height(), 2);
    EXPECT_EQ(Pixel(dib, 0, 1)[3], 0);
    EXPECT_EQ(Pixel(dib, 1, 1), (std::array<int, 4>{4, 5, 6, 255}));
    EXPECT_EQ(Pixel(dib, 0, 0), (std::array<int, 4>{7, 8, 9, 255}));
    EXPECT_EQ(Pixel(dib, 1, 0)[3], 0);
  }

  // 32-bit pixels whose alpha is all zero fall back to the mask; real alpha wins over it.
  Bytes zeroAlpha = InfoHeader(1, 2, 32, 0, 0);
  for (uint8_t b : {9, 9, 9, 0, 0x80, 0, 0, 0}) zeroAlpha.push_back(b);
  ASSERT_TRUE(dib.LoadPictureBytes(IconFile(1, {{{1, 1}, zeroAlpha}})));
  EXPECT_EQ(Pixel(dib, 0, 0)[3], 0);
  Bytes realAlpha = InfoHeader(1, 2, 32, 0, 0);
  for (uint8_t b : {9, 9, 9, 77, 0x80, 0, 0, 0}) realAlpha.push_back(b);
  ASSERT_TRUE(dib.LoadPictureBytes(IconFile(1, {{{1, 1}, realAlpha}})));
  EXPECT_EQ(Pixel(dib, 0, 0), (std::array<int, 4>{9, 9, 9, 77}));

  // The larger image wins wherever it sits in the directory, and a broken larger image
  // gives way to the next one.
  Bytes big = InfoHeader(3, 6, 24, 0, 0);
  big.resize(big.size() + 12 * 3 + 4 * 3, 0x33);
  ASSERT_TRUE(dib.LoadPictureBytes(IconFile(1, {{{2, 2}, image}, {{3, 3}, big}})));
  EXPECT_EQ(dib.Width(), 3);
  Bytes broken = InfoHeader(4, 8, 24, 0, 0);  // no pixel data at all
  ASSERT_TRUE(dib.LoadPictureBytes(IconFile(1, {{{4, 4}, broken}, {{2, 2}, image}})));
  EXPECT_EQ(dib.Width(), 2);
}

TEST(BadInputPlain, NonsenseAndLiesInHeaders) {
  c32bppDIB dib;
  EXPECT_FALSE(dib.LoadPictureBytes({}));
  EXPECT_FALSE(dib.LoadPictureBytes(Bytes{'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd'}));

  // A good 1 x 1 bitmap, then the same with one field lying.
  Bytes bmp = BitmapFile(InfoHeader(1, 1, 24, 0, 0), {}, {1, 2, 3, 0});
  ASSERT_TRUE(dib.LoadPictureBytes(bmp));
  struct Lie {
    std::size_t at;
    uint32_t value;
    bool wide;
  };
  for (const Lie& lie : {Lie{10, 0xFFFFFFF0u, true},  // pixels beyond the end
                         Lie{10, 20, true},           // pixels inside the header
                         Lie{14, 0x7FFFFFFF, true},   // a huge header
                         Lie{28, 7, false},           // no such depth
                         Lie{28, 8, false}}) {        // a palette that runs past the end
    Bytes lying = bmp;
    if (lie.wide) StoreLe32(&lying[lie.at], lie.value);
    if (!lie.wide) StoreLe16(&lying[lie.at], static_cast<uint16_t>(lie.value));
    EXPECT_FALSE(dib.LoadPictureBytes(lying)) << lie.at << " " << lie.value;
  }

  // Icon directories that point outside the file or claim more entries than exist.
  Bytes ico = {0, 0, 1, 0, 1, 0, 1, 1, 0, 0, 1, 0, 24, 0};
  AppendLe32(ico, 1000);
  AppendLe32(ico, 22);
  EXPECT_FALSE(dib.LoadPictureBytes(ico));
  EXPECT_FALSE(dib.LoadPictureBytes(Bytes{0, 0, 1, 0, 0xFF, 0xFF}));

  // A failed load after a good one leaves nothing behind.
  ASSERT_TRUE(dib.LoadPictureBytes(bmp));
  StoreLe32(&bmp[10], 0xFFFFFFF0u);
  EXPECT_FALSE(dib.LoadPictureBytes(bmp));
  EXPECT_FALSE(dib.IsLoaded());
  EXPECT_EQ(dib.Width(), 0);
  EXPECT_FALSE(dib.LoadPictureFile("/no/such/picture.png"));
}

}  // namespace
}  // namespace ebf
