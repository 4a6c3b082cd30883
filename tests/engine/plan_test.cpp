// Planning a conversion: the checks in their fixed order with their own words, the
// questions with their defaults, and the plan that comes out of them.
#include <gtest/gtest.h>

#include <functional>

#include "common/files.h"
#include "disc/classify.h"
#include "engine/plan.h"
#include "support/disc_builder.h"
#include "support/ecm_writer.h"
#include "support/program_tree.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using namespace test;

struct Fixture {
  TempDir prog, work;
  JobInput in;
  Settings settings;
  Fixture() {
    WriteFileText(work / "game.bin", "x");
    in.input = work / "game.bin";
    in.output = work / "out";
    in.title = "Game";
    in.saveName = "Game";
    in.gameId = "SLUS00594";
    in.region = "NTSC";
  }
  Planned Run(RunRecorder& host) { return Plan(in, host); }
  Planned Plan(const JobInput& job, RunRecorder& host) {
    return PlanConversion(job, settings, ProgramFolders(prog.folder()), host);
  }
  // A game disc image in the work folder, with `exe` as its boot file.
  std::string Disc(const std::string& name, const std::string& exe) {
    WriteFileBytes(work / name, BuildDiscImage(GameDisc(exe), SectorLayout::Mode2Raw));
    return work / name;
  }
};

TEST(PlanConversion, RefusalsQuestionsThePlanAndWhatTheCommandLineResolves) {
  const std::string iso = "It appears that you're using an ISO.";
  const std::string ntsc =
      "It seems that you're trying to apply a PAL -> NTSC fix on an NTSC game!";
  const std::string pal = "It seems that you're converting a PAL game, but haven't chosen";
  // The input, the region, the two PAL fixes, the answer, the start of the one question asked
  // ("" for none), whether it defaults to No, and the outcome (No ends silently).
  // clang-format off
  const std::tuple<const char*, const char*, bool, bool, bool, std::string, bool, Outcome> rows[] = {
      {"game.iso", "NTSC", false, false, false, iso, false, Outcome::Declined()},
      {"game.bin", "NTSC", false, true, true, ntsc, true, Outcome::Success()},
      {"game.bin", "PAL", false, false, false, pal, true, Outcome::Declined()},
      {"game.bin", "NTSC", false, false, false, "", false, Outcome::Success()},
      {"game.bin", "PAL", true, false, false, "", false, Outcome::Success()},
      {"game.bin", "PAL", false, true, false, "", false, Outcome::Success()},
      {"game.bin", "", true, true, false, "", false, Outcome::Success()},
  };
  // clang-format on
  for (const auto& [input, region, screen, graphics, answer, asked, defaultNo, expected] : rows) {
    SCOPED_TRACE(asked + region);
    Fixture f;
    WriteFileText(f.work / input, "x");
    f.in.input = f.work / input;
    f.in.region = region;
    f.in.palFixScreen = screen;
    f.in.palFixGraphics = graphics;
    RunRecorder host;
    host.answers = {answer};
    EXPECT_EQ(f.Run(host).outcome, expected);
    ASSERT_EQ(host.questions.size(), asked.empty() ? 0u : 1u);
    if (asked.empty()) continue;
    const auto& q = host.questions[0];
    EXPECT_EQ(std::tuple(q.text.substr(0, asked.size()), q.defaultNo),
              std::tuple(asked, defaultNo));
    // The ISO question comes before the output folder is made.
    EXPECT_TRUE(asked != iso || !IsDirectory(f.work / "out"));
  }

  // The plan stands alone.
  Fixture f;
  CopyRuntimeTree(f.prog, false);
  const std::string icon = f.work / "icon.png";
  WriteFileText(icon, "png");
  f.in.assets[kSlotIcon0] = {true, icon};
  f.in.assets[kSlotSnd0] = {false, ""};
  f.in.level = 3;
  f.in.confirm = false;
  f.settings.imgResMode = 2;
  RunRecorder host;
  Planned p = f.Run(host);
  ASSERT_TRUE(p.plan) << Describe(p.outcome);
  const ConversionPlan& plan = *p.plan;
  // Paths the converter can be given from its own folder: absolute, the folder ending in
  // the separator, and made.
  EXPECT_EQ(std::tuple(plan.kind, plan.input, plan.output),
            std::tuple(JobKind::NewPackage, f.work / "game.bin", WithTrailingSep(f.work / "out")));
  EXPECT_TRUE(IsDirectory(f.work / "out"));
  EXPECT_EQ(std::tuple(plan.title, plan.gameId, plan.level, plan.confirm, plan.settings.imgResMode),
            std::tuple("Game", "SLUS00594", 3, false, 2));
  // The user's file, the "null" stand-in for an unticked slot, the shipped default.
  const auto& a = plan.assets;
  EXPECT_EQ(std::tuple(a[kSlotIcon0].path, a[kSlotIcon0].text, a[kSlotSnd0].path,
                       a[kSlotSnd0].ticked, a[kSlotPic1].path),
            std::tuple(icon, icon, f.prog.folder() + "null", false,
                       f.prog.folder() + "PSXCust" + kSep + "Default" + kSep + "PIC1.PNG"));
  EXPECT_TRUE(FileExists(f.prog.folder() + "null"));

  // A batch's later game whose folder an earlier one took gets the next free name.
  f.in.takenOutputFolders = {OutputFolderKey(f.work / "out"), OutputFolderKey(f.work / "out (2)")};
  p = f.Run(host);
  ASSERT_TRUE(p.plan);
  EXPECT_EQ(p.plan->output, WithTrailingSep(f.work / "out (3)"));

  // The command line resolves what the window was given, and each later disc.
  // A disc in the game list: the command line gives only the input, the rest is found.
  JobInput cli;
  cli.input = f.Disc("Metal Gear.bin", "SLUS_005.94");
  cli.resolve = true;
  cli.confirm = false;
  f.settings.defaultOutputDir = f.work / "games";
  f.settings.defaultOutDirOpt = 3;
  p = f.Plan(cli, host);
  ASSERT_TRUE(p.plan) << Describe(p.outcome);
  EXPECT_EQ(std::tuple(p.plan->title, p.plan->saveName, p.plan->gameId, p.plan->output),
            std::tuple("Metal Gear Solid [NTSC-U]", "Metal Gear Solid", "SLUS00594",
                       WithTrailingSep(f.work / "games") + "SLUS00594" + kSep));
  EXPECT_EQ(p.title, "Metal Gear Solid [NTSC-U]");
  // What the user says goes over what was found.
  cli.title = "Mine";
  cli.output = f.work / "elsewhere";
  p = f.Plan(cli, host);
  ASSERT_TRUE(p.plan);
  EXPECT_EQ(std::tuple(p.plan->title, p.plan->gameId, p.plan->output),
            std::tuple("Mine", "SLUS00594", WithTrailingSep(f.work / "elsewhere")));
  // A sheet that names no file is refused with the resolver's words; the title is kept for
  // a batch's summary.
  WriteFileText(f.work / "broken.cue", "FILE \"gone.bin\" BINARY\n");
  cli.input = f.work / "broken.cue";
  cli.title.reset();
  p = f.Plan(cli, host);
  EXPECT_EQ(
      p.outcome,
      Outcome::Failed("CUE Sheet is invalid!\r\n(gone.bin, named by broken.cue, is not there)"));
  EXPECT_EQ(p.title, "broken");

  // The later discs of a game are read for their own IDs.
  cli = JobInput();
  cli.input = f.Disc("Spy Story (Disc 1).bin", "SLUS_005.94");
  cli.laterDiscs = {f.Disc("Spy Story (Disc 2).bin", "SLUS_007.76"),
                    f.Disc("Spy Story (Disc 3).bin", "SLUS_012.40")};
  // A sheet naming the image: the disc is read through it, ID and all.
  WriteFileText(f.work / "third.cue", "FILE \"Spy Story (Disc 3).bin\" BINARY\n");
  cli.laterDiscs[1] = f.work / "third.cue";
  cli.resolve = true;
  cli.output = f.work / "out";
  cli.confirm = false;
  p = f.Plan(cli, host);
  ASSERT_TRUE(p.plan) << Describe(p.outcome);
  // Disc 1's ID is the package's, and its saves'.
  EXPECT_EQ(std::tuple(p.plan->discCount(), p.plan->gameId, p.plan->title),
            std::tuple(3, "SLUS00594", "Metal Gear Solid [NTSC-U]"));
  ASSERT_EQ(p.plan->laterDiscs.size(), 2u);
  EXPECT_EQ(std::tuple(p.plan->laterDiscs[0].gameId, p.plan->laterDiscs[0].input,
                       p.plan->laterDiscs[1].gameId, p.plan->laterDiscs[1].dataFile),
            std::tuple("SLUS00776", f.work / "Spy Story (Disc 2).bin", "SLUS01240",
                       f.work / "Spy Story (Disc 3).bin"));
  // A name from the file loses its disc number: the package is the whole game.
  cli.input = f.Disc("Quiet (Disc 1).bin", "SLUS_901.01");
  p = f.Plan(cli, host);
  ASSERT_TRUE(p.plan) << Describe(p.outcome);
  EXPECT_EQ(p.plan->title, "Quiet");

  auto refusal = [&](std::vector<std::string> later) {
    JobInput job = cli;
    job.laterDiscs = std::move(later);
    return f.Plan(job, host).outcome;
  };
  // Every later disc is checked as disc 1 is, and named in the refusal.
  const std::string two = f.work / "Spy Story (Disc 2).bin";
  WriteFileText(f.work / "notes.txt", "my notes");
  WriteFileText(f.work / "game.mds", "descriptor");
  WriteFileText(f.work / "EBOOT.PBP", "x");
  WriteFileText(f.work / "one.cue",
                "FILE \"Quiet (Disc 1).bin\" BINARY\n TRACK 01 MODE2/2352\n INDEX 01 00:00:00\n");
  Bytes ecm = EncodeEcm(ReadFileBytes(two));
  ecm.resize(ecm.size() / 2);
  WriteFileBytes(f.work / "cut.bin.ecm", ecm);
  using Row = std::pair<std::vector<std::string>, Outcome>;
  auto disc2 = [&](const std::string& name, const std::string& why) {
    const std::string path = name[0] == '/' ? name : f.work / name;
    return Row{{path}, Outcome::Failed("Disc 2 (" + path + "): " + why)};
  };
  const std::string sameDisc = "It is the same disc as disc 1: a package holds each disc once.";
  // clang-format off
  const Row laterRows[] = {
      disc2("gone.bin", "The input file doesn't exist!"),
      {{two, two, two, two, two},
       Outcome::Failed("A package holds at most five discs; give no more than five.")},
      disc2("EBOOT.PBP", "A game on several discs is made from disc images; a package cannot be "
                         "one of them."),
      disc2("notes.txt", "Doesn't appear to be a valid image file."),
      disc2("game.mds", kMdsMessage), disc2(cli.input, sameDisc), disc2("one.cue", sameDisc),
      {{two, two}, Outcome::Failed("Disc 3 (" + two + "): It is the same disc as disc 2: a package "
                                   "holds each disc once.")},
  };
  // clang-format on
  for (const auto& [later, expected] : laterRows) EXPECT_EQ(refusal(later), expected) << later[0];
  const Outcome cut = refusal({f.work / "cut.bin.ecm"});
  EXPECT_EQ(cut.text().rfind("Disc 2 (" + (f.work / "cut.bin.ecm") + "): ", 0), 0u) << cut.text();
  EXPECT_NE(cut.text().find("cut short"), std::string::npos) << cut.text();

  // A game with a disc missing is converted only when the user says so.
  for (const char* name : {"Tide (Disc 1).bin", "Tide (Disc 3).bin"}) f.Disc(name, "SLUS_009.01");
  const std::string said = "Disc 2 of \"Tide\" was not found";
  const std::vector<std::string> three = {f.work / "Tide (Disc 3).bin"};
  // The rule, the later discs, the answer to the question (when one is asked), the outcome.
  // clang-format off
  const std::tuple<MissingDiscs, std::vector<std::string>, std::optional<bool>, Outcome> rules[] = {
      {MissingDiscs::Refuse, three, {}, Outcome::Failed(said + "; the game is not converted without it.")},
      {MissingDiscs::Ask, three, false, Outcome::Declined()},
      {MissingDiscs::Ask, three, true, Outcome::Success()},
      {MissingDiscs::Allow, three, {}, Outcome::Success()},
      // Disc 1 alone is a game of its own.
      {MissingDiscs::Refuse, {}, {}, Outcome::Success()},
  };
  // clang-format on
  for (const auto& [rule, later, answer, expected] : rules) {
    JobInput job;
    job.input = f.work / "Tide (Disc 1).bin";
    job.laterDiscs = later;
    job.missingDiscs = rule;
    job.resolve = true;
    job.output = f.work / "out";
    job.confirm = false;
    RunRecorder host;
    host.defaultAnswer = answer.value_or(true);
    const Planned p = f.Plan(job, host);
    const bool asked = !host.questions.empty() && host.questions.back().text.find(said) == 0;
    EXPECT_EQ(std::tuple(p.outcome, asked), std::tuple(expected, answer.has_value()))
        << static_cast<int>(rule);
    if (p.plan && !later.empty()) {
      EXPECT_EQ(p.plan->warnings, std::vector{said + "; the package holds the discs found."});
    }
  }

  // Refusals in their order, and the output folder's rules.
  Fixture base;
  RunRecorder baseHost;
  EXPECT_EQ(base.Run(baseHost).outcome, Outcome::Success());

  const std::string badId = "Game ID is invalid (well tarnwick will at least say that)";
  using Change = std::function<void(Fixture&)>;
  // clang-format off
  const std::pair<Change, std::string> refusals[] = {
      {[](Fixture& g) { g.in.input += ".missing"; }, "The input file doesn't exist!"},
      {[](Fixture& g) { g.in.output = ""; }, "Please enter an output folder!"},
      {[](Fixture& g) { g.in.output = g.prog.folder() + "Data"; },
       "The output folder is cannot be the same as the Data folder!"},
      {[](Fixture& g) { g.in.title = ""; g.in.saveName = ""; },
       "Please enter a title for the game!"},
      {[](Fixture& g) { g.in.saveName = ""; },
       "No game save name selected!  Please use the Select button to choose a game!"},
      {[](Fixture& g) { g.in.gameId = "SLU00594"; }, "Game ID is invalid (according to tarnwick)"},
      {[](Fixture& g) { g.in.gameId = "SLUS0059A"; }, badId},
      {[](Fixture& g) { g.in.gameId = "ABCD00594"; }, badId},
      {[](Fixture& g) { g.in.assets[kSlotPic1].text = g.work / "nope.png"; },
       "The PIC1.PNG file doesn't exist!"},
      // The output check comes before the title check, the slots after the ID.
      {[](Fixture& g) { g.in.output = ""; g.in.title = ""; }, "Please enter an output folder!"},
      {[](Fixture& g) { g.in.gameId = "SLU00594"; g.in.assets[kSlotIcon0].text = "/nope.png"; },
       "Game ID is invalid (according to tarnwick)"},
  };
  // clang-format on
  for (const auto& [change, message] : refusals) {
    Fixture g;
    change(g);
    RunRecorder h;
    const Planned p = g.Run(h);
    EXPECT_EQ(std::tuple(p.outcome, p.plan.has_value()),
              std::tuple(Outcome::Failed(message), false));
  }
  // A folder, a FIFO or a device is refused before it is opened.
  base.in.input = base.work.path();
  EXPECT_EQ(base.Run(baseHost).outcome,
            Outcome::Failed("\"" + base.work.path() + "\" is a folder, not a file."));

  // The output folder's rules.
  base.in.input = base.work / "game.bin";
  // Data with a trailing separator passes; so does a lower-case ID prefix.
  base.in.output = base.prog.folder() + "Data" + kSep;
  base.in.gameId = "slus00594";
  EXPECT_EQ(base.Run(baseHost).outcome, Outcome::Success());
  // A package is patched in place: the output folder is not looked at.
  WriteFileText(base.work / "EBOOT.pbp", "x");
  base.in.input = base.work / "EBOOT.pbp";
  base.in.output = "";
  Planned patch = base.Run(baseHost);
  ASSERT_TRUE(patch.plan);
  EXPECT_EQ(std::tuple(patch.plan->kind, patch.plan->output),
            std::tuple(JobKind::PatchPackage, ""));
  // Rebuilt through the converter, it writes into the output folder, which is then checked.
  base.in.recompress = true;
  EXPECT_EQ(base.Run(baseHost).outcome, Outcome::Failed("The output folder is invalid!"));
  base.in.output = base.prog.folder() + "Data";
  EXPECT_EQ(base.Run(baseHost).outcome,
            Outcome::Failed("The output folder is cannot be the same as the Data folder!"));
  // A folder that cannot be created.
  base.in.output = base.work / "EBOOT.pbp/sub/leaf";
  EXPECT_EQ(base.Run(baseHost).outcome, Outcome::Failed("The output folder is invalid!"));
}

}  // namespace
}  // namespace ebf
