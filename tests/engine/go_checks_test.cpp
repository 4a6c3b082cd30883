#include <gtest/gtest.h>

#include "common/files.h"
#include "engine/go_checks.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::RunRecorder;
using test::TempDir;

struct Fixture {
  TempDir prog, work;
  GoInputs in;
  Fixture() {
    test::WriteFileText(work / "game.bin", "x");
    in.programFolder = prog.folder();
    in.input = work / "game.bin";
    in.output = work / "out";
    in.title = "Game";
    in.saveName = "Game";
    in.gameId = "SLUS00594";
    in.region = "NTSC";
  }
  GoVerdict Run(RunRecorder& host) { return RunGoChecks(in, host); }
};

TEST(GoChecks, RefusalsInTheirOrder) {
  Fixture f;
  RunRecorder host;
  EXPECT_TRUE(f.Run(host).proceed);

  auto warning = [&](auto change) {
    Fixture g;
    change(g.in);
    RunRecorder h;
    GoVerdict v = g.Run(h);
    EXPECT_FALSE(v.proceed);
    return v.warning;
  };
  EXPECT_EQ(warning([](GoInputs& i) { i.input += ".missing"; }), "The input file doesn't exist!");
  EXPECT_EQ(warning([](GoInputs& i) { i.output = ""; }), "Please enter an output folder!");
  EXPECT_EQ(warning([](GoInputs& i) { i.output = i.programFolder + "Data"; }),
            "The output folder is cannot be the same as the Data folder!");
  EXPECT_EQ(warning([](GoInputs& i) {
              i.title = "";
              i.saveName = "";
            }),
            "Please enter a title for the game!");
  EXPECT_EQ(warning([](GoInputs& i) { i.saveName = ""; }),
            "No game save name selected!  Please use the Select button to choose a game!");
  EXPECT_EQ(warning([](GoInputs& i) { i.gameId = "SLU00594"; }),
            "Game ID is invalid (according to tarnwick)");
  EXPECT_EQ(warning([](GoInputs& i) { i.gameId = "SLUS0059A"; }),
            "Game ID is invalid (well tarnwick will at least say that)");
  EXPECT_EQ(warning([](GoInputs& i) { i.gameId = "ABCD00594"; }),
            "Game ID is invalid (well tarnwick will at least say that)");
  EXPECT_EQ(warning([](GoInputs& i) { i.slotChecks = [] { return std::string("slot says no"); }; }),
            "slot says no");
  // The output check comes before the title check.
  EXPECT_EQ(warning([](GoInputs& i) {
              i.output = "";
              i.title = "";
            }),
            "Please enter an output folder!");
}

TEST(GoChecks, OutputFolderRules) {
  Fixture f;
  RunRecorder host;
  // Data with a trailing separator passes; so does a lower-case id prefix.
  f.in.output = f.in.programFolder + "Data" + kSep;
  f.in.gameId = "slus00594";
  EXPECT_TRUE(f.Run(host).proceed);
  // A package is patched in place: the output folder is not looked at.
  test::WriteFileText(f.work / "EBOOT.pbp", "x");
  f.in.input = f.work / "EBOOT.pbp";
  f.in.output = "";
  EXPECT_TRUE(f.Run(host).proceed);
  // A folder that cannot be created.
  Fixture g;
  test::WriteFileText(g.work / "file", "x");
  g.in.output = g.work / "file/sub/leaf";
  EXPECT_EQ(g.Run(host).warning, "The output folder is invalid!");
}

TEST(GoChecks, QuestionsAndTheirDefaults) {
  {
    Fixture f;
    test::WriteFileText(f.work / "game.iso", "x");
    f.in.input = f.work / "game.iso";
    RunRecorder host;
    host.answers = {false};
    GoVerdict v = f.Run(host);
    EXPECT_FALSE(v.proceed);
    EXPECT_TRUE(v.warning.empty());  // No ends silently
    ASSERT_EQ(host.questions.size(), 1u);
    EXPECT_FALSE(host.questions[0].defaultNo);  // Yes is the default for the ISO question
  }
  {
    Fixture f;
    f.in.palFixGraphics = true;  // NTSC game with a fix
    RunRecorder host;
    host.answers = {true};
    EXPECT_TRUE(f.Run(host).proceed);
    ASSERT_EQ(host.questions.size(), 1u);
    EXPECT_TRUE(host.questions[0].defaultNo);
    EXPECT_NE(host.questions[0].text.find("on an NTSC game"), std::string::npos);
  }
  {
    Fixture f;
    f.in.region = "PAL";  // PAL game without a fix
    RunRecorder host;
    host.answers = {false};
    EXPECT_FALSE(f.Run(host).proceed);
    ASSERT_EQ(host.questions.size(), 1u);
    EXPECT_NE(host.questions[0].text.find("converting a PAL game"), std::string::npos);
  }
  for (auto [region, scr, gfx] : {std::tuple{"NTSC", false, false}, std::tuple{"PAL", true, false},
                                  std::tuple{"PAL", false, true}, std::tuple{"", true, true}}) {
    Fixture f;
    f.in.region = region;
    f.in.palFixScreen = scr;
    f.in.palFixGraphics = gfx;
    RunRecorder host;
    EXPECT_TRUE(f.Run(host).proceed);
    EXPECT_TRUE(host.questions.empty()) << region << scr << gfx;
  }
}

}  // namespace
}  // namespace ebf
