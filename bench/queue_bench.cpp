// The batch queue against single conversions: 10 discs of 70 MB (BIN, level 9),
// ebootforge-cli batch (the queue) against 10 ebootforge-cli convert runs one after the other
// (target: the queue within 3%), and the same discs as ECM files, whose preparation is a
// decode. The queue prepares each game in its own turn: decoding the next game while the
// converter compresses this one was measured with the real queue and gained nothing on two
// cores (14.10 s against 14.00 s), since the converter keeps every core busy already.
// Arguments: the number of discs (10), their size in MB (70) and the rounds (3).

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "common/file_io.h"
#include "common/files.h"
#include "support/disc_builder.h"
#include "support/ecm_writer.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/realistic_image.h"
#include "support/temp_dir.h"

namespace {

using namespace ebf;
using Clock = std::chrono::steady_clock;

double Since(Clock::time_point t) {
  return std::chrono::duration<double>(Clock::now() - t).count();
}

// A game's first sectors (its file system and boot file), then sectors that compress as a
// real disc's do.
void WriteDisc(const std::string& path, const std::string& exe, uint64_t bytes,
               const std::string& scratch) {
  const Bytes head = test::BuildDiscImage(test::GameDisc(exe), test::SectorLayout::Mode2Raw);
  test::WriteRealisticImage(scratch, bytes - head.size());
  File out(path, File::Mode::Write);
  out.Write(head);
  AppendFileToOpenFile(scratch, out);
  out.Close();
}

// The machine's load averages, from /proc/loadavg where there is one.
std::string Load() {
  std::ifstream in("/proc/loadavg");
  std::string one, five, fifteen;
  if (!(in >> one >> five >> fifteen)) return "unknown";
  return one + " " + five + " " + fifteen;
}

bool Run(const std::string& cli, const std::vector<std::string>& args) {
  const test::ProcessResult r = test::RunProcess(cli, args, {});
  if (r.exitCode != 0) std::fprintf(stderr, "%s\n", r.output.c_str());
  return r.exitCode == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 10;
  const uint64_t mb = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 70;
  const int rounds = argc > 3 ? std::atoi(argv[3]) : 3;
  test::TempDir dir;
  const std::string cli = test::PrivateProgram(dir, "ebootforge-cli");
  const std::string bins = dir.MakeDir("bins"), ecms = dir.MakeDir("ecms");
  std::printf("Writing %d discs of %llu MB...\n", count, static_cast<unsigned long long>(mb));
  std::vector<std::string> discs, packed;
  for (int i = 0; i < count; ++i) {
    const std::string name = "Game " + std::to_string(10 + i);
    discs.push_back(bins + "/" + name + ".bin");
    WriteDisc(discs.back(), "SLUS_990." + std::to_string(10 + i), mb * 1000 * 1000,
              dir / "scratch.bin");
    Bytes image;
    ReadWholeFile(discs.back(), image, 1ull << 31);
    packed.push_back(ecms + "/" + name + ".bin.ecm");
    test::WriteFileBytes(packed.back(), test::EncodeEcm(image));
  }
  DeleteFileIfExists(dir / "scratch.bin");
  bool ok = true;

  auto convert = [&](const std::string& input, const std::string& out) {
    return Run(cli, {"convert", input, "-o", dir / out, "--level", "9", "--yes", "--quiet"});
  };
  // The ways, each timed in every round; the best round of each counts (the machine is
  // shared, so a slow round says more about the others than about the way).
  enum { kSingles, kQueue, kSinglesEcm, kQueueEcm, kWays };
  std::vector<double> best(kWays, 1e30);
  // Each way, given the round's tag ("0", "1" ...), writes into folders of its own.
  std::vector<std::function<bool(const std::string&)>> ways(kWays);
  // Ten converts one after the other, or one batch of the folder.
  auto convertEach = [&](const std::vector<std::string>& inputs, const std::string& out) {
    bool done = true;
    for (int i = 0; i < count; ++i) done &= convert(inputs[i], out + "/" + std::to_string(i));
    return done;
  };
  auto batch = [&](const std::string& folder, const std::string& out) {
    return Run(cli, {"batch", folder, "-o", dir / out, "--level", "9", "--yes", "--quiet"});
  };
  ways[kSingles] = [&](const std::string& r) { return convertEach(discs, "single" + r); };
  ways[kQueue] = [&](const std::string& r) { return batch(bins, "queue" + r); };
  ways[kSinglesEcm] = [&](const std::string& r) { return convertEach(packed, "single-ecm" + r); };
  ways[kQueueEcm] = [&](const std::string& r) { return batch(ecms, "queue-ecm" + r); };
  // The two ways of each comparison run back to back, first one then the other first, so
  // that the load of a shared machine, which drifts over minutes, favours neither.
  for (int round = 0; round < rounds; ++round) {
    const std::string r = std::to_string(round);
    for (int pair = 0; pair < kWays; pair += 2)
      for (int k = 0; k < 2; ++k) {
        const int way = pair + ((k + round) % 2);
        const auto t = Clock::now();
        ok &= ways[way](r);
        best[way] = std::min(best[way], Since(t));
      }
  }
  const double singles = best[kSingles], queue = best[kQueue], singlesEcm = best[kSinglesEcm],
               queueEcm = best[kQueueEcm];

  std::printf("%d discs of %llu MB, level 9, on %u cores, best of %d rounds (load %s)\n", count,
              static_cast<unsigned long long>(mb), std::thread::hardware_concurrency(), rounds,
              Load().c_str());
  std::printf("  convert, one after the other: %7.2f s\n", singles);
  std::printf("  batch (the queue):            %7.2f s  (%.3fx; target <= 1.03x)\n", queue,
              queue / singles);
  std::printf("ECM discs (the preparation is a decode):\n");
  std::printf("  convert, one after the other: %7.2f s\n", singlesEcm);
  std::printf("  batch (the queue):            %7.2f s  (%.3fx; target <= 1.03x)\n", queueEcm,
              queueEcm / singlesEcm);
  return ok ? 0 : 1;
}
