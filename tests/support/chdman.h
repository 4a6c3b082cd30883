#pragma once
// MAME's chdman (Debian package mame-tools), the independent witness of the CHD tests.

#include <string>
#include <vector>

namespace ebf::test {

inline constexpr const char* kChdman = "/usr/bin/chdman";

// Runs chdman with the arguments; fails the calling test (and returns false) when chdman
// is missing or reports an error.
bool RunChdman(const std::vector<std::string>& args);

// createcd from a sheet; `codecs` is chdman's -c value ("" for its defaults).
bool CreateChd(const std::string& cue, const std::string& chd, const std::string& codecs);

}  // namespace ebf::test
