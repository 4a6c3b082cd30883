#pragma once
// A child process started hidden with stdout and stderr on one pipe, used to run the
// converter. The command line is one string in the Windows convention; elsewhere it is
// split the same way (double quotes group, nothing is escaped), so that a title holding a
// quote splits the arguments on every platform alike.

#include <cstdint>
#include <string>
#include <vector>

namespace ebf {

// Splits a command line: blanks separate arguments, a double quote toggles grouping and
// is itself dropped.
std::vector<std::string> SplitCommandLine(const std::string& commandLine);

class ChildProcess {
 public:
  ChildProcess() = default;
  ~ChildProcess();  // a process still running is terminated
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  enum class StartError { None, Pipe, Spawn };
  // Starts the command with `workingDir` as its current folder and this program's
  // environment, with the "NAME=value" entries of `extraEnv` added or replacing.
  StartError Start(const std::string& commandLine, const std::string& workingDir,
                   const std::vector<std::string>& extraEnv = {});

  bool IsRunning();
  void Terminate();
  // Moves whatever the child has written so far into the output (never blocks). Returns
  // false when the pipe cannot be read.
  bool Drain();
  // Waits for the end of the output once the process has ended.
  bool DrainToEnd();
  const std::string& output() const { return output_; }
  int64_t pid() const { return pid_; }

 private:
  void CloseHandles();
  int64_t pid_ = 0;
  std::string output_;
  bool exited_ = false;
#ifdef _WIN32
  void* process_ = nullptr;
  void* readPipe_ = nullptr;
#else
  int readFd_ = -1;
#endif
};

}  // namespace ebf
