#include <CLI/CLI.hpp>
#include <iostream>

#include "cli/json_out.h"
#include "cli/registry.h"
#include "cli/terminal_host.h"
#include "common/files.h"
#include "engine/recovery.h"
#include "pbp/patch_journal.h"

namespace ebf::cli {
namespace {

constexpr const char* kAbout =
    "Each command's own options, exit status and examples: ebootforge-cli COMMAND --help.\n"
    "Global options (--yes, --quiet, --json) may stand anywhere on the line.\n"
    "Progress goes to standard error: a bar on a terminal, \"NN%\" lines otherwise.\n"
    "With --json, every command prints one JSON object on standard output; convert and\n"
    "batch print one per finished job, each on its own line. A command that fails without a\n"
    "result prints {\"error\": its message, \"exitStatus\": its exit status} instead.\n";

std::string Footer() {
  std::string footer = std::string(kAbout) + "\nExit status:\n";
  for (const ExitStatusLine& line : kExitStatusLines)
    footer += "  " + std::to_string(line.code) + "  " + line.meaning + "\n";
  return footer;
}

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
  AddManual(app, ctx, kAbout);
}

std::string VisibleCommands(const CLI::App& app) {
  std::string names;
  for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; }))
    if (!sub->get_group().empty()) names += (names.empty() ? "" : ", ") + sub->get_name();
  return names;
}

// When a word stands where a command is due and names none, or no command was given: what
// to say, naming the word and the commands that could stand there. "" when the line's
// command words are all known (the parser's own message then says what is wrong).
std::string CommandWordMessage(const CLI::App& root, int argc, char** argv) {
  const CLI::App* at = &root;
  std::string where;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--") return "";
    if (word.size() > 1 && word[0] == '-') {
      // An option's value is not a command word.
      if (word.find('=') != std::string::npos) continue;
      for (const CLI::App* a = at; a; a = a->get_parent()) {
        const CLI::Option* opt = a->get_option_no_throw(word);
        if (opt) {
          if (opt->get_type_size() != 0) ++i;
          break;
        }
      }
      continue;
    }
    const std::string commands = VisibleCommands(*at);
    if (commands.empty()) return "";  // a command's own argument
    const CLI::App* sub = nullptr;
    for (const CLI::App* s : at->get_subcommands([](const CLI::App*) { return true; }))
      if (s->get_name() == word) sub = s;
    if (sub) {
      where += (where.empty() ? "" : " ") + word;
      at = sub;
      continue;
    }
    if (!at->get_options([](const CLI::Option* o) { return o->get_positional(); }).empty())
      return "";
    return "\"" + word + "\" is not a command" + (where.empty() ? "" : " of " + where) +
           ". The commands" + (where.empty() ? "" : " of " + where) + " are: " + commands +
           ".\n(ebootforge-cli " + (where.empty() ? "" : where + " ") +
           "--help says what each does.)";
  }
  if (at->get_require_subcommand_min() == 0) return "";
  return (where.empty() ? "A command is needed" : where + " needs a command") +
         std::string(". The commands") + (where.empty() ? "" : " of " + where) +
         " are: " + VisibleCommands(*at) + ".\n(ebootforge-cli " +
         (where.empty() ? "" : where + " ") + "--help says what each does.)";
}

// --json on the line, looked for when the parser stopped before it read the flags.
bool JsonOnLine(int argc, char** argv) {
  for (int i = 1; i < argc && std::string(argv[i]) != "--"; ++i)
    if (std::string(argv[i]) == "--json") return true;
  return false;
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

bool AnswerableRefusal(CliContext& ctx) {
  const std::string& question = ctx.questions->refusedQuestion();
  // "Continue regardless?" after a failed read or write: --yes never answers it.
  if (question.empty() || question.find("Continue regardless?") != std::string::npos) {
    ctx.exitCode = kExitFailed;
    return false;
  }
  std::cerr << question << "\n(not answered: run again with --yes to answer Yes)\n";
  ctx.exitCode = kExitCancelled;
  return true;
}

bool MayReplace(CliContext& ctx, const std::string& path) {
  if (!ConfirmOverwrite(*ctx.questions, FolderOf(path), FileNameOf(path), "")) return true;
  AnswerableRefusal(ctx);
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
  app.footer(Footer());

  CliContext ctx;
  ctx.folders = ebf::LocateOwnFolders("ebootforge");
  ctx.iniPath = ctx.folders.settingsFile;
  AddGlobalFlags(app, ctx);
  AddCommands(app, ctx);

  JsonErrorReport errors;
  TerminalProgress progress(ctx.quiet, {StderrIsTerminal(), &errors.progressStream(), {}});
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
  errors.Begin();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    ebf::ClearWorkFiles(ctx.folders.work);
    ebf::CancelToken::CancelOnSignal(nullptr);
    // --help and --version end here with 0; every mistake on the line is a failure.
    if (e.get_exit_code() == 0) return app.exit(e) == 0 ? kExitSuccess : kExitFailed;
    if (const std::string said = CommandWordMessage(app, argc, argv); !said.empty())
      std::cerr << said << "\n";
    else
      app.exit(e);
    errors.Finish(JsonOnLine(argc, argv), kExitFailed);
    return kExitFailed;
  }
  progress.FinishLine();
  errors.Finish(ctx.json, ctx.exitCode);
  ebf::ClearWorkFiles(ctx.folders.work);
  ebf::CancelToken::CancelOnSignal(nullptr);
  return ctx.exitCode;
}
