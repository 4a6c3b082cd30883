#pragma once
// JSON on standard output for --json: nlohmann's ordered object, so keys come out in the
// order a command puts them in.

#include <nlohmann/json.hpp>

namespace ebf::cli {

using Json = nlohmann::ordered_json;

// One value on standard output: indented over several lines, or on one line (for a run of
// job results, one object per line). Bytes that are not UTF-8 (a path from a foreign
// file system) come out as U+FFFD instead of failing.
void PrintJson(const Json& value, bool oneLine = false);

}  // namespace ebf::cli
