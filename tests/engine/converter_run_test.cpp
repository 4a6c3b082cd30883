#include <gtest/gtest.h>

#include <filesystem>

#include "common/cancel.h"
#include "common/files.h"
#include "engine/converter_run.h"
#include "engine/process.h"
#include "support/fake_program.h"
#include "support/recording_host.h"

namespace ebf {
namespace {

using namespace test;

// The fake converter installed in a program folder, run from a work folder of its own.
struct Staged {
  TempDir prog, out, work;
  std::string progFolder = MakeFakeProgramFolder(prog);
  Staged() { WriteFileBytes(out / "game.bin", NoiseBytes(2352 * 10, 9)); }
  ConverterRunOptions Options(int level = 9) const {
    ConverterRunOptions o;
    o.converter = progFolder + "Data" + kSep + "tarnwick.exe";
    o.workFolder = work.folder();
    o.output = out / "EBOOT.PBP";
    o.title = "My Game";
    o.gameId = "SLUS00594";
    o.level = level;
    o.inputPath = out / "game.bin";
    o.expectedSize = 1 << 20;
    o.pollInterval = std::chrono::milliseconds(10);
    return o;
  }
};

TEST(Converter, ItsArgumentsVerdictRunCancelAndProgress) {
  ConverterRunOptions o;
  o.converter = "/opt/ebf/tarnwick.exe";
  o.output = "/out/EBOOT.PBP.part";
  o.templatePackage = "/opt/ebf/BASE.PBP";
  o.dataPsp = "/opt/ebf/DATA.PSP";
  o.assets = {"/a/0.png", "/a/1.pmf", "/a/p0.png", "/a/p1.png", "/a/s.at3", "/a/b.png"};
  o.title = "My Game: Part 2";
  o.gameId = "SLUS00594";
  o.level = 0;
  o.inputPath = "/tmp/Temp BIN.bin";
  // clang-format off
  const std::vector<std::string> files = {
      "/opt/ebf/tarnwick.exe", "--output", "/out/EBOOT.PBP.part", "--template", "/opt/ebf/BASE.PBP",
      "--data-psp", "/opt/ebf/DATA.PSP", "--icon0", "/a/0.png", "--icon1", "/a/1.pmf",
      "--pic0", "/a/p0.png", "--pic1", "/a/p1.png", "--snd0", "/a/s.at3", "--boot", "/a/b.png"};
  // clang-format on
  auto with = [&](std::vector<std::string> tail) {
    std::vector<std::string> all = files;
    all.insert(all.end(), tail.begin(), tail.end());
    return all;
  };
  EXPECT_EQ(ConverterArguments(o),
            with({"--", "My Game: Part 2", "SLUS00594", "0", "/tmp/Temp BIN.bin"}));
  // Each disc's TOC by its own option; the later discs' IDs and images after disc 1's.
  o.toc = "/w/ISO.TOC";
  o.laterDiscs = {{"SLUS00595", "/d2.bin", ""}, {"SLUS00596", "/d3.bin", "/w/ISO3.TOC"}};
  EXPECT_EQ(ConverterArguments(o), with({"--toc", "/w/ISO.TOC", "--toc3", "/w/ISO3.TOC", "--",
                                         "My Game: Part 2", "SLUS00594", "0", "/tmp/Temp BIN.bin",
                                         "SLUS00595", "/d2.bin", "SLUS00596", "/d3.bin"}));
  o.toc.clear();
  o.laterDiscs.clear();
  // A quote in the title ends its quoted part, unescaped, as it always has: the converter
  // reads the rest of the line grouped by the quotes that follow.
  o.title = "Final\" Cut";
  EXPECT_EQ(ConverterArguments(o), with({"--", "Final", "Cut SLUS00594 0 /tmp/Temp", "BIN.bin"}));
  EXPECT_EQ(SplitQuotedWords("a  \"\" b"), (std::vector<std::string>{"a", "", "b"}));
  // Windows gets one line that reads back as the same words.
  EXPECT_EQ(JoinCommandLine({"/out/tarnwick.exe", "My Game", "SLUS00594", "9", ""}),
            "/out/tarnwick.exe \"My Game\" SLUS00594 9 \"\"");

  // The verdict: "Done." at the very end.
  for (const char* yes : {"Writing\r\nDone.", "Writing\r\nDone.\r\n", "Done.\n\n\n"})
    EXPECT_TRUE(ConverterSucceeded(yes)) << yes;
  for (const char* no : {"Writing\r\ndone.\r\n", "Done\r\n", "Done. Not really", ""})
    EXPECT_FALSE(ConverterSucceeded(no)) << no;

  // A run: a cancel deletes the package; success shows progress; no converter cannot start.
  Staged s;
  FakeMode mode("slow");
  // At the first poll, and after the size has been looked at three times (every fifth poll).
  for (int cancelAt : {1, 4}) {
    WriteFileText(s.out / "EBOOT.PBP", "an older package");
    RunRecorder host;
    host.onAdvance = [&host, cancelAt](int n) {
      if (n == cancelAt) host.cancel.Request();
    };
    EXPECT_EQ(RunConverter(s.Options(0), host, host.cancel), Outcome::Cancelled());
    EXPECT_FALSE(host.cancel.Requested() || FileExists(s.out / "EBOOT.PBP"));
    EXPECT_EQ(std::tuple(host.amounts.size(), host.completed.size()),
              std::tuple(static_cast<std::size_t>(cancelAt), 0u));
  }

  // Success shows the bytes written for a compressed package and a bar otherwise; no converter
  // cannot start.
  FakeMode done("done");
  RunRecorder host;
  EXPECT_EQ(RunConverter(s.Options(9), host, host.cancel), Outcome::Success());
  EXPECT_TRUE(FileExists(s.out / "EBOOT.PBP"));
  EXPECT_EQ(host.stages, std::vector<std::string>{"Converting to EBOOT..."});
  EXPECT_EQ(host.workSizes, std::vector<uint64_t>{2352 * 10});
  // A compressed package's size cannot be foreseen: only the bytes written are told.
  ASSERT_FALSE(host.amounts.empty());
  for (const auto& [done, total] : host.amounts) EXPECT_EQ(total, 0u);
  // However quickly it ran, the last figure is what was written.
  EXPECT_EQ(host.amounts.back().first, FileSize(s.out / "EBOOT.PBP").value_or(1));
  // The converter ran in the work folder and got the title whole.
  const std::string args = ReadFileText(s.work / "fake_args.txt");
  EXPECT_NE(args.find("\n--\nMy Game\nSLUS00594\n9\n" + (s.out / "game.bin") + "\n"),
            std::string::npos)
      << args;

  RunRecorder host0;
  EXPECT_EQ(RunConverter(s.Options(0), host0, host0.cancel), Outcome::Success());
  ASSERT_FALSE(host0.amounts.empty());
  for (const auto& [done, total] : host0.amounts) EXPECT_EQ(total, s.Options(0).expectedSize);

  // A converter that is not there cannot start.
  std::filesystem::remove(s.progFolder + "Data/tarnwick.exe");
  EXPECT_EQ(RunConverter(s.Options(), host0, host0.cancel),
            Outcome::Failed("Could not start tarnwick!"));
}

}  // namespace
}  // namespace ebf
