// Every decoder against pictures made by ImageMagick: read as ImageMagick reads them, or,
// when they lie (cut short, oversized, pointing outside themselves, damaged at random),
// refused as "no picture" (or read as a consistent one) without crashing or allocating
// wildly.

#include <gtest/gtest.h>

#include <zlib.h>

#include <random>
#include <tuple>

#include "common/bytes.h"
#include "imaging/dib.h"
#include "imaging/picture.h"
#include "support/picture_tools.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

class MadePictures : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(test::Installed("convert")); }
  // `target` made by ImageMagick from a gradient of the given size; its path.
  std::string MakeFile(const std::string& target, const std::string& options, int width = 64,
                       int height = 48) {
    test::WritePam(dir_ / "source.pam", test::GradientPicture(width, height, true));
    const std::string path =
        test::MakeWithImageMagick(dir_ / "source.pam", target, options, dir_.folder());
    EXPECT_FALSE(path.empty()) << target;
    return path;
  }
  Bytes Make(const std::string& target, const std::string& options, int width = 64,
             int height = 48) {
    const std::string path = MakeFile(target, options, width, height);
    return path.empty() ? Bytes{} : test::ReadFileBytes(path);
  }
  // Makes `target` from a 37 x 23 gradient and checks that our decoder reads the pixels
  // ImageMagick reads from that same file.
  void Check(const std::string& target, const std::string& options, int tolerance = 0,
             int frame = 0) {
    SCOPED_TRACE(target + " " + options);
    const std::string path = MakeFile(target, options, 37, 23);
    ASSERT_FALSE(path.empty());
    const Picture witness = test::ReadWithImageMagick(path, frame);
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
};

using DecoderWitness = MadePictures;
using BadInput = MadePictures;

TEST_F(DecoderWitness, EveryVariantReadsAsImageMagickReadsIt) {
  // The target, ImageMagick's options, the largest byte difference allowed, the frame.
  // clang-format off
  const std::tuple<const char*, const char*, int, int> rows[] = {
      {"bmp3:b24.bmp", "-alpha off -type truecolor", 0, 0},
      {"bmp:b32.bmp", "", 0, 0},  // version 5 header, bit fields with alpha
      {"bmp3:b8.bmp", "-alpha off -type palette -compress none", 0, 0},
      {"bmp3:rle8.bmp", "-alpha off -type palette -compress RLE", 0, 0},
      {"bmp3:b4.bmp", "-alpha off -colors 16 -compress none", 0, 0},
      {"bmp3:b1.bmp", "-alpha off -monochrome", 0, 0},
      {"bmp3:b565.bmp", "-alpha off -define bmp:subtype=RGB565", 0, 0},
      {"bmp3:b555.bmp", "-alpha off -define bmp:subtype=RGB555", 0, 0},
      {"bmp2:os2.bmp", "-alpha off -type palette", 0, 0},
      {"gif:plain.gif", "-alpha off", 0, 0},
      {"gif:interlaced.gif", "-alpha off -interlace GIF", 0, 0},
      // The alpha ramp becomes one transparent colour.
      {"gif:transparent.gif", "-channel A -threshold 50% +channel", 0, 0},
      {"png:rgba.png", "", 0, 0},
      {"png32:rgba8.png", "", 0, 0},
      {"png8:palette.png", "-alpha off -colors 200", 0, 0},
      {"png8:paletteAlpha.png", "-channel A -threshold 50% +channel -colors 100", 0, 0},
      {"png:grey.png", "-alpha off -colorspace Gray", 0, 0},
      {"png48:deep.png", "-alpha off", 0, 0},
      {"png:interlaced.png", "-interlace PNG", 0, 0},
      // Both read with libjpeg; a different IDCT or upsampling would show as small differences.
      {"jpg:plain.jpg", "-alpha off -quality 90", 3, 0},
      {"jpg:progressive.jpg", "-alpha off -interlace JPEG", 3, 0},
      {"jpg:grey.jpg", "-alpha off -colorspace Gray", 3, 0},
      {"jpg:noSubsampling.jpg", "-alpha off -sampling-factor 1x1", 3, 0},
      {"jpg:cmyk.jpg", "-alpha off -colorspace CMYK", 3, 0},
      // Icons give their largest image: sizes 16, 48 and 32 in that order make frame 1 the
      // largest; a 256-pixel image is stored as PNG inside the icon.
      {"ico:one.ico", "", 0, 0},
      {"ico:three.ico", "-define icon:auto-resize=16,48,32", 0, 1},
      {"ico:png.ico", "-resize 256x256! -define icon:auto-resize=32,256", 0, 1},
      {"cur:arrow.cur", "", 0, 0}};
  // clang-format on
  for (const auto& [target, options, tolerance, frame] : rows)
    Check(target, options, tolerance, frame);
}

const char* const kRle = "-alpha off -colors 200 -type palette -compress RLE";

TEST_F(BadInput, FilesCutShortAreRefused) {
  for (const auto& [target, options] :
       std::vector<std::pair<std::string, std::string>>{{"bmp3:a.bmp", "-alpha off"},
                                                        {"bmp3:rle.bmp", kRle},
                                                        {"png:a.png", ""},
                                                        {"gif:a.gif", "-alpha off"},
                                                        {"jpg:a.jpg", "-alpha off"},
                                                        {"ico:a.ico", ""}}) {
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

  // GIF: logical screen of 20000 x 48, then 16384 x 16384 (within the limit, but a few
  // hundred bytes cannot hold it: refused before a gigabyte is allocated).
  Bytes gif = Make("gif:a.gif", "-alpha off");
  ASSERT_TRUE(dib.LoadPictureBytes(gif));
  StoreLe16(&gif[6], 20000);
  EXPECT_FALSE(dib.LoadPictureBytes(gif));
  StoreLe16(&gif[6], 16384);
  StoreLe16(&gif[8], 16384);
  EXPECT_FALSE(dib.LoadPictureBytes(gif));
  Bytes rle = Make("bmp3:rle.bmp", kRle);
  StoreLe32(&rle[18], 16384);
  StoreLe32(&rle[22], 16384);
  EXPECT_FALSE(dib.LoadPictureBytes(rle));

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

  // PNG: IHDR of 16385 x 1 with a correct CRC: the size rule alone must refuse it.
  Bytes png = Make("png:a.png", "-alpha off");
  ASSERT_TRUE(dib.LoadPictureBytes(png));
  StoreBe32(&png[16], 16385);
  StoreBe32(&png[29], static_cast<uint32_t>(crc32(0, &png[12], 17)));
  EXPECT_FALSE(dib.LoadPictureBytes(png));

  // Highly compressed but honest files still load.
  ASSERT_TRUE(test::DrawWithImageMagick("-size 4000x3000 xc:'#123456'", "png24:" + dir_ / "f.png"));
  ASSERT_TRUE(dib.LoadPictureFile(dir_ / "f.png"));
  EXPECT_EQ(dib.Width(), 4000);
  ASSERT_TRUE(test::DrawWithImageMagick("-size 3000x3000 xc:'#123456'", dir_ / "f.gif"));
  ASSERT_TRUE(dib.LoadPictureFile(dir_ / "f.gif"));
  EXPECT_EQ(dib.Height(), 3000);
}

// Deterministic damage on every run (the fuzzers go further): any result must be either a
// refusal or a consistent picture within the size limits.
TEST_F(BadInput, DamagedPicturesNeverBreakTheReaders) {
  std::mt19937 random(20240601);
  for (const auto& [target, options] : std::vector<std::pair<std::string, std::string>>{
           {"bmp3:a.bmp", "-alpha off"},
           {"bmp3:b.bmp", "-alpha off -colors 12 -compress RLE -type palette"},
           {"bmp3:c.bmp", "-alpha off -colors 12 -compress none"},
           {"bmp:d.bmp", ""},
           {"bmp2:e.bmp", "-alpha off -type palette"},
           {"ico:f.ico", "-define icon:auto-resize=16,32"},
           {"cur:g.cur", ""},
           {"gif:h.gif", "-interlace GIF"},
           {"png:i.png", ""},
           {"jpg:j.jpg", "-alpha off"}}) {
    SCOPED_TRACE(target);
    const Bytes original = Make(target, options, 19, 13);
    Picture picture;
    ASSERT_TRUE(DecodePicture(original, picture));
    for (int round = 0; round < 400; ++round) {
      Bytes damaged = original;
      for (int e = 0, edits = 1 + static_cast<int>(random() % 4); e < edits; ++e) {
        // Headers are where lies hurt: aim half the edits at the first 64 bytes.
        const std::size_t limit =
            (random() & 1) ? std::min<std::size_t>(64, damaged.size()) : damaged.size();
        const std::size_t at = random() % limit;
        const uint32_t how = random() % 3;
        if (how == 0) damaged[at] ^= static_cast<uint8_t>(1u << (random() % 8));
        if (how == 1) damaged[at] = (random() & 1) ? 0xFF : 0x00;
        if (how == 2) damaged.resize(at + 1);
      }
      if (DecodePicture(damaged, picture)) {
        ASSERT_GE(picture.width, 1);
        ASSERT_LE(picture.width, kMaxPictureSide);
        ASSERT_LE(picture.height, kMaxPictureSide);
        ASSERT_EQ(picture.bgra.size(),
                  static_cast<std::size_t>(picture.width) * picture.height * 4);
      } else {
        ASSERT_TRUE(picture.empty());
        ASSERT_TRUE(picture.bgra.empty());
      }
    }
  }
}

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
