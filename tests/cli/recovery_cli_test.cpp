// What a start puts right, between two processes: while another run holds the work folder's
// run lock, a start (and `info` on a package with a journal) leaves everything that run may
// own alone; once no run is under way, the next start puts back the PAL fix and the torn
// patch a dead run left, says so, removes the files it left and empties Temp. And Ctrl+C,
// which reaches the whole process group.
#include <algorithm>
#include <cstdio>

#include "cli/cli_run.h"
#include "common/run_lock.h"
#include "support/pbp_writer.h"

namespace ebf {
namespace {

using test::TempDir;

// The program of a work folder of the test's own.
test::Ran RunIn(const std::string& cli, const std::vector<std::string>& args) {
  const test::ProcessResult r = test::RunProcess(cli, args, {});
  return {r.exitCode, r.output, ""};
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

TEST(RecoveryCli, AStartLeavesARunUnderWayAloneAndPutsRightWhatADeadOneLeft) {
  TempDir root, user;
  const std::string cli = test::PrivateProgram(root, "ebootforge-cli");
  const LeftBehind left(root, user);
  const std::vector<std::string> notes = test::FilesIn(root / "Temp");
  {
    // This process is the run under way: the program's start must not take its notes for
    // those of a dead run.
    RunLock run(root.path(), RunLockMode::Shared);
    ASSERT_TRUE(run.held());
    test::Ran r = RunIn(cli, {"settings", "--quiet"});
    EXPECT_TRUE(test::Said(r, 0));
    EXPECT_FALSE(r.Says("undone")) << r.out;
    left.ExpectUntouched("a start beside a run");
    EXPECT_EQ(test::FilesIn(root / "Temp"), notes);

    // Nor does `info` roll back a journal that may be that run's.
    r = RunIn(cli, {"info", left.package});
    EXPECT_TRUE(
        test::Said(r, 1,
                   {"\"" + left.package + "\" has an unfinished change (its journal " +
                    left.package + ".undo is there) and another run of the program is under way"}));
    left.ExpectUntouched("info beside a run");
  }

  // No run under way: the next start puts everything right and says what it put back.
  test::Ran r = RunIn(cli, {"settings", "--quiet"});
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
  r = RunIn(cli, {"settings", "--quiet"});
  EXPECT_FALSE(r.Says("undone")) << r.out;
}

// Ctrl+C in a terminal reaches the whole process group: the program and the converter it
// started. The run is a cancel: exit 2, no package of the run, the image untouched, Temp/
// empty.
TEST(CliInterrupt, CtrlCToTheGroupDuringAConversionCancelsCleanly) {
  TempDir root;
  const std::string cli = test::PrivateProgram(root, "ebootforge-cli");
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
    const std::string status = test::Shell("bash '" + script + "'");
    EXPECT_EQ(status, "2\n") << sig;
    EXPECT_TRUE(test::ReadFileText(work / "out/EBOOT.PBP") == "an older package") << sig;
    EXPECT_FALSE(FileExists(work / "out/EBOOT.PBP.part")) << sig;
    EXPECT_FALSE(FileExists(work / "out/tarnwick.exe")) << sig;
    EXPECT_TRUE(test::ReadFileBytes(work / "game.bin") == image) << sig;
    EXPECT_TRUE(std::filesystem::is_empty(root / "Temp")) << sig;
  }
}

}  // namespace
}  // namespace ebf
