#pragma once
// The only program-wide mutable state: the cancel request set by a progress view and the
// flag that makes that view ask first (while the user's own file is being rewritten).

#include <atomic>

namespace ebf {

extern std::atomic<bool> CancelRequested;
extern std::atomic<bool> CancelNeedsConfirm;

// True when a cancel was requested; clears the request, since the caller honours it.
inline bool TakeCancelRequest() {
  return CancelRequested.exchange(false);
}

// Sets CancelNeedsConfirm for the lifetime of the guard.
class CancelConfirmGuard {
 public:
  CancelConfirmGuard() { CancelNeedsConfirm = true; }
  ~CancelConfirmGuard() { CancelNeedsConfirm = false; }
  CancelConfirmGuard(const CancelConfirmGuard&) = delete;
  CancelConfirmGuard& operator=(const CancelConfirmGuard&) = delete;
};

}  // namespace ebf
