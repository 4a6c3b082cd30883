#pragma once
// The work folder's run lock: an operating-system lock on <work>/RUN.LOCK that ends with the
// process holding it, however that process ends. Every run that leaves notes for the next
// start (the notes and work files in Temp, a journal beside a package, a PAL fix on the
// user's image) holds it shared while it runs. What a start puts right, and the emptying
// of Temp, is done only by a process that gets it exclusively, that is while no other run
// is under way; otherwise it is left for a later start.
//
// Within one process the lock is counted: a second shared or exclusive hold on top of an
// exclusive one, or a shared one on top of a shared one, is granted at once. An exclusive
// hold is refused while the same process holds it shared (its own run is still going).

#include <chrono>
#include <string>

namespace ebf {

inline constexpr const char* kRunLockName = "RUN.LOCK";

enum class RunLockMode { Shared, Exclusive };

class RunLock {
 public:
  RunLock() = default;
  // Tries to take the lock; a shared hold waits up to `patience` for a start that is
  // putting things right (an exclusive one never waits). held() says whether it was got.
  RunLock(const std::string& workFolder, RunLockMode mode,
          std::chrono::milliseconds patience = std::chrono::milliseconds(0));
  ~RunLock();
  RunLock(RunLock&& other) noexcept;
  RunLock& operator=(RunLock&& other) noexcept;
  RunLock(const RunLock&) = delete;
  RunLock& operator=(const RunLock&) = delete;

  bool held() const { return held_; }
  void Release();

 private:
  std::string path_;
  RunLockMode mode_ = RunLockMode::Shared;
  bool held_ = false;
};

// How long a run waits for a start that is putting things right before it gives up.
inline constexpr std::chrono::milliseconds kRunLockPatience{10000};

// The sentence for a run that could not take the lock.
std::string RunLockBusyMessage(const std::string& workFolder);

}  // namespace ebf
