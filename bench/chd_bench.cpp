// CHD decoding on a 700 MB disc: raw sectors in disc order (per-hunk CRCs and the whole
// image's SHA-1 checked), in turn and with hunks decoded ahead on worker threads, against a
// plain read of the BIN the CHD was made from (wall time and CPU time, since the machine
// may be shared), and the
// peak memory of `ebootforge-cli chd --bin` doing the same. The disc and its CHD (made by
// chdman with its default codecs) are kept in bench/chd_bench_data/ between runs.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "common/file_io.h"
#include "common/files.h"
#include "disc/chd/chd_cd_image.h"
#include "support/chdman.h"
#include "support/process_run.h"
#include "support/realistic_image.h"
#include "support/runtime.h"
#include "support/temp_dir.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint64_t kImageSize = 700ull << 20;

double Seconds(Clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

double ReadFileSeconds(const std::string& path, uint64_t* bytes) {
  ebf::File f(path, ebf::File::Mode::Read);
  std::vector<uint8_t> buffer(256 * 2352);
  auto start = Clock::now();
  *bytes = 0;
  for (std::size_t n; (n = f.Read(buffer)) > 0;) *bytes += n;
  return Seconds(Clock::now() - start);
}

// CPU time of this process, every thread.
double CpuSeconds() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
         static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

}  // namespace

int main() {
  namespace fs = std::filesystem;
  const fs::path data = fs::path(ebf::ExecutablePath()).parent_path() / "chd_bench_data";
  fs::create_directories(data);
  const std::string bin = (data / "disc.bin").string(), cue = (data / "disc.cue").string(),
                    chd = (data / "disc.chd").string();
  const bool made = !fs::exists(chd);
  if (made) {
    std::printf("Writing a %llu MB disc and its CHD (once; kept in %s)...\n",
                static_cast<unsigned long long>(kImageSize >> 20), data.string().c_str());
    ebf::test::WriteRealisticImage(bin, kImageSize);
    ebf::test::WriteFileText(
        cue, "FILE \"disc.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n");
    auto start = Clock::now();
    if (!ebf::test::CreateChd(cue, chd, "")) return 1;
    std::printf("chdman createcd (default codecs): %.1f s\n", Seconds(Clock::now() - start));
  }
  const double binMb = static_cast<double>(fs::file_size(bin)) / 1e6;
  std::printf("BIN %.0f MB, CHD %.0f MB\n", binMb, static_cast<double>(fs::file_size(chd)) / 1e6);

  uint64_t got = 0;
  ReadFileSeconds(bin, &got);  // warm the page cache for both
  ReadFileSeconds(chd, &got);
  const double binSeconds = ReadFileSeconds(bin, &got);
  std::printf("Reading the BIN:            %6.2f s  %7.1f MB/s\n", binSeconds, binMb / binSeconds);

  // Once on this thread alone, once with hunks decoded ahead on worker threads.
  for (bool ahead : {false, true}) {
    ebf::chd::ChdCdImage image;
    const double cpu0 = CpuSeconds();
    auto start = Clock::now();
    std::string error = image.Open(chd);
    if (error.empty() && ahead) image.ExpectReadInOrder();
    std::vector<uint8_t> buffer(256 * 2352);
    for (uint32_t at = 0; error.empty() && at < image.SectorCount(); at += 256)
      error = image.ReadSectors(at, std::min<uint32_t>(256, image.SectorCount() - at), buffer);
    if (error.empty()) error = image.VerifyWholeImage();
    const double seconds = Seconds(Clock::now() - start), cpu = CpuSeconds() - cpu0;
    if (!error.empty()) {
      std::printf("%s\n", error.c_str());
      return 1;
    }
    std::printf("Decoding the CHD, %-9s %6.2f s  %7.1f MB/s  (%.2f s of CPU; %.1fx the BIN read)\n",
                ahead ? "ahead:" : "in turn:", seconds, binMb / seconds, cpu, seconds / binSeconds);
  }

  // The command-line program writing the disc out: its peak memory.
  ebf::test::TempDir out;
  ebf::test::ProcessOptions options;
  options.workingFolder = out.path();
  auto start = Clock::now();
  auto run = ebf::test::RunProcess(ebf::test::RuntimeFolder() + "ebootforge-cli",
                                   {"chd", chd, "--bin", out / "disc.bin"}, options);
  const double cliSeconds = Seconds(Clock::now() - start);
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  std::printf("ebootforge-cli chd --bin:   %6.2f s  peak memory %.1f MB (exit %d)\n", cliSeconds,
              static_cast<double>(usage.ru_maxrss) / 1024.0, run.exitCode);
  if (made) std::printf("(this run also started chdman, whose memory counts above: run again)\n");
  return run.exitCode == 0 ? 0 : 1;
}
