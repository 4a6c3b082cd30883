#include <iostream>
#include <memory>

#include "cli/registry.h"

namespace ebf::cli {

void AddSettingsCommand(CLI::App& app, CliContext& ctx) {
  auto* cmd = app.add_subcommand("settings", "Print every effective setting as key = value");
  cmd->add_option("--ini", ctx.iniPath, "Settings file to read (default: the program's own)");
  cmd->callback([&ctx] {
    LoadCliSettings(ctx);
    for (const auto& [key, value] : SettingsAsPairs(ctx.settings))
      std::cout << key << " = " << value << "\n";
  });
}

}  // namespace ebf::cli
