// A 700 MB disc made into a package at level 9 by ebootforge-cli, from its BIN/CUE and from
// its CHD (chdman's default codecs): wall time of each run and its peak memory (the
// command-line program and the converter it starts). Target: the CHD within 1.3x of the
// BIN/CUE time, under 128 MB. The disc and its CHD are shared with chd_bench, kept in
// bench/chd_bench_data/; the program runs from a scratch copy of the runtime tree.
// Optional argument: an ECM file of the disc is made too and measured alongside ("ecm").
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "support/chdman.h"
#include "support/ecm_writer.h"
#include "support/program_tree.h"
#include "support/realistic_image.h"
#include "support/runtime.h"
#include "support/temp_dir.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint64_t kImageSize = 700ull << 20;

struct Run {
  double seconds = 0, peakMb = 0;
  int exitCode = -1;
};

// The child's own figures: wait4 gives its usage with that of the processes it waited for.
Run RunQuietly(const std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  std::fflush(stdout);  // or the child would print what is still buffered here
  const auto start = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    std::freopen("/dev/null", "w", stdout);
    execv(argv[0], argv.data());
    _exit(127);
  }
  Run r;
  int status = 0;
  rusage usage{};
  if (pid < 0 || wait4(pid, &status, 0, &usage) != pid) return r;
  r.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  r.peakMb = static_cast<double>(usage.ru_maxrss) / 1024.0;
  r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return r;
}

}  // namespace

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  const bool withEcm = argc > 1 && std::string(argv[1]) == "ecm";
  const fs::path data = fs::path(ebf::ExecutablePath()).parent_path() / "chd_bench_data";
  fs::create_directories(data);
  const std::string bin = (data / "disc.bin").string(), cue = (data / "disc.cue").string(),
                    chd = (data / "disc.chd").string(), ecm = (data / "disc.bin.ecm").string();
  if (!fs::exists(chd)) {
    std::printf("Writing a %llu MB disc and its CHD (once; kept in %s)...\n",
                static_cast<unsigned long long>(kImageSize >> 20), data.string().c_str());
    ebf::test::WriteRealisticImage(bin, kImageSize);
    ebf::test::WriteFileText(
        cue, "FILE \"disc.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n");
    if (!ebf::test::CreateChd(cue, chd, "")) return 1;
  }
  if (withEcm && !fs::exists(ecm)) {
    std::printf("Encoding the disc as ECM (once)...\n");
    ebf::test::WriteFileBytes(ecm, ebf::test::EncodeEcm(ebf::test::ReadFileBytes(bin)));
  }
  std::printf("BIN %.0f MB, CHD %.0f MB\n", static_cast<double>(fs::file_size(bin)) / 1e6,
              static_cast<double>(fs::file_size(chd)) / 1e6);

  ebf::test::TempDir program, out;
  const std::string cli = ebf::test::PrivateProgram(program, "ebootforge-cli");
  std::vector<std::pair<const char*, std::string>> inputs = {{"BIN/CUE", cue}, {"CHD", chd}};
  if (withEcm) inputs.push_back({"ECM", ecm});
  double binSeconds = 0;
  int failed = 0;
  for (const auto& [label, input] : inputs) {
    Run r = RunQuietly({cli, "--yes", "--quiet", "convert", input, "-o", out / label, "--level",
                        "9", "--title", "Bench", "--id", "SLUS01234"});
    fs::remove_all(fs::u8path(out / label));
    if (r.exitCode != 0) {
      std::printf("%-8s conversion failed (exit %d)\n", label, r.exitCode);
      ++failed;
      continue;
    }
    if (binSeconds == 0) binSeconds = r.seconds;
    std::printf("%-8s -> package, level 9: %6.1f s (%.2fx BIN/CUE)  peak memory %.1f MB\n", label,
                r.seconds, r.seconds / binSeconds, r.peakMb);
  }
  return failed ? 1 : 0;
}
