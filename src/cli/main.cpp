#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <vector>

#include "cli/registry.h"
#include "cli/terminal_host.h"
#include "common/files.h"

namespace ebf::cli {
namespace {

std::vector<std::pair<int, CommandSetup>>& Registry() {
  static std::vector<std::pair<int, CommandSetup>> commands;
  return commands;
}

}  // namespace

CommandRegistrar::CommandRegistrar(int order, CommandSetup setup) {
  Registry().emplace_back(order, std::move(setup));
}

void AddRegisteredCommands(CLI::App& app, CliContext& ctx) {
  auto& commands = Registry();
  std::stable_sort(commands.begin(), commands.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  for (auto& [order, setup] : commands) setup(app, ctx);
}

void LoadCliSettings(CliContext& ctx) {
  ctx.settings = LoadSettingsFile(ctx.iniPath, ctx.programFolder).settings;
}

}  // namespace ebf::cli

int main(int argc, char** argv) {
  using namespace ebf::cli;
  CLI::App app{"ebootforge-cli: PlayStation disc images to EBOOT.PBP packages and back"};
  app.set_version_flag("--version", std::string("ebootforge-cli ") + EBF_VERSION);
  app.require_subcommand(1);

  CliContext ctx;
  ctx.programFolder = ebf::ProgramFolder();
  ctx.iniPath = ebf::SettingsFilePath(ctx.programFolder, "ebootforge");
  app.add_flag("-y,--yes", ctx.assumeYes, "Answer Yes to every question");
  AddRegisteredCommands(app, ctx);

  TerminalHost host(ctx.assumeYes);
  ctx.host = &host;
  InstallInterruptHandler();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e);
  }
  host.FinishLine();
  return ctx.exitCode;
}
