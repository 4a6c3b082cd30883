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
using test::RecordingHost;
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

TEST(CommandLine, BuiltUnescapedAndSplitLikeWindows) {
  ConverterRunOptions o;
  o.outputFolder = "/out/";
  o.title = "Final\" Cut";
  o.gameId = "SLUS00594";
  o.level = 0;
  o.inputPath = "/tmp/TempBIN.bin";
  EXPECT_EQ(ConverterCommandLine(o),
            "\"/out/tarnwick.exe\" \"Final\" Cut\" SLUS00594 0 \"/tmp/TempBIN.bin\"");
  // The quote in the title splits it, as the converter would see it on any platform.
  EXPECT_EQ(
      SplitCommandLine(ConverterCommandLine(o)),
      (std::vector<std::string>{"/out/tarnwick.exe", "Final", "Cut SLUS00594 0 /tmp/TempBIN.bin"}));
  EXPECT_EQ(SplitCommandLine("a  \"\" b"), (std::vector<std::string>{"a", "", "b"}));
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
  RecordingHost host;
  EXPECT_EQ(RunConverter(s.Options(9), host), "Success.");
  EXPECT_TRUE(FileExists(s.out / "EBOOT.PBP"));
  EXPECT_EQ(host.captions.front(), "Converting to EBOOT...");
  ASSERT_FALSE(host.sizeTexts.empty());
  EXPECT_EQ(host.sizeTexts.front(), "Image Size: " + FormatSize(2352 * 10));
  EXPECT_TRUE(host.fractions.empty());
  // The converter got the five items, the title whole.
  EXPECT_EQ(test::ReadFileText(s.out / "fake_args.txt"),
            "My Game\nSLUS00594\n9\n" + (s.out / "game.bin") + "\n");

  RecordingHost host0;
  EXPECT_EQ(RunConverter(s.Options(0), host0), "Success.");
  EXPECT_TRUE(host0.bytesTexts.empty());
}

TEST(RunConverter, FailuresCarryTheOutputAndKeepTheEboot) {
  Staged s;
  ASSERT_EQ(StageConverterFiles(s.progFolder, s.outFolder, s.assets), "");
  const std::string prefix =
      "Error occurred during conversion!  Tarnwick returned the following:\r\n\r\n";
  for (const char* m : {"done-lower", "done-no-dot", "silent", "error", "crash"}) {
    FakeMode mode(m);
    RecordingHost host;
    std::string r = RunConverter(s.Options(), host);
    EXPECT_EQ(r.rfind(prefix, 0), 0u) << m << ": " << r;
  }
  {
    FakeMode mode("error");
    RecordingHost host;
    EXPECT_EQ(RunConverter(s.Options(), host), prefix + "Cannot read the image\n");
  }
  for (const char* m : {"done-bare", "huge"}) {
    FakeMode mode(m);
    RecordingHost host;
    EXPECT_EQ(RunConverter(s.Options(), host), "Success.") << m;
  }
}

TEST(RunConverter, CancelAtFirstPollAndLaterDeletesTheEboot) {
  Staged s;
  ASSERT_EQ(StageConverterFiles(s.progFolder, s.outFolder, s.assets), "");
  FakeMode mode("slow");
  for (int cancelAt : {1, 20}) {
    test::WriteFileText(s.out / "EBOOT.PBP", "an older package");
    RecordingHost host;
    host.onPump = [cancelAt](int n) {
      if (n == cancelAt) CancelRequested = true;
    };
    EXPECT_EQ(RunConverter(s.Options(0), host), "Cancelled.");
    EXPECT_FALSE(CancelRequested);
    EXPECT_FALSE(FileExists(s.out / "EBOOT.PBP"));
    if (cancelAt == 20) {
      EXPECT_FALSE(host.fractions.empty());
    }
  }
}

TEST(RunConverter, MissingConverterCannotStart) {
  Staged s;
  RecordingHost host;
  EXPECT_EQ(RunConverter(s.Options(), host), "Could not start tarnwick!");
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
