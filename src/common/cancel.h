#pragma once
// A request to stop, travelling with one run from whoever offers Cancel (the progress
// window, Ctrl+C) to the routine that honours it at its fixed points.

#include <atomic>

namespace ebf {

class CancelToken {
 public:
  CancelToken() = default;
  CancelToken(const CancelToken&) = delete;
  CancelToken& operator=(const CancelToken&) = delete;

  void Request() noexcept { requested_.store(true); }
  bool Requested() const noexcept { return requested_.load(std::memory_order_relaxed); }
  // True when a cancel was asked for; the request is cleared, since the caller honours it.
  bool Take() noexcept { return requested_.exchange(false); }

  // While the user's own file is being rewritten, whoever offers Cancel asks first whether
  // the user is sure (the question is theirs; the routine only says when it applies).
  bool NeedsConfirm() const noexcept { return confirm_.load(std::memory_order_relaxed); }
  class ConfirmScope {
   public:
    explicit ConfirmScope(CancelToken& token) : token_(token) { token_.confirm_.store(true); }
    ~ConfirmScope() { token_.confirm_.store(false); }
    ConfirmScope(const ConfirmScope&) = delete;
    ConfirmScope& operator=(const ConfirmScope&) = delete;

   private:
    CancelToken& token_;
  };

  // Ctrl+C and termination signals: a signal handler can reach no object of its own, so
  // the command line names here the token a signal cancels (nullptr: none).
  static void CancelOnSignal(CancelToken* token) noexcept { signalTarget_.store(token); }
  static void SignalArrived() noexcept {
    if (CancelToken* t = signalTarget_.load()) t->Request();
  }

 private:
  std::atomic<bool> requested_{false};
  std::atomic<bool> confirm_{false};
  static inline std::atomic<CancelToken*> signalTarget_{nullptr};
};

}  // namespace ebf
