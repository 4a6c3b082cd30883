// The command line says and does what the windows do: `info` prints what the inspection
// opens and refuses it in its words, `png` takes, converts and refuses what an asset slot
// does, `palfix` on a package patches its disc image only, a package run that needs a file
// to rebuild into says so, and a rebuild refuses the pictures a new package refuses.
#include "assets/convert.h"
#include "cli/cli_run.h"
#include "imaging/dib.h"
#include "support/disc_builder.h"
#include "support/pbp_writer.h"

namespace ebf {
namespace {

using test::Cli;
using test::PngSize;
using test::Ran;
using test::TempDir;

constexpr uint8_t kScreenPattern[8] = {0x13, 0x00, 0x91, 0x24, 0x10, 0x00, 0x91, 0x24};
constexpr uint8_t kScreenPatched[8] = {0x00, 0x00, 0x91, 0x24, 0x00, 0x00, 0x91, 0x24};

// That `info` opens and refuses what the inspection does is the pbp tests'; here, what the
// command prints of a package whose disc image is cut short, and a refusal's exit.
TEST(CliAgreesWithTheWindow, InfoOpensAndRefusesWhatTheInspectionDoes) {
  TempDir dir;
  test::PackageRecipe recipe;
  recipe.title = "Short Game";
  recipe.saveName = "Short Save";
  recipe.image = Bytes(test::kTestBlockSize * 2, 0x22);
  test::PbpWritten w = test::WritePbp(dir / "full.pbp", recipe);
  const Bytes full = test::ReadFileBytes(dir / "full.pbp");
  // Cut after the disc-image header, the start-data block moved up behind it.
  Bytes cut(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(w.psar + 0x5000));
  cut.insert(cut.end(), full.begin() + static_cast<std::ptrdiff_t>(w.startData), full.end());
  StoreLe32(&cut[w.psar + 12], 0x5000);
  test::WriteFileBytes(dir / "cut.pbp", cut);
  Ran info = Cli({"info", dir / "cut.pbp"});
  EXPECT_EQ(info.exit, 0) << info.out;
  EXPECT_TRUE(info.Says("Title:     Short Game")) << info.out;
  EXPECT_TRUE(info.Says("Save name: Short Save")) << info.out;
  EXPECT_FALSE(info.Says("Discs:")) << info.out;  // one disc: nothing said of discs
  EXPECT_TRUE(info.Says("Disc image: The EBOOT \"" + (dir / "cut.pbp") +
                        "\" is cut short: its disc image index ends at byte " +
                        std::to_string(w.psar + 0x100000) + ", beyond the end of the file (" +
                        std::to_string(cut.size()) + " bytes)."))
      << info.out;

  Bytes damaged = full;
  StoreLe32(&damaged[w.startData + 20], 0x00FFFFFF);  // a boot picture past the end
  test::WriteFileBytes(dir / "damaged.pbp", damaged);
  Ran refused = Cli({"info", dir / "damaged.pbp"});
  EXPECT_EQ(refused.exit, 1);
  EXPECT_TRUE(refused.Says("The EBOOT \"" + (dir / "damaged.pbp") +
                           "\" is damaged: its boot picture (16777215 bytes at byte " +
                           std::to_string(w.startData + 80) + ") runs past the end of the file (" +
                           std::to_string(damaged.size()) + " bytes)."))
      << refused.out;
}

// The sizes a slot draws at and the words of its refusals are the assets tests'; here, the
// command takes what the slot takes, makes the very PNG a run makes, and refuses as it does.
TEST(CliAgreesWithTheWindow, PngTakesConvertsAndRefusesAsTheSlotDoes) {
  TempDir dir;
  // A PNG within the slot's limits is the slot's file as it is: not resized, not rewritten.
  ASSERT_TRUE(test::DrawWithImageMagick("-size 300x200 gradient:red-blue", dir / "wide.png"));
  Ran taken = Cli({"png", dir / "wide.png", dir / "out.png", "--slot", "pic1", "--mode", "2"});
  EXPECT_EQ(taken.exit, 0) << taken.out;
  EXPECT_EQ(test::ReadFileBytes(dir / "out.png"), test::ReadFileBytes(dir / "wide.png"));
  EXPECT_TRUE(taken.Says("taken as it is")) << taken.out;

  // Other pictures are drawn at the slot's size: a 640x480 JPEG fit into PIC1 is 363x272.
  ASSERT_TRUE(test::DrawWithImageMagick("-size 640x480 gradient:green-black", dir / "photo.jpg"));
  Ran fit = Cli({"png", dir / "photo.jpg", dir / "fit.png", "--slot", "pic1", "--mode", "3"});
  EXPECT_EQ(fit.exit, 0) << fit.out;
  EXPECT_EQ(PngSize(dir / "fit.png"), (std::pair<uint32_t, uint32_t>{363, 272}));
  EXPECT_TRUE(test::PngcheckAccepts(dir / "fit.png"));
  TempDir prog;
  std::string runPath = dir / "photo.jpg";
  c32bppDIB image;
  ASSERT_TRUE(ConvertSlotPictureToPng(prog.folder(), runPath, "PIC1", image, 480, 272, 3, false));
  EXPECT_EQ(test::ReadFileBytes(dir / "fit.png"), test::ReadFileBytes(runPath));
  EXPECT_EQ(Cli({"png", dir / "photo.jpg", dir / "s.png", "--slot", "boot", "--mode", "2"}).exit,
            0);
  EXPECT_EQ(PngSize(dir / "s.png"), (std::pair<uint32_t, uint32_t>{480, 272}));

  // What the slot refuses gets the slot's own words, and an existing output stays. PIC0
  // converts nothing.
  test::WriteFileText(dir / "keep.png", "mine");
  const char* refusals[][3] = {
      {"photo.jpg", "pic0", "The selected PIC0.PNG file is not valid! (invalid signature)"},
      {"none.png", "icon0", "The ICON0.PNG file doesn't exist!"}};
  for (const auto& [input, slot, message] : refusals) {
    Ran refused = Cli({"png", dir / input, dir / "keep.png", "--slot", slot});
    EXPECT_EQ(refused.exit, 1) << input;
    EXPECT_TRUE(refused.Says(message)) << refused.out;
    EXPECT_EQ(test::ReadFileText(dir / "keep.png"), "mine");
    EXPECT_FALSE(FileExists(dir / "keep.png.part"));
  }
  EXPECT_NE(Cli({"png", dir / "wide.png", dir / "x.png", "--slot", "snd0"}).exit, 0);
}

TEST(CliAgreesWithTheWindow, PalFixOnAPackageScansItsDiscImageOnly) {
  TempDir dir;
  test::PackageRecipe recipe;
  recipe.level = 0;  // stored blocks: the game's code lies in the file as it is
  recipe.icon0 = test::NoiseBytes(600, 4);
  std::copy(kScreenPattern, kScreenPattern + 8, recipe.icon0.begin() + 100);  // not game code
  recipe.image = test::NoiseBytes(test::kTestBlockSize, 5);
  std::copy(kScreenPattern, kScreenPattern + 8, recipe.image.begin() + 4001);
  // Nor is the start-data block after the disc image.
  recipe.tail = Bytes(kScreenPattern, kScreenPattern + 8);
  test::PbpWritten w = test::WritePbp(dir / "EBOOT.PBP", recipe);
  const uint64_t inIcon = w.offsets[1] + 100;
  const uint64_t inImage = w.psar + 0x100000 + 4001;
  char expected[64];
  std::snprintf(expected, sizeof expected, "0x%08llX screen height",
                static_cast<unsigned long long>(inImage));
  char wrong[32];
  std::snprintf(wrong, sizeof wrong, "0x%08llX", static_cast<unsigned long long>(inIcon));

  Ran listed = Cli({"palfix", dir / "EBOOT.PBP", "--screen"});
  EXPECT_EQ(listed.exit, 0) << listed.out;
  EXPECT_TRUE(listed.Says(expected)) << listed.out;
  EXPECT_FALSE(listed.Says(wrong)) << listed.out;
  EXPECT_TRUE(listed.Says("1 found (file unchanged)")) << listed.out;

  std::filesystem::copy_file(dir / "EBOOT.PBP", dir / "applied.pbp");
  ASSERT_EQ(Cli({"palfix", dir / "applied.pbp", "--screen", "--apply"}).exit, 0);
  const Bytes applied = test::ReadFileBytes(dir / "applied.pbp");
  EXPECT_TRUE(std::equal(kScreenPattern, kScreenPattern + 8, applied.begin() + inIcon));
  EXPECT_TRUE(std::equal(kScreenPatched, kScreenPatched + 8, applied.begin() + inImage));

  // The conversion's own fix of a package patches the very same bytes.
  Ran converted = Cli({"--yes", "convert", dir / "EBOOT.PBP", "--pal-screen"});
  EXPECT_EQ(converted.exit, 0) << converted.out;
  EXPECT_TRUE(converted.Says("PAL -> NTSC fix: 1 change(s)")) << converted.out;
  const Bytes viaConvert = test::ReadFileBytes(dir / "EBOOT.PBP");
  EXPECT_TRUE(std::equal(kScreenPattern, kScreenPattern + 8, viaConvert.begin() + inIcon));
  EXPECT_TRUE(std::equal(kScreenPatched, kScreenPatched + 8, viaConvert.begin() + inImage));

  // A package without its disc-image header is refused as a package job refuses it.
  Bytes bad = test::ReadFileBytes(dir / "applied.pbp");
  bad[w.psar] = 'X';
  test::WriteFileBytes(dir / "bad.pbp", bad);
  Ran refused = Cli({"palfix", dir / "bad.pbp", "--screen"});
  EXPECT_EQ(refused.exit, 1);
  EXPECT_TRUE(
      refused.Says("The selected EBOOT doesn't appear to be valid!  (PSAR header not found)"));
}

TEST(CliAgreesWithTheWindow, ARebuildSaysWhereItMustGoAndRefusesWhatANewPackageRefuses) {
  TempDir dir;
  test::PackageRecipe recipe;
  recipe.image = Bytes(test::kTestBlockSize, 0x33);
  test::WritePbp(dir / "EBOOT.PBP", recipe);
  const Bytes source = test::ReadFileBytes(dir / "EBOOT.PBP");
  ASSERT_TRUE(test::DrawWithImageMagick("-size 480x272 gradient:red-blue", dir / "pic1.png"));

  // The new picture does not fit; the question and the missing file are named.
  Ran asked = Cli({"convert", dir / "EBOOT.PBP", "--pic1", dir / "pic1.png"});
  EXPECT_EQ(asked.exit, 2);
  EXPECT_TRUE(asked.Says("the EBOOT needs to be reconstructed")) << asked.out;
  EXPECT_TRUE(
      asked.Says("(not answered: run again with --yes -o NEW.PBP to rebuild into a new "
                 "file)"))
      << asked.out;
  Ran yes = Cli({"--yes", "convert", dir / "EBOOT.PBP", "--pic1", dir / "pic1.png"});
  EXPECT_EQ(yes.exit, 1);
  EXPECT_TRUE(yes.Says("the new pictures do not fit: give -o NEW.PBP to rebuild into a new file"))
      << yes.out;
  EXPECT_FALSE(yes.Says("not answered")) << yes.out;
  EXPECT_EQ(test::ReadFileBytes(dir / "EBOOT.PBP"), source);
  Ran rebuilt = Cli(
      {"--yes", "convert", dir / "EBOOT.PBP", "--pic1", dir / "pic1.png", "-o", dir / "new.pbp"});
  EXPECT_EQ(rebuilt.exit, 0) << rebuilt.out;
  EXPECT_TRUE(FileExists(dir / "new.pbp"));

  // A file a new package refuses is refused by the rebuild in the same words (the assets
  // tests pin each refusal), before the question and before anything is written.
  test::WriteFileBytes(dir / "game.iso", test::BuildIsoSectors(test::GameDisc("SLUS_005.94")));
  test::WriteFileText(dir / "seven.pmf", "PSMF123");
  const std::string message = "The ICON1.PMF file is WAY too small to be valid.";
  const std::pair<std::string, std::string> runs[] = {{dir / "game.iso", dir / "out/EBOOT.PBP"},
                                                      {dir / "EBOOT.PBP", dir / "refused.pbp"}};
  for (const auto& [input, output] : runs) {
    Ran refused = Cli({"--yes", "convert", input, "--icon1", dir / "seven.pmf", "-o",
                       output == dir / "refused.pbp" ? output : dir / "out"});
    EXPECT_EQ(refused.exit, 1) << input;
    EXPECT_TRUE(refused.Says(message)) << input << "\n" << refused.out;
    EXPECT_FALSE(refused.Says("reconstructed")) << refused.out;
    EXPECT_FALSE(FileExists(output)) << input;
  }
  EXPECT_EQ(test::ReadFileBytes(dir / "EBOOT.PBP"), source);
  // Eight bytes of PSMF pass ICON1's deliberate minimum, as they do for a new package.
  test::WriteFileText(dir / "eight.pmf", "PSMF1234");
  EXPECT_EQ(Cli({"--yes", "convert", dir / "EBOOT.PBP", "--icon1", dir / "eight.pmf", "-o",
                 dir / "eight.pbp"})
                .exit,
            0);
}

}  // namespace
}  // namespace ebf
