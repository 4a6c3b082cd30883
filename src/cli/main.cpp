#include <CLI/CLI.hpp>
#include <iostream>

#include "cli/registry.h"
#include "cli/terminal_host.h"
#include "common/files.h"
#include "engine/recovery.h"
#include "pbp/patch_journal.h"

namespace ebf::cli {
namespace {

constexpr const char* kFooter =
    "Each command's own options: ebootforge-cli COMMAND --help.\n"
    "Global options (--yes, --quiet, --json) may stand anywhere on the line.\n"
    "Progress goes to standard error: a bar on a terminal, \"NN%\" lines otherwise.\n"
    "With --json, info, gameid, lookup, resolve, palfix, patch and verify print one JSON object;\n"
    "convert and batch print one per finished job, each on its own line.\n"
    "\n"
    "Exit status:\n"
    "  0  success\n"
    "  1  failed (bad input, a refused run, a bad command line)\n"
    "  2  cancelled (Ctrl+C), or stopped at a question that --yes would answer\n";

void AddGlobalFlags(CLI::App& app, CliContext& ctx) {
  app.add_flag("-y,--yes", ctx.assumeYes, "Answer Yes to every question");
  app.add_flag("-q,--quiet", ctx.quiet, "No progress and no log lines; results and errors only");
  app.add_flag("--json", ctx.json, "Print results as JSON on standard output");
}

void AddCommands(CLI::App& app, CliContext& ctx) {
  AddSettingsCommand(app, ctx);
  AddDiscCommands(app, ctx);
  AddImageCommands(app, ctx);
  AddConvertCommands(app, ctx);
  AddInfoCommand(app, ctx);
  AddExtractCommand(app, ctx);
  AddPatchCommand(app, ctx);
  AddVerifyCommand(app, ctx);
  AddPngCommand(app, ctx);
  AddDocCommand(app, ctx);
  AddCompletionCommand(app, ctx);
}

}  // namespace

void LoadCliSettings(CliContext& ctx) {
  ctx.settings = LoadSettingsFile(ctx.iniPath, ctx.folders).settings;
}

bool MayRollBackLeftoverPatch(CliContext& ctx, const std::string& path, RunLock& lock) {
  const std::string journal = ebf::pbp::JournalPathFor(path);
  if (!ebf::IsRegularFile(journal)) return true;
  lock = RunLock(ctx.folders.work, ebf::RunLockMode::Exclusive);
  if (lock.held()) return true;
  std::cerr << "\"" << path << "\" has an unfinished change (its journal " << journal
            << " is there) and another run of the program is under way; try again when that "
               "run has ended.\n";
  ctx.exitCode = kExitFailed;
  return false;
}

}  // namespace ebf::cli

int main(int argc, char** argv) {
  using namespace ebf::cli;
  CLI::App app{"ebootforge-cli: PlayStation disc images to EBOOT.PBP packages and back"};
  app.set_version_flag("--version", std::string("ebootforge-cli ") + EBF_VERSION);
  app.require_subcommand(1);
  // A subcommand hands the options it does not know to the top level, so the global flags
  // work after the subcommand too (subcommands copy this setting when they are added).
  app.fallthrough();
  app.footer(kFooter);

  CliContext ctx;
  ctx.folders = ebf::LocateOwnFolders("ebootforge");
  ctx.iniPath = ctx.folders.settingsFile;
  AddGlobalFlags(app, ctx);
  AddCommands(app, ctx);

  TerminalProgress progress(ctx.quiet, {StderrIsTerminal(), nullptr, {}});
  TerminalQuestions questions(ctx.assumeYes, progress);
  ebf::CancelToken cancel;
  ctx.progress = &progress;
  ctx.questions = &questions;
  ctx.cancel = &cancel;
  ebf::CancelToken::CancelOnSignal(&cancel);
  InstallInterruptHandler();
  // What a run that never ended left on the user's files is put right first, as the
  // desktop program does at its start.
  for (const ebf::RecoveryNote& said : ebf::RecoverInterruptedWork(ctx.folders))
    std::cerr << said.text << "\n";
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // --help and --version end here with 0; every mistake on the line is a failure.
    ebf::ClearWorkFiles(ctx.folders.work);
    ebf::CancelToken::CancelOnSignal(nullptr);
    return app.exit(e) == 0 ? kExitSuccess : kExitFailed;
  }
  progress.FinishLine();
  ebf::ClearWorkFiles(ctx.folders.work);
  ebf::CancelToken::CancelOnSignal(nullptr);
  return ctx.exitCode;
}
