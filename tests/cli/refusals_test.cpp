// Inputs that are no files, and the small mistakes on the command line, are answered with
// a clear message at once: nothing hangs, nothing is opened that could block.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

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
}

}  // namespace
}  // namespace ebf
