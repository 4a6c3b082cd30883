// `settings`: every effective setting; `settings set` and `settings unset` change one in the
// file, keeping the file's own comments, order and line ends.
#include <iostream>
#include <memory>
#include <optional>

#include "app/settings_edit.h"
#include "cli/json_out.h"
#include "cli/registry.h"

namespace ebf::cli {
namespace {

struct EditArgs {
  std::string key, value;
};

void RunEdit(CliContext& ctx, const std::string& key, const std::optional<std::string>& value) {
  const SettingsEdit edit = EditSettingsFile(ctx.iniPath, key, value, ctx.folders);
  if (!edit.error.empty()) {
    std::cerr << edit.error << "\n";
    ctx.exitCode = kExitFailed;
    return;
  }
  // What now stands: the value written, or the default that a removal leaves.
  std::string standing = edit.value;
  for (const auto& [name, written] : SettingsAsPairs(Settings{}))
    if (!value && name == edit.name) standing = written;
  Json out = {{"file", ctx.iniPath}, {"setting", edit.name}, {"value", standing}};
  out[value ? "changed" : "removed"] = edit.changed;
  std::string text = edit.name + " = " + standing;
  if (!value)
    text = edit.name + (edit.changed ? " removed" : " was not in the file") +
           "; its default stands: " + text;
  PrintResult(ctx, out, text);
}

}  // namespace

void AddSettingsCommand(CLI::App& app, CliContext& ctx) {
  auto* cmd = app.add_subcommand("settings", "Print every effective setting, or change one");
  cmd->add_option("--ini", ctx.iniPath, "Settings file to use (default: the program's own)");
  cmd->callback([cmd, &ctx] {
    if (!cmd->get_subcommands().empty()) return;  // set or unset did the work
    LoadCliSettings(ctx);
    Json values = Json::object();
    std::string text;
    for (const auto& [key, value] : SettingsAsPairs(ctx.settings)) {
      values[key] = value;
      text += key + " = " + value + "\n";
    }
    PrintResult(ctx, {{"file", ctx.iniPath}, {"settings", values}}, text);
  });

  const std::vector<std::string> names = EditableSettingNames();
  auto args = std::make_shared<EditArgs>();
  auto* set = cmd->add_subcommand(
      "set", "Set one setting in the file, taking only a value that reading takes as given");
  set->add_option("KEY", args->key,
                  "The setting, named as the settings command prints it (any case)")
      ->required()
      ->check(CLI::IsMember(names, CLI::ignore_case, CLI::ignore_space));
  set->add_option("VALUE", args->value, "Its value: 1 or 0 for a switch, a number, a folder ...")
      ->required();
  set->add_option("--ini", ctx.iniPath, "Settings file to change (default: the program's own)");
  set->callback([args, &ctx] { RunEdit(ctx, args->key, args->value); });

  auto* unset =
      cmd->add_subcommand("unset", "Take one setting out of the file, so that its default stands");
  unset
      ->add_option("KEY", args->key,
                   "The setting, named as the settings command prints it (any case)")
      ->required()
      ->check(CLI::IsMember(names, CLI::ignore_case, CLI::ignore_space));
  unset->add_option("--ini", ctx.iniPath, "Settings file to change (default: the program's own)");
  unset->callback([args, &ctx] { RunEdit(ctx, args->key, std::nullopt); });
}

}  // namespace ebf::cli
