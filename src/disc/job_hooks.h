#pragma once
// What a long disc routine (decoding an image to a file, ripping a disc) is handed by its
// caller: a progress callback and a cancel token to poll. Both optional; nothing global.

#include <cstdint>
#include <functional>

#include "common/cancel.h"
#include "common/outcome.h"

namespace ebf {

struct DiscJobHooks {
  // Bytes (or sectors) done of a total, called at the routine's fixed points.
  std::function<void(uint64_t done, uint64_t total)> progress;
  const CancelToken* cancel = nullptr;

  bool Cancelled() const { return cancel && cancel->Requested(); }
  void Report(uint64_t done, uint64_t total) const {
    if (progress) progress(done, total);
  }
};

}  // namespace ebf
