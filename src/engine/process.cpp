#include "engine/process.h"

#include <array>
#include <cstring>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
extern char** environ;
#endif

#include "common/ansi.h"

namespace ebf {

std::vector<std::string> SplitQuotedWords(const std::string& text) {
  std::vector<std::string> args;
  std::string current;
  bool quoted = false, any = false;
  for (char c : text) {
    if (c == '"') {
      quoted = !quoted;
      any = true;
    } else if ((c == ' ' || c == '\t') && !quoted) {
      if (any) args.push_back(current);
      current.clear();
      any = false;
    } else {
      current.push_back(c);
      any = true;
    }
  }
  if (any) args.push_back(current);
  return args;
}

std::string JoinCommandLine(const std::vector<std::string>& args) {
  std::string line;
  for (const std::string& a : args) {
    if (!line.empty()) line += ' ';
    const bool quote = a.empty() || a.find_first_of(" \t") != std::string::npos;
    line += quote ? "\"" + a + "\"" : a;
  }
  return line;
}

namespace {

// This program's environment with the extra entries added, a same-named entry replaced.
std::vector<std::string> MergedEnvironment(const std::vector<std::string>& current,
                                           const std::vector<std::string>& extra) {
  auto nameOf = [](const std::string& e) { return e.substr(0, e.find('=')); };
  std::vector<std::string> out;
  for (const std::string& e : current) {
    bool replaced = false;
    for (const std::string& x : extra) replaced = replaced || nameOf(x) == nameOf(e);
    if (!replaced) out.push_back(e);
  }
  out.insert(out.end(), extra.begin(), extra.end());
  return out;
}

}  // namespace

ChildProcess::~ChildProcess() {
  if (pid_ && IsRunning()) Terminate();
  CloseHandles();
}

#ifdef _WIN32

ChildProcess::StartError ChildProcess::Start(const std::vector<std::string>& args,
                                             const std::string& workingDir,
                                             const std::vector<std::string>& extraEnv) {
  if (args.empty()) return StartError::Spawn;
  std::vector<std::string> current;
  if (char* block = GetEnvironmentStringsA()) {
    for (const char* p = block; *p; p += std::strlen(p) + 1) current.emplace_back(p);
    FreeEnvironmentStringsA(block);
  }
  std::string envBlock;
  for (const std::string& e : MergedEnvironment(current, extraEnv)) envBlock += e + '\0';
  envBlock += '\0';
  SECURITY_ATTRIBUTES sa{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE readEnd = nullptr, writeEnd = nullptr;
  if (!CreatePipe(&readEnd, &writeEnd, &sa, 0)) return StartError::Pipe;
  // Asking for collection values on a local pipe is refused; that refusal is expected and
  // leaves the pipe blocking. A call that succeeds means something else is wrong.
  DWORD mode = PIPE_NOWAIT, count = 0, timeout = 0;
  if (SetNamedPipeHandleState(writeEnd, &mode, &count, &timeout)) {
    CloseHandle(readEnd);
    CloseHandle(writeEnd);
    return StartError::Pipe;
  }
  STARTUPINFOA si{};
  si.cb = sizeof(si);
  si.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
  si.wShowWindow = SW_HIDE;
  si.hStdInput = readEnd;
  si.hStdOutput = writeEnd;
  si.hStdError = writeEnd;
  PROCESS_INFORMATION pi{};
  std::string line = Utf8ToAnsi(JoinCommandLine(args));
  std::string dir = Utf8ToAnsi(workingDir);
  BOOL ok = CreateProcessA(nullptr, line.data(), &sa, &sa, TRUE, 0x08000020,
                           extraEnv.empty() ? nullptr : envBlock.data(), dir.c_str(), &si, &pi);
  CloseHandle(writeEnd);
  if (!ok) {
    CloseHandle(readEnd);
    return StartError::Spawn;
  }
  CloseHandle(pi.hThread);
  process_ = pi.hProcess;
  readPipe_ = readEnd;
  pid_ = pi.dwProcessId;
  return StartError::None;
}

bool ChildProcess::IsRunning() {
  return pid_ && GetProcessVersion(static_cast<DWORD>(pid_)) != 0 &&
         WaitForSingleObject(static_cast<HANDLE>(process_), 0) == WAIT_TIMEOUT;
}

void ChildProcess::Terminate() {
  HANDLE h = OpenProcess(PROCESS_TERMINATE, TRUE, static_cast<DWORD>(pid_));
  if (h) {
    TerminateProcess(h, 0);
    CloseHandle(h);
  }
}

bool ChildProcess::Drain() {
  if (!readPipe_) return true;
  for (;;) {
    DWORD avail = 0;
    if (!PeekNamedPipe(static_cast<HANDLE>(readPipe_), nullptr, 0, nullptr, &avail, nullptr))
      return exited_;  // a broken pipe after the end is simply the end
    if (avail == 0) return true;
    std::array<char, 4096> buf;
    DWORD got = 0;
    if (!ReadFile(static_cast<HANDLE>(readPipe_), buf.data(),
                  std::min<DWORD>(avail, static_cast<DWORD>(buf.size())), &got, nullptr))
      return false;
    output_.append(AnsiToUtf8(std::string_view(buf.data(), got)));
  }
}

bool ChildProcess::DrainToEnd() {
  exited_ = true;
  return Drain();
}

void ChildProcess::CloseHandles() {
  if (readPipe_) CloseHandle(static_cast<HANDLE>(readPipe_));
  if (process_) CloseHandle(static_cast<HANDLE>(process_));
  readPipe_ = process_ = nullptr;
}

#else

ChildProcess::StartError ChildProcess::Start(const std::vector<std::string>& args,
                                             const std::string& workingDir,
                                             const std::vector<std::string>& extraEnv) {
  if (args.empty()) return StartError::Spawn;
  std::vector<std::string> current;
  for (char** e = environ; *e; ++e) current.emplace_back(*e);
  std::vector<std::string> env = MergedEnvironment(current, extraEnv);
  std::vector<char*> envp;
  for (auto& e : env) envp.push_back(e.data());
  envp.push_back(nullptr);
  int fds[2];
  if (pipe(fds) != 0) return StartError::Pipe;
  std::vector<std::string> words = args;
  std::vector<char*> argv;
  for (auto& a : words) argv.push_back(a.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
  posix_spawn_file_actions_adddup2(&actions, fds[1], 2);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  posix_spawn_file_actions_addclose(&actions, fds[1]);
  pid_t pid = 0;
  int rc;
  // Jobs run on worker threads, so the folder cannot be changed around the spawn: the
  // child changes it itself.
  if (!workingDir.empty()) posix_spawn_file_actions_addchdir_np(&actions, workingDir.c_str());
  rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  close(fds[1]);
  if (rc != 0) {
    close(fds[0]);
    return StartError::Spawn;
  }
  fcntl(fds[0], F_SETFL, fcntl(fds[0], F_GETFL) | O_NONBLOCK);
  readFd_ = fds[0];
  pid_ = pid;
  return StartError::None;
}

bool ChildProcess::IsRunning() {
  if (!pid_ || exited_) return false;
  int status = 0;
  pid_t r = waitpid(static_cast<pid_t>(pid_), &status, WNOHANG);
  if (r == 0) return true;
  exited_ = true;
  return false;
}

void ChildProcess::Terminate() {
  if (!pid_ || exited_) return;
  kill(static_cast<pid_t>(pid_), SIGKILL);
  int status = 0;
  waitpid(static_cast<pid_t>(pid_), &status, 0);
  exited_ = true;
}

bool ChildProcess::Drain() {
  if (readFd_ < 0) return true;
  std::array<char, 4096> buf;
  for (;;) {
    ssize_t n = read(readFd_, buf.data(), buf.size());
    if (n > 0) {
      output_.append(buf.data(), static_cast<std::size_t>(n));
      continue;
    }
    if (n == 0) return true;  // every writer has closed the pipe
    if (errno == EINTR) continue;
    return errno == EAGAIN || errno == EWOULDBLOCK;
  }
}

bool ChildProcess::DrainToEnd() {
  if (readFd_ < 0) return true;
  // The child has ended; grandchildren could still hold the pipe, so stop at the first
  // empty read rather than waiting for them.
  return Drain();
}

void ChildProcess::CloseHandles() {
  if (readFd_ >= 0) close(readFd_);
  readFd_ = -1;
}

#endif

}  // namespace ebf
