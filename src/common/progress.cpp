#include "common/progress.h"

#include <algorithm>

namespace ebf {

void Progress::BeginStage(const std::string& name, double share, uint64_t workSize) {
  const double outerSpan = stack_.empty() ? 1.0 : stack_.back().span;
  stack_.push_back({name, overall_, outerSpan * std::clamp(share, 0.0, 1.0)});
  OnStageBegun(name, workSize);
}

void Progress::Advance(uint64_t done, uint64_t total) {
  if (!stack_.empty() && total > 0) {
    const Frame& f = stack_.back();
    const double fraction = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    // Never backwards: a later estimate may be larger than an earlier one.
    overall_ = std::max(overall_, f.base + f.span * fraction);
  }
  OnAdvanced(done, total, overall_);
}

void Progress::EndStage(bool completed) {
  if (stack_.empty()) return;
  const Frame f = stack_.back();
  stack_.pop_back();
  overall_ = std::max(overall_, f.base + f.span);
  OnStageEnded(f.name, completed);
}

}  // namespace ebf
