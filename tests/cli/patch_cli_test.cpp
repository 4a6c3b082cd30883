// Patches and LibCrypt from the command line, one disc through every command that meets
// them: resolve shows the key and the patch beside the image, patch writes the patched image,
// convert --yes takes the patch beside the image and writes EBOOT.sbi, extract brings the
// .sbi back beside the image it writes.
#include <gtest/gtest.h>

#include "common/files.h"
#include "support/disc_builder.h"
#include "support/inflating_reader.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

test::ProcessResult Cli(const std::vector<std::string>& args) {
  return test::RunProcess(test::PrivateCli(), args, {});
}

TEST(PatchCli, ResolvePatchConvertAndExtractMeetThePatchAndTheLibCryptData) {
  test::TempDir dir;
  test::IsoOptions o = test::GameDisc("SLES_012.34", test::NoiseBytes(20000, 3));
  o.minSectors = 120;
  const Bytes image = test::BuildDiscImage(o, test::SectorLayout::Mode2Raw);
  test::WriteFileBytes(dir / "game.bin", image);
  // PPF 1.0: "FIXED" at 2350, across the edge of sectors 0 and 1.
  Bytes ppf = {'P', 'P', 'F', '1', '0', 0};
  ppf.resize(56, ' ');
  const Bytes record = {0x2E, 0x09, 0x00, 0x00, 0x05, 'F', 'I', 'X', 'E', 'D'};
  ppf.insert(ppf.end(), record.begin(), record.end());
  test::WriteFileBytes(dir / "game.ppf", ppf);
  // Key bit 0: sector 16167 (03:35:42).
  Bytes sbi = {'S', 'B', 'I', 0, 0x03, 0x35, 0x42, 1, 0x41, 1, 1, 3, 0x33, 0x43, 0, 3, 0x35, 0x40};
  test::WriteFileBytes(dir / "game.sbi", sbi);
  Bytes patched = image;
  for (int i = 0; i < 5; ++i) patched[2350 + i] = static_cast<uint8_t>("FIXED"[i]);

  test::ProcessResult r = Cli({"resolve", dir / "game.bin"});
  EXPECT_NE(r.output.find("libcrypt key = 0x0001 (game.sbi)\n"), std::string::npos) << r.output;
  EXPECT_NE(r.output.find("patch = " + dir / "game.ppf" + "\n"), std::string::npos) << r.output;

  r = Cli({"patch", dir / "game.bin", dir / "game.ppf", "-o", dir / "patched.bin"});
  ASSERT_EQ(r.exitCode, 0) << r.output;
  EXPECT_TRUE(test::ReadFileBytes(dir / "patched.bin") == patched);

  r = Cli({"convert", dir / "game.bin", "-o", dir / "out", "--level", "1", "--yes"});
  ASSERT_EQ(r.exitCode, 0) << r.output;
  EXPECT_NE(r.output.find("A patch lies beside the disc image:\n" + dir / "game.ppf"),
            std::string::npos)
      << r.output;
  test::InflatingReader reader(dir / "out/EBOOT.PBP");
  Bytes disc;
  ASSERT_EQ(reader.ReadSectors(0, static_cast<uint32_t>(image.size() / 2352), disc), "");
  EXPECT_TRUE(disc == patched);
  EXPECT_TRUE(test::ReadFileBytes(dir / "out/EBOOT.sbi") == sbi);
  EXPECT_TRUE(test::ReadFileBytes(dir / "game.bin") == image);

  r = Cli({"extract", dir / "out/EBOOT.PBP", dir / "back.bin", "--toc", "none"});
  ASSERT_EQ(r.exitCode, 0) << r.output;
  EXPECT_TRUE(test::ReadFileBytes(dir / "back.sbi") == sbi);
}

}  // namespace
}  // namespace ebf
