// The user's own files around a conversion: the output folder receives EBOOT.PBP and nothing
// else, and an older EBOOT.PBP or extracted image is replaced only when the user says so.
#include "cli/cli_run.h"

#include <map>

#include <sys/stat.h>
#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/disc_sets.h"
#include "support/ecm_writer.h"
#include "support/pbp_writer.h"

namespace ebf {
namespace {

using test::Cli;

namespace fs = std::filesystem;
using test::TempDir;

std::map<std::string, Bytes> Contents(const std::string& folder) {
  std::map<std::string, Bytes> files;
  for (const auto& e : fs::directory_iterator(folder))
    files[e.path().filename().string()] = test::ReadFileBytes(e.path().string());
  return files;
}

TEST(UsersFiles, ANewFileReplacesAnOlderOneOnlyWithYesAndTheOutputFolderGetsEbootPbpAlone) {
  TempDir dir;
  const test::CdSet set = test::WriteDataOnlySet(dir.MakeDir("in"));
  const std::string out = dir.MakeDir("out/Game");
  // What a user keeps in a game's folder, with names the converter once used for itself.
  const char* names[] = {"ICON0.PNG", "PIC0.PNG",     "PIC1.PNG", "ICON1.PMF",
                         "SND0.AT3",  "BOOT.PNG",     "BASE.PBP", "DATA.PSP",
                         "ISO.TOC",   "tarnwick.exe", "EBOOT.PBP"};
  for (std::size_t i = 0; i < std::size(names); ++i)
    test::WriteFileBytes(out + "/" + names[i], test::NoiseBytes(100 + i, static_cast<int>(i)));
  fs::permissions(out + "/tarnwick.exe", fs::perms::owner_exec, fs::perm_options::add);
  const std::map<std::string, Bytes> before = Contents(out);

  test::Ran r = Cli({"convert", set.cuePath, "-o", out, "--level", "1"});
  EXPECT_TRUE(test::Said(r, 2,
                         {"WARNING: the following file will be overwritten if you continue!!!\n" +
                          out + "/EBOOT.PBP\nDo you wish to continue?\n(not answered"}));
  EXPECT_EQ(Contents(out), before);

  r = Cli({"--yes", "convert", set.cuePath, "-o", out, "--level", "1"});
  ASSERT_EQ(r.exit, 0) << r.out;
  std::map<std::string, Bytes> after = Contents(out);
  EXPECT_NE(after["EBOOT.PBP"], before.at("EBOOT.PBP"));
  after["EBOOT.PBP"] = before.at("EBOOT.PBP");
  EXPECT_EQ(after, before);

  // The package extracted, and a CHD and an ECM written out, over the user's files: each asks
  // first, and without --yes nothing is replaced.
  const std::string pkg = out + "/EBOOT.PBP";
  ASSERT_TRUE(test::CreateChd(set.cuePath, dir / "game.chd", "zlib"));
  test::WriteFileBytes(dir / "game.bin.ecm", test::EncodeEcm(set.disc));
  test::WriteFileText(dir / "game.bin", "mine");
  // --split writes "game (Track 1).bin" and "game.cue": the sheet is the user's here.
  test::WriteFileText(dir / "game.cue", "mine");
  const std::vector<std::string> commands[] = {
      {"extract", pkg, dir / "game.bin", "--toc", "none"},
      {"extract", pkg, dir / "game", "--split"},
      {"chd", dir / "game.chd", "--bin", dir / "game.cue"},
      {"ecm", dir / "game.bin.ecm", "-o", dir / "game.cue"}};
  for (const auto& args : commands) {
    r = Cli(args);
    EXPECT_TRUE(test::Said(r, 2, {"(not answered: run again with --yes to answer Yes)"}));
  }
  EXPECT_EQ(test::ReadFileText(dir / "game.bin"), "mine");
  EXPECT_EQ(test::ReadFileText(dir / "game.cue"), "mine");
  EXPECT_FALSE(FileExists(dir / "game (Track 1).bin"));
  std::vector<std::string> yes = commands[0];
  yes.insert(yes.begin(), "--yes");
  EXPECT_EQ(Cli(yes).exit, 0);
  EXPECT_GE(FileSize(dir / "game.bin").value_or(0), set.disc.size());
}

// Which later discs are refused, and in what words, is the plan's tests'; here, a folder the
// program may not write to is said before any work (/proc is one for every user, root
// included), an Alcohol descriptor on the line stands for the MDF it describes, a sheet for
// its image and a short relative name for the file in the current folder.
TEST(UsersFiles, TheOutputFolderMustTakeFilesAndNamesStandForWhatTheyName) {
  TempDir dir;
  const test::CdSet set = test::WriteDataOnlySet(dir.MakeDir("in"));
  test::Ran r = Cli({"--yes", "convert", set.cuePath, "-o", "/proc/1"});
  EXPECT_TRUE(test::Said(r, 1, {"The output folder cannot be written: /proc/1"}));

  test::WriteAlcoholSet(dir.MakeDir("mds"), 2352, false);
  r = Cli({"--yes", "convert", dir / "mds/game.mds", "-o", dir / "mdsout"});
  EXPECT_TRUE(test::Said(r, 0));
  EXPECT_TRUE(Cli({"info", dir / "mdsout/EBOOT.PBP"}).Says("SLUS01234"));

  // palfix on a sheet works on the image the sheet names, never on the sheet's text; a
  // packed image cannot be changed in place.
  r = Cli({"palfix", set.cuePath, "--screen"});
  EXPECT_TRUE(test::Said(r, 0, {"The fix goes to " + set.binPaths[0]}));
  test::WriteFileBytes(dir / "game.bin.ecm", test::EncodeEcm(set.disc));
  r = Cli({"palfix", dir / "game.bin.ecm", "--screen", "--apply"});
  EXPECT_TRUE(test::Said(r, 1, {"is packed and cannot be changed in place"}));

  // "p.jpg" in the current folder is the picture "./p.jpg" is.
  ASSERT_TRUE(test::DrawWithImageMagick("-size 144x80 gradient:red-blue", dir / "p.jpg"));
  test::ProcessOptions here;
  here.workingFolder = dir.path();
  EXPECT_EQ(test::RunProcess(test::PrivateCli(), {"png", "p.jpg", "i.png", "--slot", "icon0"}, here)
                .exitCode,
            0);
  EXPECT_TRUE(FileExists(dir / "i.png"));
}

// Inputs that are no files, and the small mistakes on the command line, are answered with
// a clear message at once: nothing hangs, nothing is opened that could block.
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
