// The png and doc commands as a user runs them.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>

#include "common/bytes.h"
#include "common/files.h"
#include "support/picture_tools.h"
#include "support/program_tree.h"
#include "support/runtime.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::ShellQuote;
using test::TempDir;

struct CliRun {
  int exit = -1;
  std::string out;
};

CliRun RunCli(const std::string& args) {
  const std::string cmd = ShellQuote(test::PrivateCli()) + " " + args + " 2>&1";
  CliRun r;
  FILE* pipe = popen(cmd.c_str(), "r");
  if (!pipe) return r;
  std::array<char, 4096> buf;
  std::size_t n;
  while ((n = fread(buf.data(), 1, buf.size(), pipe)) > 0) r.out.append(buf.data(), n);
  const int status = pclose(pipe);
  r.exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return r;
}

std::pair<uint32_t, uint32_t> PngSize(const std::string& path) {
  const Bytes png = test::ReadFileBytes(path);
  if (png.size() < 24) return {0, 0};
  return {LoadBe32(&png[16]), LoadBe32(&png[20])};
}

TEST(PictureCommands, PngConvertsLikeASlot) {
  if (!test::HaveTool("convert")) GTEST_SKIP() << "ImageMagick convert is not installed";
  TempDir dir;
  const std::string jpeg = dir / "photo.jpg";
  ASSERT_TRUE(test::RunQuiet("convert -size 640x480 gradient:red-blue " + ShellQuote(jpeg)));
  const std::string out = dir / "out.png";
  CliRun fit =
      RunCli("png " + ShellQuote(jpeg) + " " + ShellQuote(out) + " --size 480x272 --mode 3");
  EXPECT_EQ(fit.exit, 0) << fit.out;
  EXPECT_EQ(PngSize(out), (std::pair<uint32_t, uint32_t>{363, 272}));
  CliRun fill = RunCli("png " + ShellQuote(jpeg) + " " + ShellQuote(out) +
                       " --size 480x272 --mode 1 --centre");
  EXPECT_EQ(fill.exit, 0) << fill.out;
  EXPECT_EQ(PngSize(out), (std::pair<uint32_t, uint32_t>{480, 272}));
  if (test::HaveTool("pngcheck")) {
    EXPECT_TRUE(test::RunQuiet("pngcheck " + ShellQuote(out)));
  }

  EXPECT_NE(RunCli("png " + ShellQuote(jpeg) + " " + ShellQuote(out) + " --size 480").exit, 0);
  EXPECT_NE(RunCli("png " + ShellQuote(jpeg) + " " + ShellQuote(out) + " --size 4x4 --mode 4").exit,
            0);
  test::WriteFileText(dir / "text.jpg", "not a picture");
  CliRun bad = RunCli("png " + ShellQuote(dir / "text.jpg") + " " + ShellQuote(dir / "x.png") +
                      " --size 10x10");
  EXPECT_EQ(bad.exit, 1);
  EXPECT_FALSE(FileExists(dir / "x.png"));
}

TEST(PictureCommands, DocMakeAndExtract) {
  TempDir dir;
  // Two pages made by the png command itself from a bitmap we write here.
  Bytes bmp = {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0};
  for (uint32_t v : {40u, 2u, 2u}) AppendLe32(bmp, v);
  AppendLe16(bmp, 1);
  AppendLe16(bmp, 24);
  for (int i = 0; i < 6; ++i) AppendLe32(bmp, 0);
  for (uint8_t b : {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0}) bmp.push_back(b);
  test::WriteFileBytes(dir / "page.bmp", bmp);
  const std::string page = dir / "page.png";
  ASSERT_EQ(
      RunCli("png " + ShellQuote(dir / "page.bmp") + " " + ShellQuote(page) + " --size 2x2").exit,
      0);

  const std::string dat = dir / "DOCUMENT.DAT";
  CliRun make = RunCli("doc make " + ShellQuote(dat) + " --id SLUS01234 " + ShellQuote(page) + " " +
                       ShellQuote(dir / "missing.png") + " " + ShellQuote(dir / "page.bmp"));
  EXPECT_EQ(make.exit, 0) << make.out;
  EXPECT_NE(make.out.find("2 of 3 pages stored"), std::string::npos) << make.out;
  const Bytes d = test::ReadFileBytes(dat);
  ASSERT_GT(d.size(), 144u + 3 * 128);
  EXPECT_EQ(std::string(d.begin() + 12, d.begin() + 21), "SLUS01234");
  EXPECT_EQ(LoadLe32(&d[132]), 3u);

  CliRun badId =
      RunCli("doc make " + ShellQuote(dir / "x.dat") + " --id SLUS1 " + ShellQuote(page));
  EXPECT_EQ(badId.exit, 2);
  EXPECT_NE(
      badId.out.find("Please enter a valid Game ID (must be 9 characters according to tarnwick)!"),
      std::string::npos);
  EXPECT_FALSE(FileExists(dir / "x.dat"));

  const std::string folder = dir / "pages";
  CliRun extract = RunCli("doc extract " + ShellQuote(dat) + " " + ShellQuote(folder));
  EXPECT_EQ(extract.exit, 0) << extract.out;
  EXPECT_EQ(test::ReadFileBytes(folder + "/00000.png"), test::ReadFileBytes(page));
  EXPECT_FALSE(FileExists(folder + "/00001.png"));
  // The bitmap page was converted to a PNG of its own size on the way in.
  EXPECT_EQ(PngSize(folder + "/00002.png"), (std::pair<uint32_t, uint32_t>{2, 2}));
}

}  // namespace
}  // namespace ebf
