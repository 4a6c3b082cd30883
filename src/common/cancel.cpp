#include "common/cancel.h"

namespace ebf {

std::atomic<bool> CancelRequested{false};
std::atomic<bool> CancelNeedsConfirm{false};

}  // namespace ebf
