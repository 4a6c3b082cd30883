// The command-line program as a user runs it: real processes, real files.
#include "cli/cli_run.h"
#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/disc_builder.h"
#include "support/ecm_writer.h"

namespace ebf {
namespace {

using test::Cli;
using test::TempDir;

// Reading and editing the file (a refused value leaves it as it was) are the app's tests';
// here, `settings` shows the values in effect in the writer's order, and `set` edits the file
// it is given. (A refused value's words and exit: the JSON test.)
TEST(Cli, SettingsShowsTheEffectiveValuesAndSetChangesTheFile) {
  TempDir dir;
  const std::string ini = dir / "t.ini";
  test::WriteFileText(ini, "ShowCust = 10\r\nDefGameID = SCUS-94476\r\n");
  test::Ran r = Cli({"settings", "--ini", ini});
  EXPECT_TRUE(test::Said(r, 0, {"ShowCust = 0\n"}));
  EXPECT_LT(r.out.find("DefaultImagePath"), r.out.find("Theme ="));
  EXPECT_EQ(Cli({"--version"}).exit, 0);
  r = Cli({"settings", "set", "showcust", "1", "--ini", ini});
  EXPECT_EQ(r.out, "ShowCust = 1\n");
  EXPECT_EQ(test::ReadFileText(ini), "ShowCust = 1\r\nDefGameID = SCUS-94476\r\n");
}

// What a batch finds and skips is the library's tests'; here, CHDs, lone ECM files and
// ECM-packed sets (found through their sheet, not their packed track files) converted once
// each, the summary lines and the report file; and the chd, ecm and rip commands on those
// discs. (A CHD's tracks and the image commands' refusals: the disc tests.)
TEST(Cli, BatchOfPackedDiscsAndTheImageCommands) {
  TempDir dir;
  const std::string games = dir.MakeDir("games"), chd = dir.MakeDir("games/chd") + "/Mixed.chd";
  const test::CdSet mixed = test::WriteMixedSet(dir.MakeDir("src"));
  ASSERT_TRUE(test::CreateChd(mixed.cuePath, chd, ""));
  EXPECT_TRUE(test::Said(Cli({"chd", chd}), 0,
                         {"compression: cdlz cdzl cdfl", "Sectors in disc order: 875",
                          "3      AUDIO                 670       745       205 75 (not stored)"}));
  EXPECT_TRUE(test::Said(Cli({"chd", chd, "--bin", dir / "out.bin"}), 0));
  EXPECT_TRUE(test::ReadFileBytes(dir / "out.bin") == mixed.disc);
  // A Redump set whose track files were packed one by one; the sheet still names the .bin.
  const test::CdSet packed = test::WriteMixedSet(dir.MakeDir("games/ecm"));
  for (const std::string& bin : packed.binPaths) {
    test::WriteFileBytes(bin + ".ecm", test::EncodeEcm(test::ReadFileBytes(bin)));
    DeleteFileIfExists(bin);
  }
  // A rip makes a set named after its folder; then the set is a lone ECM file.
  const test::CdSet data = test::WriteDataOnlySet(dir.MakeDir("games/lone"));
  EXPECT_TRUE(test::Said(Cli({"rip", data.cuePath, "-o", dir / "Some Game/"}), 0));
  EXPECT_TRUE(test::ReadFileBytes(dir / "Some Game/Some Game.bin") == data.disc);
  EXPECT_TRUE(FileExists(dir / "Some Game/Some Game.cue"));
  test::WriteFileBytes(data.binPaths[0] + ".ecm", test::EncodeEcm(data.disc));
  DeleteFileIfExists(data.binPaths[0]);
  DeleteFileIfExists(data.cuePath);

  test::Ran r = Cli({"--yes", "batch", games, "-o", dir / "out", "--level", "1"});
  EXPECT_TRUE(test::Said(
      r, 0, {"3 of 3 converted.", "SLUS01234", "Mixed.chd", "Mixed.cue", "Data Disc.bin.ecm"}));
  EXPECT_EQ(r.out.find("Track 2).bin.ecm"), std::string::npos) << r.out;
  // Again, without --yes: the packages are there already, so the games are skipped (no
  // failure), and the report says so.
  r = Cli({"batch", games, "-o", dir / "out", "--report", dir / "report.csv"});
  EXPECT_TRUE(test::Said(r, 0, {"0 done, 0 failed, 3 skipped in "}));
  const std::string report = test::ReadFileText(dir / "report.csv");
  EXPECT_NE(report.find(",Skipped,exists,"), std::string::npos) << report;
  EXPECT_NE(report.find("\r\n0,0,3,0,0,"), std::string::npos) << report;
  // ECM decodes beside the file.
  EXPECT_TRUE(test::Said(Cli({"ecm", data.binPaths[0] + ".ecm"}), 0));
  EXPECT_TRUE(test::ReadFileBytes(data.binPaths[0]) == data.disc);
}

}  // namespace
}  // namespace ebf
