#pragma once
// Runs a program as a child process in a chosen folder and collects everything it prints
// (standard output and standard error through one pipe, as the program's converter run does).

#include <cstdint>
#include <string>
#include <vector>

namespace ebf::test {

struct ProcessOptions {
  std::string workingFolder;
  // Largest file the child may write (0 = no limit); writes past it fail with an error
  // instead of a signal, which is how a full disk looks to the child. POSIX only.
  uint64_t fileSizeLimit = 0;
  // When running as root, run the child as an unprivileged user so that folder permissions
  // apply to it. POSIX only.
  bool dropPrivileges = false;
};

struct ProcessResult {
  bool started = false;
  int exitCode = -1;
  std::string output;
};

ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args,
                         const ProcessOptions& options);

// Runs a shell command line and returns what it printed on standard output (POSIX shells;
// the tests that use it drive third-party tools such as genisoimage).
std::string Shell(const std::string& commandLine);

}  // namespace ebf::test
