// Figures for joining a Redump-style set (one .bin per track, a CUE sheet naming them) into
// the prepared image, on a generated 700 MB set: a data track of realistic sectors and ten
// audio tracks with their pregaps. Printed side by side in one run, best of three each, each
// run starting with no dirty pages:
//   - `cat` of the same files into one file (the reference);
//   - the engine's join: the sheet opened as a disc and written through its fixed buffer
//     (target: at least 0.8x the speed of cat).
// Everything lives in a temporary folder that is removed at the end.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "common/files.h"
#include "disc/disc_image.h"
#include "engine/image_prep.h"
#include "support/disc_builder.h"
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

double Since(Clock::time_point t) {
  return std::chrono::duration<double>(Clock::now() - t).count();
}

void FlushDirtyPages() {
#ifndef _WIN32
  sync();
#endif
}

std::string Quoted(const std::string& path) {
  return "'" + path + "'";
}

}  // namespace

int main(int argc, char** argv) {
  const uint64_t mb = argc > 1 ? std::stoull(argv[1]) : 700;
  constexpr int kAudioTracks = 10;
  const uint64_t total = mb << 20;
  const uint32_t audioSectors = static_cast<uint32_t>(total / 20 / 2352);  // 5% each
  test::TempDir dir;

  std::printf("Generating a %llu MB set (a data track and %d audio tracks)...\n",
              static_cast<unsigned long long>(mb), kAudioTracks);
  std::vector<std::string> files = {dir / "Bench (Track 01).bin"};
  const uint64_t dataBytes = total - uint64_t{kAudioTracks} * (audioSectors + 150) * 2352;
  test::WriteRealisticImage(files[0], dataBytes);
  std::string sheet =
      "FILE \"Bench (Track 01).bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n";
  for (int t = 2; t <= kAudioTracks + 1; ++t) {
    const std::string name =
        std::string("Bench (Track ") + (t < 10 ? "0" : "") + std::to_string(t) + ").bin";
    Bytes audio(150 * 2352, 0);
    const Bytes music = test::AudioSectors(audioSectors, static_cast<uint32_t>(t));
    audio.insert(audio.end(), music.begin(), music.end());
    test::WriteFileBytes(dir / name, audio);
    files.push_back(dir / name);
    sheet += "FILE \"" + name + "\" BINARY\n  TRACK " + (t < 10 ? "0" : "") + std::to_string(t) +
             " AUDIO\n    INDEX 00 00:00:00\n    INDEX 01 00:02:00\n";
  }
  test::WriteFileText(dir / "Bench.cue", sheet);
  uint64_t bytes = 0;
  for (const auto& f : files) bytes += FileSize(f).value_or(0);
  const double size = static_cast<double>(bytes) / 1048576.0;

  std::string catLine = "cat";
  for (const auto& f : files) catLine += " " + Quoted(f);
  catLine += " > " + Quoted(dir / "cat.bin");

  test::QuietRun host;
  double catSeconds = 1e9, joinSeconds = 1e9;
  std::string joined = "Success.";
  for (int round = 0; round < 3; ++round) {
    FlushDirtyPages();
    auto t = Clock::now();
    test::Shell(catLine);
    catSeconds = std::min(catSeconds, Since(t));
    std::filesystem::remove(dir / "cat.bin");

    FlushDirtyPages();
    t = Clock::now();
    DiscOpenResult disc = OpenDiscImage(dir / "Bench.cue");
    const Outcome result = disc.disc ? WriteDiscImage(*disc.disc, dir / "TempBIN.bin",
                                                      "Joining tracks...", host, host.cancel)
                                     : Outcome::Failed(disc.message);
    joinSeconds = std::min(joinSeconds, Since(t));
    if (!result.succeeded()) joined = result.text();
    if (FileSize(dir / "TempBIN.bin").value_or(0) != bytes) joined = "wrong length";
    std::filesystem::remove(dir / "TempBIN.bin");
  }

  std::printf("\n%-36s %9s %9s %9s\n", "", "seconds", "MB/s", "speed");
  std::printf("%-36s %9.2f %9.1f\n", "cat of the track files, best of 3", catSeconds,
              size / catSeconds);
  std::printf("%-36s %9.2f %9.1f %8.2fx  (target >= 0.8x of cat)  %s\n",
              "join through the disc, best of 3", joinSeconds, size / joinSeconds,
              catSeconds / joinSeconds, joined.c_str());
  return joined == "Success." ? 0 : 1;
}
