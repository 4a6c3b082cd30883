// Multi-track discs from the command line: the track list `resolve` shows, and a broken
// sheet's message and exit code. The sheet rules themselves, and a conversion of a broken
// sheet leaving nothing behind, are pinned in the disc and engine tests.
#include "cli/cli_run.h"
#include "common/text.h"
#include "support/disc_sets.h"

namespace ebf {
namespace {

using test::Cli;
using test::Ran;
using test::TempDir;

TEST(DiscLayoutsCli, ResolveShowsTheJoinedTrackList) {
  TempDir dir;
  const test::DiscSet set = test::WriteRedumpSet(dir.path());
  Ran r = Cli({"resolve", set.input});
  EXPECT_TRUE(test::Said(r, 0,
                         {"game ID = SLUS01234\n",
                          "track 01 = MODE2/2352 at 00:00:00 (sector 0), Game (USA) (Track 1).bin\n"
                          "track 02 = AUDIO      at 00:04:00 (sector 300), INDEX 01 at 00:06:00, "
                          "Game (USA) (Track 2).bin\n"
                          "track 03 = AUDIO      at 00:09:00 (sector 675), INDEX 01 at 00:11:00, "
                          "Game (USA) (Track 3).bin\n"
                          "disc = 1125 sectors (00:15:00)\n"}));

  const test::DiscSet gaps = test::WritePregapSheet(dir.path());
  r = Cli({"resolve", gaps.input});
  EXPECT_TRUE(
      r.Says("track 01 = MODE2/2352 at 00:00:00 (sector 0), postgap 00:01:00, "
             "gap.bin\ntrack 02 = AUDIO      at 00:05:00 (sector 375), INDEX 01 at "
             "00:07:00, pregap 00:02:00, gap.bin\n"))
      << r.out;
}

TEST(DiscLayoutsCli, ResolveFailsOnABrokenSheetWithItsMessage) {
  TempDir dir;
  const test::DiscSet one = test::WriteOneFileSheet(dir.MakeDir("one"));
  const test::DiscSet alcohol = test::WriteAlcoholSet(dir.MakeDir("alcohol"), 2352, false);
  // Track 3's INDEX lines swapped; the MDS cut short in its track blocks (six blocks of 80
  // bytes from 0x70 on). (Every sheet's refusals: the disc tests.)
  test::WriteFileText(dir / "one/bad.cue", ReplaceAll(test::ReadFileText(one.input),
                                                      "INDEX 00 00:09:00\n    INDEX 01 00:11:00",
                                                      "INDEX 01 00:11:00\n    INDEX 00 00:09:00"));
  Bytes mds = test::ReadFileBytes(alcohol.files[1]);
  mds.resize(0x100);
  test::WriteFileBytes(alcohol.files[1], mds);
  const std::pair<std::string, std::string> broken[] = {
      {dir / "one/bad.cue",
       "bad.cue, line 9: INDEX 00 of track 03 comes after INDEX 01; INDEX numbers must rise.\n"},
      {alcohol.input,
       "Game.MDS is cut short: the track blocks of session 1 run past the end of the file.\n"},
  };
  for (const auto& [input, message] : broken) {
    SCOPED_TRACE(input);
    Ran r = Cli({"resolve", input});
    EXPECT_TRUE(test::Said(r, 1, {message}));
    EXPECT_FALSE(r.Says("track 01 =")) << r.out;
  }
  Ran r = Cli({"resolve", dir / "one/bad.cue", "--json"});
  EXPECT_TRUE(test::Said(r, 1, {"\"message\": \"bad.cue, line 9: INDEX 00"}));
}

}  // namespace
}  // namespace ebf
