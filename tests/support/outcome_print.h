#pragma once
// Outcomes as test failure messages show them.

#include <ostream>

#include "common/outcome.h"

namespace ebf {

inline void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << Describe(outcome);
}

}  // namespace ebf
