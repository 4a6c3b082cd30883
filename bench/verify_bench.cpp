// Verify speed against extraction: a package of about 700 MB of raw sectors at level 9,
// with our block digests in its index, is extracted and then verified (every block
// inflated and digested on every core, three sums per track). Target: verify at no less
// than 0.9x the speed of extraction.
//
//   bench_verify_bench [--mb N] [--out-dir DIR]

#include <openssl/sha.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "common/bytes.h"
#include "common/file_io.h"
#include "engine/verify.h"
#include "pbp/extract.h"
#include "pbp/toc.h"
#include "support/pbp_writer.h"
#include "support/recording_host.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t kBlock = 37632;
constexpr std::size_t kSector = 2352;

double Seconds(Clock::time_point a, Clock::time_point b) {
  return std::chrono::duration<double>(b - a).count();
}

// Sectors that compress about as a real disc does (the same recipe as the extraction
// bench): header, text-like runs, zeros and noise.
void FillBlock(uint64_t block, uint8_t* out) {
  uint64_t state = 0x9E3779B97F4A7C15ull ^ (block * 0x100000001B3ull);
  auto next = [&] {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
  };
  static const char* words[] = {"the ", "PLAYSTATION ", "level ", "0000", "sprite ", "model "};
  for (std::size_t s = 0; s < 16; ++s) {
    uint8_t* p = out + s * kSector;
    std::memset(p, 0xFF, 12);
    p[0] = p[11] = 0;
    const uint64_t lba = block * 16 + s;
    p[12] = static_cast<uint8_t>(lba / 4500);
    p[13] = static_cast<uint8_t>((lba / 75) % 60);
    p[14] = static_cast<uint8_t>(lba % 75);
    p[15] = 2;
    std::size_t at = 16;
    while (at < kSector - 280) {
      const uint64_t r = next();
      const std::size_t run = 16 + r % 200;
      const std::size_t n = std::min(run, kSector - 280 - at);
      if (r % 3 == 0) {
        std::memset(p + at, 0, n);
      } else if (r % 3 == 1) {
        for (std::size_t k = 0; k < n; ++k)
          p[at + k] = static_cast<uint8_t>(words[(r >> 8) % 6][k % 4]);
      } else {
        for (std::size_t k = 0; k < n; ++k) p[at + k] = static_cast<uint8_t>(next());
      }
      at += n;
    }
    for (; at < kSector; ++at) p[at] = static_cast<uint8_t>(next());
  }
}

// Processor time of the whole process, every thread.
double CpuSeconds() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

}  // namespace

int main(int argc, char** argv) {
  uint64_t mb = 700;
  std::string outDir;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--mb" && i + 1 < argc) {
      mb = std::stoull(argv[++i]);
    } else if (a == "--out-dir" && i + 1 < argc) {
      outDir = argv[++i];
    } else {
      std::fprintf(stderr, "usage: %s [--mb N] [--out-dir DIR]\n", argv[0]);
      return 2;
    }
  }
  namespace fs = std::filesystem;
  const fs::path dir = fs::temp_directory_path() / ("ebf_verify_bench_" + std::to_string(getpid()));
  fs::create_directories(dir);
  const std::string pbp = (dir / "EBOOT.PBP").string();
  const fs::path outFolder = outDir.empty() ? dir : fs::path(outDir) / dir.filename();
  fs::create_directories(outFolder);
  const std::string out = (outFolder / "image.bin").string();

  ebf::test::PackageRecipe recipe;
  recipe.blockCount = mb * 1000000 / kBlock;
  recipe.level = 9;
  recipe.blockSource = FillBlock;
  std::printf("Writing a %llu-block package (%.0f MB of sectors, level 9)...\n",
              static_cast<unsigned long long>(recipe.blockCount), recipe.blockCount * kBlock / 1e6);
  std::fflush(stdout);
  ebf::test::PbpWritten w = ebf::test::WritePbp(pbp, recipe);
  {
    // Our converter's digests in the index, so that verify has them to check.
    ebf::File f(pbp, ebf::File::Mode::ReadWrite);
    ebf::Bytes block(kBlock);
    for (uint64_t i = 0; i < recipe.blockCount; ++i) {
      FillBlock(i, block.data());
      uint8_t sha[SHA_DIGEST_LENGTH];
      SHA1(block.data(), block.size(), sha);
      f.Seek(w.SlotPos(w.blockSlots[i]) + 8);
      f.Write(std::span<const uint8_t>(sha, 16));
    }
  }
  std::printf("  %.1f MB written; %u cores\n", w.fileSize / 1e6,
              std::thread::hardware_concurrency());

  sync();
  ebf::test::QuietRun host;
  // One extraction first warms the page cache the same way for both measurements.
  ebf::pbp::ExtractDiscImage(pbp, out, false, ebf::pbp::kTocNone, host, host.cancel);
  double c0 = CpuSeconds();
  auto e0 = Clock::now();
  const ebf::Outcome result =
      ebf::pbp::ExtractDiscImage(pbp, out, false, ebf::pbp::kTocNone, host, host.cancel);
  const double extractSec = Seconds(e0, Clock::now());
  const double extractCpu = CpuSeconds() - c0;
  c0 = CpuSeconds();
  auto v0 = Clock::now();
  ebf::VerifyReport report = ebf::VerifyPackage(pbp, {}, host, host.cancel);
  const double verifySec = Seconds(v0, Clock::now());
  const double verifyCpu = CpuSeconds() - c0;
  const double imageMb = static_cast<double>(recipe.blockCount * kBlock) / 1e6;

  // How busy the cores were: processor time over wall time and the number of cores (1.00
  // is every core busy for the whole run).
  const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
  auto busy = [cores](double cpu, double wall) { return cpu / wall / cores; };
  std::printf(
      "Extraction: %s, %.2f s, %.0f MB/s of image (%.2f s of processor time, %.0f%% of %u "
      "cores)\n",
      result.text().c_str(), extractSec, imageMb / extractSec, extractCpu,
      100 * busy(extractCpu, extractSec), cores);
  std::printf(
      "Verify: %s (%s), %.2f s, %.0f MB/s of image (%.2f s of processor time, %.0f%% of %u "
      "cores)\n",
      report.ok() ? "all agrees" : "PROBLEMS", ebf::DigestCheckText(report).c_str(), verifySec,
      imageMb / verifySec, verifyCpu, 100 * busy(verifyCpu, verifySec), cores);
  constexpr double kTarget = 0.90;
  const double ratio = extractSec / verifySec;
  std::printf("Speed ratio verify / extraction: %.2f (target >= %.2f: %s)\n", ratio, kTarget,
              ratio >= kTarget ? "met" : "NOT met");
  std::error_code ec;
  fs::remove_all(dir, ec);
  fs::remove_all(outFolder, ec);
  return report.ok() && result.succeeded() ? 0 : 1;
}
