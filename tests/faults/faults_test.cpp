// Faults at every write: each operation runs once to count the writes the command-line
// program (and the converter it starts) make to files (fsync, ftruncate and closes of files
// written count too), then once per write with that write failing (a full disk) and once
// per write with the process killed there (a crash). After each, and after the next start
// of the program, the user's files are as they were (or fully changed, where the change was
// asked for), nothing of the run is left beside them, and Temp/ is empty.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "common/files.h"
#include "pbp/package_check.h"
#include "support/disc_builder.h"
#include "support/pbp_writer.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kCli = "ebootforge-cli";
constexpr const char* kConverter = "tarnwick.exe";

// Sets the fault variables for the children of this test, and clears them again.
struct FaultEnvironment {
  FaultEnvironment(const std::string& program, long at, const std::string& kind,
                   const std::string& countFile) {
    // A sanitized program would refuse to start with another library loaded before its
    // runtime.
    const std::pair<const char*, std::string> vars[] = {
        {"LD_PRELOAD", EBF_FAULT_SHIM}, {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"},
        {"EBF_FAULT_PROGRAM", program}, {"EBF_FAULT_AT", std::to_string(at)},
        {"EBF_FAULT_KIND", kind},       {"EBF_FAULT_COUNT_FILE", countFile}};
    for (const auto& [name, value] : vars) setenv(name, value.c_str(), 1);
  }
  ~FaultEnvironment() {
    for (const char* name : {"LD_PRELOAD", "ASAN_OPTIONS", "EBF_FAULT_PROGRAM", "EBF_FAULT_AT",
                             "EBF_FAULT_KIND", "EBF_FAULT_COUNT_FILE", "EBF_FAULT_TRACE"})
      unsetenv(name);
  }
};

// Every entry of a folder, sorted, each followed by a space; folders with a "/" after
// their names.
std::string FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
    names.push_back(it->path().filename().string() + (it->is_directory() ? "/ " : " "));
  std::sort(names.begin(), names.end());
  std::string joined;
  for (const auto& n : names) joined += n;
  return joined;
}

struct Scenario {
  TempDir root;
  std::string cli = PrivateProgram(root, kCli);
  std::string temp = root / "Temp";
  std::vector<std::string> args;
  // The files whose failed writes the command-line program may pass over and still succeed
  // (by file name; none unless a scenario says so and why).
  std::vector<std::string> mayFailUnseen;
  // The file each write of the command-line program went to, from the shim's trace of the
  // counting run.
  std::map<long, std::string> targets;
  // Puts the user's files back as they were before the run and removes every output.
  std::function<void()> reset;
  // What must hold after a faulted run and the next start; `result` is the faulted run's.
  std::function<void(const ProcessResult& result, const std::string& where)> check;

  ProcessResult Run(const std::vector<std::string>& a) {
    return RunProcess(cli, a, {root.path(), 0, false});
  }

  // A run of `args` with the fault variables set.
  ProcessResult RunFaulted(const std::string& program, long at, const std::string& kind,
                           const std::string& countFile) {
    FaultEnvironment env(program, at, kind, countFile);
    return Run(args);
  }

  long CountWrites(const std::string& program) {
    reset();
    const std::string countFile = root / "count.txt";
    DeleteFileIfExists(countFile);
    setenv("EBF_FAULT_TRACE", "1", 1);  // cleared with the other fault variables
    const ProcessResult r = RunFaulted(program, 0, "fail", countFile);
    EXPECT_EQ(r.exitCode, 0) << r.output;
    // "[fault shim] N: call path"
    std::istringstream trace(r.output);
    for (std::string line; std::getline(trace, line);) {
      long n = 0;
      char call[32] = {};
      if (std::sscanf(line.c_str(), "[fault shim] %ld: %31s", &n, call) != 2) continue;
      const std::size_t space = line.find(' ', line.find(call));
      targets[n] = space == std::string::npos ? "" : line.substr(space + 1);
    }
    std::ifstream in(countFile);
    long n = 0, total = 0;
    while (in >> n) total += n;
    return total;
  }

  // Every write of `program`, failed and then killed. Returns the number of runs.
  // EBF_FAULT_STRIDE=k takes every k-th write only (and the last), the kills offset from
  // the failures: the sanitizer build, ten times slower, walks the same paths that way.
  int Sweep(const std::string& program) {
    const long writes = CountWrites(program);
    EXPECT_GT(writes, 0) << program;
    const char* strideText = std::getenv("EBF_FAULT_STRIDE");
    const long stride = strideText ? std::max(1L, std::atol(strideText)) : 1;
    int runs = 0;
    for (const char* kind : {"fail", "kill"}) {
      const long first = std::string(kind) == "kill" ? 1 + stride / 2 : 1;
      for (long n = std::min(first, writes); n <= writes;
           n = n == writes ? writes + 1 : std::min(n + stride, writes)) {
        reset();
        const ProcessResult r = RunFaulted(program, n, kind, root / "ignored.txt");
        const std::string where = program + " " + kind + " at write " + std::to_string(n) + " of " +
                                  std::to_string(writes) + ":\n" + r.output;
        // A killed program ends as killed, a killed converter fails the run, and a failed
        // write never passes for success.
        const bool killed = std::string(kind) == "kill";
        const std::string target = fs::path(targets[n]).filename().string();
        const bool unseen = std::count(mayFailUnseen.begin(), mayFailUnseen.end(), target) > 0;
        if (killed || program == kConverter || !unseen) {
          EXPECT_EQ(r.exitCode, killed && program == kCli ? 128 + 9 : 1)
              << where << "\n(the write went to " << targets[n] << ")";
        }
        ProcessResult next = Run({"settings", "--quiet"});
        EXPECT_EQ(next.exitCode, 0) << where << "\nnext start:\n" << next.output;
        EXPECT_EQ(FilesIn(temp), "") << where;
        // Nor is the stand-in of an unticked slot left beside it.
        EXPECT_FALSE(FileExists(root / "null")) << where;
        check(r, where);
        ++runs;
        if (::testing::Test::HasFailure()) return runs;
      }
    }
    return runs;
  }
};

// A small game disc as raw sectors, with `exe` as its boot file.
Bytes SmallDisc(const Bytes& exe) {
  return BuildDiscImage(GameDisc("SLUS_005.94", exe), SectorLayout::Mode2Raw);
}

// An executable holding the screen-height pattern the PAL fix changes, twice.
Bytes PalExe() {
  Bytes exe = NoiseBytes(8192, 21);
  for (auto& c : exe)
    if (c == 0x13 || c == 0x06 || c == 0x07) c = 0x55;
  const Bytes window = {0x13, 0x00, 0x91, 0x24, 0x10, 0x00, 0x91, 0x24};
  for (long at : {1000, 5000}) std::copy(window.begin(), window.end(), exe.begin() + at);
  return exe;
}

// A package with room for its assets, built independently of the program.
Bytes SmallPackage(const std::string& path, const std::string& title = "Test Game") {
  PackageRecipe recipe;
  recipe.title = title;
  recipe.icon0 = NoiseBytes(2000, 1);
  recipe.pic1 = NoiseBytes(6000, 2);
  recipe.image = NoiseBytes(4 * kTestBlockSize, 3);
  recipe.level = 0;
  WritePbp(path, recipe);
  return ReadFileBytes(path);
}

// A conversion into a folder that already holds an older EBOOT.PBP of the user's: it stays
// as it was unless the run succeeds (or was killed after the checked package took its name).
void ConversionScenario(Scenario& s, const Bytes& disc, const std::vector<std::string>& extra) {
  const std::string bin = s.root / "game.bin";
  const std::string out = s.root / "out";
  const std::string eboot = out + "/EBOOT.PBP";
  const Bytes older = SmallPackage(s.root / "older.pbp", "Older Game");
  s.args = {"convert",    bin,    "-o",        out,     "--title",
            "Fault Game", "--id", "SLUS00594", "--yes", "--quiet"};
  s.args.insert(s.args.end(), extra.begin(), extra.end());
  // The empty stand-in of an unticked slot ("null") is removed at the end whatever became
  // of it.
  s.mayFailUnseen = {"null"};
  s.reset = [=] {
    WriteFileBytes(bin, disc);
    fs::remove_all(out);
    fs::create_directories(out);
    WriteFileBytes(eboot, older);
  };
  s.check = [=](const ProcessResult& r, const std::string& where) {
    EXPECT_EQ(ReadFileBytes(bin), disc) << where;
    const bool olderThere = FileExists(eboot) && ReadFileBytes(eboot) == older;
    if (r.exitCode == 0) {
      // The failed write did not matter to the result: then the package is whole.
      EXPECT_EQ(pbp::CheckWrittenPackage(eboot), "") << where;
      EXPECT_FALSE(olderThere) << where;
    } else if (r.exitCode == 128 + 9) {
      // Killed: the EBOOT.PBP there is the user's older one, or came of the rename of a
      // checked package (the kill hit the clean-up after it).
      EXPECT_EQ(olderThere ? "" : pbp::CheckWrittenPackage(eboot), "") << where;
    } else if (!olderThere) {
      // Failed only after the checked package took its name: the PAL fix on the user's
      // image could not come off at the end (the next start takes it off).
      EXPECT_NE(r.output.find("could not be undone"), std::string::npos) << where;
      EXPECT_EQ(pbp::CheckWrittenPackage(eboot), "") << where;
    }
    // Nothing else of the run is left beside it.
    EXPECT_EQ(FilesIn(out), "EBOOT.PBP ") << where;
  };
}

TEST(Faults, ConversionAtEveryWrite) {
  Scenario s;
  ConversionScenario(s, SmallDisc(Bytes(4096, 0x11)), {"--level", "9"});
  const int runs = s.Sweep(kCli) + s.Sweep(kConverter);
  std::printf("conversion: %d faulted runs\n", runs);
}

// How often `window` occurs in `data`.
int Occurrences(const Bytes& data, const Bytes& window) {
  int n = 0;
  for (auto it = data.begin();
       (it = std::search(it, data.end(), window.begin(), window.end())) != data.end(); ++it)
    ++n;
  return n;
}

TEST(Faults, PalFixedConversionAtEveryWrite) {
  Scenario s;
  // Compressed: the fix goes onto the user's own image and must always come off again.
  ConversionScenario(s, SmallDisc(PalExe()), {"--level", "1", "--pal-screen"});
  // A run that nothing disturbs puts the fix into the package: both screen-height windows
  // have become additions of 0, and none is left as it was.
  s.reset();
  ProcessResult clean = s.Run(s.args);
  ASSERT_EQ(clean.exitCode, 0) << clean.output;
  ProcessResult out =
      s.Run({"extract", s.root / "out/EBOOT.PBP", s.root / "back.bin", "--toc", "none", "--quiet"});
  ASSERT_EQ(out.exitCode, 0) << out.output;
  const Bytes image = ReadFileBytes(s.root / "back.bin");
  DeleteFileIfExists(s.root / "back.bin");
  EXPECT_EQ(Occurrences(image, {0x00, 0x00, 0x91, 0x24, 0x00, 0x00, 0x91, 0x24}), 2);
  EXPECT_EQ(Occurrences(image, {0x13, 0x00, 0x91, 0x24, 0x10, 0x00, 0x91, 0x24}), 0);
  const int runs = s.Sweep(kCli) + s.Sweep(kConverter);
  std::printf("PAL-fixed conversion: %d faulted runs\n", runs);
}

// A change in place of the package at `pkg` by `args`: the package is as it was or as the
// change makes it when nothing goes wrong (which is returned), and no journal is left. With
// `failedIsOriginal`, a run that fails (not killed) leaves it as it was.
Bytes InPlaceScenario(Scenario& s, const std::string& pkg, const std::vector<std::string>& args,
                      bool failedIsOriginal = false) {
  const Bytes original = ReadFileBytes(pkg);
  s.args = args;
  ProcessResult clean = s.Run(s.args);
  EXPECT_EQ(clean.exitCode, 0) << clean.output;
  const Bytes patched = ReadFileBytes(pkg);
  EXPECT_NE(patched, original);
  s.reset = [=] { WriteFileBytes(pkg, original); };
  s.check = [=](const ProcessResult& r, const std::string& where) {
    const Bytes now = ReadFileBytes(pkg);
    EXPECT_TRUE(now == original || now == patched) << where;
    if (r.exitCode == 0) {
      EXPECT_EQ(now, patched) << where;
    } else if (failedIsOriginal && r.exitCode != 128 + 9) {
      EXPECT_EQ(now, original) << where;
    }
    EXPECT_FALSE(FileExists(pkg + ".undo")) << where;
  };
  return patched;
}

// A patch in place of the package at `pkg` with `options`.
Bytes PatchScenario(Scenario& s, const std::string& pkg, std::vector<std::string> options) {
  options.insert(options.begin(), {"convert", pkg});
  options.insert(options.end(), {"--no-pic1", "--yes", "--quiet"});
  // The empty stand-in of the unticked PIC1 ("null") is removed at the end whatever became
  // of it.
  s.mayFailUnseen = {"null"};
  return InPlaceScenario(s, pkg, options);
}

TEST(Faults, PatchInPlaceAtEveryWrite) {
  Scenario s;
  SmallPackage(s.root / "game.pbp");
  PatchScenario(s, s.root / "game.pbp", {"--title", "Patched Title"});
  ASSERT_FALSE(::testing::Test::HasFailure());
  std::printf("patch in place: %d faulted runs\n", s.Sweep(kCli));
}

// A package of two discs, with room for its assets.
test::DiscSetWritten SmallDiscSet(const std::string& path) {
  std::vector<PackageRecipe> discs(2);
  discs[0].icon0 = NoiseBytes(2000, 1);
  discs[0].pic1 = NoiseBytes(6000, 2);
  for (std::size_t i = 0; i < discs.size(); ++i) {
    discs[i].discId = "SLUS0059" + std::to_string(4 + i);
    discs[i].image = NoiseBytes(3 * kTestBlockSize, static_cast<uint32_t>(3 + i));
    discs[i].level = 0;
  }
  return WriteDiscSetPbp(path, discs);
}

// The ID and save name change too, so that every field the patch writes in each disc
// section and in the title header must be put back after a fault.
TEST(Faults, PatchInPlaceOfADiscSetAtEveryWrite) {
  Scenario s;
  const std::string pkg = s.root / "game.pbp";
  const test::DiscSetWritten set = SmallDiscSet(pkg);
  const Bytes patched = PatchScenario(
      s, pkg, {"--title", "Patched Title", "--id", "SCES12345", "--save-name", "Patched Save"});
  ASSERT_FALSE(::testing::Test::HasFailure());
  for (uint64_t section : set.sections)
    ASSERT_EQ(std::string(patched.begin() + section + 0x122C, patched.begin() + section + 0x1238),
              "Patched Save");
  ASSERT_EQ(std::string(patched.begin() + set.psar + 0x264, patched.begin() + set.psar + 0x26F),
            "_SCES_12345");
  std::printf("patch in place, two discs: %d faulted runs\n", s.Sweep(kCli));
}

// A rebuild of the package at `pkg` into NEW.PBP with the shipped PIC1, far larger than the
// room the package has: the package stays as it was, and NEW.PBP is whole or not there.
void RebuildScenario(Scenario& s, const std::string& pkg) {
  const std::string rebuilt = s.root / "NEW.PBP";
  const Bytes original = ReadFileBytes(pkg);
  const std::string pic1 = s.root / "PSXCust/Default/PIC1.PNG";
  s.args = {"convert", pkg, "--pic1", pic1, "-o", rebuilt, "--yes", "--quiet"};
  // The note of the file a rebuild may leave is written without a check (RUN.NOTE: without
  // it only a kill would leave NEW.PBP.part behind).
  s.mayFailUnseen = {"RUN.NOTE"};
  s.reset = [=] {
    WriteFileBytes(pkg, original);
    DeleteFileIfExists(rebuilt);
  };
  s.check = [=](const ProcessResult& r, const std::string& where) {
    EXPECT_EQ(ReadFileBytes(pkg), original) << where;
    if (r.exitCode == 0)
      EXPECT_EQ(pbp::CheckWrittenPackage(rebuilt), "") << where;
    else
      EXPECT_FALSE(FileExists(rebuilt)) << where;
    EXPECT_FALSE(FileExists(rebuilt + ".part")) << where;
  };
}

TEST(Faults, RebuildOfADiscSetAtEveryWrite) {
  Scenario s;
  SmallDiscSet(s.root / "game.pbp");
  RebuildScenario(s, s.root / "game.pbp");
  std::printf("rebuild, two discs: %d faulted runs\n", s.Sweep(kCli));
}

TEST(Faults, RebuildAtEveryWrite) {
  Scenario s;
  SmallPackage(s.root / "game.pbp");
  RebuildScenario(s, s.root / "game.pbp");
  std::printf("rebuild: %d faulted runs\n", s.Sweep(kCli));
}

// A package of five noise blocks whose TOC gives a data track and, at sector 40, an audio
// track. Returns the disc image it holds.
Bytes TwoTrackPackage(const std::string& path, uint32_t seed, int level) {
  PackageRecipe recipe;
  recipe.image = NoiseBytes(5 * kTestBlockSize, seed);
  recipe.level = level;
  recipe.toc = MakeToc({{0x41, 0}, {0x01, 40}}, 80);
  WritePbp(path, recipe);
  return recipe.image;
}

// An extraction into a folder that holds the user's older image and CCD: both stay as they
// were, or both are replaced by the whole new ones.
TEST(Faults, ExtractionAtEveryWrite) {
  Scenario s;
  const std::string pkg = s.root / "game.pbp";
  const Bytes packed = TwoTrackPackage(pkg, 7, 9);
  const std::string folder = s.root / "mine";
  const std::string image = folder + "/Game.bin", ccd = folder + "/Game.ccd";
  const Bytes olderImage = NoiseBytes(5000, 8);
  const std::string olderCcd = "[CloneCD]\r\nVersion=3\r\n";
  s.args = {"extract", pkg, image, "--toc", "ccd", "--yes", "--quiet"};
  s.reset = [&] {
    fs::remove_all(folder);
    fs::create_directories(folder);
    WriteFileBytes(image, olderImage);
    WriteFileText(ccd, olderCcd);
  };
  s.check = [&](const ProcessResult& r, const std::string& where) {
    const bool older = ReadFileBytes(image) == olderImage && ReadFileText(ccd) == olderCcd;
    // The new image is the package's 5 blocks; its sheet starts "[CloneCD]" and lists the
    // second track.
    const bool newer =
        ReadFileBytes(image) == packed &&
        ReadFileText(ccd).find("[TRACK 1]\r\nMODE=0\r\nINDEX 1=40\r\n") != std::string::npos;
    if (r.exitCode == 0) {
      EXPECT_TRUE(newer) << where;
    } else if (r.exitCode == 128 + 9) {
      EXPECT_TRUE(older || newer) << where;
    } else {
      EXPECT_TRUE(older) << where;
      EXPECT_NE(r.output.find("Could not write"), std::string::npos) << where;
    }
    EXPECT_EQ(FilesIn(folder), "Game.bin Game.ccd ") << where;
  };
  std::printf("extraction: %d faulted runs\n", s.Sweep(kCli));
}

// The track files and sheet of a set, into a folder the run makes: on any way out but
// success, not even the folder is left (after the next start, for a kill).
TEST(Faults, SplitExtractionAtEveryWrite) {
  Scenario s;
  const std::string pkg = s.root / "game.pbp";
  const Bytes packed = TwoTrackPackage(pkg, 9, 1);
  const std::string folder = s.root / "set";
  s.args = {"extract", pkg, folder + "/Game", "--split", "--quiet"};
  s.reset = [&] { fs::remove_all(folder); };
  s.check = [&](const ProcessResult& r, const std::string& where) {
    if (r.exitCode == 0) {
      EXPECT_EQ(FilesIn(folder), "Game (Track 1).bin Game (Track 2).bin Game.cue ") << where;
      const Bytes one = ReadFileBytes(folder + "/Game (Track 1).bin");
      EXPECT_TRUE(std::equal(one.begin(), one.end(), packed.begin())) << where;
    } else {
      EXPECT_FALSE(FileExists(folder)) << where;
    }
  };
  std::printf("split extraction: %d faulted runs\n", s.Sweep(kCli));
}

// The PAL fix applied to a package of the user's: all or nothing, whatever goes wrong.
TEST(Faults, PalFixOfAPackageAtEveryWrite) {
  Scenario s;
  const std::string pkg = s.root / "game.pbp";
  PackageRecipe recipe;
  recipe.image = SmallDisc(PalExe());
  recipe.level = 0;  // stored: the fix can reach the disc image
  WritePbp(pkg, recipe);
  const Bytes original = ReadFileBytes(pkg);
  const Bytes patched =
      InPlaceScenario(s, pkg, {"palfix", pkg, "--screen", "--apply", "--quiet"}, true);
  ASSERT_FALSE(::testing::Test::HasFailure());
  // Both windows changed, and nothing but them.
  std::size_t changed = 0;
  ASSERT_EQ(patched.size(), original.size());
  for (std::size_t i = 0; i < original.size(); ++i) changed += patched[i] != original[i];
  ASSERT_EQ(changed, 4u);  // 0x13 -> 0x00 and 0x10 -> 0x00 in each window
  std::printf("PAL fix of a package: %d faulted runs\n", s.Sweep(kCli));
}

}  // namespace
}  // namespace ebf::test
