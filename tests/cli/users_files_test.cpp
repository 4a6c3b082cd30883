// The user's own files around a conversion: the output folder receives EBOOT.PBP and nothing
// else, and an older EBOOT.PBP or extracted image is replaced only when the user says so.
#include "cli/cli_run.h"

#include <map>

#include <sys/stat.h>
#include <algorithm>
#include <cstdio>
#include "common/run_lock.h"
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

  EXPECT_TRUE(test::Said(Cli({"convert", set.cuePath, "-o", out, "--level", "1"}), 2,
                         {"WARNING: the following file will be overwritten if you continue!!!\n" +
                          out + "/EBOOT.PBP\nDo you wish to continue?\n(not answered"}));
  EXPECT_EQ(Contents(out), before);

  ASSERT_TRUE(test::Said(Cli({"--yes", "convert", set.cuePath, "-o", out, "--level", "1"}), 0));
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
  for (const auto& args : commands)
    EXPECT_TRUE(test::Said(Cli(args), 2, {"(not answered: run again with --yes to answer Yes)"}));
  EXPECT_EQ(test::ReadFileText(dir / "game.bin") + test::ReadFileText(dir / "game.cue"),
            "minemine");
  EXPECT_FALSE(FileExists(dir / "game (Track 1).bin"));
  EXPECT_EQ(Cli({"--yes", "extract", pkg, dir / "game.bin", "--toc", "none"}).exit, 0);
  EXPECT_GE(FileSize(dir / "game.bin").value_or(0), set.disc.size());
}

// Which later discs are refused, and in what words, is the plan's tests'; here, a folder the
// program may not write to is said before any work (/proc is one for every user, root
// included), an Alcohol descriptor on the line stands for the MDF it describes, a sheet for
// its image and a short relative name for the file in the current folder.
TEST(UsersFiles, TheOutputFolderMustTakeFilesNamesStandForWhatTheyNameAndPipesAreNoFiles) {
  TempDir dir;
  const test::CdSet set = test::WriteDataOnlySet(dir.MakeDir("in"));
  EXPECT_TRUE(test::Said(Cli({"--yes", "convert", set.cuePath, "-o", "/proc/1"}), 1,
                         {"The output folder cannot be written: /proc/1"}));
  // A picture a slot refuses stops a conversion before any work, in the slot's words (each
  // refusal: the assets tests; a rebuild's: the engine's package job tests).
  test::WriteFileText(dir / "seven.pmf", "PSMF123");
  EXPECT_TRUE(test::Said(
      Cli({"--yes", "convert", set.cuePath, "--icon1", dir / "seven.pmf", "-o", dir / "refused"}),
      1, {"The ICON1.PMF file is WAY too small to be valid."}));
  EXPECT_FALSE(FileExists(dir / "refused/EBOOT.PBP"));

  test::WriteAlcoholSet(dir.MakeDir("mds"), 2352, false);
  EXPECT_TRUE(test::Said(Cli({"--yes", "convert", dir / "mds/game.mds", "-o", dir / "mdsout"}), 0));
  EXPECT_TRUE(Cli({"info", dir / "mdsout/EBOOT.PBP"}).Says("SLUS01234"));

  // palfix on a sheet works on the image the sheet names, never on the sheet's text; a
  // packed image cannot be changed in place.
  EXPECT_TRUE(test::Said(Cli({"palfix", set.cuePath, "--screen"}), 0,
                         {"The fix goes to " + set.binPaths[0]}));
  test::WriteFileBytes(dir / "game.bin.ecm", test::EncodeEcm(set.disc));
  EXPECT_TRUE(test::Said(Cli({"palfix", dir / "game.bin.ecm", "--screen", "--apply"}), 1,
                         {"is packed and cannot be changed in place"}));

  // "p.jpg" in the current folder is the picture "./p.jpg" is.
  ASSERT_TRUE(test::DrawWithImageMagick("-size 144x80 gradient:red-blue", dir / "p.jpg"));
  test::ProcessOptions here;
  here.workingFolder = dir.path();
  EXPECT_EQ(test::RunProcess(test::PrivateCli(), {"png", "p.jpg", "i.png", "--slot", "icon0"}, here)
                .exitCode,
            0);
  EXPECT_TRUE(FileExists(dir / "i.png"));

  // Inputs that are no files, and the small mistakes on the command line, are answered with
  // a clear message at once: nothing hangs, nothing is opened that could block.
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
  EXPECT_TRUE(
      test::Said(Cli({"convert", fifo, "-o", dir / "out", "--yes"}), 1, {"is not a regular file"}));
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

// What a dead run left: a PAL fix on an image, a torn patch of a package, a conversion's
// partial package and a work file. (Which files a start removes and which it keeps: the
// engine's and pbp tests.)
struct LeftBehind {
  std::string image, package, partial, work;
  Bytes imageBefore = test::NoiseBytes(4096, 5), imageAfter = imageBefore;
  Bytes packageBefore = test::NoiseBytes(3000, 6), packageAfter = packageBefore;

  LeftBehind(const TempDir& root, const TempDir& user)
      : image(user / "game.bin"),
        package(user / "EBOOT.PBP"),
        partial(user / "EBOOT.PBP.part"),
        work(root.MakeDir("Temp") + "/TempBIN.bin") {
    std::fill_n(imageAfter.begin() + 200, 8, 0);
    test::WriteFileBytes(image, imageAfter);
    char line[64];
    std::snprintf(line, sizeof line, "200 %08X %08X\n", LoadLe32(&imageBefore[200]),
                  LoadLe32(&imageBefore[204]));
    test::WriteFileText(root / "Temp/PALFIX.UNDO", image + "\n" + line);
    packageAfter.resize(3100, 0x77);
    for (int i = 40; i < 90; ++i) packageAfter[static_cast<std::size_t>(i)] ^= 0xFF;
    test::WriteFileBytes(package, packageAfter);
    test::WritePatchJournal(package, 3000,
                            {{40, Bytes(packageBefore.begin() + 40, packageBefore.begin() + 90)}},
                            root.path());
    test::WriteFileText(partial, "half a package");
    test::WriteFileText(root / "Temp/RUN.NOTE", partial + "\n");
    test::WriteFileText(work, "work");
  }

  void ExpectUntouched(const std::string& where) const {
    EXPECT_EQ(test::ReadFileBytes(image), imageAfter) << where;
    EXPECT_EQ(test::ReadFileBytes(package), packageAfter) << where;
    for (const std::string& f : {package + ".undo", partial, work})
      EXPECT_TRUE(FileExists(f)) << where << ": " << f;
  }
};

// What a start puts right, between two processes: while another run holds the work folder's
// run lock, a start (and `info` on a package with a journal) leaves everything that run may
// own alone; once no run is under way, the next start puts back the PAL fix and the torn
// patch a dead run left, says so, removes the files it left and empties Temp.
TEST(RecoveryCli, AStartLeavesARunUnderWayAloneAndPutsRightWhatADeadOneLeftAndCtrlCCancels) {
  TempDir root, user;
  const std::string cli = test::PrivateProgram(root, "ebootforge-cli");
  const LeftBehind left(root, user);
  const std::vector<std::string> notes = test::FilesIn(root / "Temp");
  {
    // This process is the run under way: the program's start must not take its notes for
    // those of a dead run.
    RunLock run(root.path(), RunLockMode::Shared);
    ASSERT_TRUE(run.held());
    test::Ran r = Cli({"settings", "--quiet"}, cli);
    EXPECT_TRUE(test::Said(r, 0));
    EXPECT_FALSE(r.Says("undone")) << r.out;
    left.ExpectUntouched("a start beside a run");
    EXPECT_EQ(test::FilesIn(root / "Temp"), notes);

    // Nor does `info` roll back a journal that may be that run's.
    EXPECT_TRUE(
        test::Said(Cli({"info", left.package}, cli), 1,
                   {"\"" + left.package + "\" has an unfinished change (its journal " +
                    left.package + ".undo is there) and another run of the program is under way"}));
    left.ExpectUntouched("info beside a run");
  }

  // No run under way: the next start puts everything right and says what it put back.
  test::Ran r = Cli({"settings", "--quiet"}, cli);
  EXPECT_TRUE(test::Said(r, 0,
                         {"An interrupted PAL -> NTSC fix on " + left.image +
                              " was found and undone; the image is as it was before.",
                          "An interrupted change to " + left.package +
                              " was found and undone; the EBOOT is as it was before."}));
  EXPECT_EQ(test::ReadFileBytes(left.image), left.imageBefore);
  EXPECT_EQ(test::ReadFileBytes(left.package), left.packageBefore);
  for (const std::string& f : {left.package + ".undo", left.partial})
    EXPECT_FALSE(FileExists(f)) << f;
  EXPECT_TRUE(test::FilesIn(root / "Temp").empty());

  // Said once: the start after it has nothing to say.
  r = Cli({"settings", "--quiet"}, cli);
  EXPECT_FALSE(r.Says("undone")) << r.out;

  // Ctrl+C in a terminal reaches the whole process group: the program and the converter it
  // started. The run is a cancel: exit 2, no package of the run, the image untouched, Temp/
  // empty.
  TempDir work;
  const Bytes image = test::NoiseBytes(40u << 20, 31);
  test::WriteFileBytes(work / "game.bin", image);
  work.MakeDir("out");
  test::WriteFileText(work / "out/EBOOT.PBP", "an older package");
  for (const char* sig : {"INT", "TERM"}) {
    // setsid makes the program the leader of a group of its own, as a terminal's job is.
    const std::string script = work / "stop.sh";
    test::WriteFileText(
        script, "cd '" + work.path() + "' || exit 9\nsetsid '" + cli +
                    "' convert game.bin -o out --title T --id SLUS00001 --level 9 --yes --quiet "
                    ">/dev/null 2>&1 & pid=$!; n=0\n"
                    "while [ ! -s out/EBOOT.PBP.part ] && [ $n -lt 4000 ]; do sleep 0.005; "
                    "n=$((n+1)); done\n"
                    "kill -" +
                    std::string(sig) + " -- -$pid; wait $pid; echo $?\n");
    EXPECT_EQ(test::Shell("bash '" + script + "'"), "2\n") << sig;
    EXPECT_TRUE(test::ReadFileText(work / "out/EBOOT.PBP") == "an older package") << sig;
    EXPECT_FALSE(FileExists(work / "out/EBOOT.PBP.part")) << sig;
    EXPECT_FALSE(FileExists(work / "out/tarnwick.exe")) << sig;
    EXPECT_TRUE(test::ReadFileBytes(work / "game.bin") == image) << sig;
    EXPECT_TRUE(std::filesystem::is_empty(root / "Temp")) << sig;
  }
}

}  // namespace
}  // namespace ebf
