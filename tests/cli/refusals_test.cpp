// Inputs that are no files, and the small mistakes on the command line, are answered with
// a clear message at once: nothing hangs, nothing is opened that could block.
#include <sys/stat.h>
#include "cli/cli_run.h"

#include "support/pbp_writer.h"

namespace ebf {
namespace {

using test::Cli;

using test::TempDir;

TEST(CliRefusals, FoldersPipesAndDevicesAreNoInputs) {
  TempDir dir;
  // Before, a pipe named .cue was opened and read for ever.
  const std::string fifo = dir / "game.cue", folder = dir.MakeDir("Game.pbp");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const auto notAFile = [](const std::string& path) {
    return "\"" + path + "\" is not a regular file (a pipe or a device) and cannot be read.\n";
  };
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"gameid", fifo}, notAFile(fifo)},
      {{"gameid", "/dev/zero"}, notAFile("/dev/zero")},
      {{"info", folder}, "\"" + folder + "\" is a folder, not a file.\n"},
      {{"lookup", ""}, "No game ID given: name one, e.g. SLUS00594.\n"},
  };
  for (const auto& [args, said] : rows) {
    const test::Ran r = Cli(args);
    EXPECT_EQ(r.exit, 1) << args[0];
    EXPECT_EQ(r.out, said);
  }
  test::Ran r = Cli({"convert", fifo, "-o", dir / "out", "--yes"});
  EXPECT_TRUE(test::Said(r, 1, {"is not a regular file"}));
  EXPECT_FALSE(FileExists(dir / "out/EBOOT.PBP"));

  // A DAT that is a pipe: the XML reader used to wait on it for ever (timeout(1) kills a run
  // that hangs).
  const std::string pkg = dir / "game.pbp", datFifo = dir / "redump.dat";
  test::PackageRecipe recipe;
  recipe.image = test::NoiseBytes(2 * test::kTestBlockSize, 4);
  test::WritePbp(pkg, recipe);
  ASSERT_EQ(mkfifo(datFifo.c_str(), 0600), 0);
  const test::ProcessResult hung = test::RunProcess(
      "/usr/bin/timeout",
      {"-s", "KILL", "20", test::PrivateCli(), "--quiet", "verify", pkg, "--dat", datFifo}, {});
  EXPECT_EQ(hung.exitCode, 1) << hung.output;
  EXPECT_NE(hung.output.find(notAFile(datFifo)), std::string::npos) << hung.output;
}

}  // namespace
}  // namespace ebf
