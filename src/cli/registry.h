#pragma once
// What every subcommand is handed, and the subcommands main() adds.

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "app/settings.h"
#include "cli/terminal_host.h"
#include "common/cancel.h"
#include "common/program_folders.h"
#include "common/run_lock.h"

namespace ebf::cli {

// What every subcommand may use, filled by main() before the command runs.
struct CliContext {
  ProgramFolders folders;
  std::string iniPath;  // --ini, else the program's own settings file
  Settings settings;    // read from iniPath when the command runs
  TerminalProgress* progress = nullptr;
  TerminalQuestions* questions = nullptr;
  CancelToken* cancel = nullptr;  // Ctrl+C
  // The global flags, accepted anywhere on the line.
  bool assumeYes = false;
  bool quiet = false;  // no progress and no log lines; results and errors still
  bool json = false;   // results on standard output as JSON
  int exitCode = 0;
};

// The exit codes, as --help lists them.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitCancelled = 2;  // cancelled, or a question not answered Yes

// What each exit code means, for --help and the manual page.
struct ExitStatusLine {
  int code;
  const char* meaning;
};
inline constexpr ExitStatusLine kExitStatusLines[] = {
    {kExitSuccess, "success"},
    {kExitFailed, "failed (bad input, a refused run, a bad command line)"},
    {kExitCancelled, "cancelled (Ctrl+C), or stopped at a question that --yes would answer"}};

// The subcommands, each from its own file, added in the order --help lists them.
void AddSettingsCommand(CLI::App& app, CliContext& ctx);
void AddDiscCommands(CLI::App& app, CliContext& ctx);     // gameid, lookup, resolve, palfix
void AddImageCommands(CLI::App& app, CliContext& ctx);    // chd, ecm, drives, rip
void AddConvertCommands(CLI::App& app, CliContext& ctx);  // convert, batch
void AddInfoCommand(CLI::App& app, CliContext& ctx);
void AddExtractCommand(CLI::App& app, CliContext& ctx);
void AddPatchCommand(CLI::App& app, CliContext& ctx);
void AddVerifyCommand(CLI::App& app, CliContext& ctx);
void AddPngCommand(CLI::App& app, CliContext& ctx);
void AddDocCommand(CLI::App& app, CliContext& ctx);
void AddCompletionCommand(CLI::App& app, CliContext& ctx);
// Added last: each command's exit status and examples at the end of its --help, and the
// hidden `manpage` that writes the manual page from the whole tree; `about` is the text
// that --help prints after the command list.
void AddManual(CLI::App& app, CliContext& ctx, const std::string& about);

// After a command was stopped at a question: one that --yes answers is printed with how to
// answer it (exit 2) and true returned; a failed read or write, which --yes never answers,
// gives false and exit 1, and the caller says what failed.
bool AnswerableRefusal(CliContext& ctx);
// Before `path` is written: asks when a file is there (--yes answers). False when it was not
// answered Yes, said as AnswerableRefusal says it.
bool MayReplace(CliContext& ctx, const std::string& path);

// Loads the settings named by ctx.iniPath into ctx.settings.
void LoadCliSettings(CliContext& ctx);

// Before a command reads or changes `path`: when a patch journal lies beside it, the work
// folder's run lock is taken exclusively into `lock`, so that a roll-back never undoes the
// change of a run still under way. False when another run holds the lock (the refusal is
// printed and the exit code set); true otherwise, `lock` then held when there is a journal.
bool MayRollBackLeftoverPatch(CliContext& ctx, const std::string& path, RunLock& lock);

}  // namespace ebf::cli
