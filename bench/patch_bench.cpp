// Figures for applying patches to a generated 700 MB image (realistic sectors), printed side
// by side, best of three each, each run starting with no dirty pages:
//   - `cp` of the image (the reference);
//   - a VCDIFF patch that xdelta3 makes with LZMA from about 50 MB of new data scattered over
//     the image, applied by the program from the image to a new file;
//   - a PPF 3.0 of 10,000 records (200 bytes each) applied to a new file (a copy, the records
//     going onto it as it is made), and onto a work image in place.
// Target for both patches: at most the time of the cp plus 20%. The patched image is compared
// with xdelta3's own once. Everything lives in a temporary folder removed at the end.
// Usage: bench_patch_bench [MB of image] [MB of new data]

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

#include "common/file_io.h"
#include "common/files.h"
#include "patches/patch.h"
#include "support/process_run.h"
#include "support/realistic_image.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

#ifndef _WIN32
#include <unistd.h>
#endif

namespace {

using namespace ebf;
using Clock = std::chrono::steady_clock;

double Best(const std::function<void()>& prepare, const std::function<std::string()>& run,
            std::string& failure) {
  double best = 1e9;
  for (int round = 0; round < 3; ++round) {
    prepare();
#ifndef _WIN32
    sync();
#endif
    const auto t = Clock::now();
    const std::string why = run();
    best = std::min(best, std::chrono::duration<double>(Clock::now() - t).count());
    if (!why.empty()) failure = why;
  }
  return best;
}

std::string Apply(const std::string& patch, const std::string& source, const std::string& target) {
  test::QuietRun host;
  patches::OpenedPatch opened = patches::OpenPatch(patch);
  if (!opened.patch) return opened.outcome.text();
  const Outcome done = patches::ApplyPatchFile(*opened.patch, source, target, host, host.cancel);
  return done.succeeded() ? std::string() : done.text();
}

}  // namespace

int main(int argc, char** argv) {
  const uint64_t mb = argc > 1 ? std::stoull(argv[1]) : 700;
  const uint64_t changedMb = argc > 2 ? std::stoull(argv[2]) : 50;
  test::TempDir dir;
  const std::string src = dir / "game.bin", tgt = dir / "new.bin";
  std::printf("Generating a %llu MB image and a copy with %llu MB of new data...\n",
              static_cast<unsigned long long>(mb), static_cast<unsigned long long>(changedMb));
  const uint64_t size = test::WriteRealisticImage(src, mb << 20);
  std::filesystem::copy_file(src, tgt);
  {
    // New data in 256 KiB pieces spread evenly, as a translation's scripts and pictures are.
    File f(tgt, File::Mode::ReadWrite);
    const uint64_t pieces = (changedMb << 20) / (256 << 10);
    for (uint64_t i = 0; i < pieces; ++i) {
      f.Seek(size / pieces * i);
      f.Write(test::NoiseBytes(256 << 10, static_cast<uint32_t>(100 + i)));
    }
  }
  std::printf("Making the xdelta3 patch (LZMA)...\n");
  test::Shell("xdelta3 -e -f -S lzma -s '" + src + "' '" + tgt + "' '" + dir / "fix.xdelta'");
  std::printf("Making the PPF 3.0 of 10,000 records...\n");
  {
    Bytes ppf = {'P', 'P', 'F', '3', '0', 2};
    ppf.resize(56, ' ');
    for (uint8_t b : {0, 0, 0, 0}) ppf.push_back(b);
    const Bytes data = test::NoiseBytes(200, 12);
    for (uint64_t i = 0; i < 10000; ++i) {
      AppendLe32(ppf, static_cast<uint32_t>(size / 10000 * i));
      AppendLe32(ppf, static_cast<uint32_t>((size / 10000 * i) >> 32));
      ppf.push_back(200);
      ppf.insert(ppf.end(), data.begin(), data.end());
    }
    test::WriteFileBytes(dir / "fix.ppf", ppf);
  }
  const double imageMb = static_cast<double>(size) / 1048576.0;
  std::printf("Image %.0f MB, xdelta3 patch %.1f MB, PPF %.1f MB\n", imageMb,
              static_cast<double>(FileSize(dir / "fix.xdelta").value_or(0)) / 1048576.0,
              static_cast<double>(FileSize(dir / "fix.ppf").value_or(0)) / 1048576.0);

  const std::string out = dir / "out.bin";
  auto clear = [&] { std::filesystem::remove(out); };
  std::string failed;
  const double cp = Best(
      clear,
      [&] {
        test::Shell("cp '" + src + "' '" + out + "'");
        return std::string();
      },
      failed);
  const double vcdiff = Best(
      clear, [&] { return Apply(dir / "fix.xdelta", src, out); }, failed);
  test::Shell("xdelta3 -d -f -s '" + src + "' '" + dir / "fix.xdelta" + "' '" +
              dir / "witness.bin'");
  if (test::Shell("cmp '" + out + "' '" + dir / "witness.bin' && echo same") != "same\n")
    failed = "the patched image differs from xdelta3's";
  std::filesystem::remove(dir / "witness.bin");
  const double ppf = Best(
      clear, [&] { return Apply(dir / "fix.ppf", src, out); }, failed);
  const double inPlace = Best([&] { test::Shell("cp '" + src + "' '" + out + "'"); },
                              [&] { return Apply(dir / "fix.ppf", out, out); }, failed);

  std::printf("\n%-44s %9s %9s %9s\n", "", "seconds", "MB/s", "of cp");
  auto line = [&](const char* what, double s, bool target) {
    std::printf("%-44s %9.2f %9.1f %8.2fx%s\n", what, s, imageMb / s, s / cp,
                target ? "  (target <= 1.20x)" : "");
  };
  line("cp of the image, best of 3", cp, false);
  line("xdelta3 LZMA patch to a new image, best of 3", vcdiff, true);
  line("PPF 3.0 of 10,000 records to a new image", ppf, true);
  line("PPF 3.0 of 10,000 records onto a work image", inPlace, false);
  if (!failed.empty()) std::printf("FAILED: %s\n", failed.c_str());
  return failed.empty() ? 0 : 1;
}
