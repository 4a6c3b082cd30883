// Figures for the conversion engine on a generated 700 MB disc image:
//   - ebootforge-cli convert of a BIN/CUE at level 9, end to end, against the converter
//     alone on the same image staged by hand (target: at most 1.1x its time);
//   - raw padding of a 700 MB ISO against one sequential copy of the same file (target:
//     padding adds no more than that copy).
// Everything lives in a temporary folder that is removed at the end.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "common/file_io.h"
#include "common/files.h"
#include "engine/image_prep.h"
#include "support/process_run.h"
#include "support/realistic_image.h"
#include "support/recording_host.h"
#include "support/runtime.h"
#include "support/temp_dir.h"

namespace {

using namespace ebf;
using Clock = std::chrono::steady_clock;

double Since(Clock::time_point t) {
  return std::chrono::duration<double>(Clock::now() - t).count();
}

// An ISO of mixed sectors (zeros, text, noise); its first bytes are zero, as an ISO's are.
void WriteIso(const std::string& path, uint64_t bytes) {
  const std::size_t unit = 2048;
  File f(path, File::Mode::Write);
  std::mt19937 rng(7);
  std::vector<uint8_t> sector(unit);
  const std::string text = "The quick brown fox jumps over the lazy dog. SCORE 000120 ";
  for (uint64_t done = 0; done < bytes; done += unit) {
    const int kind = static_cast<int>(rng() % 10);
    if (kind < 3) {
      std::fill(sector.begin(), sector.end(), 0);
    } else if (kind < 7) {
      for (std::size_t i = 0; i < unit; ++i)
        sector[i] = static_cast<uint8_t>(text[(i + done) % text.size()]);
    } else {
      for (auto& b : sector) b = static_cast<uint8_t>(rng());
    }
    if (done == 0) std::fill(sector.begin(), sector.begin() + 16, 0);
    f.Write(sector);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const uint64_t mb = argc > 1 ? std::stoull(argv[1]) : 700;
  const std::string runtime = test::RuntimeFolder();
  test::TempDir dir;
  const uint64_t sectors = mb * 1000 * 1000 / 2352;

  std::printf("Generating a %llu MB image...\n", static_cast<unsigned long long>(mb));
  test::WriteRealisticImage(dir / "game.bin", sectors * 2352);
  test::WriteFileText(dir / "game.cue",
                      "FILE \"game.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n");

  // The converter alone, staged by hand as the engine would stage it.
  const std::string stage = dir.MakeDir("stage");
  const std::string def = runtime + "PSXCust" + kSep + "Default" + kSep;
  for (auto [from, to] :
       std::vector<std::pair<std::string, std::string>>{{runtime + "Data/BASE.PBP", "BASE.PBP"},
                                                        {def + "ICON0.PNG", "ICON0.PNG"},
                                                        {def + "ICON1.PMF", "ICON1.PMF"},
                                                        {def + "PIC0.PNG", "PIC0.PNG"},
                                                        {def + "PIC1.PNG", "PIC1.PNG"},
                                                        {def + "SND0.AT3", "SND0.AT3"},
                                                        {def + "Gameboot.png", "BOOT.PNG"}})
    CopyFileTo(from, WithTrailingSep(stage) + to);
  auto t = Clock::now();
  test::ProcessOptions inStage;
  inStage.workingFolder = stage;
  auto alone = test::RunProcess(runtime + "Data/tarnwick.exe",
                                {"Bench Game", "SLUS00594", "9", dir / "game.bin"}, inStage);
  const double converterSeconds = Since(t);

  t = Clock::now();
  auto whole =
      test::RunProcess(runtime + "ebootforge-cli",
                       {"--yes", "convert", dir / "game.cue", "-o", dir / "out", "--level", "9",
                        "--id", "SLUS00594", "--title", "Bench Game", "--save-name", "Bench Game"},
                       {});
  const double engineSeconds = Since(t);
  std::filesystem::remove_all(dir / "out");
  std::filesystem::remove_all(stage);
  std::filesystem::remove(dir / "game.bin");

  // Raw padding against one plain copy of the ISO.
  WriteIso(dir / "game.iso", sectors * 2048);
  // One sequential copy as a program makes it: read and write through a 1 MB buffer.
  t = Clock::now();
  {
    File in(dir / "game.iso", File::Mode::Read), out(dir / "copy.iso", File::Mode::Write);
    std::vector<uint8_t> buf(1 << 20);
    for (std::size_t n; (n = in.Read(buf)) > 0;) out.Write(std::span<const uint8_t>(buf.data(), n));
  }
  const double copySeconds = Since(t);
  std::filesystem::remove(dir / "copy.iso");
  // The kernel's own copy, for comparison (no data passes through the program).
  t = Clock::now();
  CopyFileTo(dir / "game.iso", dir / "copy.iso");
  const double kernelCopySeconds = Since(t);
  std::filesystem::remove(dir / "copy.iso");
  test::QuietRun host;
  t = Clock::now();
  const Outcome padded = PadIsoToRaw(dir / "game.iso", dir / "TempBIN.bin", host, host.cancel);
  const double padSeconds = Since(t);

  std::printf("\nconverter alone, level 9:      %7.2f s  (%s)\n", converterSeconds,
              alone.exitCode == 0 ? "ok" : "FAILED");
  std::printf("ebootforge-cli convert, lvl 9:  %7.2f s  (%s)\n", engineSeconds,
              whole.exitCode == 0 ? "ok" : "FAILED");
  std::printf("  ratio (target <= 1.10):       %7.3f\n", engineSeconds / converterSeconds);
  std::printf("sequential copy of the ISO:     %7.2f s  (kernel copy_file: %.2f s)\n", copySeconds,
              kernelCopySeconds);
  std::printf("raw padding of the ISO:         %7.2f s  (%s)\n", padSeconds, padded.text().c_str());
  std::printf("  padding / copy (target <= 1): %7.3f\n", padSeconds / copySeconds);
  return alone.exitCode == 0 && whole.exitCode == 0 && padded.succeeded() ? 0 : 1;
}
