// The PNG writer: exact chunk set, pixel order, and what a failure leaves behind.

#include <gtest/gtest.h>

#include "common/bytes.h"
#include "common/files.h"
#include "imaging/png_writer.h"
#include "support/picture_tools.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

std::vector<std::string> ChunkNames(const Bytes& png) {
  std::vector<std::string> names;
  std::size_t pos = 8;
  while (pos + 12 <= png.size()) {
    const uint32_t length = LoadBe32(&png[pos]);
    names.emplace_back(png.begin() + pos + 4, png.begin() + pos + 8);
    pos += 12 + length;
  }
  return names;
}

TEST(PngWriter, TruecolourWithSbitAndNothingElse) {
  TempDir dir;
  Surface s(40, 30);
  s.FillRect(0, 0, 10, 10, 255, 0, 0);    // red top-left
  s.FillRect(30, 20, 10, 10, 0, 0, 255);  // blue bottom-right
  s.FillRect(10, 0, 5, 5, 1, 2, 3);
  const std::string path = dir / "out.png";
  // Only the top-left 35 x 25 is written: the blue corner is cut to 5 x 5.
  ASSERT_TRUE(WritePngFromDrawingContext(s, path, 35, 25));
  const Bytes png = test::ReadFileBytes(path);
  ASSERT_GT(png.size(), 33u);
  // 35 x 25, bit depth 8, truecolour, compression, filter and interlace 0.
  EXPECT_EQ(Bytes(png.begin() + 16, png.begin() + 29),
            (Bytes{0, 0, 0, 35, 0, 0, 0, 25, 8, 2, 0, 0, 0}));
  std::vector<std::string> names = ChunkNames(png);
  ASSERT_GE(names.size(), 4u);
  EXPECT_EQ(names.front(), "IHDR");
  EXPECT_EQ(names[1], "sBIT");
  EXPECT_EQ(names.back(), "IEND");
  for (std::size_t i = 2; i + 1 < names.size(); ++i) EXPECT_EQ(names[i], "IDAT");
  // sBIT after the signature and IHDR: eight significant bits in each colour.
  EXPECT_EQ(Bytes(png.begin() + 33, png.begin() + 44),
            (Bytes{0, 0, 0, 3, 's', 'B', 'I', 'T', 8, 8, 8}));

  EXPECT_TRUE(test::PngcheckAccepts(path));
  // Read back by ImageMagick: colours in the right order, row 0 at the top.
  ASSERT_TRUE(test::Installed("convert"));
  const Picture back = test::ReadWithImageMagick(path);
  ASSERT_EQ(back.width, 35);
  ASSERT_EQ(back.height, 25);
  const uint8_t* topLeft = back.Row(0);
  EXPECT_EQ((std::array<int, 4>{topLeft[0], topLeft[1], topLeft[2], topLeft[3]}),
            (std::array<int, 4>{0, 0, 255, 255}));
  const uint8_t* odd = back.Row(2) + 12 * 4;
  EXPECT_EQ((std::array<int, 3>{odd[0], odd[1], odd[2]}), (std::array<int, 3>{3, 2, 1}));
  const uint8_t* corner = back.Row(24) + 34 * 4;
  EXPECT_EQ(corner[0], 255);
  EXPECT_EQ(corner[2], 0);
}

TEST(PngWriter, RefusesSizesBeyondTheSurfaceAndLeavesNoFile) {
  TempDir dir;
  Surface s(10, 10);
  const std::string path = dir / "out.png";
  EXPECT_FALSE(WritePngFromDrawingContext(s, path, 11, 10));
  EXPECT_FALSE(WritePngFromDrawingContext(s, path, 10, 0));
  EXPECT_FALSE(FileExists(path));
  EXPECT_FALSE(WritePngFromDrawingContext(s, dir / "no/such/folder/out.png", 5, 5));
}

}  // namespace
}  // namespace ebf
