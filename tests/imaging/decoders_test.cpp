// Every decoder against pictures made and read back by ImageMagick.

#include <gtest/gtest.h>

#include "imaging/dib.h"
#include "imaging/picture.h"
#include "support/picture_tools.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::ReadWithImageMagick;
using test::TempDir;

class DecoderWitness : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::Installed("convert"));
    test::WritePam(source_, test::GradientPicture(37, 23, true));
  }

  // Makes `name` from the source with the given convert options and checks that our
  // decoder reads the pixels ImageMagick reads from that same file.
  void Check(const std::string& name, const std::string& options, int tolerance = 0,
             int frame = 0) {
    SCOPED_TRACE(name + " " + options);
    const std::string path = test::MakeWithImageMagick(source_, name, options, dir_.folder());
    ASSERT_FALSE(path.empty());
    const Picture witness = ReadWithImageMagick(path, frame);
    ASSERT_FALSE(witness.empty());
    c32bppDIB ours;
    ASSERT_TRUE(ours.LoadPictureFile(path));
    EXPECT_EQ(ours.Width(), witness.width);
    EXPECT_EQ(ours.Height(), witness.height);
    const int diff = test::MaxPixelDifference(ours.picture(), witness);
    EXPECT_GE(diff, 0);
    EXPECT_LE(diff, tolerance);
  }

  TempDir dir_;
  std::string source_ = dir_ / "source.pam";
};

TEST_F(DecoderWitness, BitmapVariants) {
  Check("bmp3:b24.bmp", "-alpha off -type truecolor");
  Check("bmp:b32.bmp", "");  // version 5 header, bit fields with alpha
  Check("bmp3:b8.bmp", "-alpha off -type palette -compress none");
  Check("bmp3:rle8.bmp", "-alpha off -type palette -compress RLE");
  Check("bmp3:b4.bmp", "-alpha off -colors 16 -compress none");
  Check("bmp3:b1.bmp", "-alpha off -monochrome");
  Check("bmp3:b565.bmp", "-alpha off -define bmp:subtype=RGB565");
  Check("bmp3:b555.bmp", "-alpha off -define bmp:subtype=RGB555");
  Check("bmp2:os2.bmp", "-alpha off -type palette");
}

TEST_F(DecoderWitness, GifVariants) {
  Check("gif:plain.gif", "-alpha off");
  Check("gif:interlaced.gif", "-alpha off -interlace GIF");
  // The alpha ramp becomes one transparent colour.
  Check("gif:transparent.gif", "-channel A -threshold 50% +channel");
}

TEST_F(DecoderWitness, PngVariants) {
  Check("png:rgba.png", "");
  Check("png32:rgba8.png", "");
  Check("png8:palette.png", "-alpha off -colors 200");
  Check("png8:paletteAlpha.png", "-channel A -threshold 50% +channel -colors 100");
  Check("png:grey.png", "-alpha off -colorspace Gray");
  Check("png48:deep.png", "-alpha off");
  Check("png:interlaced.png", "-interlace PNG");
}

TEST_F(DecoderWitness, JpegVariants) {
  // Both read with libjpeg; a different IDCT or upsampling would show as small differences.
  Check("jpg:plain.jpg", "-alpha off -quality 90", 3);
  Check("jpg:progressive.jpg", "-alpha off -interlace JPEG", 3);
  Check("jpg:grey.jpg", "-alpha off -colorspace Gray", 3);
  Check("jpg:noSubsampling.jpg", "-alpha off -sampling-factor 1x1", 3);
  Check("jpg:cmyk.jpg", "-alpha off -colorspace CMYK", 3);
}

TEST_F(DecoderWitness, IconsTakeTheLargestImage) {
  Check("ico:one.ico", "");
  // Sizes 16, 48 and 32 in that order: the 48-pixel image is frame 1.
  Check("ico:three.ico", "-define icon:auto-resize=16,48,32", 0, 1);
  // A 256-pixel image is stored as PNG inside the icon.
  Check("ico:png.ico", "-resize 256x256! -define icon:auto-resize=32,256", 0, 1);
  Check("cur:arrow.cur", "");
}

}  // namespace
}  // namespace ebf

namespace ebf {
namespace {

TEST(JpegDrawnSmall, DecodesFewerPixelsButKeepsItsSizeAndLook) {
  test::TempDir dir;
  const std::string path = dir / "big.jpg";
  ASSERT_TRUE(test::DrawWithImageMagick(
      "-size 1600x1200 gradient:yellow-navy -rotate 90 -resize 1600x1200! -quality 95", path));
  c32bppDIB full, reduced;
  ASSERT_TRUE(full.LoadPictureFile(path));
  ASSERT_TRUE(reduced.LoadPictureFile(path, 190, 140));
  EXPECT_EQ(reduced.Width(), 1600);
  EXPECT_EQ(reduced.Height(), 1200);
  EXPECT_EQ(reduced.picture().width, 200);  // an eighth, still at least the drawn size
  ASSERT_TRUE(reduced.LoadPictureFile(path, 300, 140));
  EXPECT_EQ(reduced.picture().width, 400);  // a quarter: an eighth would be too narrow
  int w = 0, h = 0;
  ASSERT_TRUE(c32bppDIB::ReadPictureFileSize(path, w, h));
  EXPECT_EQ(w, 1600);
  EXPECT_EQ(h, 1200);

  Surface a(300, 225), b(300, 225);
  ASSERT_TRUE(full.Render(a, 0, 0, 300, 225));
  ASSERT_TRUE(reduced.Render(b, 0, 0, 300, 225));
  int worst = 0;
  for (int y = 0; y < 225; ++y)
    for (int x = 0; x < 300 * 4; ++x) worst = std::max(worst, std::abs(a.Row(y)[x] - b.Row(y)[x]));
  EXPECT_LE(worst, 6);
}

}  // namespace
}  // namespace ebf
