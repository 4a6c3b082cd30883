// What each command's exit status means and how it is used, shown at the end of its --help,
// and the manual page written from the same command tree that --help prints (the hidden
// command `manpage`), so that the two never tell different stories.
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>

#include "cli/registry.h"
#include "common/text.h"

namespace ebf::cli {
namespace {

struct Notes {
  const char* exitStatus;
  std::vector<const char*> examples;
};

// Every command, by its path; `manpage` refuses to write a page for a command without notes.
const std::map<std::string, Notes>& CommandNotes() {
  static const std::map<std::string, Notes> notes = {
      {"settings",
       {"0 printed; 1 the settings file could not be read.",
        {"ebootforge-cli settings", "ebootforge-cli settings --json | jq -r .settings.Theme"}}},
      {"settings set",
       {"0 the value is in the file; 1 reading would not take the value as given, or the file "
        "could not be written.",
        {"ebootforge-cli settings set AddISOPadding 1",
         "ebootforge-cli settings set DefaultOutputDir ~/PSP/GAME --ini ./portable.ini"}}},
      {"settings unset",
       {"0 the setting is not in the file (any more); 1 the file could not be written.",
        {"ebootforge-cli settings unset DefGameID"}}},
      {"gameid",
       {"0 an ID was found; 1 none was found, or the image could not be read.",
        {"ebootforge-cli gameid \"Game (USA).cue\"", "ebootforge-cli gameid game.chd --json"}}},
      {"lookup",
       {"0 the ID is in the game list; 1 it is not.",
        {"ebootforge-cli lookup SLUS00594", "ebootforge-cli lookup SCES00344 --json"}}},
      {"resolve",
       {"0 the input resolves, as the main window would take it; 1 it does not (the message "
        "says why).",
        {"ebootforge-cli resolve \"Game (USA).bin\" --yes"}}},
      {"palfix",
       {"0 the matches were listed, or applied; 1 the file could not be read or changed (a "
        "change is undone whole); 2 cancelled.",
        {"ebootforge-cli palfix game.bin --screen",
         "ebootforge-cli palfix EBOOT.PBP --gfx --apply"}}},
      {"chd",
       {"0 shown, or written; 1 not a CD image in a CHD this program reads, or the write "
        "failed; 2 cancelled.",
        {"ebootforge-cli chd game.chd", "ebootforge-cli chd game.chd --bin game.bin"}}},
      {"ecm",
       {"0 decoded; 1 not an ECM file, or the write failed; 2 cancelled.",
        {"ebootforge-cli ecm \"Game (USA).bin.ecm\""}}},
      {"drives", {"0 one drive or more was found; 1 none.", {"ebootforge-cli drives"}}},
      {"rip",
       {"0 the set was written; 1 the disc or sheet could not be read, or the files are "
        "there already (see --overwrite); 2 cancelled.",
        {"ebootforge-cli rip /dev/sr0 -o ~/Discs/Game"}}},
      {"convert",
       {"0 converted, or patched; 1 failed; 2 cancelled, or stopped at a question that --yes "
        "answers.",
        {"ebootforge-cli convert \"Game (USA).cue\" -o ~/PSP/GAME/Game --yes",
         "ebootforge-cli convert \"Game (Disc 1).cue\" \"Game (Disc 2).cue\" -o out --level 9 -y",
         "ebootforge-cli convert EBOOT.PBP --title \"New Title\" --pic1 night.jpg --yes"}}},
      {"batch",
       {"the worst of its games: 0 every one converted; 1 one failed; 2 one was cancelled, or "
        "stopped at a question.",
        {"ebootforge-cli batch ~/Discs -o ~/PSP/GAME --yes --json > results.jsonl"}}},
      {"info",
       {"0 the package was read; 1 it is not a package this program reads.",
        {"ebootforge-cli info EBOOT.PBP", "ebootforge-cli info EBOOT.PBP --json | jq .title"}}},
      {"extract",
       {"0 written; 1 failed, or a file would be replaced without --yes; 2 cancelled.",
        {"ebootforge-cli extract EBOOT.PBP game.bin --toc ccd",
         "ebootforge-cli extract EBOOT.PBP \"Game (USA)\" --split"}}},
      {"patch",
       {"0 the patched image was written; 1 a patch made for another disc, or a file that "
        "cannot be read or written; 2 cancelled, or stopped at a question that --yes answers.",
        {"ebootforge-cli patch \"Game (Europe).cue\" english.xdelta -o \"Game (English).bin\""}}},
      {"verify",
       {"0 everything checked agrees; 1 something does not, or the package cannot be read; 2 "
        "cancelled.",
        {"ebootforge-cli verify EBOOT.PBP",
         "ebootforge-cli verify EBOOT.PBP --against \"Game (USA).cue\" --dat redump.dat"}}},
      {"png",
       {"0 the PNG was written; 1 the slot refuses the picture (in the slot's own words).",
        {"ebootforge-cli png cover.jpg ICON0.PNG --slot icon0 --mode 3"}}},
      {"doc", {"as its command says.", {"ebootforge-cli doc make --help"}}},
      {"doc make",
       {"0 written; 1 a game ID that is not nine characters, or no page could be stored.",
        {"ebootforge-cli doc make DOCUMENT.DAT --id SLUS00594 page1.png page2.jpg"}}},
      {"doc extract",
       {"0 the pages were written; 1 not a manual this program reads, or a write failed.",
        {"ebootforge-cli doc extract DOCUMENT.DAT pages"}}},
      {"completion",
       {"0 the script was printed; 1 a shell it does not know.",
        {"ebootforge-cli completion bash > ~/.local/share/bash-completion/completions/"
         "ebootforge-cli"}}},
  };
  return notes;
}

// Every visible command under `app`, each with its path ("doc make"), in --help's order.
template <typename AppT>
void Commands(AppT& app, const std::string& path, std::vector<std::pair<std::string, AppT*>>& out) {
  for (AppT* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (sub->get_group().empty()) continue;
    const std::string name = path.empty() ? sub->get_name() : path + " " + sub->get_name();
    out.emplace_back(name, sub);
    Commands(*sub, name, out);
  }
}

// Text made safe for roff: backslashes, hyphens as minus signs, no control line by accident.
std::string Roff(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '\\')
      out += "\\e";
    else if (c == '-')
      out += "\\-";
    else
      out += c;
  }
  if (!out.empty() && (out[0] == '.' || out[0] == '\'')) out = "\\&" + out;
  return out;
}

std::string RoffLines(const std::string& text) {
  std::istringstream in(text);
  std::string out;
  for (std::string line; std::getline(in, line);) out += line.empty() ? ".PP\n" : Roff(line) + "\n";
  return out;
}

void WriteOption(std::ostream& s, const CLI::Formatter& format, const CLI::Option& opt) {
  s << ".TP\n";
  if (opt.nonpositional()) {
    std::string names;
    for (const std::string& n : opt.get_snames())
      names += (names.empty() ? "" : ", ") + ("\\fB" + Roff("-" + n) + "\\fR");
    for (const std::string& n : opt.get_lnames())
      names += (names.empty() ? "" : ", ") + ("\\fB" + Roff("--" + n) + "\\fR");
    s << names;
  } else {
    s << "\\fI" << Roff(opt.get_name()) << "\\fR";
  }
  // A long list of values may break after any of its commas.
  s << ReplaceAll(Roff(format.make_option_opts(&opt)), ",", ",\\:") << "\n"
    << Roff(opt.get_description()) << "\n";
}

std::string Synopsis(const std::string& path, const CLI::App& app) {
  std::string line = "ebootforge-cli " + path;
  const CLI::Option* help = app.get_help_ptr();
  bool options = false;
  for (const CLI::Option* opt : app.get_options()) options |= opt->nonpositional() && opt != help;
  if (options) line += " [OPTIONS]";
  for (const CLI::Option* opt : app.get_options()) {
    if (opt->nonpositional()) continue;
    std::string word = opt->get_name();
    if (opt->get_items_expected_max() > 1) word += "...";
    line += " " + (opt->get_required() ? word : "[" + word + "]");
  }
  if (!app.get_subcommands([](const CLI::App* a) { return !a->get_group().empty(); }).empty())
    line += " COMMAND";
  return line;
}

std::string HelpFooter(const Notes& notes) {
  std::string footer = std::string("Exit status: ") + notes.exitStatus + "\n\nExamples:\n";
  for (const char* example : notes.examples) footer += std::string("  ") + example + "\n";
  return footer;
}

int WriteManualPage(const CLI::App& root, const std::string& about, const std::string& include) {
  std::vector<std::pair<std::string, const CLI::App*>> commands;
  Commands(root, "", commands);
  auto format = std::dynamic_pointer_cast<CLI::Formatter>(root.get_formatter());
  if (!format) return kExitFailed;
  std::ostringstream s;
  std::string summary = root.get_description();
  summary = summary.substr(summary.find(": ") == std::string::npos ? 0 : summary.find(": ") + 2);
  s << ".TH EBOOTFORGE\\-CLI 1 \"\" \"" << Roff("ebootforge-cli " EBF_VERSION)
    << "\" \"User Commands\"\n"
    << ".nh\n.ad l\n"
    << ".SH NAME\nebootforge\\-cli \\- " << Roff(summary) << "\n"
    << ".SH SYNOPSIS\n.B ebootforge\\-cli\n[\\fIGLOBAL OPTIONS\\fR] \\fICOMMAND\\fR "
       "[\\fIOPTIONS\\fR] [\\fIARGUMENTS\\fR]\n"
    << ".SH DESCRIPTION\n"
    << RoffLines(about) << ".SH \"GLOBAL OPTIONS\"\n";
  for (const CLI::Option* opt : root.get_options()) WriteOption(s, *format, *opt);
  s << ".SH COMMANDS\n";
  for (const auto& [path, app] : commands) {
    const auto notes = CommandNotes().find(path);
    if (notes == CommandNotes().end()) {
      std::cerr << "No exit status and examples for the command \"" << path << "\".\n";
      return kExitFailed;
    }
    s << ".SS \"" << Roff(Synopsis(path, *app)) << "\"\n" << Roff(app->get_description()) << "\n";
    for (const CLI::Option* opt : app->get_options())
      if (opt != app->get_help_ptr()) WriteOption(s, *format, *opt);
    s << ".PP\nExit status: " << Roff(notes->second.exitStatus) << "\n.PP\nExamples:\n.RS\n.nf\n";
    for (const char* example : notes->second.examples) s << Roff(example) << "\n";
    s << ".fi\n.RE\n";
  }
  s << ".SH \"EXIT STATUS\"\n";
  for (const ExitStatusLine& line : kExitStatusLines)
    s << ".TP\n" << line.code << "\n" << Roff(line.meaning) << "\n";
  s << "Each command above says what the codes mean for it.\n";
  if (!include.empty()) {
    std::ifstream in(include);
    if (!in) {
      std::cerr << "Cannot read " << include << "\n";
      return kExitFailed;
    }
    s << in.rdbuf();
  }
  std::cout << s.str();
  return kExitSuccess;
}

}  // namespace

void AddManual(CLI::App& app, CliContext& ctx, const std::string& about) {
  std::vector<std::pair<std::string, CLI::App*>> commands;
  Commands(app, "", commands);
  for (const auto& [path, sub] : commands)
    if (const auto notes = CommandNotes().find(path); notes != CommandNotes().end())
      sub->footer(HelpFooter(notes->second));

  auto include = std::make_shared<std::string>();
  auto* cmd = app.add_subcommand("manpage", "Print the manual page (roff)");
  cmd->group("");  // for the build, not for users
  cmd->add_option("--include", *include, "A roff file to add at the end (FILES, SEE ALSO ...)");
  const CLI::App* root = &app;
  cmd->callback(
      [root, include, about, &ctx] { ctx.exitCode = WriteManualPage(*root, about, *include); });
}

}  // namespace ebf::cli
