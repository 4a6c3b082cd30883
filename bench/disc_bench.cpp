// Disc identity figures on a 700 MB raw image: game ID detection (time and bytes read),
// the PAL scan against a plain read of the same file, and the shipped game database.
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "common/bytes.h"
#include "common/file_io.h"
#include "disc/game_db.h"
#include "disc/game_id.h"
#include "disc/pal_fix.h"
#include "support/disc_builder.h"
#include "support/recording_host.h"
#include "support/runtime.h"
#include "support/temp_dir.h"

namespace {

using Clock = std::chrono::steady_clock;
double Ms(Clock::duration d) {
  return std::chrono::duration<double, std::milli>(d).count();
}

// Bytes this process has read through system calls (Linux); 0 elsewhere.
uint64_t ProcessReadBytes() {
  std::ifstream io("/proc/self/io");
  std::string key;
  uint64_t value = 0;
  while (io >> key >> value)
    if (key == "rchar:") return value;
  return 0;
}

constexpr uint64_t kImageSize = 700ull << 20;

std::string MakeImage(const ebf::test::TempDir& dir) {
  using namespace ebf::test;
  std::string path = dir / "big.bin";
  ebf::File out(path, ebf::File::Mode::Write);
  ebf::Bytes head = BuildDiscImage(GameDisc("SLES_123.45"), SectorLayout::Mode2Raw);
  out.Write(head);
  uint64_t written = head.size();
  ebf::Bytes block = NoiseBytes(1 << 20, 7);
  for (uint32_t n = 0; written < kImageSize; ++n) {
    // A handful of patterns (odd offsets included) so the scan has something to find.
    if (n % 100 == 0) {
      ebf::StoreLe32(&block[12345 + n % 7], 0x24910013);
      ebf::StoreLe32(&block[12349 + n % 7], 0x24910010);
    }
    std::size_t len =
        static_cast<std::size_t>(std::min<uint64_t>(block.size(), kImageSize - written));
    out.Write(std::span<const uint8_t>(block.data(), len));
    written += len;
    block[n % block.size()] ^= 0x5A;
  }
  out.Close();
  return path;
}

double PlainReadMs(const std::string& path) {
  ebf::File f(path, ebf::File::Mode::Read);
  std::vector<uint8_t> buf(ebf::kPalChunkSize);
  uint64_t sum = 0;
  auto t0 = Clock::now();
  while (std::size_t n = f.Read(buf)) sum += buf[n - 1];
  double ms = Ms(Clock::now() - t0);
  if (sum == 1) std::printf(" ");  // keep the loop
  return ms;
}

double PalScanMs(const std::string& path, uint64_t& found) {
  ebf::File f(path, ebf::File::Mode::Read);
  ebf::test::QuietRun host;
  ebf::PalFixOptions o;
  o.screenHeight = o.graphics = true;
  o.write = false;
  auto t0 = Clock::now();
  found = ebf::ApplyPalFix(f, f.Size(), o, nullptr, host, host.cancel).patches;
  return Ms(Clock::now() - t0);
}

}  // namespace

int main() {
  ebf::test::TempDir dir;
  std::printf("Building a %llu MB raw image...\n",
              static_cast<unsigned long long>(kImageSize >> 20));
  std::string image = MakeImage(dir);

  // Game ID: a few reads at computed offsets.
  ebf::GameIdProbe probe;
  uint64_t rchar0 = ProcessReadBytes();
  auto t0 = Clock::now();
  std::string id = ebf::DetectGameId(image, &probe);
  double firstMs = Ms(Clock::now() - t0);
  uint64_t sysRead = ProcessReadBytes() - rchar0;
  const int runs = 200;
  t0 = Clock::now();
  for (int i = 0; i < runs; ++i) ebf::DetectGameId(image);
  double avgMs = Ms(Clock::now() - t0) / runs;
  std::printf("game ID %s: first %.3f ms, mean of %d %.3f ms (target < 5 ms)\n", id.c_str(),
              firstMs, runs, avgMs);
  std::printf("  %llu bytes asked in %u reads; %llu bytes read by the system (target < 64 KB)\n",
              static_cast<unsigned long long>(probe.bytesRead), probe.reads,
              static_cast<unsigned long long>(sysRead));

  // PAL scan against a plain read, both from a warm cache, best of three.
  double readMs = 1e30, scanMs = 1e30;
  uint64_t found = 0;
  PlainReadMs(image);
  for (int i = 0; i < 3; ++i) {
    readMs = std::min(readMs, PlainReadMs(image));
    scanMs = std::min(scanMs, PalScanMs(image, found));
  }
  double mb = static_cast<double>(kImageSize) / (1 << 20);
  std::printf("plain read: %.0f ms (%.0f MB/s)\n", readMs, mb / readMs * 1000);
  std::printf(
      "PAL scan:   %.0f ms (%.0f MB/s), %llu matches; %.0f%% of read speed (target >= 50%%)\n",
      scanMs, mb / scanMs * 1000, static_cast<unsigned long long>(found), 100.0 * readMs / scanMs);

  // The shipped database.
  std::string db = ebf::GameDbPath(ebf::test::RuntimeFolder());
  ebf::GameList warm = ebf::LoadGameList(db, false, "");
  if (warm.entries.empty()) {
    std::printf("no game database at %s\n", db.c_str());
    return 1;
  }
  std::string lastId = warm.entries.back().discId;
  t0 = Clock::now();
  auto hit = ebf::LookupGame(db, lastId, true);
  double lookupMs = Ms(Clock::now() - t0);
  t0 = Clock::now();
  auto miss = ebf::LookupGame(db, "NONE00000", true);
  double missMs = Ms(Clock::now() - t0);
  t0 = Clock::now();
  ebf::GameList list = ebf::LoadGameList(db, true, "SLUS00594");
  double listMs = Ms(Clock::now() - t0);
  std::printf(
      "lookup of the last line (%s): %.2f ms; of a missing ID: %.2f ms%s (target < 50 ms)\n",
      hit ? "found" : "NOT FOUND", lookupMs, missMs, miss ? " (?)" : "");
  std::printf("full list, %zu games, tags hidden: %.2f ms (target < 50 ms)\n", list.entries.size(),
              listMs);
  return 0;
}
