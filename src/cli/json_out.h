#pragma once
// JSON on standard output for --json: nlohmann's ordered object, so keys come out in the
// order a command puts them in.

#include <iosfwd>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace ebf::cli {

struct CliContext;
using Json = nlohmann::ordered_json;

// One value on standard output: indented over several lines, or on one line (for a run of
// job results, one object per line). Bytes that are not UTF-8 (a path from a foreign
// file system) come out as U+FFFD instead of failing.
void PrintJson(const Json& value, bool oneLine = false);

// A command's result: `json` under --json, otherwise `text` (a line end added if missing).
void PrintResult(const CliContext& ctx, const Json& json, const std::string& text);

// Under --json, a command that fails without printing its result on standard output still
// prints one object there: {"error": what it said on standard error, "exitStatus": N}. From
// Begin() on, what goes to std::cerr is kept as well as shown; progress goes to
// `progressStream()` instead, so that it is shown and not kept. Standard output is watched
// for a result. The destructor puts both streams back.
class JsonErrorReport {
 public:
  JsonErrorReport();
  ~JsonErrorReport();
  JsonErrorReport(const JsonErrorReport&) = delete;
  JsonErrorReport& operator=(const JsonErrorReport&) = delete;

  void Begin();
  std::ostream& progressStream();
  // Prints the error object when `json` is on, `exitStatus` is not 0 and nothing was
  // printed on standard output; `message` stands in for what was said when given.
  void Finish(bool json, int exitStatus, const std::string& message = "");

 private:
  struct Streams;
  std::unique_ptr<Streams> streams_;
};

}  // namespace ebf::cli
