// Faults at every write: each operation runs once to count the writes the command-line
// program (and the converter it starts) make to files, then once per write with that write
// failing (a full disk) and once per write with the process killed there (a crash). After
// each, and after the next start of the program, the user's files are as they were (or
// fully changed, where the change was asked for), no EBOOT.PBP of the run is left, and
// Temp/ is empty.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>

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
class FaultEnvironment {
 public:
  FaultEnvironment(const std::string& program, long at, const std::string& kind,
                   const std::string& countFile) {
    setenv("LD_PRELOAD", EBF_FAULT_SHIM, 1);
    // A sanitized program would refuse to start with another library loaded before its
    // runtime.
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0", 1);
    setenv("EBF_FAULT_PROGRAM", program.c_str(), 1);
    setenv("EBF_FAULT_AT", std::to_string(at).c_str(), 1);
    setenv("EBF_FAULT_KIND", kind.c_str(), 1);
    setenv("EBF_FAULT_COUNT_FILE", countFile.c_str(), 1);
  }
  ~FaultEnvironment() {
    for (const char* name : {"LD_PRELOAD", "ASAN_OPTIONS", "EBF_FAULT_PROGRAM", "EBF_FAULT_AT",
                             "EBF_FAULT_KIND", "EBF_FAULT_COUNT_FILE"})
      unsetenv(name);
  }
};

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
    if (!it->is_directory()) names.push_back(it->path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::string Joined(const std::vector<std::string>& names) {
  std::string s;
  for (const auto& n : names) s += n + " ";
  return s;
}

struct Scenario {
  TempDir root;
  std::string cli = PrivateProgram(root, kCli);
  std::string temp = root / "Temp";
  std::vector<std::string> args;
  // Puts the user's files back as they were before the run and removes every output.
  std::function<void()> reset;
  // What must hold after a faulted run and the next start; `result` is the faulted run's.
  std::function<void(const ProcessResult& result, const std::string& where)> check;

  ProcessResult Run(const std::vector<std::string>& a) {
    return RunProcess(cli, a, {root.path(), 0, false});
  }

  long CountWrites(const std::string& program) {
    reset();
    const std::string countFile = root / "count.txt";
    DeleteFileIfExists(countFile);
    ProcessResult r;
    {
      FaultEnvironment env(program, 0, "fail", countFile);
      r = Run(args);
    }
    EXPECT_EQ(r.exitCode, 0) << r.output;
    std::ifstream in(countFile);
    long n = 0, total = 0;
    while (in >> n) total += n;
    return total;
  }

  // Every write of `program`, failed and then killed. Returns the number of runs.
  int Sweep(const std::string& program) {
    const long writes = CountWrites(program);
    EXPECT_GT(writes, 0) << program;
    int runs = 0;
    for (const char* kind : {"fail", "kill"}) {
      for (long n = 1; n <= writes; ++n) {
        reset();
        ProcessResult r;
        {
          FaultEnvironment env(program, n, kind, root / "ignored.txt");
          r = Run(args);
        }
        const std::string where = program + " " + kind + " at write " + std::to_string(n) + " of " +
                                  std::to_string(writes) + ":\n" + r.output;
        // A failed write never passes for success, except where the write was not needed.
        if (std::string(kind) == "kill" && program == kCli) {
          EXPECT_EQ(r.exitCode, 128 + 9) << where;
        }
        ProcessResult next = Run({"settings", "--quiet"});
        EXPECT_EQ(next.exitCode, 0) << where << "\nnext start:\n" << next.output;
        EXPECT_EQ(Joined(FilesIn(temp)), "") << where;
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
  for (std::size_t at : {std::size_t{1000}, std::size_t{5000}})
    std::copy(window.begin(), window.end(), exe.begin() + static_cast<long>(at));
  return exe;
}

void ConversionScenario(Scenario& s, const Bytes& disc, const std::vector<std::string>& extra) {
  const std::string bin = s.root / "game.bin";
  const std::string out = s.root / "out";
  s.args = {"convert",    bin,    "-o",        out,     "--title",
            "Fault Game", "--id", "SLUS00594", "--yes", "--quiet"};
  s.args.insert(s.args.end(), extra.begin(), extra.end());
  s.reset = [=] {
    WriteFileBytes(bin, disc);
    fs::remove_all(out);
  };
  s.check = [=](const ProcessResult& r, const std::string& where) {
    EXPECT_EQ(ReadFileBytes(bin), disc) << where;
    const std::string eboot = out + "/EBOOT.PBP";
    if (r.exitCode == 0) {
      // The failed write did not matter to the result: then the package is whole.
      EXPECT_EQ(pbp::CheckWrittenPackage(eboot), "") << where;
    } else if (r.exitCode == 128 + 9) {
      // Killed: an EBOOT.PBP there came of the rename of a checked package (the kill hit
      // the clean-up after it); nothing else ever takes that name.
      if (FileExists(eboot)) {
        EXPECT_EQ(pbp::CheckWrittenPackage(eboot), "") << where;
      }
    } else {
      EXPECT_FALSE(FileExists(eboot)) << where;
    }
    // Nothing else of the run is left beside it.
    for (const std::string& name : FilesIn(out)) EXPECT_EQ(name, "EBOOT.PBP") << where;
  };
}

TEST(Faults, ConversionAtEveryWrite) {
  Scenario s;
  ConversionScenario(s, SmallDisc(Bytes(4096, 0x11)), {"--level", "9"});
  const int runs = s.Sweep(kCli) + s.Sweep(kConverter);
  std::printf("conversion: %d faulted runs\n", runs);
}

TEST(Faults, PalFixedConversionAtEveryWrite) {
  Scenario s;
  // Compressed: the fix goes onto the user's own image and must always come off again.
  ConversionScenario(s, SmallDisc(PalExe()), {"--level", "1", "--pal-screen"});
  const int runs = s.Sweep(kCli) + s.Sweep(kConverter);
  std::printf("PAL-fixed conversion: %d faulted runs\n", runs);
}

// A package with room for its assets, built independently of the program.
Bytes SmallPackage(const std::string& path) {
  PackageRecipe recipe;
  recipe.icon0 = NoiseBytes(2000, 1);
  recipe.pic1 = NoiseBytes(6000, 2);
  recipe.image = NoiseBytes(4 * kTestBlockSize, 3);
  recipe.level = 0;
  WritePbp(path, recipe);
  return ReadFileBytes(path);
}

TEST(Faults, PatchInPlaceAtEveryWrite) {
  Scenario s;
  const std::string pkg = s.root / "game.pbp";
  const Bytes original = SmallPackage(pkg);
  s.args = {"convert", pkg, "--title", "Patched Title", "--no-pic1", "--yes", "--quiet"};
  // The package the patch makes when nothing goes wrong.
  WriteFileBytes(pkg, original);
  ProcessResult clean = s.Run(s.args);
  ASSERT_EQ(clean.exitCode, 0) << clean.output;
  const Bytes patched = ReadFileBytes(pkg);
  ASSERT_NE(patched, original);
  s.reset = [&] { WriteFileBytes(pkg, original); };
  s.check = [&](const ProcessResult& r, const std::string& where) {
    const Bytes now = ReadFileBytes(pkg);
    EXPECT_TRUE(now == original || now == patched) << where;
    if (r.exitCode == 0) {
      EXPECT_EQ(now, patched) << where;
    }
    EXPECT_FALSE(FileExists(pkg + ".undo")) << where;
  };
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
  const Bytes original = ReadFileBytes(pkg);
  s.args = {"convert",   pkg,         "--title",     "Patched Title",
            "--id",      "SCES12345", "--save-name", "Patched Save",
            "--no-pic1", "--yes",     "--quiet"};
  ProcessResult clean = s.Run(s.args);
  ASSERT_EQ(clean.exitCode, 0) << clean.output;
  const Bytes patched = ReadFileBytes(pkg);
  for (uint64_t section : set.sections)
    ASSERT_EQ(std::string(patched.begin() + section + 0x122C, patched.begin() + section + 0x1238),
              "Patched Save");
  ASSERT_EQ(std::string(patched.begin() + set.psar + 0x264, patched.begin() + set.psar + 0x26F),
            "_SCES_12345");
  s.reset = [&] { WriteFileBytes(pkg, original); };
  s.check = [&](const ProcessResult& r, const std::string& where) {
    const Bytes now = ReadFileBytes(pkg);
    EXPECT_TRUE(now == original || now == patched) << where;
    if (r.exitCode == 0) {
      EXPECT_EQ(now, patched) << where;
    }
    EXPECT_FALSE(FileExists(pkg + ".undo")) << where;
  };
  std::printf("patch in place, two discs: %d faulted runs\n", s.Sweep(kCli));
}

TEST(Faults, RebuildOfADiscSetAtEveryWrite) {
  Scenario s;
  const std::string pkg = s.root / "game.pbp";
  const std::string rebuilt = s.root / "NEW.PBP";
  SmallDiscSet(pkg);
  const Bytes original = ReadFileBytes(pkg);
  const std::string pic1 = s.root / "PSXCust/Default/PIC1.PNG";
  s.args = {"convert", pkg, "--pic1", pic1, "-o", rebuilt, "--yes", "--quiet"};
  s.reset = [&] {
    WriteFileBytes(pkg, original);
    DeleteFileIfExists(rebuilt);
  };
  s.check = [&](const ProcessResult& r, const std::string& where) {
    EXPECT_EQ(ReadFileBytes(pkg), original) << where;
    if (r.exitCode == 0)
      EXPECT_EQ(pbp::CheckWrittenPackage(rebuilt), "") << where;
    else
      EXPECT_FALSE(FileExists(rebuilt)) << where;
    EXPECT_FALSE(FileExists(rebuilt + ".part")) << where;
  };
  std::printf("rebuild, two discs: %d faulted runs\n", s.Sweep(kCli));
}

TEST(Faults, RebuildAtEveryWrite) {
  Scenario s;
  const std::string pkg = s.root / "game.pbp";
  const std::string rebuilt = s.root / "NEW.PBP";
  const Bytes original = SmallPackage(pkg);
  // The shipped PIC1 is far larger than the room the package has.
  const std::string pic1 = s.root / "PSXCust/Default/PIC1.PNG";
  s.args = {"convert", pkg, "--pic1", pic1, "-o", rebuilt, "--yes", "--quiet"};
  s.reset = [&] {
    WriteFileBytes(pkg, original);
    DeleteFileIfExists(rebuilt);
  };
  s.check = [&](const ProcessResult& r, const std::string& where) {
    EXPECT_EQ(ReadFileBytes(pkg), original) << where;
    if (r.exitCode == 0)
      EXPECT_EQ(pbp::CheckWrittenPackage(rebuilt), "") << where;
    else
      EXPECT_FALSE(FileExists(rebuilt)) << where;
    EXPECT_FALSE(FileExists(rebuilt + ".part")) << where;
  };
  std::printf("rebuild: %d faulted runs\n", s.Sweep(kCli));
}

}  // namespace
}  // namespace ebf::test
