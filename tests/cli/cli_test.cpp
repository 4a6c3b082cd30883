// The command-line program as a user runs it: real processes, real files.
#include "cli/cli_run.h"
#include "common/text.h"
#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/disc_builder.h"
#include "support/disc_sets.h"
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

// The bash completion script that the program writes from its own command tree, loaded
// into a real bash and asked what it would offer.
using test::ShellQuote;

TEST(Completion, OffersCommandsOptionsAndValuesFromTheCommandTree) {
  test::TempDir dir;
  const std::string script = dir / "ebootforge-cli.bash";
  test::Shell(ShellQuote(test::PrivateCli()) + " completion bash >" + ShellQuote(script));
  // What bash offers for the words typed, the last one being completed; one per line.
  const auto Offer = [&](const std::string& words) {
    const std::string program = "source " + ShellQuote(script) + "\nCOMP_WORDS=(" + words +
                                ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                                "_ebootforge_cli\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
    return test::Shell("cd " + ShellQuote(dir.path()) + " && bash -c " + ShellQuote(program) +
                       " 2>&1");
  };
  EXPECT_EQ(Offer("ebootforge-cli conv"), "convert\n");
  EXPECT_EQ(Offer("ebootforge-cli doc ''"), "make\nextract\n");
  EXPECT_EQ(Offer("ebootforge-cli convert game.cue --le"), "--level\n");
  EXPECT_EQ(Offer("ebootforge-cli convert game.cue --level ''"), "0\n1\n2\n3\n4\n5\n6\n7\n8\n9\n");
  EXPECT_EQ(Offer("ebootforge-cli extract a.pbp b.bin --toc c"), "ccd\ncue\n");
  EXPECT_EQ(Offer("ebootforge-cli extract a.pbp b.bin --sp"), "--split\n");
  EXPECT_EQ(Offer("ebootforge-cli ver"), "verify\n");
  EXPECT_EQ(Offer("ebootforge-cli verify a.pbp --ag"), "--against\n");
  // The global flags are offered after a subcommand too, nested ones included.
  EXPECT_EQ(Offer("ebootforge-cli info --j"), "--json\n");
  EXPECT_EQ(Offer("ebootforge-cli doc make --i"), "--id\n");
  EXPECT_EQ(Offer("ebootforge-cli doc make --q"), "--quiet\n");
  // An argument of a few values offers them, after an option's value too; others are files.
  EXPECT_EQ(Offer("ebootforge-cli completion ''"), "bash\n");
  EXPECT_EQ(Offer("ebootforge-cli settings --ini my.ini set Sh"), "ShowCust\n");
  EXPECT_EQ(Offer("ebootforge-cli settings unset -q Def"),
            "DefaultImagePath\nDefaultOutputDir\nDefaultOutDirOpt\nDefaultCustDir\nDefGameID\n");
  test::WriteFileText(dir / "Game One.cue", "");
  EXPECT_EQ(Offer("ebootforge-cli convert Ga"), "Game One.cue\n");
  EXPECT_EQ(test::Shell("bash -c " + ShellQuote("source " + ShellQuote(script) +
                                                "\ncomplete -p ebootforge-cli")),
            "complete -o bashdefault -o filenames -F _ebootforge_cli ebootforge-cli\n");
}

// Multi-track discs from the command line: the track list `resolve` shows, and a broken
// sheet's message and exit code. The sheet rules themselves, and a conversion of a broken
// sheet leaving nothing behind, are pinned in the disc and engine tests.
using test::Ran;

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
