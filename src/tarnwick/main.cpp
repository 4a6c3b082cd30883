// tarnwick.exe [options] "<title>" <GAMEID> <level 0-9> "<image>" [<GAMEID> "<image>" ...]:
// writes EBOOT.PBP (in the current folder, or where --output says). The caller reads the output
// only after the program ends, through a pipe, and takes a last line of "Done." as success; so
// the output is short and "Done." appears only when the package is complete.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#ifdef __linux__
#include <sys/prctl.h>

#include <csignal>
#endif

#include "common/files.h"
#include "tarnwick/args.h"
#include "tarnwick/eboot_writer.h"
#include "tarnwick/fault_guard.h"

namespace {

// Keeps the whole output well inside a pipe's buffer even with very long paths.
constexpr size_t kMaxLine = 600;

void Print(std::FILE* stream, std::string line) {
  // The middle goes, usually part of a path; the start and the reason at the end stay.
  if (line.size() > kMaxLine)
    line = line.substr(0, kMaxLine / 2 - 3) + "..." + line.substr(line.size() - kMaxLine / 2);
  std::fputs(line.c_str(), stream);
  std::fputs("\n", stream);
  std::fflush(stream);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  std::string message;
  auto parsed = ebf::tarnwick::ParseConverterArgs(args, message);
  if (!parsed) {
    Print(stderr, message);
    if (args.empty()) Print(stderr, ebf::tarnwick::kDescription);
    return 2;
  }
  std::string error;
  try {
    std::u8string cwd = std::filesystem::current_path().u8string();  // paths are UTF-8
    std::string folder(cwd.begin(), cwd.end());
    ebf::tarnwick::WriteOptions options;
    ebf::tarnwick::InstallReadFaultGuard(
        ebf::tarnwick::ResolveConverterFiles(folder, parsed->files).output,
        "Cannot read the image " + parsed->imagePath + ": the file changed while it was read");
    ebf::tarnwick::InstallStopCleanup();
#ifdef __linux__
    // A caller that is killed outright cannot stop the converter; its death stops it here.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
#endif
    options.say = [](const std::string& line) { Print(stdout, line); };
    error = ebf::tarnwick::WriteEboot(folder, *parsed, options);
  } catch (const std::exception& e) {
    error = std::string("Unexpected error: ") + e.what();
  }
  if (!error.empty()) {
    Print(stderr, error);
    return 1;
  }
  ebf::tarnwick::ReleasePartialOutput();
  Print(stdout, "Done.");
  return 0;
}
