// A game on three discs against one disc, through the real converter: the seconds per MB
// of a three-disc package against a one-disc package of the same image (target: within
// 10%), and the converter's peak memory for each (target: the same).
// Arguments: the size of each disc in MB (700) and the compression level (9). The image is
// generated once and given as all three discs; everything lives in a temporary folder.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "common/files.h"
#include "support/process_run.h"
#include "support/realistic_image.h"
#include "support/runtime.h"
#include "support/temp_dir.h"

#ifndef _WIN32
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace {

using namespace ebf;
using Clock = std::chrono::steady_clock;

// The largest resident size of any finished child so far.
double PeakChildMb() {
#ifndef _WIN32
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  return usage.ru_maxrss / 1024.0;
#else
  return -1;
#endif
}

double Run(const std::string& converter, const std::vector<std::string>& args,
           const std::string& folder, bool& ok) {
#ifndef _WIN32
  sync();
#endif
  test::ProcessOptions options;
  options.workingFolder = folder;
  auto start = Clock::now();
  test::ProcessResult r = test::RunProcess(converter, args, options);
  ok = ok && r.exitCode == 0;
  if (r.exitCode != 0) std::fprintf(stderr, "%s\n", r.output.c_str());
  return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
  uint64_t discBytes = (argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 700) << 20;
  const std::string level = argc > 2 ? argv[2] : "9";
  const std::string converter = test::RuntimeFolder() + "Data" + kSep + "tarnwick.exe";
  const std::string templatePath = test::RuntimeFolder() + "Data" + kSep + "BASE.PBP";
  if (!FileExists(converter) || !FileExists(templatePath)) {
    std::fprintf(stderr, "Build tarnwick and the runtime tree first (%s)\n", converter.c_str());
    return 1;
  }
  test::TempDir dir;
  CopyFileTo(templatePath, dir / "BASE.PBP");
  const std::string image = dir / "disc.bin";
  discBytes = test::WriteRealisticImage(image, discBytes);
  const double mb = discBytes / 1048576.0;

  bool ok = true;
  const double one = Run(converter, {"Bench", "SLUS00001", level, image}, dir.path(), ok);
  const double peakOne = PeakChildMb();
  const uint64_t oneSize = FileSize(dir / "EBOOT.PBP").value_or(0);
  std::filesystem::remove(dir / "EBOOT.PBP");
  const double three =
      Run(converter, {"Bench", "SLUS00001", level, image, "SLUS00002", image, "SLUS00003", image},
          dir.path(), ok);
  const double peakBoth = PeakChildMb();
  const uint64_t threeSize = FileSize(dir / "EBOOT.PBP").value_or(0);

  std::printf("Disc image: %.0f MB, level %s\n\n", mb, level.c_str());
  std::printf("%-28s %10s %10s %14s\n", "", "seconds", "MB/s", "package bytes");
  std::printf("%-28s %10.2f %10.1f %14llu\n", "one disc", one, mb / one,
              static_cast<unsigned long long>(oneSize));
  std::printf("%-28s %10.2f %10.1f %14llu\n", "three discs", three, 3 * mb / three,
              static_cast<unsigned long long>(threeSize));
  std::printf("\nTime per MB, three discs against one: %.3f (target within 1.10)%s\n",
              (three / 3) / one, ok ? "" : "  FAILED RUN");
  std::printf(
      "Peak memory: one disc %.1f MB; largest of both runs %.1f MB (same = the set "
      "needs no more)\n",
      peakOne, peakBoth);
  return ok ? 0 : 1;
}
