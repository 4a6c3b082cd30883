// Multi-track discs from the command line: the track list `resolve` shows, a bad sheet's
// message and exit code, and `batch` taking a set's sheet rather than its track files. The
// program runs from a private copy of the runtime tree, so that its Temp folder is the
// test's own.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

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
using Names = std::set<std::string>;

// The names in a folder; none when there is no folder.
Names Entries(const std::string& folder) {
  Names names;
  if (!fs::is_directory(fs::u8path(folder))) return names;
  for (const auto& e : fs::directory_iterator(fs::u8path(folder))) {
    const auto name = e.path().filename().u8string();
    names.insert(std::string(name.begin(), name.end()));
  }
  return names;
}

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
  std::string TempFolder() const { return folder_ + "Temp"; }

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
                          "gap.bin\ntrack 02 = AUDIO      at 00:05:00 (sector 375), INDEX 01 at "
                          "00:07:00, pregap 00:02:00, gap.bin\n"),
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

TEST(DiscLayoutsCli, BadOneFileSheetsFailWithTheirMessageAndLeaveNothing) {
  PrivateCli cli;
  TempDir dir;
  const test::DiscSet set = test::WriteOneFileSheet(dir.path());
  const std::string good = test::ReadFileText(set.input);
  struct Case {
    std::string sheet, message;
  };
  const Case cases[] = {
      {ReplaceAll(good, "TRACK 01 MODE2/2352", "TRACK 01 MODE2/2336"),
       "Track 01 of bad.cue is MODE2/2336, which cannot be converted: the converter takes "
       "2,352-byte sectors (AUDIO, MODE1/2352 or MODE2/2352)."},
      {ReplaceAll(good, "  TRACK 02 AUDIO\n    INDEX 00 00:04:00\n    INDEX 01 00:06:00\n",
                  "  a line of garbage\n"),
       "bad.cue, line 5: TRACK 03 should be track 02; tracks are numbered 1, 2, 3 ... in "
       "order."},
      {ReplaceAll(good, "INDEX 00 00:09:00\n    INDEX 01 00:11:00",
                  "INDEX 01 00:11:00\n    INDEX 00 00:09:00"),
       "bad.cue, line 9: INDEX 00 of track 03 comes after INDEX 01; INDEX numbers must rise."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    test::WriteFileText(dir / "bad.cue", c.sheet);
    test::ProcessResult r = cli.Run({"--yes", "convert", dir / "bad.cue", "-o", dir / "out"});
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_NE(r.output.find(c.message + "\n"), std::string::npos) << r.output;
    EXPECT_EQ(Entries(dir / "out"), Names{});
    EXPECT_EQ(Entries(cli.TempFolder()), Names{});

    r = cli.Run({"resolve", dir / "bad.cue"});
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_NE(r.output.find(c.message + "\n"), std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("track 01 ="), std::string::npos) << r.output;
    r = cli.Run({"resolve", dir / "bad.cue", "--json"});
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_NE(r.output.find("\"message\": \"" + c.message + "\""), std::string::npos) << r.output;
  }

  // A line of garbage in a sheet that is otherwise whole is passed over, as it always was.
  test::WriteFileText(dir / "noisy.cue", ReplaceAll(good, "  TRACK 02", "  garbage\n  TRACK 02"));
  test::ProcessResult r = cli.Run({"resolve", dir / "noisy.cue"});
  EXPECT_EQ(r.exitCode, 0) << r.output;
  EXPECT_NE(r.output.find("track 02 = AUDIO      at 00:04:00 (sector 300), INDEX 01 at 00:06:00, "
                          "One File.bin\n"),
            std::string::npos)
      << r.output;
}

TEST(DiscLayoutsCli, ResolveFailsOnABrokenCloneCdOrAlcoholSheet) {
  PrivateCli cli;
  TempDir dir;
  const test::DiscSet clone = test::WriteCloneCdSet(dir.MakeDir("clone"));
  const test::DiscSet alcohol = test::WriteAlcoholSet(dir.MakeDir("alcohol"), 2352, false);
  // Both whole: their track lists.
  test::ProcessResult r = cli.Run({"resolve", clone.input});
  EXPECT_EQ(r.exitCode, 0) << r.output;
  EXPECT_NE(r.output.find("track 02 = AUDIO      at 00:04:00 (sector 300), INDEX 01 at 00:06:00, "
                          "game.img\n"),
            std::string::npos)
      << r.output;
  r = cli.Run({"resolve", alcohol.input});
  EXPECT_EQ(r.exitCode, 0) << r.output;
  EXPECT_NE(r.output.find("track 03 = AUDIO      at 00:09:00 (sector 675), INDEX 01 at 00:11:00, "
                          "game.mdf\n"),
            std::string::npos)
      << r.output;

  // Track 2's entry moved onto track 1's start; the MDS cut short in its track blocks (six
  // blocks of 80 bytes from 0x70 on).
  test::WriteFileText(clone.files[1],
                      ReplaceAll(test::ReadFileText(clone.files[1]), "PLBA=450", "PLBA=0"));
  Bytes mds = test::ReadFileBytes(alcohol.files[1]);
  mds.resize(0x100);
  test::WriteFileBytes(alcohol.files[1], mds);
  const std::pair<std::string, std::string> broken[] = {
      {clone.input,
       "The entry for track 2 in GAME.CCD starts at sector 0, not after the track "
       "before it.\n"},
      {alcohol.input,
       "Game.MDS is cut short: the track blocks of session 1 run past the end "
       "of the file.\n"},
  };
  for (const auto& [input, message] : broken) {
    SCOPED_TRACE(input);
    r = cli.Run({"resolve", input});
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_NE(r.output.find(message), std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("track 01 ="), std::string::npos) << r.output;
  }
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
