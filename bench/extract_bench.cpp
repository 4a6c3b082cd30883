// Extraction speed and memory: a package of about 700 MB of raw sectors, compressed at
// level 9 and carrying our converter's block digests, is written to a temporary folder,
// extracted (every digest checked), and compared with zlib's raw inflate alone over the
// same blocks (reading excluded from the baseline's clock).
//
//   bench_extract_bench [--mb N] [--keep PATH] [--out-dir DIR] [--package PATH]
//
// --package measures an existing package instead of writing one (nothing is compared).
// --keep writes the package to PATH and leaves it there (for trying the CLI by hand).
// --out-dir puts the extracted image there instead of the temporary folder (a RAM disk
// such as /dev/shm takes the disk's speed out of the figures).

#include <openssl/sha.h>
#include <sys/resource.h>
#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "common/file_io.h"
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

// Raw sectors that compress about as a real disc does: sync and header, then by turns
// text-like data, zero runs and noise, and a noisy error-correction tail.
struct SectorSource {
  uint64_t state = 0x9E3779B97F4A7C15ull;
  uint64_t Next() {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
  }
  void Fill(uint64_t block, uint8_t* out) {
    static const char* words[] = {
        "the ",   "PLAYSTATION ", "level ",   "0000", "sprite ", "\x01\x02\x03\x04",
        "model ", "texture ",     "\xFF\xFF", "data "};
    for (std::size_t s = 0; s < 16; ++s) {
      uint8_t* p = out + s * kSector;
      uint64_t lba = block * 16 + s;
      std::memset(p, 0xFF, 12);
      p[0] = p[11] = 0;
      p[12] = static_cast<uint8_t>(lba / 4500);
      p[13] = static_cast<uint8_t>((lba / 75) % 60);
      p[14] = static_cast<uint8_t>(lba % 75);
      p[15] = 2;
      uint8_t* d = p + 24;
      switch ((lba * 7 + (lba >> 5)) % 8) {
        case 0:
        case 1:
        case 2:
        case 3: {
          std::size_t at = 0;
          while (at < 2048) {
            const char* w = words[Next() % 10];
            std::size_t n = std::min<std::size_t>(std::strlen(w), 2048 - at);
            std::memcpy(d + at, w, n);
            at += n;
          }
          break;
        }
        case 4:
        case 5:
          std::memset(d, 0, 2048);
          break;
        default:
          for (std::size_t i = 0; i < 2048; i += 8) {
            uint64_t v = Next();
            std::memcpy(d + i, &v, 8);
          }
      }
      for (std::size_t i = 2072; i < kSector; i += 8) {
        uint64_t v = Next();
        std::memcpy(p + i, &v, std::min<std::size_t>(8, kSector - i));
      }
    }
  }
};

double CpuSeconds() {
  rusage ru{};
  getrusage(RUSAGE_SELF, &ru);
  auto sec = [](const timeval& t) { return t.tv_sec + t.tv_usec / 1e6; };
  return sec(ru.ru_utime) + sec(ru.ru_stime);
}

long PeakRssKb() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
  rusage ru{};
  getrusage(RUSAGE_SELF, &ru);
  return ru.ru_maxrss;
}

long CurrentRssKb() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  return -1;
}

// Resets the peak so that VmHWM covers only what follows (Linux).
bool ResetPeakRss() {
  std::ofstream f("/proc/self/clear_refs");
  f << "5";
  return static_cast<bool>(f);
}

uint32_t FileCrc(const std::string& path) {
  ebf::File f(path, ebf::File::Mode::Read);
  std::vector<uint8_t> buf(1 << 20);
  uLong crc = crc32(0, nullptr, 0);
  for (std::size_t n; (n = f.Read(buf)) > 0;) crc = crc32(crc, buf.data(), static_cast<uInt>(n));
  return static_cast<uint32_t>(crc);
}

// zlib's raw inflate alone over the package's blocks: compressed blocks are read in
// batches outside the clock, then inflated into one output buffer.
struct Timing {
  double wall = 0, cpu = 0;
};

Timing Baseline(const std::string& pbp, const ebf::pbp::DiscImageLayout& layout) {
  ebf::File f(pbp, ebf::File::Mode::Read);
  z_stream zs{};
  inflateInit2(&zs, -15);
  std::vector<uint8_t> out(kBlock), batch;
  std::vector<std::pair<std::size_t, std::size_t>> spans;
  Timing total;
  const uint64_t dataStart = layout.psar + 0x100000;
  std::size_t i = 0;
  while (i < layout.blocks.size()) {
    batch.clear();
    spans.clear();
    for (; i < layout.blocks.size() && batch.size() < (16u << 20); ++i) {
      const auto& b = layout.blocks[i];
      std::size_t len = std::min<uint64_t>(b.length & 0xFFFF, layout.fileSize);
      std::size_t at = batch.size();
      batch.resize(at + len);
      f.Seek(dataStart + b.offset);
      f.ReadExact(std::span<uint8_t>(batch.data() + at, len));
      spans.emplace_back(at, b.stored() ? 0 : len);
    }
    auto t0 = Clock::now();
    const double c0 = CpuSeconds();
    for (auto [at, len] : spans) {
      if (len == 0) {
        std::memcpy(out.data(), batch.data() + at, kBlock);  // a stored block is a copy
        continue;
      }
      inflateReset(&zs);
      zs.next_in = batch.data() + at;
      zs.avail_in = static_cast<uInt>(len);
      zs.next_out = out.data();
      zs.avail_out = kBlock;
      inflate(&zs, Z_NO_FLUSH);
    }
    total.wall += Seconds(t0, Clock::now());
    total.cpu += CpuSeconds() - c0;
  }
  inflateEnd(&zs);
  return total;
}

}  // namespace

int main(int argc, char** argv) {
  uint64_t mb = 700;
  std::string keep, outDir, given;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    const bool hasValue = i + 1 < argc;
    if (a == "--mb" && hasValue) {
      mb = std::stoull(argv[++i]);
    } else if (a == "--keep" && hasValue) {
      keep = argv[++i];
    } else if (a == "--out-dir" && hasValue) {
      outDir = argv[++i];
    } else if (a == "--package" && hasValue) {
      given = argv[++i];
    } else {
      std::fprintf(stderr, "usage: %s [--mb N] [--keep PATH] [--out-dir DIR] [--package PATH]\n",
                   argv[0]);
      return 2;
    }
  }
  namespace fs = std::filesystem;
  const fs::path dir =
      fs::temp_directory_path() / ("ebf_extract_bench_" + std::to_string(getpid()));
  fs::create_directories(dir);
  const std::string pbp = !given.empty() ? given
                          : keep.empty() ? (dir / "EBOOT.PBP").string()
                                         : keep;
  const fs::path outFolder = outDir.empty() ? dir : fs::path(outDir) / dir.filename();
  fs::create_directories(outFolder);
  const std::string out = (outFolder / "image.bin").string();

  ebf::test::PackageRecipe recipe;
  recipe.blockCount = mb * 1000000 / kBlock;
  recipe.level = 9;
  SectorSource source;
  uLong imageCrc = crc32(0, nullptr, 0);
  recipe.blockSource = [&](uint64_t block, uint8_t* data) {
    source.Fill(block, data);
    imageCrc = crc32(imageCrc, data, kBlock);
  };
  if (given.empty()) {
    std::printf("Writing a %llu-block package (%.0f MB of sectors, level 9)...\n",
                static_cast<unsigned long long>(recipe.blockCount),
                recipe.blockCount * kBlock / 1e6);
    std::fflush(stdout);
    auto g0 = Clock::now();
    ebf::test::PbpWritten w = ebf::test::WritePbp(pbp, recipe);
    // Our converter's digests in the index, so that extraction has them to check.
    ebf::File f(pbp, ebf::File::Mode::ReadWrite);
    ebf::Bytes block(kBlock);
    SectorSource again;
    for (uint64_t i = 0; i < recipe.blockCount; ++i) {
      again.Fill(i, block.data());
      uint8_t sha[SHA_DIGEST_LENGTH];
      SHA1(block.data(), block.size(), sha);
      f.Seek(w.SlotPos(w.blockSlots[i]) + 8);
      f.Write(std::span<const uint8_t>(sha, 16));
    }
    std::printf("  written in %.1f s: %.1f MB, %llu of %zu blocks compressed\n",
                Seconds(g0, Clock::now()), w.fileSize / 1e6,
                static_cast<unsigned long long>(w.compressedBlocks), w.blockLengths.size());
  }

  // Settle the disk and warm the page cache the same way for both measurements.
  sync();
  (void)FileCrc(pbp);

  ebf::test::QuietRun host;
  const long rssBefore = CurrentRssKb();
  const bool peakReset = ResetPeakRss();
  const double cpu0 = CpuSeconds();
  auto e0 = Clock::now();
  const ebf::Outcome result =
      ebf::pbp::ExtractDiscImage(pbp, out, false, ebf::pbp::kTocNone, host, host.cancel);
  const double extractSec = Seconds(e0, Clock::now());
  const double extractCpu = CpuSeconds() - cpu0;
  const long peak = PeakRssKb();
  ebf::File in(pbp, ebf::File::Mode::Read);
  ebf::pbp::DiscImageLayout layout;
  ebf::pbp::ReadDiscImageLayout(in, pbp, layout);
  const double imageMb = static_cast<double>(layout.blocks.size() * kBlock) / 1e6;
  const bool same =
      result.succeeded() && (!given.empty() || FileCrc(out) == static_cast<uint32_t>(imageCrc));
  const Timing base = Baseline(pbp, layout);

  std::printf("Extraction: %s, output %s\n", result.text().c_str(),
              !given.empty() ? "not compared"
              : same         ? "identical to the image"
                             : "DIFFERS from the image");
  std::printf("  %.2f s, %.0f MB/s of image (%.2f s of processor time, both threads)\n", extractSec,
              imageMb / extractSec, extractCpu);
  std::printf("  peak resident memory %s%.1f MB (%.1f MB before the extraction)\n",
              peakReset ? "" : "(whole process) ", peak / 1024.0, rssBefore / 1024.0);
  std::printf("Raw inflate alone: %.2f s, %.0f MB/s of image (%.2f s of processor time)\n",
              base.wall, imageMb / base.wall, base.cpu);
  std::printf("Throughput ratio extraction / raw inflate (target >= 0.90):\n");
  std::printf("  by elapsed time   %.2f\n", base.wall / extractSec);
  std::printf("  by processor time %.2f\n", base.cpu / extractCpu);

  std::error_code ec;
  fs::remove_all(dir, ec);
  fs::remove_all(outFolder, ec);
  return same ? 0 : 1;
}
