#pragma once
// What the command-line tests share: the built program run as a user runs it, and the
// witnesses they read its files with.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "common/bytes.h"
#include "common/files.h"
#include "support/picture_tools.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/temp_dir.h"

namespace ebf::test {

struct Ran {
  int exit = -1;
  std::string out, err;  // err only when the streams were kept apart
  bool Says(const std::string& text) const { return out.find(text) != std::string::npos; }
};

// Whether `r` ended with `exit` and its output holds each of `texts`; the output when not.
::testing::AssertionResult Said(const Ran& r, int exit, const std::vector<std::string>& texts = {});

// This process's copy of ebootforge-cli (or `program`) run with `args`; both streams through one
// pipe.
Ran Cli(const std::vector<std::string>& args, const std::string& program = PrivateCli());
// `args` put on a shell line as they are (quote paths with ShellQuote); standard output and
// standard error kept apart, in files in `dir`.
Ran CliSh(const TempDir& dir, const std::string& args);

// The names in a folder, sorted; none when there is no folder.
std::vector<std::string> FilesIn(const std::string& folder);

}  // namespace ebf::test
