// CHD and ECM files from the command line: `batch` finds CHDs, lone ECM files and ECM-packed
// sets (through their sheet, not their packed track files) and converts each once. (A CHD's
// tracks: the disc tests.)
#include "cli/cli_run.h"

#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/ecm_writer.h"

namespace ebf {
namespace {

using test::Cli;

using test::TempDir;

TEST(PackedImagesCli, BatchFindsEveryPackedDisc) {
  TempDir dir;
  const test::CdSet chdSet = test::WriteMixedSet(dir.MakeDir("src"));
  ASSERT_TRUE(test::CreateChd(chdSet.cuePath, dir.MakeDir("games/chd") + "/Mixed.chd", ""));

  // A Redump set whose track files were packed one by one; the sheet still names the .bin.
  const test::CdSet packed = test::WriteMixedSet(dir.MakeDir("games/ecm"));
  for (const std::string& bin : packed.binPaths) {
    test::WriteFileBytes(bin + ".ecm", test::EncodeEcm(test::ReadFileBytes(bin)));
    DeleteFileIfExists(bin);
  }
  const test::CdSet data = test::WriteDataOnlySet(dir.MakeDir("games/lone"));
  test::WriteFileBytes(data.binPaths[0] + ".ecm",
                       test::EncodeEcm(test::ReadFileBytes(data.binPaths[0])));
  DeleteFileIfExists(data.binPaths[0]);
  DeleteFileIfExists(data.cuePath);

  test::Ran r = Cli({"--yes", "batch", dir / "games", "-o", dir / "out", "--level", "1"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(r.Says("3 of 3 converted.")) << r.out;
  for (const char* name : {"Mixed.chd", "Mixed.cue", "Data Disc.bin.ecm"})
    EXPECT_TRUE(r.Says(name)) << name << "\n" << r.out;
  EXPECT_EQ(r.out.find("Track 2).bin.ecm"), std::string::npos) << r.out;
}

}  // namespace
}  // namespace ebf
