#include "support/chdman.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/process_run.h"

namespace ebf::test {

bool RunChdman(const std::vector<std::string>& args) {
  if (!std::filesystem::exists(kChdman)) {
    ADD_FAILURE() << kChdman << " is missing: install mame-tools (./build.sh does)";
    return false;
  }
  ProcessOptions options;
  options.workingFolder = std::filesystem::temp_directory_path().string();
  ProcessResult r = RunProcess(kChdman, args, options);
  if (!r.started || r.exitCode != 0) {
    ADD_FAILURE() << "chdman failed (" << r.exitCode << "):\n" << r.output;
    return false;
  }
  return true;
}

bool CreateChd(const std::string& cue, const std::string& chd, const std::string& codecs) {
  std::vector<std::string> args = {"createcd", "-i", cue, "-o", chd, "-f"};
  if (!codecs.empty()) args.insert(args.end(), {"-c", codecs});
  return RunChdman(args);
}

}  // namespace ebf::test
