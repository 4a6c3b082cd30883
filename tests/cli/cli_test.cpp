// The command-line program as a user runs it: real processes, real files.
#include <gtest/gtest.h>

#include <filesystem>

#include "common/files.h"
#include "support/disc_builder.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/runtime.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

struct Ran {
  int exit = -1;
  std::string out;
};

// Runs the built program with its arguments split on blanks, except inside '...'.
Ran Cli(const std::string& args) {
  std::vector<std::string> argv;
  std::string cur;
  bool quoted = false, any = false;
  for (char c : args) {
    if (c == '\'') {
      quoted = !quoted;
      any = true;
    } else if (c == ' ' && !quoted) {
      if (any) argv.push_back(cur);
      cur.clear();
      any = false;
    } else {
      cur.push_back(c);
      any = true;
    }
  }
  if (any) argv.push_back(cur);
  test::ProcessResult r = test::RunProcess(test::PrivateCli(), argv, {});
  return {r.exitCode, r.output};
}

std::string Q(const std::string& path) {
  return "'" + path + "'";
}

TEST(Cli, SettingsShowsTheEffectiveValues) {
  TempDir dir;
  dir.MakeDir("out");
  test::WriteFileText(dir / "t.ini", "Default Output Dir = " + (dir / "out") +
                                         "\r\nShowCust = 10\r\nDefaultOutDirOpt = 7\r\n"
                                         "DefGameID = SCUS-94476\r\nDefGameID = SCUS94476\r\n");
  Ran r = Cli("settings --ini " + Q(dir / "t.ini"));
  EXPECT_EQ(r.exit, 0);
  EXPECT_NE(r.out.find("DefaultOutputDir = " + (dir / "out") + "\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("ShowCust = 0\n"), std::string::npos);
  EXPECT_NE(r.out.find("DefaultOutDirOpt = 0\n"), std::string::npos);
  EXPECT_NE(r.out.find("DefGameID = SCUS94476\n"), std::string::npos);
  EXPECT_LT(r.out.find("DefaultImagePath"), r.out.find("Theme ="));  // the writer's order
  EXPECT_EQ(Cli("--version").exit, 0);

  // Changed from the command line: the line in place, its neighbours as they were.
  Ran set = Cli("settings set showcust 1 --ini " + Q(dir / "t.ini"));
  EXPECT_EQ(set.exit, 0);
  EXPECT_EQ(set.out, "ShowCust = 1\n");
  EXPECT_EQ(test::ReadFileText(dir / "t.ini"),
            "Default Output Dir = " + (dir / "out") +
                "\r\nShowCust = 1\r\nDefaultOutDirOpt = 7\r\nDefGameID = SCUS-94476\r\n"
                "DefGameID = SCUS94476\r\n");

  Ran unknown = Cli("nonsense");
  EXPECT_EQ(unknown.exit, 1);
  EXPECT_EQ(unknown.out.substr(0, 61),
            "\"nonsense\" is not a command. The commands are: settings, game");
  EXPECT_NE(unknown.out.find(", convert, batch, info, extract, patch, verify,"), std::string::npos);
}

TEST(Cli, ConvertAnswersQuestionsOnlyWithYes) {
  TempDir dir;
  test::WriteFileBytes(dir / "game.iso", test::BuildIsoSectors(test::GameDisc("SLUS_005.94")));
  Ran asked = Cli("convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out"));
  EXPECT_EQ(asked.exit, 2);  // declined
  EXPECT_NE(asked.out.find("It appears that you're using an ISO."), std::string::npos) << asked.out;
  EXPECT_FALSE(FileExists(dir / "out/EBOOT.PBP"));

  Ran done = Cli("--yes convert " + Q(dir / "game.iso") + " -o " + Q(dir / "out") + " --level 0");
  EXPECT_EQ(done.exit, 0) << done.out;
  EXPECT_NE(done.out.find("Conversion Done :)"), std::string::npos);
  EXPECT_TRUE(FileExists(dir / "out/EBOOT.PBP"));

  Ran info = Cli("info " + Q(dir / "out/EBOOT.PBP"));
  EXPECT_EQ(info.exit, 0) << info.out;
  EXPECT_NE(info.out.find("SLUS00594"), std::string::npos) << info.out;

  // A package given back is patched in place.
  Ran patched = Cli("convert " + Q(dir / "out/EBOOT.PBP") + " --title Renamed");
  EXPECT_EQ(patched.exit, 0) << patched.out;
  EXPECT_NE(patched.out.find("Patching Done!  Enjoy :)"), std::string::npos);
  EXPECT_NE(Cli("info " + Q(dir / "out/EBOOT.PBP")).out.find("Renamed"), std::string::npos);

  Ran bad = Cli("--yes convert " + Q(dir / "missing.iso") + " -o " + Q(dir / "out"));
  EXPECT_EQ(bad.exit, 1);
}

TEST(Cli, BatchConvertsEveryGameAndReports) {
  TempDir dir;
  dir.MakeDir("games/more");
  const char* ids[] = {"SLUS_012.34", "SCES_003.44", "SLPS_001.11", "SLUS_005.94", "SCUS_944.76"};
  for (int i = 0; i < 5; ++i) {
    test::IsoOptions disc = test::GameDisc(ids[i], test::NoiseBytes(30000, i));
    const Bytes raw = test::BuildDiscImage(disc, test::SectorLayout::Mode2Raw);
    const std::string base = dir / (i < 3 ? "games/game" : "games/more/game") + std::to_string(i);
    if (i == 0) {  // a CUE with its BIN: converted once, through the sheet
      test::WriteFileBytes(base + ".bin", raw);
      test::WriteFileText(base + ".cue",
                          "FILE \"game0.bin\" BINARY\n TRACK 01 MODE2/2352\n"
                          " INDEX 01 00:00:00\n");
    } else {
      test::WriteFileBytes(base + ".bin", raw);
    }
  }
  Ran r = Cli("--yes batch " + Q(dir / "games") + " -o " + Q(dir / "out") + " --level 1");
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_NE(r.out.find("5 of 5 converted."), std::string::npos) << r.out;
  int packages = 0;
  for (auto& e : std::filesystem::recursive_directory_iterator(dir / "out"))
    packages += e.path().filename() == "EBOOT.PBP";
  EXPECT_EQ(packages, 5);
  for (const char* id : {"SLUS01234", "SCES00344", "SLPS00111", "SLUS00594", "SCUS94476"})
    EXPECT_NE(r.out.find(id), std::string::npos) << id;

  // Again, without --yes: every package is there already, so every game is skipped (no
  // failure), and the report says so.
  r = Cli("batch " + Q(dir / "games") + " -o " + Q(dir / "out") + " --report " +
          Q(dir / "report.csv"));
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_NE(r.out.find("0 done, 0 failed, 5 skipped in "), std::string::npos) << r.out;
  const std::string report = test::ReadFileText(dir / "report.csv");
  std::size_t skipped = 0;
  for (std::size_t at = 0; (at = report.find(",Skipped,exists,", at)) != std::string::npos; ++at)
    ++skipped;
  EXPECT_EQ(skipped, 5u) << report;
  EXPECT_NE(report.find("\r\n0,0,5,0,0,"), std::string::npos) << report;
}

}  // namespace
}  // namespace ebf
