#pragma once
// A private copy of the built runtime tree (the real converter, template and default
// assets) in a temporary folder, so that a test's Temp/, null and settings stay its own.

#include <string>

#include "support/temp_dir.h"

namespace ebf::test {

// Copies <runtime>/Data, PSXCust and Themes into `root`; returns root's folder (ending in
// the separator). `withConverter` false leaves Data/tarnwick.exe out.
std::string CopyRuntimeTree(const TempDir& root, bool withConverter = true);

}  // namespace ebf::test
