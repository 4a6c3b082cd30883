// Multi-track discs from the command line: the track list `resolve` shows, a bad sheet's
// message and exit code, and `batch` taking a set's sheet rather than its track files. The
// program runs from a private copy of the runtime tree, so that its Temp folder is the
// test's own.
#include <gtest/gtest.h>

#include <filesystem>

#include "common/files.h"
#include "common/text.h"
#include "support/disc_sets.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/runtime.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

namespace fs = std::filesystem;
using test::TempDir;

class PrivateCli {
 public:
  PrivateCli() {
    folder_ = test::CopyRuntimeTree(root_);
    fs::copy_file(test::RuntimeFolder() + "ebootforge-cli", root_ / "ebootforge-cli");
  }
  test::ProcessResult Run(const std::vector<std::string>& args) const {
    return test::RunProcess(root_ / "ebootforge-cli", args, {});
  }
  std::string Temp(const std::string& name) const { return folder_ + "Temp" + kSep + name; }

 private:
  TempDir root_;
  std::string folder_;
};

TEST(DiscLayoutsCli, ResolveShowsTheJoinedTrackList) {
  PrivateCli cli;
  TempDir dir;
  const test::DiscSet set = test::WriteRedumpSet(dir.path());
  test::ProcessResult r = cli.Run({"resolve", set.input});
  EXPECT_EQ(r.exitCode, 0) << r.output;
  EXPECT_NE(r.output.find("game ID = SLUS01234\n"), std::string::npos) << r.output;
  EXPECT_NE(r.output.find("track 01 = MODE2/2352 at 00:00:00 (sector 0), Game (USA) (Track 1).bin\n"
                          "track 02 = AUDIO      at 00:04:00 (sector 300), INDEX 01 at 00:06:00, "
                          "Game (USA) (Track 2).bin\n"
                          "track 03 = AUDIO      at 00:09:00 (sector 675), INDEX 01 at 00:11:00, "
                          "Game (USA) (Track 3).bin\n"
                          "disc = 1125 sectors (00:15:00)\n"),
            std::string::npos)
      << r.output;

  const test::DiscSet gaps = test::WritePregapSheet(dir.path());
  r = cli.Run({"resolve", gaps.input});
  EXPECT_NE(r.output.find("track 01 = MODE2/2352 at 00:00:00 (sector 0), postgap 00:01:00, "
                          "gap.bin\ntrack 02 = AUDIO      at 00:07:00 (sector 525), pregap "
                          "00:02:00, gap.bin\n"),
            std::string::npos)
      << r.output;

  // A sheet that cannot be joined says why and fails.
  test::WriteFileText(dir / "bad.cue", ReplaceAll(test::ReadFileText(set.input), "TRACK 02 AUDIO",
                                                  "TRACK 02 MODE1/2048"));
  r = cli.Run({"resolve", dir / "bad.cue"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.output.find("Track 02 of bad.cue is MODE1/2048, which cannot be joined"),
            std::string::npos)
      << r.output;
}

TEST(DiscLayoutsCli, BadSheetFailsWithItsMessageAndLeavesNothing) {
  PrivateCli cli;
  TempDir dir;
  const test::DiscSet set = test::WriteRedumpSet(dir.path());
  test::WriteFileText(dir / "bad.cue",
                      ReplaceAll(test::ReadFileText(set.input), "INDEX 01 00:02:00\r\nFILE",
                                 "INDEX 01 00:09:00\r\nFILE"));
  test::ProcessResult r = cli.Run({"--yes", "convert", dir / "bad.cue", "-o", dir / "out"});
  EXPECT_EQ(r.exitCode, 1) << r.output;
  EXPECT_NE(r.output.find("INDEX 01 of track 02 (00:09:00) lies past the end of Game (USA) "
                          "(Track 2).bin (00:05:00)."),
            std::string::npos)
      << r.output;
  EXPECT_FALSE(FileExists(dir / "out/EBOOT.PBP"));
  EXPECT_FALSE(FileExists(dir / "out/ISO.TOC"));
  EXPECT_FALSE(FileExists(cli.Temp("TempBIN.bin")));

  fs::remove(dir / "Game (USA) (Track 3).bin");
  r = cli.Run({"--yes", "convert", set.input, "-o", dir / "out"});
  EXPECT_EQ(r.exitCode, 1) << r.output;
  EXPECT_NE(r.output.find("The BIN file could not be found!!!\n(GAME (USA) (TRACK 3).BIN, named "
                          "by Game (USA).cue)"),
            std::string::npos)
      << r.output;
  EXPECT_FALSE(FileExists(dir / "out/EBOOT.PBP"));
  EXPECT_FALSE(FileExists(cli.Temp("TempBIN.bin")));
}

TEST(DiscLayoutsCli, BatchConvertsASetThroughItsSheetOnce) {
  PrivateCli cli;
  TempDir dir;
  test::WriteRedumpSet(dir.MakeDir("games/set"));
  test::WriteCloneCdSet(dir.MakeDir("games/clone"));
  test::ProcessResult r =
      cli.Run({"--yes", "batch", dir / "games", "-o", dir / "out", "--level", "1"});
  EXPECT_EQ(r.exitCode, 0) << r.output;
  EXPECT_NE(r.output.find("2 of 2 converted."), std::string::npos) << r.output;
  EXPECT_NE(r.output.find("Game (USA).cue"), std::string::npos) << r.output;
  EXPECT_EQ(r.output.find("Track 2).bin"), std::string::npos) << r.output;
  EXPECT_NE(r.output.find("game.img"), std::string::npos) << r.output;
}

}  // namespace
}  // namespace ebf
