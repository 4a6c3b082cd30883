#pragma once
// A request to stop, travelling with one run from whoever offers Cancel (the progress
// window, Ctrl+C) to the routine that honours it at its fixed points.

#include <atomic>

namespace ebf {

class CancelToken {
 public:
  CancelToken() = default;
  // A token that also stops when `parent` is asked to, without taking the parent's request
  // (work done beside a run stops with it).
  explicit CancelToken(const CancelToken* parent) : parent_(parent) {}
  CancelToken(const CancelToken&) = delete;
  CancelToken& operator=(const CancelToken&) = delete;

  void Request() noexcept { requested_.store(true); }
  bool Requested() const noexcept {
    return requested_.load(std::memory_order_relaxed) || (parent_ && parent_->Requested());
  }
  // True when a cancel was asked for; the request is cleared, since the caller honours it.
  bool Take() noexcept {
    const bool own = requested_.exchange(false);
    return own || (parent_ && parent_->Requested());
  }

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
  const CancelToken* parent_ = nullptr;
  static inline std::atomic<CancelToken*> signalTarget_{nullptr};
};

}  // namespace ebf
