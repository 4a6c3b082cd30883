// Slot pictures converted to PNG: the sizes of every resize mode, centring and the capping
// of the saved size, checked on the written files.

#include <gtest/gtest.h>

#include "assets/convert.h"
#include "common/files.h"
#include "imaging/png_writer.h"
#include "support/picture_tools.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

TEST(ConvertiblePaths, ByTheLastFourCharacters) {
  for (const char* yes : {"pic.jpg", "pic.JPEG", "x/pic.jpeg", "ab.BMP", "ab.gif", "ab.wmf",
                          "ab.emf", "ab.ico", "ab.Cur"})
    EXPECT_TRUE(IsConvertiblePicturePath(yes)) << yes;
  for (const char* no : {"a.bmp", "pic.png", "pic.PNG", "pic.tga", "pic.jpe", "jpeg", "pic.bmpx"})
    EXPECT_FALSE(IsConvertiblePicturePath(no)) << no;
  EXPECT_TRUE(HasConvertibleExtension("a.bmp"));
  EXPECT_FALSE(HasConvertibleExtension("a.png"));
}

TEST(DrawnSize, ModesWithHalfEvenRounding) {
  struct Row {
    int width, height, targetWidth, targetHeight, mode, drawnWidth, drawnHeight;
  };
  for (const Row& r :
       {// 640 x 480 into 480 x 272: original size, fill, stretch, fit.
        Row{640, 480, 480, 272, 0, 640, 480},
        {640, 480, 480, 272, 1, 480, 360},
        {640, 480, 480, 272, 2, 480, 272},
        {640, 480, 480, 272, 3, 363, 272},
        // A tall picture: fit keeps the width when the target is not wider than the picture.
        {100, 400, 144, 80, 3, 20, 80},  // 0.25 / 1.8 * 144 = 20
        {400, 100, 144, 80, 3, 144, 36},
        // Equal aspect: modes 1 and 3 both give the target.
        {288, 160, 144, 80, 1, 144, 80},
        {288, 160, 144, 80, 3, 144, 80},
        // 0.4 * 5 = 2.0; exact halves: 1.25 * 2 = 2.5 -> 2 and 1.75 * 2 = 3.5 -> 4.
        {1, 1, 5, 2, 3, 2, 2},
        {5, 4, 2, 2, 1, 2, 2},
        {7, 4, 2, 2, 1, 4, 2},
        // A picture that did not load draws nothing except when stretched.
        {0, 0, 144, 80, 3, 0, 0},
        {0, 0, 144, 80, 2, 144, 80}}) {
    SCOPED_TRACE(::testing::Message() << r.width << "x" << r.height << " into " << r.targetWidth
                                      << "x" << r.targetHeight << " mode " << r.mode);
    const DrawnSize d = ComputeDrawnSize(r.width, r.height, r.targetWidth, r.targetHeight, r.mode);
    EXPECT_EQ(d.width, r.drawnWidth);
    EXPECT_EQ(d.height, r.drawnHeight);
  }
}

class SlotConversion : public ::testing::Test {
 protected:
  void SetUp() override {
    // Quadrants: red, green / blue, white, so placement and cropping show in the pixels.
    ASSERT_TRUE(test::DrawWithImageMagick(
        "-size 320x240 xc:red xc:lime +append \\( -size 320x240 xc:blue xc:white +append \\) "
        "-append -quality 95",
        jpeg_));
    ASSERT_TRUE(test::DrawWithImageMagick(
        "-size 500x500 xc:red xc:lime +append \\( -size 500x500 xc:blue xc:white +append \\) "
        "-append",
        "bmp3:" + bmp_));
  }

  // Converts and returns the written file (checked by pngcheck) with its pixels.
  Picture Convert(std::string input, const SlotTarget& target, int mode, bool centre) {
    c32bppDIB image;
    std::string path = input;
    EXPECT_TRUE(ConvertSlotPictureToPng(dir_.folder(), path, target.slotWord, image, target.width,
                                        target.height, mode, centre));
    EXPECT_EQ(path, dir_.folder() + "Temp" + kSep + "C_" + target.slotWord + ".png");
    EXPECT_TRUE(test::PngcheckAccepts(path));
    c32bppDIB back;
    EXPECT_TRUE(back.LoadPictureFile(path));
    return back.picture();
  }

  static std::array<int, 3> Bgr(const Picture& p, int x, int y) {
    const uint8_t* q = p.Row(y) + x * 4;
    return {q[0] > 127 ? 255 : (q[0] < 64 ? 0 : q[0]), q[1] > 127 ? 255 : (q[1] < 64 ? 0 : q[1]),
            q[2] > 127 ? 255 : (q[2] < 64 ? 0 : q[2])};
  }

  TempDir dir_;
  std::string jpeg_ = dir_ / "photo.jpg";
  std::string bmp_ = dir_ / "big.bmp";
};

const std::array<int, 3> kRed{0, 0, 255}, kGreen{0, 255, 0}, kBlue{255, 0, 0},
    kWhite{255, 255, 255}, kBlack{0, 0, 0};

TEST_F(SlotConversion, JpegInPic1ForEveryMode) {
  Picture fit = Convert(jpeg_, kPic1Target, 3, false);
  EXPECT_EQ(std::pair(fit.width, fit.height), std::pair(363, 272));
  EXPECT_EQ(Bgr(fit, 0, 0), kRed);
  EXPECT_EQ(Bgr(fit, 362, 271), kWhite);

  // Fit with centring: the saved 363 x 272 corner starts with round(58.5) = 58 black
  // columns and loses as many picture columns on the right.
  Picture fitCentred = Convert(jpeg_, kPic1Target, 3, true);
  EXPECT_EQ(fitCentred.width, 363);
  EXPECT_EQ(Bgr(fitCentred, 57, 10), kBlack);
  EXPECT_EQ(Bgr(fitCentred, 59, 10), kRed);
  EXPECT_EQ(Bgr(fitCentred, 362, 271), kWhite);

  // Fill: drawn 480 x 360, saved 480 x 272; the bottom 88 rows are cut, or 44 top and
  // bottom with centring (the colour boundary moves from row 180 to row 136).
  Picture fill = Convert(jpeg_, kPic1Target, 1, false);
  EXPECT_EQ(std::pair(fill.width, fill.height), std::pair(480, 272));
  EXPECT_EQ(Bgr(fill, 10, 175), kRed);
  EXPECT_EQ(Bgr(fill, 10, 185), kBlue);
  Picture fillCentred = Convert(jpeg_, kPic1Target, 1, true);
  EXPECT_EQ(fillCentred.height, 272);
  EXPECT_EQ(Bgr(fillCentred, 10, 131), kRed);
  EXPECT_EQ(Bgr(fillCentred, 10, 141), kBlue);

  for (bool centre : {false, true}) {
    Picture stretch = Convert(jpeg_, kPic1Target, 2, centre);
    EXPECT_EQ(std::pair(stretch.width, stretch.height), std::pair(480, 272));
    EXPECT_EQ(Bgr(stretch, 235, 130), kRed);
    EXPECT_EQ(Bgr(stretch, 245, 142), kWhite);
  }
}

TEST_F(SlotConversion, OriginalSizeBitmapInIcon0IsCut) {
  Picture corner = Convert(bmp_, kIcon0Target, 0, false);
  EXPECT_EQ(std::pair(corner.width, corner.height), std::pair(144, 80));
  EXPECT_EQ(Bgr(corner, 143, 79), kRed);  // all from the red top-left quadrant
  // Centred: the middle of the 1000 x 1000 picture, where the four quadrants meet.
  Picture middle = Convert(bmp_, kIcon0Target, 0, true);
  EXPECT_EQ(middle.width, 144);
  EXPECT_EQ(Bgr(middle, 0, 0), kRed);
  EXPECT_EQ(Bgr(middle, 143, 0), kGreen);
  EXPECT_EQ(Bgr(middle, 0, 79), kBlue);
  EXPECT_EQ(Bgr(middle, 143, 79), kWhite);
}

TEST_F(SlotConversion, OtherFilesPassUntouched) {
  c32bppDIB image;
  const std::string png = dir_ / "ready.png";
  Surface s(10, 10);
  ASSERT_TRUE(WritePngFromDrawingContext(s, png, 10, 10));
  for (std::string path : {png, dir_ / "anim.tga", std::string("a.bmp")}) {
    const std::string before = path;
    EXPECT_FALSE(ConvertSlotPictureToPng(dir_.folder(), path, "PIC1", image, 480, 272, 3, false));
    EXPECT_EQ(path, before);
  }
  // A picture that cannot be read still names the output, which then does not exist:
  // validation reports it.
  const std::string broken = dir_ / "broken.jpg";
  test::WriteFileText(broken, "not a picture at all");
  std::string path = broken;
  EXPECT_TRUE(ConvertSlotPictureToPng(dir_.folder(), path, "ICON0", image, 144, 80, 3, false));
  EXPECT_FALSE(FileExists(path));
  // An earlier output of the same slot is replaced.
  test::WriteFileText(path, "old");
  const Picture again = Convert(jpeg_, kIcon0Target, 2, false);
  EXPECT_EQ(std::pair(again.width, again.height), std::pair(144, 80));
}

}  // namespace
}  // namespace ebf
