#include "support/process_run.h"

#include <cstdio>
#ifndef _WIN32
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#else
#define popen _popen
#define pclose _pclose
#endif

namespace ebf::test {
namespace {

// Everything the pipe gives until it ends, then its exit status.
int ReadAll(FILE* pipe, std::string& out) {
  char buf[4096];
  for (std::size_t n; (n = fread(buf, 1, sizeof buf, pipe)) > 0;) out.append(buf, n);
  return pclose(pipe);
}

}  // namespace

#ifdef _WIN32

ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args,
                         const ProcessOptions& options) {
  std::string line = "cd /d \"" + options.workingFolder + "\" && \"" + program + "\"";
  for (const auto& a : args) line += " \"" + a + "\"";
  ProcessResult result;
  FILE* pipe = popen(("\"" + line + " 2>&1\"").c_str(), "rb");
  result.started = pipe != nullptr;
  if (pipe) result.exitCode = ReadAll(pipe, result.output);
  return result;
}

#else

ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args,
                         const ProcessOptions& options) {
  ProcessResult result;
  int fds[2];
  if (pipe(fds) != 0) return result;
  std::vector<char*> argv = {const_cast<char*>(program.c_str())};
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);

  const pid_t pid = fork();
  if (pid == 0) {
    dup2(fds[1], 1), dup2(fds[1], 2), close(fds[0]), close(fds[1]);
    if (!options.workingFolder.empty() && chdir(options.workingFolder.c_str()) != 0) _exit(126);
    if (options.fileSizeLimit > 0) {
      signal(SIGXFSZ, SIG_IGN);
      const rlimit lim{options.fileSizeLimit, options.fileSizeLimit};
      setrlimit(RLIMIT_FSIZE, &lim);
    }
    if (options.dropPrivileges && geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
      _exit(125);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  close(fds[1]);
  if (pid < 0) {
    close(fds[0]);
    return result;
  }
  result.started = true;
  char buf[4096];
  for (ssize_t n; (n = read(fds[0], buf, sizeof buf)) != 0;) {
    if (n > 0) result.output.append(buf, static_cast<size_t>(n));
    if (n < 0 && errno != EINTR) break;
  }
  close(fds[0]);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

#endif

std::string Shell(const std::string& commandLine) {
  std::string out;
  if (FILE* pipe = popen(commandLine.c_str(), "r")) ReadAll(pipe, out);
  return out;
}

}  // namespace ebf::test
