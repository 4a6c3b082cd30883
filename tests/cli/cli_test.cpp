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

// What a batch finds and skips is the library's tests'; here, the summary lines and the
// report file.
TEST(Cli, BatchConvertsAndSkipsWhatIsThere) {
  TempDir dir;
  dir.MakeDir("games");
  test::WriteFileBytes(
      dir / "games/game0.bin",
      test::BuildDiscImage(test::GameDisc("SLUS_012.34", test::NoiseBytes(30000, 0)),
                           test::SectorLayout::Mode2Raw));
  test::WriteFileText(dir / "games/game0.cue",
                      "FILE \"game0.bin\" BINARY\n TRACK 01 MODE2/2352\n INDEX 01 00:00:00\n");
  test::Ran r = Cli({"--yes", "batch", dir / "games", "-o", dir / "out", "--level", "1"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(r.Says("1 of 1 converted.")) << r.out;
  EXPECT_TRUE(r.Says("SLUS01234")) << r.out;
  // Again, without --yes: the package is there already, so the game is skipped (no
  // failure), and the report says so.
  r = Cli({"batch", dir / "games", "-o", dir / "out", "--report", dir / "report.csv"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(r.Says("0 done, 0 failed, 1 skipped in ")) << r.out;
  const std::string report = test::ReadFileText(dir / "report.csv");
  EXPECT_NE(report.find(",Skipped,exists,"), std::string::npos) << report;
  EXPECT_NE(report.find("\r\n0,0,1,0,0,"), std::string::npos) << report;
}

}  // namespace
}  // namespace ebf
