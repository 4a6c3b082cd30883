// Pictures that lie: cut short, oversized, pointing outside themselves. Each must load as
// "no picture" without crashing or allocating wildly.

#include <gtest/gtest.h>

#include "common/bytes.h"
#include "imaging/dib.h"
#include "support/picture_tools.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

class BadInput : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::Installed("convert"));
    test::WritePam(source_, test::GradientPicture(64, 48, true));
  }
  Bytes Make(const std::string& target, const std::string& options) {
    const std::string path = test::MakeWithImageMagick(source_, target, options, dir_.folder());
    EXPECT_FALSE(path.empty()) << target;
    return path.empty() ? Bytes{} : test::ReadFileBytes(path);
  }
  TempDir dir_;
  std::string source_ = dir_ / "source.pam";
};

TEST_F(BadInput, FilesCutShortAreRefused) {
  const std::vector<std::pair<std::string, std::string>> variants = {
      {"bmp3:a.bmp", "-alpha off"},
      {"bmp3:rle.bmp", "-alpha off -colors 200 -type palette -compress RLE"},
      {"png:a.png", ""},
      {"gif:a.gif", "-alpha off"},
      {"jpg:a.jpg", "-alpha off"},
      {"ico:a.ico", ""},
  };
  for (const auto& [target, options] : variants) {
    SCOPED_TRACE(target);
    const Bytes whole = Make(target, options);
    ASSERT_GT(whole.size(), 100u);
    c32bppDIB dib;
    ASSERT_TRUE(dib.LoadPictureBytes(whole));
    // Cut anywhere in the first half: always well inside the pixel data.
    for (std::size_t length = 0; length < whole.size() / 2; length += 7) {
      EXPECT_FALSE(dib.LoadPictureBytes(std::span(whole.data(), length))) << length;
      EXPECT_EQ(dib.Width(), 0);
      EXPECT_EQ(dib.Height(), 0);
    }
  }
}

TEST_F(BadInput, OversizedPicturesAreRefused) {
  c32bppDIB dib;
  // BMP: width field 16385 with a claimed pixel array that is not there.
  Bytes bmp = Make("bmp3:a.bmp", "-alpha off");
  ASSERT_TRUE(dib.LoadPictureBytes(bmp));
  StoreLe32(&bmp[18], 16385);
  EXPECT_FALSE(dib.LoadPictureBytes(bmp));
  // 16384 x 16384 passes the size rule but the file does not hold that many rows.
  StoreLe32(&bmp[18], 16384);
  StoreLe32(&bmp[22], 16384);
  EXPECT_FALSE(dib.LoadPictureBytes(bmp));
  StoreLe32(&bmp[18], 64);
  StoreLe32(&bmp[22], static_cast<uint32_t>(-49));  // top-down, one row more than stored
  EXPECT_FALSE(dib.LoadPictureBytes(bmp));

  // GIF: logical screen of 20000 x 48.
  Bytes gif = Make("gif:a.gif", "-alpha off");
  ASSERT_TRUE(dib.LoadPictureBytes(gif));
  StoreLe16(&gif[6], 20000);
  EXPECT_FALSE(dib.LoadPictureBytes(gif));

  // JPEG: a frame header of 20000 x 48.
  Bytes jpg = Make("jpg:a.jpg", "-alpha off");
  ASSERT_TRUE(dib.LoadPictureBytes(jpg));
  for (std::size_t i = 2; i + 8 < jpg.size(); ++i) {
    if (jpg[i] == 0xFF && (jpg[i + 1] == 0xC0 || jpg[i + 1] == 0xC2)) {
      jpg[i + 7] = 20000 >> 8;
      jpg[i + 8] = 20000 & 0xFF;
      break;
    }
  }
  EXPECT_FALSE(dib.LoadPictureBytes(jpg));
}

TEST_F(BadInput, PngWithHugeHeaderIsRefused) {
  // IHDR of 16385 x 1 with a correct CRC: the size rule alone must refuse it.
  Bytes png = Make("png:a.png", "-alpha off");
  c32bppDIB dib;
  ASSERT_TRUE(dib.LoadPictureBytes(png));
  StoreBe32(&png[16], 16385);
  uint32_t crc = 0xFFFFFFFFu;
  for (std::size_t i = 12; i < 29; ++i) {
    crc ^= png[i];
    for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1)));
  }
  StoreBe32(&png[29], ~crc);
  EXPECT_FALSE(dib.LoadPictureBytes(png));
}

TEST_F(BadInput, HeadersClaimingMoreThanTheFileCanHold) {
  c32bppDIB dib;
  // Sides within the limit, but a few hundred bytes cannot hold 16384 x 16384 pixels in
  // any of these formats: refused before a gigabyte is allocated.
  Bytes gif = Make("gif:a.gif", "-alpha off");
  StoreLe16(&gif[6], 16384);
  StoreLe16(&gif[8], 16384);
  EXPECT_FALSE(dib.LoadPictureBytes(gif));
  Bytes rle = Make("bmp3:rle.bmp", "-alpha off -colors 200 -type palette -compress RLE");
  StoreLe32(&rle[18], 16384);
  StoreLe32(&rle[22], 16384);
  EXPECT_FALSE(dib.LoadPictureBytes(rle));

  // Highly compressed but honest files still load.
  const std::string flat = dir_ / "flat.png";
  ASSERT_TRUE(test::DrawWithImageMagick("-size 4000x3000 xc:'#123456'", "png24:" + flat));
  ASSERT_TRUE(dib.LoadPictureFile(flat));
  EXPECT_EQ(dib.Width(), 4000);
  const std::string flatGif = dir_ / "flat.gif";
  ASSERT_TRUE(test::DrawWithImageMagick("-size 3000x3000 xc:'#123456'", flatGif));
  ASSERT_TRUE(dib.LoadPictureFile(flatGif));
  EXPECT_EQ(dib.Height(), 3000);
}

TEST(BadInputPlain, NonsenseAndLiesInHeaders) {
  c32bppDIB dib;
  EXPECT_FALSE(dib.LoadPictureBytes({}));
  const Bytes text = {'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd'};
  EXPECT_FALSE(dib.LoadPictureBytes(text));

  // A good 1 x 1 bitmap, then the same with its pixel offset beyond the end.
  Bytes bmp = {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0};
  for (uint32_t v : {40u, 1u, 1u}) AppendLe32(bmp, v);
  AppendLe16(bmp, 1);
  AppendLe16(bmp, 24);
  for (int i = 0; i < 6; ++i) AppendLe32(bmp, 0);
  for (uint8_t b : {1, 2, 3, 0}) bmp.push_back(b);
  ASSERT_TRUE(dib.LoadPictureBytes(bmp));
  Bytes farOffset = bmp;
  StoreLe32(&farOffset[10], 0xFFFFFFF0u);
  EXPECT_FALSE(dib.LoadPictureBytes(farOffset));
  Bytes insideHeader = bmp;
  StoreLe32(&insideHeader[10], 20);
  EXPECT_FALSE(dib.LoadPictureBytes(insideHeader));
  Bytes hugeHeader = bmp;
  StoreLe32(&hugeHeader[14], 0x7FFFFFFF);
  EXPECT_FALSE(dib.LoadPictureBytes(hugeHeader));
  Bytes badDepth = bmp;
  StoreLe16(&badDepth[28], 7);
  EXPECT_FALSE(dib.LoadPictureBytes(badDepth));
  // An 8-bit bitmap whose palette would run past the end.
  Bytes noPalette = bmp;
  StoreLe16(&noPalette[28], 8);
  EXPECT_FALSE(dib.LoadPictureBytes(noPalette));

  // Icon directories that point outside the file or claim more entries than exist.
  Bytes ico = {0, 0, 1, 0, 1, 0, 1, 1, 0, 0, 1, 0, 24, 0};
  AppendLe32(ico, 1000);
  AppendLe32(ico, 22);
  EXPECT_FALSE(dib.LoadPictureBytes(ico));
  Bytes manyEntries = {0, 0, 1, 0, 0xFF, 0xFF};
  EXPECT_FALSE(dib.LoadPictureBytes(manyEntries));

  // A failed load after a good one leaves nothing behind.
  ASSERT_TRUE(dib.LoadPictureBytes(bmp));
  EXPECT_FALSE(dib.LoadPictureBytes(farOffset));
  EXPECT_FALSE(dib.IsLoaded());
  EXPECT_EQ(dib.Width(), 0);
  EXPECT_FALSE(dib.LoadPictureFile("/no/such/picture.png"));
}

}  // namespace
}  // namespace ebf
