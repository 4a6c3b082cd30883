// The queue of a whole library: how files become rows, what each row comes to when the
// queue runs (with the real converter), and the report.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "common/files.h"
#include "common/text.h"
#include "library/queue/report.h"
#include "support/disc_builder.h"
#include "support/program_tree.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"
#include "transfer/psp_copy.h"

namespace ebf {
namespace {

using test::TempDir;

// A game's disc: its boot file names its ID.
void WriteGame(const std::string& path, const std::string& exe) {
  test::WriteFileBytes(path, test::BuildDiscImage(test::GameDisc(exe, test::NoiseBytes(20000, 3)),
                                                  test::SectorLayout::Mode2Raw));
}

std::string Names(const std::string& dir, const FoundGame& game) {
  std::string text;
  for (const std::string& d : game.discs)
    text += (text.empty() ? "" : " + ") + d.substr(dir.size() + 1);
  return text + (game.problem.empty() ? "" : "!");
}

class Watcher : public QueueObserver {
 public:
  Progress& ProgressFor(const QueueRow&) override { return progress; }
  void RowFinished(const QueueRow& row, const RowRun&) override { finished.push_back(row.id); }
  NoProgress progress;
  std::vector<int> finished;
};

// "Skipped (exists): <why>", the test's folder written as "~".
std::string StateOf(const QueueRow& row, const std::string& dir) {
  std::string s = RowStateName(row.state);
  if (row.skip != SkipReason::None) s += std::string(" (") + SkipReasonName(row.skip) + ")";
  return s + ": " + ReplaceAll(row.reason, dir, "~");
}

TEST(Queue, FilesBecomeRowsEditedRunAndReportedAndOneFailureStopsNothing) {
  TempDir dir;
  dir.MakeDir("More");
  for (const char* f :
       {"Clone.ccd", "Clone.img", "Clone.sub", "Gap (Disc 1).iso", "Gap (Disc 3).iso",
        "More/Deep.chd", "P1.bin", "P2.bin", "Set (Track 1).bin", "Set (Track 2).bin", "Solo.bin",
        "Two (Disc 1).bin", "Two (Disc 2).bin", "notes.txt"})
    test::WriteFileText(dir / f, "x");
  auto cue = [&](const char* name, std::vector<std::string> files) {
    std::string text;
    for (const std::string& f : files) text += "FILE \"" + f + "\" BINARY\n TRACK 01 MODE2/2352\n";
    test::WriteFileText(dir / name, text);
  };
  cue("Solo.cue", {"Solo.bin"});
  cue("Set.cue", {"Set (Track 1).bin", "Set (Track 2).bin"});
  cue("P1.cue", {"P1.bin"});
  cue("P2.cue", {"P2.bin"});
  test::WriteFileText(dir / "Play.m3u", "# the game\nP1.cue\nP2.cue\n");
  test::WriteFileText(dir / "Lost.m3u", "Gone.cue\n");

  // The files or folders given, whether discs are kept apart, and the rows they make.
  // clang-format off
  const std::tuple<std::vector<std::string>, bool, std::vector<std::string>> rows[] = {
      {{dir.path()}, false,
       {"Clone.img", "Gap (Disc 1).iso + Gap (Disc 3).iso", "Lost.m3u!", "More/Deep.chd",
        "P1.cue + P2.cue", "Set.cue", "Solo.cue", "Two (Disc 1).bin + Two (Disc 2).bin"}},
      {{dir.path()}, true,
       {"Clone.img", "Gap (Disc 1).iso", "Gap (Disc 3).iso", "More/Deep.chd", "P1.cue", "P2.cue",
        "Set.cue", "Solo.cue", "Two (Disc 1).bin", "Two (Disc 2).bin"}},
      // Files given by name: a disc image alone, and nothing that is not one.
      {{dir / "notes.txt", dir / "Solo.bin", dir / "Two (Disc 2).bin"}, false,
       {"Solo.bin", "Two (Disc 2).bin"}},
  };
  // clang-format on
  for (const auto& [given, separate, expected] : rows) {
    std::vector<std::string> got;
    for (const FoundGame& game : GamesAmong(FindDiscImages(given), separate))
      got.push_back(Names(dir.path(), game));
    EXPECT_EQ(got, expected) << given.front() << (separate ? " apart" : "");
  }
  // A search cancelled finds nothing.
  CancelToken cancel;
  cancel.Request();
  EXPECT_TRUE(FindDiscImages({dir.path()}, {&cancel, {}}).empty());

  // Rows are edited, moved and removed, and the report says so.
  BatchQueue queue;
  std::vector<QueueRow> queued(3);
  const char* names[] = {"/x/a.bin", "/x/b.bin", "/x/c.bin"};
  for (int i = 0; i < 3; ++i) queued[i] = RowFor({{names[i]}, false, {}, {}});
  const std::vector<int> ids = queue.Add(queued);
  ASSERT_EQ(ids.size(), 3u);
  EXPECT_TRUE(queue.Move(ids[2], -5));  // to the top
  EXPECT_FALSE(queue.Move(ids[2], -1));
  EXPECT_TRUE(queue.Edit(ids[0], "Tom \"T\", Jerry", "SLUS00001"));
  EXPECT_TRUE(queue.Remove(ids[1]));
  EXPECT_FALSE(queue.Retry(ids[0]));  // queued already
  const std::vector<QueueRow> now = queue.Rows();
  ASSERT_EQ(now.size(), 2u);
  EXPECT_EQ(now[0].title, "c");

  EXPECT_EQ(QueueReportCsv(now, queue.Summary()),
            "title,gameId,discs,sourceBytes,state,reason,message,output,package,packageBytes,"
            "seconds,warnings\r\n"
            "c,,/x/c.bin,0,Queued,,,,,0,0,\r\n"
            "\"Tom \"\"T\"\", Jerry\",SLUS00001,/x/a.bin,0,Queued,,,,,0,0,\r\n"
            "\r\n"
            "done,failed,skipped,cancelled,queued,seconds,bytesSaved\r\n"
            "0,0,0,0,2,0,0\r\n");
  const auto json = nlohmann::json::parse(QueueReportJson(now, queue.Summary()));
  EXPECT_EQ(
      std::tuple(json["summary"]["queued"], json["rows"][1]["title"], json["rows"][1]["discs"][0]),
      std::tuple(2, "Tom \"T\", Jerry", "/x/a.bin"));
  EXPECT_EQ(SummaryLine({3, 1, 2, 0, 0, 65.4, 2500000}),
            "3 done, 1 failed, 2 skipped in 1m 5s; 2.4 MB saved");

  // The PSP must hold what the run may copy.
  auto free = [](std::optional<uint64_t> bytes) {
    return [bytes](const std::string&) { return bytes; };
  };
  EXPECT_EQ(CheckPspRoom("/media/PSP", 1000, free(1000)), "");
  EXPECT_EQ(CheckPspRoom("/media/PSP", 3 << 20, free(1 << 20)),
            "The PSP (/media/PSP) has 1 MB free; the packages may take up to 3 MB.");
  EXPECT_EQ(CheckPspRoom("/media/PSP", 3 << 20, free(std::nullopt)), "");  // unknown: not tested

  // Every row ends in its state, and one failure stops nothing.
  TempDir prog;
  const std::string program = test::CopyRuntimeTree(prog);
  const std::string lib = dir.MakeDir("lib"), out = dir / "out", psp = dir.MakeDir("psp");
  WriteGame(lib + "/Metal Gear (Disc 1).bin", "SLUS_005.94");
  WriteGame(lib + "/Metal Gear (Disc 2).bin", "SLUS_007.76");
  WriteGame(lib + "/Fox Hunt (Disc 1).bin", "SLUS_001.01");
  WriteGame(lib + "/Fox Hunt (Disc 3).bin", "SLUS_001.76");
  WriteGame(lib + "/Crash.bin", "SCES_003.44");
  WriteGame(lib + "/Hot Shots.bin", "SCUS_944.76");
  WriteGame(lib + "/Smack.bin", "SLUS_012.34");
  test::WriteFileBytes(lib + "/readme.iso", test::NoiseBytes(60000, 9));
  // Hot Shots was converted before: its package is the user's, and stays as it is.
  const std::string mine = dir.MakeDir("out/Hot Shots Golf 2 [NTSC-U]") + "/EBOOT.PBP";
  test::WriteFileText(mine, "mine");

  BatchQueue batch;
  std::vector<QueueRow> found;
  for (const FoundGame& game : GamesAmong(FindDiscImages({lib}), false))
    found.push_back(RowFor(game));
  ASSERT_EQ(batch.Add(found).size(), 6u);
  EXPECT_TRUE(batch.Add(found).empty());  // each game once
  const int smack = batch.Rows()[4].id;   // "Smack.bin"
  ASSERT_TRUE(batch.Edit(smack, std::nullopt, "SLUS1"));

  QueueSetup setup;
  setup.settings = QueueSettings(Settings{}, out);
  setup.folders = ProgramFolders(program);
  setup.job.level = 1;
  setup.job.palFixScreen = true;  // for the PAL game alone
  setup.job.missingDiscs = MissingDiscs::Refuse;
  setup.pspRoot = psp;
  test::RunRecorder noToAll;  // a question the batch should not have asked would fail its row
  noToAll.defaultAnswer = false;
  Watcher watcher;
  batch.Run(setup, watcher, noToAll, noToAll.cancel);

  std::vector<std::string> states;
  for (const QueueRow& row : batch.Rows())
    states.push_back(row.title + " | " + StateOf(row, dir.path()));
  const std::vector<std::string> expected = {
      "Crash Bandicoot [PAL-E] | Done: ",
      "Fox Hunt [NTSC-U] | Skipped (disc missing): Disc 2 of \"Fox Hunt [NTSC-U]\" was not "
      "found; the game is not converted without it.",
      "Hot Shots Golf 2 [NTSC-U] | Skipped (exists): An EBOOT.PBP is already in "
      "~/out/Hot Shots Golf 2 [NTSC-U]",
      "Metal Gear Solid [NTSC-U] | Done: ",
      "WWF SmackDown! 2 - Know Your Role [NTSC-U] | Failed: Game ID is invalid (according to "
      "tarnwick)",
      "readme | Skipped (not a disc): readme.iso is not a PlayStation disc: it holds no ISO "
      "9660 file system.",
  };
  EXPECT_EQ(states, expected);
  EXPECT_EQ(watcher.finished.size(), 6u);
  EXPECT_TRUE(noToAll.questions.empty());
  EXPECT_EQ(test::ReadFileText(mine), "mine");
  for (const char* id : {"SCES00344", "SLUS00594"})
    EXPECT_TRUE(FileExists(psp + "/PSP/GAME/" + id + "/EBOOT.PBP")) << id;

  // The failed row, its ID put right, runs again; the others are left as they are.
  EXPECT_FALSE(batch.Edit(smack, std::nullopt, "SLUS01234"));  // not while it is failed
  ASSERT_TRUE(batch.Retry(smack));
  ASSERT_TRUE(batch.Edit(smack, std::nullopt, "SLUS01234"));
  batch.Run(setup, watcher, noToAll, noToAll.cancel);
  EXPECT_EQ(StateOf(*batch.Row(smack), dir.path()), "Done: ");
  EXPECT_EQ(watcher.finished.size(), 7u);
  const QueueSummary sum = batch.Summary();
  EXPECT_EQ(std::tuple(sum.done, sum.skipped, sum.failed + sum.cancelled + sum.queued),
            std::tuple(3u, 3u, 0u));
}

}  // namespace
}  // namespace ebf
