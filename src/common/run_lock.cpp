#include "common/run_lock.h"

#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "common/files.h"

#ifdef _WIN32
#include <windows.h>

#include <filesystem>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace ebf {
namespace {

// The system's side: one open handle on the lock file, locked shared or exclusively.
#ifdef _WIN32
using Handle = HANDLE;
const Handle kNoHandle = INVALID_HANDLE_VALUE;

Handle OpenLockFile(const std::string& path) {
  const std::filesystem::path p = std::filesystem::u8path(path);
  // Others may open it too: the lock is on its first byte, not on the opening.
  Handle h = CreateFileW(p.c_str(), GENERIC_READ | GENERIC_WRITE,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_HIDDEN, nullptr);
  if (h == INVALID_HANDLE_VALUE)
    h = CreateFileW(p.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
  return h;
}

bool LockHandle(Handle h, bool exclusive) {
  OVERLAPPED ov{};
  UnlockFileEx(h, 0, 1, 0, &ov);
  DWORD flags = LOCKFILE_FAIL_IMMEDIATELY | (exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0);
  return LockFileEx(h, flags, 0, 1, 0, &ov) != 0;
}

void CloseLockFile(Handle h) {
  CloseHandle(h);
}
#else
using Handle = int;
const Handle kNoHandle = -1;

Handle OpenLockFile(const std::string& path) {
  // Close-on-exec: the converter and other children must not keep the lock alive. Read
  // only: the file is never written, only locked.
  return ::open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
}

bool LockHandle(Handle fd, bool exclusive) {
  for (;;) {
    if (::flock(fd, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) == 0) return true;
    if (errno != EINTR) return false;
  }
}

void CloseLockFile(Handle fd) {
  ::close(fd);
}
#endif

bool LockFileMissingAndUncreatable(const std::string& path) {
  return !FileExists(path);
}

// This process's holds on each lock file.
struct Holds {
  Handle handle = kNoHandle;
  int shared = 0, exclusive = 0;
};

// The process's own bookkeeping of an operating-system resource, which is per process too.
std::mutex& HoldsMutex() {
  static std::mutex m;
  return m;
}
std::map<std::string, Holds>& AllHolds() {
  static std::map<std::string, Holds> holds;
  return holds;
}

enum class Taken { Yes, No, NothingToLock };

Taken Take(const std::string& path, RunLockMode mode) {
  std::lock_guard<std::mutex> guard(HoldsMutex());
  Holds& h = AllHolds()[path];
  const bool exclusive = mode == RunLockMode::Exclusive;
  if (h.exclusive > 0) {
    (exclusive ? h.exclusive : h.shared)++;
    return Taken::Yes;
  }
  if (h.shared > 0) {
    if (exclusive) return Taken::No;
    ++h.shared;
    return Taken::Yes;
  }
  h.handle = OpenLockFile(path);
  if (h.handle == kNoHandle) {
    AllHolds().erase(path);
    // No file and none can be made: no other process can hold it either.
    return LockFileMissingAndUncreatable(path) ? Taken::NothingToLock : Taken::No;
  }
  if (!LockHandle(h.handle, exclusive)) {
    CloseLockFile(h.handle);
    AllHolds().erase(path);
    return Taken::No;
  }
  (exclusive ? h.exclusive : h.shared)++;
  return Taken::Yes;
}

void Give(const std::string& path, RunLockMode mode) {
  std::lock_guard<std::mutex> guard(HoldsMutex());
  auto it = AllHolds().find(path);
  if (it == AllHolds().end()) return;
  Holds& h = it->second;
  int& count = mode == RunLockMode::Exclusive ? h.exclusive : h.shared;
  if (count > 0) --count;
  if (h.exclusive == 0 && h.shared == 0) {
    CloseLockFile(h.handle);
    AllHolds().erase(it);
  } else if (h.exclusive == 0 && mode == RunLockMode::Exclusive) {
    // Back to shared for the holds that remain.
    LockHandle(h.handle, false);
  }
}

}  // namespace

RunLock::RunLock(const std::string& workFolder, RunLockMode mode,
                 std::chrono::milliseconds patience)
    : path_(WithTrailingSep(workFolder) + kRunLockName), mode_(mode) {
  const auto until = std::chrono::steady_clock::now() + patience;
  for (;;) {
    const Taken t = Take(path_, mode);
    if (t != Taken::No) {
      held_ = true;
      // Nothing was locked: there is nothing to give back either.
      if (t == Taken::NothingToLock) path_.clear();
      return;
    }
    if (mode == RunLockMode::Exclusive || std::chrono::steady_clock::now() >= until) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

RunLock::~RunLock() {
  Release();
}

RunLock::RunLock(RunLock&& other) noexcept
    : path_(std::move(other.path_)), mode_(other.mode_), held_(std::exchange(other.held_, false)) {}

RunLock& RunLock::operator=(RunLock&& other) noexcept {
  if (this != &other) {
    Release();
    path_ = std::move(other.path_);
    mode_ = other.mode_;
    held_ = std::exchange(other.held_, false);
  }
  return *this;
}

void RunLock::Release() {
  if (!held_) return;
  held_ = false;
  if (!path_.empty()) Give(path_, mode_);
}

std::string RunLockBusyMessage(const std::string& workFolder) {
  return "Another run of the program is putting right what an earlier run left in " +
         WithTrailingSep(workFolder) + "; try again in a moment.";
}

}  // namespace ebf
