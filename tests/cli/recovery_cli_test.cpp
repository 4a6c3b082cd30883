// What a start puts right, between two processes: while another run holds the work folder's
// run lock, a start (and `info` on a package with a journal) leaves everything that run may
// own alone; once no run is under way, the next start puts back the PAL fix and the torn
// patch a dead run left, says so, removes the files it left and empties Temp.
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
// partial package, an extraction's temporary file and the folder it made, and work files.
struct LeftBehind {
  std::string image, package, staged, partial, converter, made, work;
  Bytes imageBefore, imageAfter, packageBefore, packageAfter;

  LeftBehind(const TempDir& root, const TempDir& user) {
    const std::string temp = root.MakeDir("Temp");
    image = user / "game.bin";
    imageBefore = test::NoiseBytes(4096, 5);
    imageAfter = imageBefore;
    for (int i = 0; i < 8; ++i) imageAfter[200 + i] = 0;
    test::WriteFileBytes(image, imageAfter);
    char line[64];
    std::snprintf(line, sizeof line, "200 %02X%02X%02X%02X %02X%02X%02X%02X\n", imageBefore[203],
                  imageBefore[202], imageBefore[201], imageBefore[200], imageBefore[207],
                  imageBefore[206], imageBefore[205], imageBefore[204]);
    test::WriteFileText(temp + "/PALFIX.UNDO", image + "\n" + line);

    package = user / "EBOOT.PBP";
    packageBefore = test::NoiseBytes(3000, 6);
    packageAfter = packageBefore;
    packageAfter.resize(3100, 0x77);
    for (int i = 40; i < 90; ++i) packageAfter[static_cast<std::size_t>(i)] ^= 0xFF;
    test::WriteFileBytes(package, packageAfter);
    test::WritePatchJournal(package, 3000,
                            {{40, Bytes(packageBefore.begin() + 40, packageBefore.begin() + 90)}},
                            root.path());

    const std::string out = user.MakeDir("out");
    converter = out + "/tarnwick.exe";
    partial = out + "/EBOOT.PBP.part";
    test::WriteFileText(converter, "staged");
    test::WriteFileText(partial, "half a package");
    test::WriteFileText(temp + "/RUN.NOTE", converter + "\n" + partial + "\n");
    made = user.MakeDir("set");
    staged = made + "/Game.bin.ebf-part";
    test::WriteFileText(staged, "half an image");
    // The note also names the user's image: only names a run gives its files are removed.
    test::WriteFileText(temp + "/STAGED-4242.NOTE",
                        "F " + staged + "\nF " + image + "\nD " + made + "\n");
    work = temp + "/TempBIN.bin";
    test::WriteFileText(work, "work");
  }

  void ExpectUntouched(const std::string& where) const {
    EXPECT_EQ(test::ReadFileBytes(image), imageAfter) << where;
    EXPECT_EQ(test::ReadFileBytes(package), packageAfter) << where;
    EXPECT_TRUE(FileExists(package + ".undo")) << where;
    for (const std::string& f : {converter, partial, staged, work})
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
    EXPECT_EQ(r.exit, 0) << r.out;
    EXPECT_FALSE(r.Says("undone")) << r.out;
    left.ExpectUntouched("a start beside a run");
    EXPECT_EQ(test::FilesIn(root / "Temp"), notes);

    // Nor does `info` roll back a journal that may be that run's.
    r = RunIn(cli, {"info", left.package});
    EXPECT_EQ(r.exit, 1) << r.out;
    EXPECT_TRUE(r.Says("\"" + left.package + "\" has an unfinished change (its journal " +
                       left.package +
                       ".undo is there) and another run of the program is under way"))
        << r.out;
    left.ExpectUntouched("info beside a run");
  }

  // No run under way: the next start puts everything right and says what it put back.
  test::Ran r = RunIn(cli, {"settings", "--quiet"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(r.Says("An interrupted PAL -> NTSC fix on " + left.image +
                     " was found and undone; the image is as it was before."))
      << r.out;
  EXPECT_TRUE(r.Says("An interrupted change to " + left.package +
                     " was found and undone; the EBOOT is as it was before."))
      << r.out;
  EXPECT_EQ(test::ReadFileBytes(left.image), left.imageBefore);
  EXPECT_EQ(test::ReadFileBytes(left.package), left.packageBefore);
  for (const std::string& f : {left.package + ".undo", left.partial, left.staged, left.made})
    EXPECT_FALSE(FileExists(f)) << f;
  // A run makes nothing else in an output folder: a note naming another file is not obeyed.
  EXPECT_TRUE(FileExists(left.converter));
  EXPECT_TRUE(test::FilesIn(root / "Temp").empty());

  // Said once: the start after it has nothing to say.
  r = RunIn(cli, {"settings", "--quiet"});
  EXPECT_FALSE(r.Says("undone")) << r.out;
}

}  // namespace
}  // namespace ebf
