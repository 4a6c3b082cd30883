// The command line says and does what the windows do: `info` prints what the inspection
// notes, `palfix` on a package patches its disc image only, and a package run that needs a
// file to rebuild into says so. (Which pictures a rebuild refuses: the engine's package job
// tests; the words of the inspection: the pbp tests.)
#include "cli/cli_run.h"
#include "support/pbp_writer.h"

namespace ebf {
namespace {

using test::Cli;
using test::Ran;
using test::TempDir;

constexpr uint8_t kScreenPattern[8] = {0x13, 0x00, 0x91, 0x24, 0x10, 0x00, 0x91, 0x24};
constexpr uint8_t kScreenPatched[8] = {0x00, 0x00, 0x91, 0x24, 0x00, 0x00, 0x91, 0x24};

// What the command prints of a package whose disc image is cut short.
TEST(CliAgreesWithTheWindow, InfoPrintsWhatTheInspectionNotes) {
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
  EXPECT_TRUE(test::Said(info, 0,
                         {"Title:     Short Game\nGame ID:   ", "Save name: Short Save",
                          "Disc image: The EBOOT \"" + (dir / "cut.pbp") +
                              "\" is cut short: its disc image index ends at byte " +
                              std::to_string(w.psar + 0x100000) + ", beyond the end of the file (" +
                              std::to_string(cut.size()) + " bytes)."}));
  EXPECT_FALSE(info.Says("Discs:")) << info.out;  // one disc: nothing said of discs
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
  EXPECT_TRUE(test::Said(listed, 0, {expected, "1 found (file unchanged)"}));
  EXPECT_FALSE(listed.Says(wrong)) << listed.out;

  // Patched by the command and by a conversion's own fix of a package: the disc image only.
  const auto imageOnlyFixed = [&](const std::string& file) {
    const Bytes b = test::ReadFileBytes(file);
    return std::equal(kScreenPattern, kScreenPattern + 8, b.begin() + inIcon) &&
           std::equal(kScreenPatched, kScreenPatched + 8, b.begin() + inImage);
  };
  std::filesystem::copy_file(dir / "EBOOT.PBP", dir / "applied.pbp");
  ASSERT_EQ(Cli({"palfix", dir / "applied.pbp", "--screen", "--apply"}).exit, 0);
  EXPECT_TRUE(imageOnlyFixed(dir / "applied.pbp"));
  Ran converted = Cli({"--yes", "convert", dir / "EBOOT.PBP", "--pal-screen"});
  EXPECT_TRUE(test::Said(converted, 0, {"PAL -> NTSC fix: 1 change(s)"}));
  EXPECT_TRUE(imageOnlyFixed(dir / "EBOOT.PBP"));

  // A package without its disc-image header is refused as a package job refuses it.
  Bytes bad = test::ReadFileBytes(dir / "applied.pbp");
  bad[w.psar] = 'X';
  test::WriteFileBytes(dir / "bad.pbp", bad);
  Ran refused = Cli({"palfix", dir / "bad.pbp", "--screen"});
  EXPECT_TRUE(test::Said(
      refused, 1, {"The selected EBOOT doesn't appear to be valid!  (PSAR header not found)"}));
}

TEST(CliAgreesWithTheWindow, ARebuildSaysWhereItMustGo) {
  TempDir dir;
  test::PackageRecipe recipe;
  recipe.image = Bytes(test::kTestBlockSize, 0x33);
  test::WritePbp(dir / "EBOOT.PBP", recipe);
  const Bytes source = test::ReadFileBytes(dir / "EBOOT.PBP");
  ASSERT_TRUE(test::DrawWithImageMagick("-size 480x272 gradient:red-blue", dir / "pic1.png"));

  // The new picture does not fit; the question and the missing file are named.
  Ran asked = Cli({"convert", dir / "EBOOT.PBP", "--pic1", dir / "pic1.png"});
  EXPECT_TRUE(test::Said(asked, 2,
                         {"the EBOOT needs to be reconstructed",
                          "(not answered: run again with --yes -o NEW.PBP to rebuild into a new "
                          "file)"}));
  Ran yes = Cli({"--yes", "convert", dir / "EBOOT.PBP", "--pic1", dir / "pic1.png"});
  EXPECT_TRUE(test::Said(
      yes, 1, {"the new pictures do not fit: give -o NEW.PBP to rebuild into a new file"}));
  EXPECT_FALSE(yes.Says("not answered")) << yes.out;
  EXPECT_EQ(test::ReadFileBytes(dir / "EBOOT.PBP"), source);
  Ran rebuilt = Cli(
      {"--yes", "convert", dir / "EBOOT.PBP", "--pic1", dir / "pic1.png", "-o", dir / "new.pbp"});
  EXPECT_TRUE(test::Said(rebuilt, 0));
  EXPECT_TRUE(FileExists(dir / "new.pbp"));
}

}  // namespace
}  // namespace ebf
