// The png and doc commands as a user runs them.
#include "assets/convert.h"
#include "cli/cli_run.h"
#include "imaging/dib.h"

namespace ebf {
namespace {

using test::Cli;
using test::PngSize;
using test::TempDir;

// The sizes a slot draws at and the words of its refusals are the assets tests'; here, the
// command takes what the slot takes, makes the very PNG a run makes, and refuses as it does.
TEST(PictureCommands, PngResizesAsTheSettingsSayAndAgreesWithTheSlot) {
  TempDir dir;
  const std::string jpeg = dir / "photo.jpg", out = dir / "out.png", ini = dir / "fit.ini";
  ASSERT_TRUE(test::DrawWithImageMagick("-size 640x480 xc:white", jpeg));
  auto png = [&](std::vector<std::string> more, const std::string& from) {
    std::vector<std::string> args = {"png", from, out, "--slot", "pic1"};
    args.insert(args.end(), more.begin(), more.end());
    return Cli(args);
  };
  // The resize mode and centring come from the settings file, as a slot takes them.
  test::WriteFileText(ini, "ImgResMode = 3\r\nImgResCentre = 1\r\n");
  test::Ran fit = png({"--ini", ini}, jpeg);
  EXPECT_TRUE(test::Said(fit, 0));
  EXPECT_EQ(PngSize(out), (std::pair<uint32_t, uint32_t>{363, 272}));
  // Centred, the fitted 363 columns start 58 in (58.5 goes to the even neighbour), and the
  // saved corner shows the black band on the left.
  Picture centred = test::ReadWithImageMagick(out);
  ASSERT_EQ(centred.width, 363);
  EXPECT_EQ(centred.Row(100)[57 * 4], 0);
  EXPECT_EQ(centred.Row(100)[58 * 4], 255);
  ASSERT_EQ(png({"--ini", ini, "--no-centre"}, jpeg).exit, 0);
  EXPECT_EQ(test::ReadWithImageMagick(out).Row(100)[0], 255);
  // The very PNG the slot makes of the picture.
  TempDir prog;
  std::string runPath = jpeg;
  c32bppDIB image;
  ASSERT_TRUE(ConvertSlotPictureToPng(prog.folder(), runPath, "PIC1", image, 480, 272, 3, false));
  EXPECT_EQ(test::ReadFileBytes(out), test::ReadFileBytes(runPath));
  // Options win over the settings.
  ASSERT_EQ(png({"--ini", ini, "--mode", "1"}, jpeg).exit, 0);
  EXPECT_EQ(PngSize(out), (std::pair<uint32_t, uint32_t>{480, 272}));
  EXPECT_TRUE(test::PngcheckAccepts(out));
  // A PNG within the slot's limits is the slot's file as it is: not resized, not rewritten.
  ASSERT_TRUE(test::DrawWithImageMagick("-size 300x200 gradient:red-blue", dir / "wide.png"));
  test::Ran taken = png({"--mode", "2"}, dir / "wide.png");
  EXPECT_TRUE(test::Said(taken, 0, {"taken as it is"}));
  EXPECT_EQ(test::ReadFileBytes(out), test::ReadFileBytes(dir / "wide.png"));

  // A slot's refusal in its own words, and the existing output stays. PIC0 converts nothing.
  test::Ran refused = Cli({"png", jpeg, out, "--slot", "pic0"});
  EXPECT_TRUE(
      test::Said(refused, 1, {"The selected PIC0.PNG file is not valid! (invalid signature)"}));
  EXPECT_EQ(test::ReadFileBytes(out), test::ReadFileBytes(dir / "wide.png"));
  EXPECT_FALSE(FileExists(out + ".part"));
  EXPECT_NE(png({"--mode", "4"}, jpeg).exit, 0);
  EXPECT_NE(Cli({"png", jpeg, out}).exit, 0);  // no slot
}

// The manual's layout is the docmaker tests'; here, pages made, skipped, refused and taken
// out again.
TEST(PictureCommands, DocMakeAndExtract) {
  TempDir dir;
  const std::string page = dir / "page.png", dat = dir / "DOCUMENT.DAT";
  ASSERT_TRUE(test::DrawWithImageMagick("-size 2x2 xc:red", "BMP3:" + (dir / "page.bmp")));
  ASSERT_EQ(Cli({"png", dir / "page.bmp", page, "--slot", "icon0", "--mode", "0"}).exit, 0);
  test::Ran make =
      Cli({"doc", "make", dat, "--id", "SLUS01234", page, dir / "missing.png", dir / "page.bmp"});
  EXPECT_TRUE(test::Said(make, 0, {"2 of 3 pages stored"}));
  const Bytes d = test::ReadFileBytes(dat);
  ASSERT_GT(d.size(), 21u);
  EXPECT_EQ(std::string(d.begin() + 12, d.begin() + 21), "SLUS01234");
  test::Ran badId = Cli({"doc", "make", dir / "x.dat", "--id", "SLUS1", page});
  EXPECT_TRUE(test::Said(
      badId, 1, {"Please enter a valid Game ID (must be 9 characters according to tarnwick)!"}));
  EXPECT_FALSE(FileExists(dir / "x.dat"));

  test::Ran extract = Cli({"doc", "extract", dat, dir / "pages"});
  EXPECT_TRUE(test::Said(extract, 0));
  EXPECT_EQ(test::ReadFileBytes(dir / "pages/00000.png"), test::ReadFileBytes(page));
  EXPECT_FALSE(FileExists(dir / "pages/00001.png"));
  // The bitmap page was converted to a PNG of its own size on the way in.
  EXPECT_EQ(PngSize(dir / "pages/00002.png"), (std::pair<uint32_t, uint32_t>{2, 2}));
}

}  // namespace
}  // namespace ebf
