// `completion bash`: a bash completion script written from the command tree itself, so it
// never falls behind the commands and options the program has.
#include <cstdio>
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

#include "cli/json_out.h"
#include "cli/registry.h"

namespace ebf::cli {
namespace {

struct Node {
  std::string path;  // "" for the top level, "doc/make" for a nested command
  const CLI::App* app;
};

void Collect(const CLI::App& app, const std::string& path, std::vector<Node>& out) {
  out.push_back({path, &app});
  for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (sub->get_group().empty()) continue;  // hidden
    Collect(*sub, path.empty() ? sub->get_name() : path + "/" + sub->get_name(), out);
  }
}

std::vector<std::string> OptionNames(const CLI::Option& opt) {
  std::vector<std::string> names;
  for (const std::string& s : opt.get_snames()) names.push_back("-" + s);
  for (const std::string& l : opt.get_lnames()) names.push_back("--" + l);
  return names;
}

// The values an option takes when its check names them ("{none,toc,ccd}", "[0 - 9]").
std::string ChoicesOf(const CLI::Option& opt) {
  const std::string type = opt.get_type_name();
  const auto open = type.rfind('{'), close = type.rfind('}');
  if (open != std::string::npos && close != std::string::npos && close > open) {
    std::string set = type.substr(open + 1, close - open - 1);
    for (char& c : set)
      if (c == ',') c = ' ';
    return set;
  }
  int low = 0, high = 0;
  const auto bracket = type.rfind('[');
  if (bracket != std::string::npos &&
      std::sscanf(type.c_str() + bracket, "[%d - %d]", &low, &high) == 2 && high >= low &&
      high - low <= 20) {
    std::string range;
    for (int v = low; v <= high; ++v) range += (range.empty() ? "" : " ") + std::to_string(v);
    return range;
  }
  return "";
}

std::string Join(const std::vector<std::string>& words) {
  std::string out;
  for (const std::string& w : words) out += (out.empty() ? "" : " ") + w;
  return out;
}

std::string BashCompletion(const CLI::App& root) {
  std::vector<Node> nodes;
  Collect(root, "", nodes);
  std::vector<std::string> globals;
  for (const CLI::Option* opt : root.get_options())
    if (opt->nonpositional())
      for (const std::string& n : OptionNames(*opt)) globals.push_back(n);

  std::ostringstream s;
  // The parser names the top level after argv[0], which may be any path.
  const std::string name = "ebootforge-cli";
  s << "# bash completion for " << name << "; written by `" << name << " completion bash`\n"
    << "_ebootforge_cli() {\n"
    << "  local cur=\"${COMP_WORDS[COMP_CWORD]}\" prev=\"${COMP_WORDS[COMP_CWORD-1]}\"\n"
    << "  local path=\"\" i w skip=0 npos=0 IFS=$'\\n'\n"
    // Walks the words typed: command words, option values (skipped), and the command's own
    // arguments, counted so that an argument with a fixed set of values can offer them.
    << "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
    << "    w=\"${COMP_WORDS[i]}\"\n"
    << "    if ((skip)); then skip=0; continue; fi\n"
    << "    case \"$path:$w\" in\n";
  for (const Node& n : nodes) {
    if (n.path.empty()) continue;
    const auto slash = n.path.rfind('/');
    const std::string parent = slash == std::string::npos ? "" : n.path.substr(0, slash);
    const std::string word = n.path.substr(slash == std::string::npos ? 0 : slash + 1);
    s << "      \"" << parent << ":" << word << "\") path=\"" << n.path
      << "\"; npos=0; continue ;;\n";
  }
  std::vector<std::string> valued;  // "path:--option" of every option that takes a value
  for (const Node& n : nodes)
    for (const CLI::Option* opt : n.app->get_options())
      if (opt->nonpositional() && opt->get_items_expected_min() > 0)
        for (const std::string& o : OptionNames(*opt))
          valued.push_back("\"" + n.path + ":" + o + "\"");
  std::string valuedList;
  for (const std::string& v : valued) valuedList += (valuedList.empty() ? "" : "|") + v;
  s << "    esac\n";
  if (!valuedList.empty())
    s << "    case \"$path:$w\" in " << valuedList << ") skip=1; continue ;; esac\n";
  s << "    [[ $w == -* ]] || ((npos++))\n"
    << "  done\n"
    << "  case \"$path:$prev\" in\n";
  for (const Node& n : nodes) {
    for (const CLI::Option* opt : n.app->get_options()) {
      if (!opt->nonpositional() || opt->get_items_expected_min() == 0) continue;
      std::vector<std::string> patterns;
      for (const std::string& o : OptionNames(*opt))
        patterns.push_back("\"" + n.path + ":" + o + "\"");
      std::string list;
      for (const std::string& p : patterns) list += (list.empty() ? "" : "|") + p;
      const std::string choices = ChoicesOf(*opt);
      if (!choices.empty())
        s << "    " << list << ") COMPREPLY=($(IFS=' '; compgen -W \"" << choices
          << "\" -- \"$cur\")); return ;;\n";
      else
        s << "    " << list << ") COMPREPLY=($(compgen -f -- \"$cur\")); return ;;\n";
    }
  }
  s << "  esac\n"
    << "  local options=\"\" commands=\"\"\n"
    << "  case \"$path\" in\n";
  for (const Node& n : nodes) {
    std::vector<std::string> options = globals, commands;
    if (!n.path.empty())
      for (const CLI::Option* opt : n.app->get_options())
        if (opt->nonpositional())
          for (const std::string& o : OptionNames(*opt)) options.push_back(o);
    for (const CLI::App* sub : n.app->get_subcommands([](const CLI::App*) { return true; }))
      if (!sub->get_group().empty()) commands.push_back(sub->get_name());
    s << "    \"" << n.path << "\") options=\"" << Join(options) << "\" commands=\""
      << Join(commands) << "\" ;;\n";
  }
  s << "  esac\n"
    << "  if [[ \"$cur\" == -* ]]; then\n"
    << "    COMPREPLY=($(IFS=' '; compgen -W \"$options\" -- \"$cur\"))\n"
    << "  elif [[ -n \"$commands\" ]]; then\n"
    << "    COMPREPLY=($(IFS=' '; compgen -W \"$commands\" -- \"$cur\"))\n"
    << "  else\n"
    << "    case \"$path:$npos\" in\n";
  // An argument that takes one of a few values offers them instead of file names.
  for (const Node& n : nodes) {
    int position = 0;
    for (const CLI::Option* opt : n.app->get_options()) {
      if (opt->nonpositional()) continue;
      if (const std::string choices = ChoicesOf(*opt); !choices.empty())
        s << "      \"" << n.path << ":" << position << "\") COMPREPLY=($(IFS=' '; compgen -W \""
          << choices << "\" -- \"$cur\")) ;;\n";
      ++position;
    }
  }
  s << "      *) COMPREPLY=($(compgen -f -- \"$cur\")) ;;\n"
    << "    esac\n"
    << "  fi\n"
    << "}\n"
    << "complete -o filenames -o bashdefault -F _ebootforge_cli " << name << "\n";
  return s.str();
}

}  // namespace

void AddCompletionCommand(CLI::App& app, CliContext& ctx) {
  auto shell = std::make_shared<std::string>();
  auto* cmd = app.add_subcommand("completion", "Print a shell completion script");
  cmd->add_option("SHELL", *shell, "The shell (bash)")->required()->check(CLI::IsMember({"bash"}));
  const CLI::App* root = &app;
  cmd->callback([root, shell, &ctx] {
    const std::string script = BashCompletion(*root);
    PrintResult(ctx, {{"shell", *shell}, {"script", script}}, script);
    ctx.exitCode = kExitSuccess;
  });
}

}  // namespace ebf::cli
