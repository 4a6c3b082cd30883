#pragma once
// What a long disc routine (decoding an image to a file, ripping a disc) is handed by its
// caller: a progress callback and a cancel flag to poll. Both optional; nothing global.

#include <atomic>
#include <cstdint>
#include <functional>

namespace ebf {

struct DiscJobHooks {
  // Bytes (or sectors) done of a total, called at the routine's fixed points.
  std::function<void(uint64_t done, uint64_t total)> progress;
  const std::atomic<bool>* cancel = nullptr;

  bool Cancelled() const { return cancel && cancel->load(std::memory_order_relaxed); }
  void Report(uint64_t done, uint64_t total) const {
    if (progress) progress(done, total);
  }
};

inline constexpr const char* kDiscJobCancelled = "Cancelled.";

}  // namespace ebf
