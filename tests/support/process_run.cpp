#include "support/process_run.h"

#ifdef _WIN32
#include <cstdio>
#else
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#endif

namespace ebf::test {

#ifdef _WIN32

bool PermissionsIgnored() {
  return false;
}

ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args,
                         const ProcessOptions& options) {
  std::string line = "cd /d \"" + options.workingFolder + "\" && \"" + program + "\"";
  for (const auto& a : args) line += " \"" + a + "\"";
  line = "\"" + line + " 2>&1\"";
  ProcessResult result;
  FILE* pipe = _popen(line.c_str(), "rb");
  if (!pipe) return result;
  result.started = true;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, pipe)) > 0) result.output.append(buf, n);
  result.exitCode = _pclose(pipe);
  return result;
}

#else

bool PermissionsIgnored() {
  return geteuid() == 0;
}

ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& args,
                         const ProcessOptions& options) {
  ProcessResult result;
  int fds[2];
  if (pipe(fds) != 0) return result;
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);

  pid_t pid = fork();
  if (pid < 0) {
    close(fds[0]);
    close(fds[1]);
    return result;
  }
  if (pid == 0) {
    dup2(fds[1], 1);
    dup2(fds[1], 2);
    close(fds[0]);
    close(fds[1]);
    if (!options.workingFolder.empty() && chdir(options.workingFolder.c_str()) != 0) _exit(126);
    if (options.fileSizeLimit > 0) {
      signal(SIGXFSZ, SIG_IGN);
      rlimit lim{options.fileSizeLimit, options.fileSizeLimit};
      setrlimit(RLIMIT_FSIZE, &lim);
    }
    if (options.dropPrivileges && geteuid() == 0) {
      if (setgid(65534) != 0 || setuid(65534) != 0) _exit(125);
    }
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  close(fds[1]);
  result.started = true;
  char buf[4096];
  ssize_t n;
  while ((n = read(fds[0], buf, sizeof buf)) != 0) {
    if (n < 0) {
      if (errno == EINTR) continue;
      break;
    }
    result.output.append(buf, static_cast<size_t>(n));
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
#ifdef _WIN32
  FILE* pipe = _popen(commandLine.c_str(), "r");
#else
  FILE* pipe = popen(commandLine.c_str(), "r");
#endif
  if (!pipe) return out;
  char buf[4096];
  std::size_t n;
  while ((n = fread(buf, 1, sizeof buf, pipe)) > 0) out.append(buf, n);
#ifdef _WIN32
  _pclose(pipe);
#else
  pclose(pipe);
#endif
  return out;
}

}  // namespace ebf::test
