#pragma once
// Subcommands register themselves from their own files; main() adds them in order.

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "app/settings.h"
#include "cli/terminal_host.h"
#include "common/cancel.h"
#include "common/program_folders.h"

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

using CommandSetup = std::function<void(CLI::App& app, CliContext& ctx)>;

struct CommandRegistrar {
  CommandRegistrar(int order, CommandSetup setup);
};

void AddRegisteredCommands(CLI::App& app, CliContext& ctx);

// Loads the settings named by ctx.iniPath into ctx.settings.
void LoadCliSettings(CliContext& ctx);

}  // namespace ebf::cli
