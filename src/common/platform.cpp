// The few calls that differ between Windows and POSIX systems.
#include <string>

#include "common/files.h"

#ifdef _WIN32
#include <windows.h>

#include <filesystem>
#else
#include <fcntl.h>
#include <signal.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#endif

namespace ebf {

#ifdef _WIN32

std::string ExecutablePath() {
  std::wstring buf(32768, L'\0');
  DWORD n = GetModuleFileNameW(nullptr, buf.data(), static_cast<DWORD>(buf.size()));
  buf.resize(n);
  int len = WideCharToMultiByte(CP_UTF8, 0, buf.data(), static_cast<int>(n), nullptr, 0, nullptr,
                                nullptr);
  std::string out(static_cast<std::size_t>(len), '\0');
  WideCharToMultiByte(CP_UTF8, 0, buf.data(), static_cast<int>(n), out.data(), len, nullptr,
                      nullptr);
  return out;
}

void MarkHidden(const std::string& path) {
  const std::filesystem::path p = std::filesystem::u8path(path);
  DWORD attrs = GetFileAttributesW(p.c_str());
  if (attrs != INVALID_FILE_ATTRIBUTES)
    SetFileAttributesW(p.c_str(), attrs | FILE_ATTRIBUTE_HIDDEN);
}

bool IsProcessRunning(int64_t pid) {
  return GetProcessVersion(static_cast<DWORD>(pid)) != 0;
}

int64_t CurrentProcessId() {
  return static_cast<int64_t>(GetCurrentProcessId());
}

bool CanWriteFolder(const std::string& folder) {
  // Access rights on Windows are ACLs; creating a file is the only reliable test.
  const std::filesystem::path probe =
      std::filesystem::u8path(WithTrailingSep(folder) + "ebootforge-write-test.tmp");
  HANDLE h = CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                         FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  CloseHandle(h);
  return true;
}

std::string FolderWriteError(const std::string& folder) {
  const std::filesystem::path probe = std::filesystem::u8path(
      WithTrailingSep(folder) + ".ebootforge-" + std::to_string(GetCurrentProcessId()) + ".tmp");
  HANDLE h = CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                         FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  if (h != INVALID_HANDLE_VALUE) {
    CloseHandle(h);
    return {};
  }
  return GetLastError() == ERROR_ACCESS_DENIED ? "Permission denied" : "it cannot be written";
}

#else

std::string ExecutablePath() {
  std::string buf(4096, '\0');
  ssize_t n = readlink("/proc/self/exe", buf.data(), buf.size() - 1);
  if (n <= 0) return {};
  buf.resize(static_cast<std::size_t>(n));
  return buf;
}

void MarkHidden(const std::string&) {}

bool IsProcessRunning(int64_t pid) {
  if (pid <= 0) return false;
  if (kill(static_cast<pid_t>(pid), 0) != 0 && errno != EPERM) return false;
  // A process that has ended but not been reaped yet no longer runs.
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (stat && std::getline(stat, line)) {
    auto close = line.rfind(')');
    if (close != std::string::npos && close + 2 < line.size()) return line[close + 2] != 'Z';
  }
  return true;
}

int64_t CurrentProcessId() {
  return static_cast<int64_t>(getpid());
}

bool CanWriteFolder(const std::string& folder) {
  return !folder.empty() && access(folder.c_str(), W_OK | X_OK) == 0;
}

std::string FolderWriteError(const std::string& folder) {
  // Creating a file is the surest test (a read-only mount, a network volume that refuses even
  // root); an unnamed one leaves nothing behind however the process ends. Volumes that cannot
  // make one (FAT) are judged by their permissions and mount flags.
  const int fd = open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  if (fd >= 0) {
    const bool closed = close(fd) == 0;
    return closed ? std::string() : std::strerror(errno);
  }
  if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) return std::strerror(errno);
  if (access(folder.c_str(), W_OK | X_OK) != 0) return std::strerror(errno);
  struct statvfs volume {};
  if (statvfs(folder.c_str(), &volume) == 0 && (volume.f_flag & ST_RDONLY))
    return std::strerror(EROFS);
  return {};
}

#endif

}  // namespace ebf
