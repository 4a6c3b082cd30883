// Patches and LibCrypt from the command line, a game on two discs: resolve shows disc 1's key
// and the patch beside it, patch writes the patched image, convert --yes takes that patch and
// --patch 2:FILE for disc 2. (The .sbi files beside a package and beside extracted images:
// the engine's patched-conversion tests and the window's package dialog tests.)
#include "cli/cli_run.h"

#include "support/disc_builder.h"
#include "support/inflating_reader.h"

namespace ebf {
namespace {

using test::Cli;

TEST(PatchCli, ResolvePatchConvertAndExtractMeetThePatchesAndTheLibCryptData) {
  test::TempDir dir;
  test::IsoOptions o = test::GameDisc("SLES_012.34", test::NoiseBytes(20000, 3));
  o.minSectors = 120;
  const Bytes image = test::BuildDiscImage(o, test::SectorLayout::Mode2Raw);
  const std::string one = dir / "Game (Disc 1).bin", two = dir / "Game (Disc 2).bin";
  test::WriteFileBytes(one, image);
  test::WriteFileBytes(two, image);
  // Disc 1: a PPF 1.0 beside it ("FIXED" at 2350, across the edge of sectors 0 and 1) and
  // LibCrypt data (key bit 0: sector 16167, 03:35:42). Disc 2: an IPS named on the line.
  Bytes ppf = {'P', 'P', 'F', '1', '0', 0};
  ppf.resize(56, ' ');
  const Bytes record = {0x2E, 0x09, 0x00, 0x00, 0x05, 'F', 'I', 'X', 'E', 'D'};
  ppf.insert(ppf.end(), record.begin(), record.end());
  test::WriteFileBytes(dir / "Game (Disc 1).ppf", ppf);
  test::WriteFileText(dir / "fix.ips", std::string("PATCH\0\x09\x2E\0\x03ipsEOF", 16));
  test::WriteFileBytes(dir / "Game (Disc 1).sbi", Bytes{'S', 'B', 'I', 0, 3, 0x35, 0x42, 1, 0x41, 1,
                                                        1, 3, 0x33, 0x43, 0, 3, 0x35, 0x40});
  Bytes fixed = image, ips = image;
  for (int i = 0; i < 5; ++i) fixed[2350 + i] = static_cast<uint8_t>("FIXED"[i]);
  for (int i = 0; i < 3; ++i) ips[2350 + i] = static_cast<uint8_t>("ips"[i]);

  test::Ran r = Cli({"resolve", one});
  EXPECT_TRUE(r.Says("libcrypt key = 0x0001 (Game (Disc 1).sbi)\n")) << r.out;
  EXPECT_TRUE(r.Says("patch = " + dir / "Game (Disc 1).ppf\n")) << r.out;

  r = Cli({"patch", one, dir / "Game (Disc 1).ppf", "-o", dir / "patched.bin"});
  ASSERT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(test::ReadFileBytes(dir / "patched.bin") == fixed);

  r = Cli({"convert", one, two, "--patch", "2:" + dir / "fix.ips", "-o", dir / "out", "--level",
           "1", "--yes"});
  ASSERT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(r.Says("A patch lies beside the disc image:\n" + dir / "Game (Disc 1).ppf")) << r.out;
  // Disc 1 takes the patch beside it, disc 2 the one named for it.
  for (const auto& [disc, expected] : {std::pair{1, fixed}, std::pair{2, ips}}) {
    test::InflatingReader reader(dir / "out/EBOOT.PBP", disc);
    Bytes back;
    ASSERT_EQ(reader.ReadSectors(0, static_cast<uint32_t>(image.size() / 2352), back), "");
    EXPECT_TRUE(back == expected) << disc;
  }
  EXPECT_TRUE(test::ReadFileBytes(one) == image);
}

}  // namespace
}  // namespace ebf
