// The batch queue against single conversions, and whether preparing the next game while the
// converter works on this one would pay on this machine:
//   - 10 discs of 70 MB (BIN, level 9): ebootforge-cli batch (the queue) against 10
//     ebootforge-cli convert runs one after the other (target: the queue within 3%);
//   - the same discs as ECM files, whose preparation is a decode: each decoded, then
//     converted, one after the other, against the next one decoded while this one is
//     converted (the read-ahead the queue would do); and batch on the ECM files against
//     convert of each.
// Arguments: the number of discs (10), their size in MB (70) and the rounds (3).

#include <chrono>
#include <cstdio>
#include <cstdlib>
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

  // Each way decodes into a folder of its own.
  auto decoded = [&](const std::string& way, int i) {
    return dir / (way + "/" + std::to_string(i) + ".bin");
  };
  auto decode = [&](const std::string& way, int i) {
    return Run(cli, {"ecm", packed[i], "-o", decoded(way, i)});
  };
  auto convert = [&](const std::string& input, const std::string& out) {
    return Run(cli, {"convert", input, "-o", dir / out, "--level", "9", "--yes", "--quiet"});
  };
  // The ways, each timed in every round; the best round of each counts (the machine is
  // shared, so a slow round says more about the others than about the way).
  enum { kSingles, kQueue, kInTurn, kAhead, kSinglesEcm, kQueueEcm, kWays };
  std::vector<double> best(kWays, 1e30);
  for (int round = 0; round < rounds; ++round) {
    const std::string r = std::to_string(round);
    auto time = [&](int way, const std::function<bool()>& work) {
      const auto t = Clock::now();
      ok &= work();
      best[way] = std::min(best[way], Since(t));
    };
    time(kSingles, [&] {
      bool done = true;
      for (int i = 0; i < count; ++i)
        done &= convert(discs[i], "single" + r + "/" + std::to_string(i));
      return done;
    });
    time(kQueue, [&] {
      return Run(cli,
                 {"batch", bins, "-o", dir / ("queue" + r), "--level", "9", "--yes", "--quiet"});
    });
    // Decoding is the preparation of an ECM disc: one after the other, or one ahead.
    dir.MakeDir("inturn" + r);
    dir.MakeDir("ahead" + r);
    time(kInTurn, [&] {
      bool done = true;
      for (int i = 0; i < count; ++i)
        done &= decode("inturn" + r, i) &&
                convert(decoded("inturn" + r, i), "inturn" + r + "/out" + std::to_string(i));
      return done;
    });
    time(kAhead, [&] {
      bool done = decode("ahead" + r, 0);
      for (int i = 0; i < count; ++i) {
        bool next = true;
        std::thread ahead([&] { next = i + 1 < count ? decode("ahead" + r, i + 1) : true; });
        done &= convert(decoded("ahead" + r, i), "ahead" + r + "/out" + std::to_string(i));
        ahead.join();
        done &= next;
      }
      return done;
    });
    time(kSinglesEcm, [&] {
      bool done = true;
      for (int i = 0; i < count; ++i)
        done &= convert(packed[i], "single-ecm" + r + "/" + std::to_string(i));
      return done;
    });
    time(kQueueEcm, [&] {
      return Run(
          cli, {"batch", ecms, "-o", dir / ("queue-ecm" + r), "--level", "9", "--yes", "--quiet"});
    });
  }
  const double singles = best[kSingles], queue = best[kQueue], inTurn = best[kInTurn],
               ahead = best[kAhead], singlesEcm = best[kSinglesEcm], queueEcm = best[kQueueEcm];

  std::printf("%d discs of %llu MB, level 9, on %u cores, best of %d rounds\n", count,
              static_cast<unsigned long long>(mb), std::thread::hardware_concurrency(), rounds);
  std::printf("  convert, one after the other: %7.2f s\n", singles);
  std::printf("  batch (the queue):            %7.2f s  (%.3fx; target <= 1.03x)\n", queue,
              queue / singles);
  std::printf("ECM discs (the preparation is a decode):\n");
  std::printf("  decode then convert, in turn: %7.2f s\n", inTurn);
  std::printf("  the next decoded ahead:       %7.2f s  (%.3fx)\n", ahead, ahead / inTurn);
  std::printf("  convert, one after the other: %7.2f s  (%.3fx)\n", singlesEcm,
              singlesEcm / inTurn);
  std::printf("  batch (the queue):            %7.2f s  (%.3fx; %.3fx of the converts)\n", queueEcm,
              queueEcm / inTurn, queueEcm / singlesEcm);
  return ok ? 0 : 1;
}
