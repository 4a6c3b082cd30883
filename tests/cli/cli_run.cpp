#include "cli/cli_run.h"

#include <algorithm>

namespace ebf::test {

::testing::AssertionResult Said(const Ran& r, int exit, const std::vector<std::string>& texts) {
  if (r.exit != exit)
    return ::testing::AssertionFailure() << "exit " << r.exit << ", not " << exit << ":\n" << r.out;
  for (const std::string& text : texts)
    if (!r.Says(text))
      return ::testing::AssertionFailure() << "no \"" << text << "\" in:\n" << r.out;
  return ::testing::AssertionSuccess();
}

Ran Cli(const std::vector<std::string>& args, const std::string& program) {
  const ProcessResult r = RunProcess(program, args, {});
  return {r.exitCode, r.output, ""};
}

Ran CliSh(const TempDir& dir, const std::string& args) {
  const std::string out = dir / "stdout.txt", err = dir / "stderr.txt";
  const std::string code = Shell(ShellQuote(PrivateCli()) + " " + args + " >" + ShellQuote(out) +
                                 " 2>" + ShellQuote(err) + "; echo $?");
  return {std::stoi(code), ReadFileText(out), ReadFileText(err)};
}

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code ec;
  for (std::filesystem::directory_iterator it(std::filesystem::u8path(folder), ec), end;
       !ec && it != end; it.increment(ec)) {
    const auto name = it->path().filename().u8string();
    names.emplace_back(name.begin(), name.end());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace ebf::test
