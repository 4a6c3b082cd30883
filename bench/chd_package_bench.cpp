// A 700 MB disc made into a package at level 9 by ebootforge-cli, from its BIN/CUE and from
// its CHD (chdman's default codecs). Each input is converted once to warm the caches, then
// three times; the best wall time counts. Peak memory is that of both processes of a run:
// the command-line program's own peak and the peak of the converter it starts, each read
// from the process (VmHWM) as it ends, and their sum, which bounds what the run ever holds
// at once; the largest of the three runs is shown. Target: the CHD within 1.3x of the
// BIN/CUE time, the sum under 128 MB. The disc and its CHD are shared with chd_bench, kept
// in bench/chd_bench_data/; the program runs from a scratch copy of the runtime tree.
// Arguments: "ecm" makes an ECM file of the disc and measures it alongside; "--mb N" uses
// a disc of N MB instead (kept in chd_bench_data/<N>mb/), for a quick trial.
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
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
constexpr int kTimedRuns = 3;

struct Run {
  double seconds = 0;
  double cliMb = 0, converterMb = 0;  // each process's own peak resident size
  bool traced = false;                // false: only the largest one process is known (cliMb)
  int exitCode = -1;
};

// The peak resident size of a live (or stopped) process, in kB; 0 when unknown.
long PeakKb(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmHWM:", 0) == 0) return std::strtol(line.c_str() + 6, nullptr, 10);
  return 0;
}

std::string CommandName(pid_t pid) {
  std::ifstream comm("/proc/" + std::to_string(pid) + "/comm");
  std::string name;
  std::getline(comm, name);
  return name;
}

// Runs the program with its standard output discarded. The program and every process it
// starts are traced, so that each is stopped as it ends, while its memory is still there
// to be read: wait4 alone gives only the largest of them. Without tracing (not permitted
// here), the largest one process is what is measured.
Run RunMeasured(const std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  std::fflush(stdout);  // or the child would print what is still buffered here
  const auto start = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    std::freopen("/dev/null", "w", stdout);
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);  // the tracer sets its options before anything runs
    execv(argv[0], argv.data());
    _exit(127);
  }
  Run r;
  if (pid < 0) return r;
  int status = 0;
  if (waitpid(pid, &status, WUNTRACED) != pid || !WIFSTOPPED(status)) return r;
  const long options = PTRACE_O_TRACEEXIT | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK |
                       PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
  r.traced = ptrace(PTRACE_SETOPTIONS, pid, nullptr, options) == 0;
  if (!r.traced) {
    kill(pid, SIGCONT);
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid) return r;
    r.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    r.cliMb = static_cast<double>(usage.ru_maxrss) / 1024.0;
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
  }
  ptrace(PTRACE_CONT, pid, nullptr, nullptr);
  std::set<pid_t> seen = {pid};
  std::map<std::string, long> peaks;  // by command name, the largest at any exit
  pid_t w;
  while ((w = waitpid(-1, &status, __WALL)) > 0) {
    if (WIFEXITED(status) || WIFSIGNALED(status)) {
      if (w == pid) {
        r.seconds = std::chrono::duration<double>(Clock::now() - start).count();
        r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      }
      continue;
    }
    if (!WIFSTOPPED(status)) continue;
    const int event = status >> 16, sig = WSTOPSIG(status);
    int deliver = 0;
    if (event == PTRACE_EVENT_EXIT) {
      long& peak = peaks[CommandName(w)];
      peak = std::max(peak, PeakKb(w));
    } else if (event == 0 && !seen.insert(w).second && sig != SIGTRAP) {
      deliver = sig;  // a signal for the process itself (SIGCHLD from its converter ...)
    }                 // else: a fork or exec stop, or a new process's first stop
    ptrace(PTRACE_CONT, w, nullptr, deliver);
  }
  r.cliMb = static_cast<double>(peaks["ebootforge-cli"]) / 1024.0;
  r.converterMb = static_cast<double>(peaks["tarnwick.exe"]) / 1024.0;
  return r;
}

}  // namespace

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  bool withEcm = false;
  uint64_t megabytes = 700;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "ecm") {
      withEcm = true;
    } else if (a == "--mb" && i + 1 < argc) {
      megabytes = std::strtoull(argv[++i], nullptr, 10);
    } else {
      std::fprintf(stderr, "usage: %s [ecm] [--mb N]\n", argv[0]);
      return 2;
    }
  }
  if (megabytes == 0) return 2;
  fs::path data = fs::path(ebf::ExecutablePath()).parent_path() / "chd_bench_data";
  if (megabytes != 700) data /= std::to_string(megabytes) + "mb";
  fs::create_directories(data);
  const std::string bin = (data / "disc.bin").string(), cue = (data / "disc.cue").string(),
                    chd = (data / "disc.chd").string(), ecm = (data / "disc.bin.ecm").string();
  if (!fs::exists(chd)) {
    std::printf("Writing a %llu MB disc and its CHD (once; kept in %s)...\n",
                static_cast<unsigned long long>(megabytes), data.string().c_str());
    ebf::test::WriteRealisticImage(bin, megabytes << 20);
    ebf::test::WriteFileText(
        cue, "FILE \"disc.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n");
    if (!ebf::test::CreateChd(cue, chd, "")) return 1;
  }
  if (withEcm && !fs::exists(ecm)) {
    std::printf("Encoding the disc as ECM (once)...\n");
    ebf::test::WriteFileBytes(ecm, ebf::test::EncodeEcm(ebf::test::ReadFileBytes(bin)));
  }
  std::printf("BIN %.0f MB, CHD %.0f MB; best of %d runs after one to warm up\n",
              static_cast<double>(fs::file_size(bin)) / 1e6,
              static_cast<double>(fs::file_size(chd)) / 1e6, kTimedRuns);

  ebf::test::TempDir program, out;
  const std::string cli = ebf::test::PrivateProgram(program, "ebootforge-cli");
  std::vector<std::pair<const char*, std::string>> inputs = {{"BIN/CUE", cue}, {"CHD", chd}};
  if (withEcm) inputs.push_back({"ECM", ecm});
  double binSeconds = 0;  // 0 while the BIN/CUE time is not known
  int failed = 0;
  bool traced = true;
  for (const auto& [label, input] : inputs) {
    Run best, peak;
    bool ok = true;
    for (int run = 0; run <= kTimedRuns && ok; ++run) {
      Run r = RunMeasured({cli, "--yes", "--quiet", "convert", input, "-o", out / label, "--level",
                           "9", "--title", "Bench", "--id", "SLUS01234"});
      fs::remove_all(fs::u8path(out / label));
      traced = traced && r.traced;
      if (r.exitCode != 0) {
        std::printf("%-8s conversion failed (exit %d)\n", label, r.exitCode);
        ok = false;
        break;
      }
      if (run == 0) continue;  // the warm-up
      if (best.seconds == 0 || r.seconds < best.seconds) best = r;
      peak.cliMb = std::max(peak.cliMb, r.cliMb);
      peak.converterMb = std::max(peak.converterMb, r.converterMb);
    }
    if (!ok) {
      ++failed;
      continue;
    }
    if (std::string(label) == "BIN/CUE") binSeconds = best.seconds;
    char ratio[48] = "n/a: no BIN/CUE time";
    if (binSeconds > 0)
      std::snprintf(ratio, sizeof ratio, "%.2fx BIN/CUE", best.seconds / binSeconds);
    if (traced) {
      std::printf(
          "%-8s -> package, level 9: %6.1f s (%s)  peak memory: program %.1f MB + converter "
          "%.1f MB = %.1f MB\n",
          label, best.seconds, ratio, peak.cliMb, peak.converterMb, peak.cliMb + peak.converterMb);
    } else {
      std::printf(
          "%-8s -> package, level 9: %6.1f s (%s)  peak memory of the larger process: %.1f MB "
          "(processes could not be traced; the sum is not known)\n",
          label, best.seconds, ratio, peak.cliMb);
    }
  }
  return failed ? 1 : 0;
}
