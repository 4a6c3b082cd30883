// The disc subcommands of ebootforge-cli, run as a user would run them: what each prints and
// how it exits.
#include <gtest/gtest.h>

#include "common/bytes.h"
#include "common/files.h"
#include "support/disc_builder.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

TEST(DiscCli, QueriesAndThePalFixPrintAndExitAsTheyShould) {
  TempDir dir;
  const std::string bin = dir / "Metal.bin";
  WriteFileBytes(bin, BuildDiscImage(GameDisc("SLUS_005.94"), SectorLayout::Mode2Raw));
  WriteFileText(dir / "Metal.cue",
                "FILE \"METAL.BIN\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n");
  WriteFileBytes(dir / "junk.iso", NoiseBytes(50000, 1));
  WriteFileText(dir / "bad.cue", "FILE \"NOPE.BIN\" BINARY\n");
  WriteFileText(dir / "test.ini", "DefaultOutDirOpt=3\r\n");
  Bytes pal(100000, 0x55);
  StoreLe32(&pal[4097], 0x24910013), StoreLe32(&pal[4101], 0x24910010);    // screen height
  StoreLe32(&pal[70001], 0x3C028007), StoreLe32(&pal[70005], 0x8C42EC90);  // graphics
  const std::string image = dir / "pal.bin";
  WriteFileBytes(image, pal);

  struct Row {
    std::vector<std::string> args;
    int exit;
    std::vector<std::string> says;
  };
  const Row rows[] = {
      {{"gameid", bin}, 0, {"SLUS00594\n"}},
      {{"gameid", dir / "Metal.cue"}, 0, {"SLUS00594\n"}},
      {{"gameid", dir / "junk.iso"}, 1, {"No game ID found in " + (dir / "junk.iso") + "\n"}},
      // The shipped database sits beside the program.
      {{"lookup", "SLUS00776"},
       0,
       {"save name = Metal Gear Solid\n", "package ID = SLUS00594\n", "region = NTSC\n"}},
      {{"lookup", "NONE00000"}, 1, {}},
      {{"resolve", bin, "--ini", dir / "test.ini"},
       0,
       {"input = " + bin + "\n", "game ID = SLUS00594\n",
        "output folder = " + dir.path() + kSep + "SLUS00594\n"}},
      {{"resolve", bin, "--yes", "--ini", dir / "test.ini"},
       0,
       {"input = " + (dir / "Metal.cue") + "\n", "data file = " + bin + "\n"}},
      {{"resolve", dir / "bad.cue"}, 1, {"inspection = no"}},
      {{"palfix", image}, 1, {}},  // neither fix chosen
      {{"palfix", image, "--screen", "--gfx"},
       0,
       {"0x00001001 screen height 0x24910013\n0x00011171 graphics 0x3C028007\n"}},
      {{"palfix", dir / "missing.bin", "--screen"}, 1, {}},
  };
  for (const Row& row : rows) {
    const ProcessResult r = RunProcess(PrivateCli(), row.args, {});
    SCOPED_TRACE(row.args[0] + " " + row.args[1] + "\n" + r.output);
    EXPECT_EQ(r.exitCode, row.exit);
    for (const std::string& text : row.says) EXPECT_NE(r.output.find(text), std::string::npos);
    EXPECT_TRUE(row.args[0] != "gameid" || r.output == row.says[0]);
  }
  EXPECT_EQ(ReadFileBytes(image), pal);  // listed, not changed

  const ProcessResult applied = RunProcess(PrivateCli(), {"palfix", image, "--gfx", "--apply"}, {});
  EXPECT_NE(applied.output.find("0x00011171 graphics 0x3C028007\n"), std::string::npos);
  EXPECT_EQ(applied.output.find("screen"), std::string::npos);
  const Bytes after = ReadFileBytes(image);
  EXPECT_EQ(std::make_pair(LoadLe32(&after[70001]), LoadLe32(&after[4097])),
            std::make_pair(0x20020000u, 0x24910013u));
}

}  // namespace
}  // namespace ebf::test
