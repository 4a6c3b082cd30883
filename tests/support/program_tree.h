#pragma once
// A private copy of the built runtime tree (the real converter, template, default assets
// and themes) in a temporary folder, so that a test's Temp/, null and settings stay its
// own and the build's runtime tree holds only what ships.

#include <string>

#include "support/temp_dir.h"

namespace ebf::test {

// Copies <runtime>/Data, PSXCust and Themes into `root`; returns root's folder (ending in
// the separator). `withConverter` false leaves Data/tarnwick.exe out.
std::string CopyRuntimeTree(const TempDir& root, bool withConverter = true);

// The runtime tree copied into `root` as above, with the built program `name` (for example
// "ebootforge-cli") beside it, hard-linked where the file system allows, else copied. The
// program takes its own folder for the program folder, so what it writes there lands in
// `root`. Returns the program's path.
std::string PrivateProgram(const TempDir& root, const std::string& name);

// This test process's own copy of ebootforge-cli with its program folder, made on first use
// and removed when the process ends.
const std::string& PrivateCli();

}  // namespace ebf::test
