#pragma once
// Where the built runtime tree (executables, Data/, PSXCust/, Themes/) is, for tests that
// need the real converter or the shipped files.

#include <cstdlib>
#include <string>

#include "common/files.h"

namespace ebf::test {

// The runtime tree's folder, ending in the separator.
inline std::string RuntimeFolder() {
  const char* env = std::getenv("EBF_RUNTIME_DIR");
  return WithTrailingSep(env && *env ? env : EBF_TEST_RUNTIME_DIR);
}

}  // namespace ebf::test
