#pragma once
// A program folder for engine tests: Data/ with the stand-in converter as tarnwick.exe, a
// template, a loader, and default assets, all in a temporary folder.

#include <cstdlib>
#include <string>

#include "support/temp_dir.h"

namespace ebf::test {

// The stand-in converter built beside the tests.
std::string FakeConverterPath();

// Sets EBF_FAKE_MODE for the stand-in for the lifetime of the guard.
class FakeMode {
 public:
  explicit FakeMode(const std::string& mode);
  ~FakeMode();
  FakeMode(const FakeMode&) = delete;
  FakeMode& operator=(const FakeMode&) = delete;
};

// Lays out <root>/Data/{tarnwick.exe,BASE.PBP,DATA.PSP} and PSXCust/Default/*; returns the
// program folder (ending in the separator).
std::string MakeFakeProgramFolder(const TempDir& root,
                                  const std::string& converter = FakeConverterPath());

}  // namespace ebf::test
