// Inputs that are no files, and the small mistakes on the command line, are answered with
// a clear message at once: nothing hangs, nothing is opened that could block.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/pbp_writer.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

test::ProcessResult Cli(const std::vector<std::string>& args) {
  return test::RunProcess(test::PrivateCli(), args, {});
}

TEST(CliRefusals, FoldersPipesAndDevicesAreNoInputs) {
  TempDir dir;
  const std::string fifo = dir / "game.cue";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const std::string folder = dir.MakeDir("Game.pbp");

  // Before, a pipe named .cue was opened and read for ever.
  test::ProcessResult r = Cli({"gameid", fifo});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.output,
            "\"" + fifo + "\" is not a regular file (a pipe or a device) and cannot be read.\n");

  r = Cli({"gameid", "/dev/zero"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.output,
            "\"/dev/zero\" is not a regular file (a pipe or a device) and cannot be read.\n");

  r = Cli({"info", folder});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.output, "\"" + folder + "\" is a folder, not a file.\n");

  r = Cli({"convert", fifo, "-o", dir / "out", "--yes"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.output.find("is not a regular file"), std::string::npos) << r.output;
  EXPECT_FALSE(std::filesystem::exists(dir / "out/EBOOT.PBP"));

  r = Cli({"lookup", ""});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.output, "No game ID given: name one, e.g. SLUS00594.\n");

  // A DAT that is a pipe: the XML reader used to wait on it for ever (timeout(1) kills a run
  // that hangs).
  const std::string pkg = dir / "game.pbp";
  test::PackageRecipe recipe;
  recipe.image = test::NoiseBytes(2 * test::kTestBlockSize, 4);
  test::WritePbp(pkg, recipe);
  const std::string datFifo = dir / "redump.dat";
  ASSERT_EQ(mkfifo(datFifo.c_str(), 0600), 0);
  r = test::RunProcess(
      "/usr/bin/timeout",
      {"-s", "KILL", "20", test::PrivateCli(), "--quiet", "verify", pkg, "--dat", datFifo}, {});
  EXPECT_EQ(r.exitCode, 1) << r.output;
  EXPECT_NE(r.output.find("\"" + datFifo +
                          "\" is not a regular file (a pipe or a device) and cannot be read."),
            std::string::npos)
      << r.output;
}

TEST(CliRefusals, AnExtractionThatCannotFinishSaysWhyAndLeavesNothing) {
  TempDir dir;
  const std::string pkg = dir / "game.pbp";
  test::PackageRecipe recipe;
  recipe.image = test::NoiseBytes(3 * test::kTestBlockSize, 5);
  test::WritePbp(pkg, recipe);
  test::WriteFileText(dir / "Game.bin", "the user's old image");
  std::filesystem::create_directory(dir / "Game.ccd");
  test::ProcessResult r =
      Cli({"--yes", "--quiet", "extract", pkg, dir / "Game.bin", "--toc", "ccd"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.output, "\nCould not write \"" + (dir / "Game.ccd") +
                          "\": a folder of that name is in the way.\n");
  EXPECT_EQ(test::ReadFileText(dir / "Game.bin"), "the user's old image");
  EXPECT_FALSE(std::filesystem::exists(dir / "Game.bin.ebf-part"));
  EXPECT_FALSE(std::filesystem::exists(dir / "Game.ccd.ebf-part"));
}

}  // namespace
}  // namespace ebf
