// The few calls that differ between Windows and POSIX systems.
#include <string>

#include "common/files.h"

#ifdef _WIN32
#include <windows.h>

#include <filesystem>
#else
#include <signal.h>
#include <unistd.h>

#include <cerrno>
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

#endif

}  // namespace ebf
