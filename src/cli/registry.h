#pragma once
// Subcommands register themselves from their own files; main() adds them in order.

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "app/settings.h"
#include "common/host.h"
#include "common/program_folders.h"
#include "common/run_lock.h"

namespace ebf::cli {

// What every subcommand may use, filled by main() before the command runs.
struct CliContext {
  ProgramFolders folders;
  std::string iniPath;  // --ini, else the program's own settings file
  Settings settings;    // read from iniPath when the command runs
  Host* host = nullptr;
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

// Before a command reads or changes `path`: when a patch journal lies beside it, the work
// folder's run lock is taken exclusively into `lock`, so that a roll-back never undoes the
// change of a run still under way. False when another run holds the lock (the refusal is
// printed and the exit code set); true otherwise, `lock` then held when there is a journal.
bool MayRollBackLeftoverPatch(CliContext& ctx, const std::string& path, RunLock& lock);

}  // namespace ebf::cli
