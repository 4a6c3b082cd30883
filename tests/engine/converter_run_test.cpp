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

using test::FakeMode;
using test::RunRecorder;
using test::TempDir;

struct Staged {
  TempDir prog, out;
  std::string progFolder, outFolder;
  AssetPaths assets;
  Staged() {
    progFolder = test::MakeFakeProgramFolder(prog);
    outFolder = out.folder();
    const std::string def = progFolder + "PSXCust" + kSep + "Default" + kSep;
    assets = {def + "ICON0.PNG", def + "ICON1.PMF", def + "PIC0.PNG",
              def + "PIC1.PNG",  def + "SND0.AT3",  def + "Gameboot.png"};
    test::WriteFileBytes(out / "game.bin", test::NoiseBytes(2352 * 10, 9));
  }
  ConverterRunOptions Options(int level = 9) const {
    ConverterRunOptions o;
    o.outputFolder = outFolder;
    o.title = "My Game";
    o.gameId = "SLUS00594";
    o.level = level;
    o.inputPath = out / "game.bin";
    o.expectedSize = 1 << 20;
    o.pollInterval = std::chrono::milliseconds(10);
    return o;
  }
};

TEST(ConverterVerdict, DoneDotAtTheVeryEnd) {
  EXPECT_TRUE(ConverterSucceeded("Writing\r\nDone."));
  EXPECT_TRUE(ConverterSucceeded("Writing\r\nDone.\r\n"));
  EXPECT_TRUE(ConverterSucceeded("Done.\n\n\n"));
  EXPECT_FALSE(ConverterSucceeded("Writing\r\ndone.\r\n"));
  EXPECT_FALSE(ConverterSucceeded("Done\r\n"));
  EXPECT_FALSE(ConverterSucceeded("Done. Not really"));
  EXPECT_FALSE(ConverterSucceeded(""));
}

TEST(CommandLine, ArgumentsAsTheConverterReadsThem) {
  ConverterRunOptions o;
  o.outputFolder = "/out/";
  o.title = "My Game: Part 2";
  o.gameId = "SLUS00594";
  o.level = 0;
  o.inputPath = "/tmp/Temp BIN.bin";
  EXPECT_EQ(ConverterArguments(o),
            (std::vector<std::string>{"/out/tarnwick.exe", "My Game: Part 2", "SLUS00594", "0",
                                      "/tmp/Temp BIN.bin"}));
  // A quote in the title ends its quoted part, unescaped, as it always has: the converter
  // reads the rest of the line grouped by the quotes that follow.
  o.title = "Final\" Cut";
  EXPECT_EQ(ConverterArguments(o),
            (std::vector<std::string>{"/out/tarnwick.exe", "Final", "Cut SLUS00594 0 /tmp/Temp",
                                      "BIN.bin"}));
  EXPECT_EQ(SplitQuotedWords("a  \"\" b"), (std::vector<std::string>{"a", "", "b"}));
  // Windows gets one line that reads back as the same words.
  EXPECT_EQ(JoinCommandLine({"/out/tarnwick.exe", "My Game", "SLUS00594", "9", ""}),
            "/out/tarnwick.exe \"My Game\" SLUS00594 9 \"\"");
}

TEST(Staging, CopiesAndRemovesOnlyWhatItStaged) {
  Staged s;
  // The user's own ICON0 already is the staged file: neither copied over nor removed.
  test::WriteFileText(s.out / "ICON0.PNG", "mine");
  s.assets[kIcon0] = s.outFolder + "ICON0.PNG";
  ASSERT_EQ(StageConverterFiles(s.progFolder, s.outFolder, s.assets), "");
  for (const char* name : {"tarnwick.exe", "BASE.PBP", "DATA.PSP", "ICON1.PMF", "PIC0.PNG",
                           "PIC1.PNG", "SND0.AT3", "BOOT.PNG"})
    EXPECT_TRUE(FileExists(s.out / name)) << name;
  EXPECT_EQ(test::ReadFileText(s.out / "ICON0.PNG"), "mine");
#ifndef _WIN32
  auto perms = std::filesystem::status(s.out / "tarnwick.exe").permissions();
  EXPECT_NE(perms & std::filesystem::perms::owner_exec, std::filesystem::perms::none);
#endif
  test::WriteFileText(s.out / "ISO.TOC", "toc");
  RemoveStagedFiles(s.outFolder, s.assets);
  for (const char* name : {"tarnwick.exe", "BASE.PBP", "DATA.PSP", "ICON1.PMF", "PIC0.PNG",
                           "PIC1.PNG", "SND0.AT3", "BOOT.PNG", "ISO.TOC"})
    EXPECT_FALSE(FileExists(s.out / name)) << name;
  EXPECT_EQ(test::ReadFileText(s.out / "ICON0.PNG"), "mine");
  EXPECT_TRUE(FileExists(s.out / "game.bin"));
}

TEST(RunConverter, SuccessShowsBytesForCompressedAndBarOtherwise) {
  Staged s;
  ASSERT_EQ(StageConverterFiles(s.progFolder, s.outFolder, s.assets), "");
  FakeMode mode("done");
  RunRecorder host;
  EXPECT_EQ(RunConverter(s.Options(9), host, host.cancel), Outcome::Success());
  EXPECT_TRUE(FileExists(s.out / "EBOOT.PBP"));
  EXPECT_EQ(host.stages, std::vector<std::string>{"Converting to EBOOT..."});
  EXPECT_EQ(host.workSizes, std::vector<uint64_t>{2352 * 10});
  // A compressed package's size cannot be foreseen: only the bytes written are told.
  ASSERT_FALSE(host.amounts.empty());
  for (const auto& [done, total] : host.amounts) EXPECT_EQ(total, 0u);
  // The converter got the five items, the title whole.
  EXPECT_EQ(test::ReadFileText(s.out / "fake_args.txt"),
            "My Game\nSLUS00594\n9\n" + (s.out / "game.bin") + "\n");

  RunRecorder host0;
  EXPECT_EQ(RunConverter(s.Options(0), host0, host0.cancel), Outcome::Success());
  ASSERT_FALSE(host0.amounts.empty());
  for (const auto& [done, total] : host0.amounts) EXPECT_EQ(total, s.Options(0).expectedSize);
}

TEST(RunConverter, FailuresCarryTheOutputAndKeepTheEboot) {
  Staged s;
  ASSERT_EQ(StageConverterFiles(s.progFolder, s.outFolder, s.assets), "");
  const std::string prefix =
      "Error occurred during conversion!  Tarnwick returned the following:\r\n\r\n";
  for (const char* m : {"done-lower", "done-no-dot", "silent", "error", "crash"}) {
    FakeMode mode(m);
    RunRecorder host;
    std::string r = RunConverter(s.Options(), host, host.cancel).text();
    EXPECT_EQ(r.rfind(prefix, 0), 0u) << m << ": " << r;
  }
  {
    FakeMode mode("error");
    RunRecorder host;
    EXPECT_EQ(RunConverter(s.Options(), host, host.cancel),
              Outcome::Failed(prefix + "Cannot read the image\n"));
  }
  for (const char* m : {"done-bare", "huge"}) {
    FakeMode mode(m);
    RunRecorder host;
    EXPECT_EQ(RunConverter(s.Options(), host, host.cancel), Outcome::Success()) << m;
  }
}

TEST(RunConverter, CancelAtFirstPollAndLaterDeletesTheEboot) {
  Staged s;
  ASSERT_EQ(StageConverterFiles(s.progFolder, s.outFolder, s.assets), "");
  FakeMode mode("slow");
  // At the first poll, and after the size has been looked at three times (every fifth poll).
  for (int cancelAt : {1, 4}) {
    test::WriteFileText(s.out / "EBOOT.PBP", "an older package");
    RunRecorder host;
    host.onAdvance = [&host, cancelAt](int n) {
      if (n == cancelAt) host.cancel.Request();
    };
    EXPECT_EQ(RunConverter(s.Options(0), host, host.cancel), Outcome::Cancelled());
    EXPECT_FALSE(host.cancel.Requested());
    EXPECT_FALSE(FileExists(s.out / "EBOOT.PBP"));
    EXPECT_EQ(host.amounts.size(), static_cast<std::size_t>(cancelAt));
    EXPECT_TRUE(host.completed.empty());
  }
}

TEST(RunConverter, MissingConverterCannotStart) {
  Staged s;
  RunRecorder host;
  EXPECT_EQ(RunConverter(s.Options(), host, host.cancel),
            Outcome::Failed("Could not start tarnwick!"));
}

TEST(Staging, TheUsersTemplateAndLoaderBeforeTheShippedOnes) {
  Staged s;
  TempDir user;
  ProgramFolders f;
  f.tree = s.progFolder;
  f.work = s.progFolder;
  f.user = user.folder();
  f.converter = s.progFolder + "Data" + kSep + "tarnwick.exe";
  user.MakeDir("Data");
  test::WriteFileText(user / "Data/BASE.PBP", "my own template");
  ASSERT_EQ(StageConverterFiles(f, s.outFolder, s.assets), "");
  EXPECT_EQ(test::ReadFileText(s.out / "BASE.PBP"), "my own template");
  EXPECT_EQ(test::ReadFileBytes(s.out / "DATA.PSP"),
            test::ReadFileBytes(s.progFolder + "Data/DATA.PSP"));
  EXPECT_EQ(test::ReadFileBytes(s.out / "tarnwick.exe"), test::ReadFileBytes(f.converter));
  RemoveStagedFiles(s.outFolder, s.assets);

  // The converter comes from where the folders name it, not from Data/.
  f.converter = user / "elsewhere.exe";
  test::WriteFileText(f.converter, "the installed converter");
  ASSERT_EQ(StageConverterFiles(f, s.outFolder, s.assets), "");
  EXPECT_EQ(test::ReadFileText(s.out / "tarnwick.exe"), "the installed converter");
}

}  // namespace
}  // namespace ebf
