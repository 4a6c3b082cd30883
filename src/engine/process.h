#pragma once
// A child process started hidden with stdout and stderr on one pipe, used to run the
// converter. It is given its arguments one by one; on Windows they are joined into the
// command line the system wants.

#include <cstdint>
#include <string>
#include <vector>

namespace ebf {

// The words of a command line as a program reads them when nothing is escaped: blanks
// separate them, a double quote toggles grouping and is itself dropped.
std::vector<std::string> SplitQuotedWords(const std::string& text);

// The Windows command line for these arguments: each one that holds a blank, or is empty,
// in double quotes (nothing is escaped, as the converter's arguments never hold quotes).
std::string JoinCommandLine(const std::vector<std::string>& args);

class ChildProcess {
 public:
  ChildProcess() = default;
  ~ChildProcess();  // a process still running is terminated
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  enum class StartError { None, Pipe, Spawn };
  // Starts args[0] with the other arguments, `workingDir` as its current folder and this
  // program's environment, with the "NAME=value" entries of `extraEnv` added or replacing.
  StartError Start(const std::vector<std::string>& args, const std::string& workingDir,
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
