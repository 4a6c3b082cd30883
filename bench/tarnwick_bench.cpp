// Figures for the converter tarnwick.exe on a generated 700 MB disc image with realistic
// content (runs of zero, text-like, code-like, picture-like and random sectors in mode 2
// with real EDC/ECC, and some CD audio), printed side by side:
//   - level 9 through the real converter (all cores) against a single-threaded zlib
//     level-9 raw deflate of the same blocks (target: at least 1.7x the throughput);
//   - level 0 against `cp` of the same file (target: within 1.3x of its time);
//   - the converter's block data at level 9 against zlib's at level 9 (target: no larger);
//   - the converter's peak memory (target: under 128 MB);
//   - zlib against libdeflate per level on a 64 MB slice, the measurement behind the choice
//     of libdeflate.
// Arguments: the image's size in MB (700), and a converter to measure instead of the built
// one. The image and every output live in a temporary folder that is removed at the end.

#include <libdeflate.h>
#include <zlib.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "common/file_io.h"
#include "common/files.h"
#include "support/disc_builder.h"
#include "support/process_run.h"
#include "support/realistic_image.h"
#include "support/runtime.h"
#include "support/temp_dir.h"
#include "tarnwick/block_codec.h"

#ifndef _WIN32
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace {

using namespace ebf;
using Clock = std::chrono::steady_clock;
constexpr uint32_t kBlock = tarnwick::kBlockSize;

double Seconds(Clock::time_point since) {
  return std::chrono::duration<double>(Clock::now() - since).count();
}

struct CodecFigures {
  double seconds = 0;
  uint64_t bytes = 0;  // block data, a block that does not shrink counted as stored
};

// Single-threaded raw deflate of every block of [0, limit) of the image.
template <typename CompressFn>
CodecFigures CompressBlocks(const std::string& path, uint64_t limit, CompressFn compress) {
  File in(path, File::Mode::Read);
  Bytes block(kBlock), out(kBlock + 1024);
  CodecFigures f;
  uint64_t done = 0;
  auto start = Clock::now();
  while (done < limit) {
    size_t n = in.Read(block);
    if (n == 0) break;
    std::fill(block.begin() + n, block.end(), 0);
    size_t size = compress(block, out);
    f.bytes += size == 0 || size >= kBlock ? kBlock : size;
    done += n;
  }
  f.seconds = Seconds(start);
  return f;
}

CodecFigures ZlibBlocks(const std::string& path, uint64_t limit, int level) {
  z_stream z{};
  deflateInit2(&z, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  CodecFigures f = CompressBlocks(path, limit, [&](Bytes& block, Bytes& out) -> size_t {
    deflateReset(&z);
    z.next_in = block.data();
    z.avail_in = kBlock;
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    return deflate(&z, Z_FINISH) == Z_STREAM_END ? z.total_out : 0;
  });
  deflateEnd(&z);
  return f;
}

CodecFigures LibdeflateBlocks(const std::string& path, uint64_t limit, int level) {
  libdeflate_compressor* c = libdeflate_alloc_compressor(level);
  CodecFigures f = CompressBlocks(path, limit, [&](Bytes& block, Bytes& out) -> size_t {
    return libdeflate_deflate_compress(c, block.data(), kBlock, out.data(), kBlock - 1);
  });
  libdeflate_free_compressor(c);
  return f;
}

// Block data bytes of the package's real blocks (without the padding block).
uint64_t PackageBlockBytes(const std::string& path, uint32_t blocks) {
  File f(path, File::Mode::Read);
  uint8_t raw[4];
  f.Seek(36);
  f.ReadExact(raw);
  uint64_t psar = LoadLe32(raw);
  uint64_t total = 0;
  Bytes index(size_t{blocks} * 32);
  f.Seek(psar + 0x4000);
  f.ReadExact(index);
  for (uint32_t i = 0; i < blocks; ++i) total += LoadLe16(&index[i * 32 + 4]);
  return total;
}

double TimedRun(const std::string& program, const std::vector<std::string>& args,
                const std::string& folder, test::ProcessResult& result) {
  test::ProcessOptions options;
  options.workingFolder = folder;
  auto start = Clock::now();
  result = test::RunProcess(program, args, options);
  return Seconds(start);
}

long PeakChildKb() {
#ifndef _WIN32
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  return usage.ru_maxrss;
#else
  return -1;
#endif
}

// CPU seconds (user + system) used so far by this process or by its waited-for children.
double CpuSeconds(bool children) {
#ifndef _WIN32
  rusage u{};
  getrusage(children ? RUSAGE_CHILDREN : RUSAGE_SELF, &u);
  return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
#else
  (void)children;
  return 0;
#endif
}

void FlushDirtyPages() {
#ifndef _WIN32
  sync();
#endif
}

std::string Load() {
#ifndef _WIN32
  double avg[1] = {0};
  if (getloadavg(avg, 1) == 1) return std::to_string(avg[0]).substr(0, 4);
#endif
  return "?";
}

}  // namespace

int main(int argc, char** argv) {
  uint64_t imageBytes = 700ull << 20;
  if (argc > 1) imageBytes = std::strtoull(argv[1], nullptr, 10) << 20;  // size in MB
  // Another build of the converter may be measured in the same way (an older one, say).
  const std::string converter =
      argc > 2 ? std::string(argv[2]) : test::RuntimeFolder() + "Data" + kSep + "tarnwick.exe";
  const std::string templatePath = test::RuntimeFolder() + "Data" + kSep + "BASE.PBP";
  if (!FileExists(converter) || !FileExists(templatePath)) {
    std::fprintf(stderr, "Build tarnwick and the runtime tree first (%s)\n", converter.c_str());
    return 1;
  }
  test::TempDir dir;
  CopyFileTo(templatePath, dir / "BASE.PBP");
  const std::string image = dir / "image.bin";

  auto t = Clock::now();
  imageBytes = test::WriteRealisticImage(image, imageBytes);
  const uint32_t blocks = static_cast<uint32_t>((imageBytes + kBlock - 1) / kBlock);
  const double mb = imageBytes / 1048576.0;
  std::printf("Image: %.0f MB (%u blocks), generated in %.1f s\n", mb, blocks, Seconds(t));

  // cp of the same file against level 0, in turns, each run starting with no dirty pages;
  // the best of three of each, since other work on the machine only ever adds time.
  test::ProcessResult r;
  double cpTime = 1e9, level0 = 1e9;
  bool ok0 = true;
  for (int round = 0; round < 3; ++round) {
    FlushDirtyPages();
    cpTime = std::min(cpTime, TimedRun("/bin/cp", {image, dir / "copy.bin"}, dir.path(), r));
    std::filesystem::remove(dir / "copy.bin");
    FlushDirtyPages();
    level0 =
        std::min(level0, TimedRun(converter, {"Bench", "SLUS00001", "0", image}, dir.path(), r));
    ok0 = ok0 && r.exitCode == 0;
    std::filesystem::remove(dir / "EBOOT.PBP");
  }
  FlushDirtyPages();
  std::string loadBefore = Load();
  double cpu = CpuSeconds(true);
  double level9 = TimedRun(converter, {"Bench", "SLUS00001", "9", image}, dir.path(), r);
  double level9Cpu = CpuSeconds(true) - cpu;
  bool ok9 = r.exitCode == 0;
  long peakKb = PeakChildKb();
  uint64_t ours9 = ok9 ? PackageBlockBytes(dir / "EBOOT.PBP", blocks) : 0;
  std::filesystem::remove(dir / "EBOOT.PBP");

  cpu = CpuSeconds(false);
  CodecFigures zlib9 = ZlibBlocks(image, imageBytes, 9);
  double zlib9Cpu = CpuSeconds(false) - cpu;
  std::printf("Load average (1 min) before the level-9 run: %s, after the zlib run: %s\n",
              loadBefore.c_str(), Load().c_str());

  std::printf("\n%-44s %10s %10s %10s\n", "", "seconds", "MB/s", "ratio");
  std::printf("%-44s %10.2f %10.1f\n", "zlib level 9, one thread (reference)", zlib9.seconds,
              mb / zlib9.seconds);
  std::printf("%-44s %10.2f %10.1f %9.2fx  (target >= 1.7x)%s\n", "tarnwick.exe level 9, all cores",
              level9, mb / level9, zlib9.seconds / level9, ok9 ? "" : "  FAILED RUN");
  std::printf("%-44s CPU time: zlib %.2f s; converter %.2f s, %.2f cores busy on average\n", "",
              zlib9Cpu, level9Cpu, level9Cpu / level9);
  std::printf("%-44s %10.2f %10.1f\n", "cp (reference), best of 3", cpTime, mb / cpTime);
  std::printf("%-44s %10.2f %10.1f %9.2fx  (target <= 1.3x)%s\n", "tarnwick.exe level 0, best of 3",
              level0, mb / level0, level0 / cpTime, ok0 ? "" : "  FAILED RUN");
  std::printf("\n%-44s %14s\n", "block data at level 9", "bytes");
  std::printf("%-44s %14llu\n", "zlib", static_cast<unsigned long long>(zlib9.bytes));
  std::printf("%-44s %14llu  %.4f of zlib (target <= 1)\n", "tarnwick.exe",
              static_cast<unsigned long long>(ours9),
              zlib9.bytes ? double(ours9) / double(zlib9.bytes) : 0.0);
  std::printf("\nPeak memory of the converter: %.1f MB (target < 128 MB)\n", peakKb / 1024.0);

  const uint64_t slice = std::min<uint64_t>(imageBytes, 64ull << 20);
  std::printf(
      "\nOne thread, first %.0f MB: zlib against libdeflate at the level the converter\n"
      "uses for each compression level\n",
      slice / 1048576.0);
  std::printf("%-6s %10s %14s %12s %10s %14s %8s\n", "level", "zlib s", "zlib bytes", "libdeflate",
              "s", "bytes", "size");
  for (int level = 1; level <= 9; ++level) {
    int ld = tarnwick::LibdeflateLevelFor(level);
    CodecFigures z = ZlibBlocks(image, slice, level);
    CodecFigures l = LibdeflateBlocks(image, slice, ld);
    std::printf("%-6d %10.2f %14llu %12d %10.2f %14llu %8.4f\n", level, z.seconds,
                static_cast<unsigned long long>(z.bytes), ld, l.seconds,
                static_cast<unsigned long long>(l.bytes), double(l.bytes) / double(z.bytes));
  }
  return ok0 && ok9 ? 0 : 1;
}
