#pragma once
// Subcommands register themselves from their own files; main() adds them in order.

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "app/settings.h"
#include "common/host.h"

namespace ebf::cli {

// What every subcommand may use, filled by main() before the command runs.
struct CliContext {
  std::string programFolder;
  std::string iniPath;  // --ini, else the program's own settings file
  Settings settings;    // read from iniPath when the command runs
  Host* host = nullptr;
  bool assumeYes = false;
  int exitCode = 0;
};

using CommandSetup = std::function<void(CLI::App& app, CliContext& ctx)>;

struct CommandRegistrar {
  CommandRegistrar(int order, CommandSetup setup);
};

void AddRegisteredCommands(CLI::App& app, CliContext& ctx);

// Loads the settings named by ctx.iniPath into ctx.settings.
void LoadCliSettings(CliContext& ctx);

}  // namespace ebf::cli
