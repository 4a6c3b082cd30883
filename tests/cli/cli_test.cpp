// The command-line program as a user runs it: real processes, real files.
#include "cli/cli_run.h"
#include "support/disc_builder.h"

namespace ebf {
namespace {

using test::Cli;
using test::TempDir;

// Reading and editing the file are the app's tests'; here, `settings` shows the values in
// effect in the writer's order, and `set` edits the file it is given.
TEST(Cli, SettingsShowsTheEffectiveValuesAndSetChangesTheFile) {
  TempDir dir;
  const std::string ini = dir / "t.ini";
  test::WriteFileText(ini, "ShowCust = 10\r\nDefGameID = SCUS-94476\r\n");
  test::Ran r = Cli({"settings", "--ini", ini});
  EXPECT_EQ(r.exit, 0);
  EXPECT_TRUE(r.Says("ShowCust = 0\n")) << r.out;
  EXPECT_LT(r.out.find("DefaultImagePath"), r.out.find("Theme ="));
  EXPECT_EQ(Cli({"--version"}).exit, 0);
  r = Cli({"settings", "set", "showcust", "1", "--ini", ini});
  EXPECT_EQ(r.out, "ShowCust = 1\n");
  EXPECT_EQ(test::ReadFileText(ini), "ShowCust = 1\r\nDefGameID = SCUS-94476\r\n");
  EXPECT_EQ(Cli({"settings", "set", "ShowCust", "10", "--ini", ini}).exit, 1);
  EXPECT_EQ(test::ReadFileText(ini), "ShowCust = 1\r\nDefGameID = SCUS-94476\r\n");
}

TEST(Cli, BatchConvertsEveryGameOnceAndSkipsWhatIsThere) {
  TempDir dir;
  dir.MakeDir("games/more");
  const char* ids[] = {"SLUS_012.34", "SCES_003.44", "SLPS_001.11"};
  for (int i = 0; i < 3; ++i) {
    const Bytes raw = test::BuildDiscImage(test::GameDisc(ids[i], test::NoiseBytes(30000, i)),
                                           test::SectorLayout::Mode2Raw);
    test::WriteFileBytes(
        dir / (i < 2 ? "games/game" : "games/more/game") + std::to_string(i) + ".bin", raw);
  }
  // A CUE with its BIN: converted once, through the sheet.
  test::WriteFileText(dir / "games/game0.cue",
                      "FILE \"game0.bin\" BINARY\n TRACK 01 MODE2/2352\n INDEX 01 00:00:00\n");
  test::Ran r = Cli({"--yes", "batch", dir / "games", "-o", dir / "out", "--level", "1"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(r.Says("3 of 3 converted.")) << r.out;
  int packages = 0;
  for (auto& e : std::filesystem::recursive_directory_iterator(dir / "out"))
    packages += e.path().filename() == "EBOOT.PBP";
  EXPECT_EQ(packages, 3);
  for (const char* id : {"SLUS01234", "SCES00344", "SLPS00111"}) EXPECT_TRUE(r.Says(id)) << id;

  // Again, without --yes: every package is there already, so every game is skipped (no
  // failure), and the report says so.
  r = Cli({"batch", dir / "games", "-o", dir / "out", "--report", dir / "report.csv"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(r.Says("0 done, 0 failed, 3 skipped in ")) << r.out;
  const std::string report = test::ReadFileText(dir / "report.csv");
  std::size_t skipped = 0;
  for (std::size_t at = 0; (at = report.find(",Skipped,exists,", at)) != std::string::npos; ++at)
    ++skipped;
  EXPECT_EQ(skipped, 3u) << report;
  EXPECT_NE(report.find("\r\n0,0,3,0,0,"), std::string::npos) << report;
}

}  // namespace
}  // namespace ebf
