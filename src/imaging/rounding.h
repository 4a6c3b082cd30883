#pragma once
// Rounding to the nearest integer with halves to the even neighbour (58.5 -> 58,
// 59.5 -> 60), the rule every computed picture size and offset follows.

#include <cmath>
#include <cstdint>

namespace ebf {

inline int64_t RoundHalfEven(double value) {
  const double floor = std::floor(value);
  const double diff = value - floor;
  if (diff > 0.5) return static_cast<int64_t>(floor) + 1;
  if (diff < 0.5) return static_cast<int64_t>(floor);
  const int64_t f = static_cast<int64_t>(floor);
  return (f % 2 == 0) ? f : f + 1;
}

}  // namespace ebf
