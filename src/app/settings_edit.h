#pragma once
// One setting changed in the settings file as a careful user would change it by hand: the
// key's own line takes the new value, and every other line, comment, blank line, key order
// and line end stays as it was.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/program_folders.h"

namespace ebf {

struct SettingsEdit {
  std::string text;   // the whole new file
  std::string error;  // "" when the edit was made
  std::string name;   // the setting as the file writes it ("AddISOPadding")
  std::string value;  // the value written; "" for a removal
  bool changed = false;
};

// The names a user may set, in the writer's order (LastUsedImage is the program's own).
std::vector<std::string> EditableSettingNames();

// `text` with setting `key` (any case, blanks ignored) set to `value`, which must be one
// that reading takes as given, written as the writer writes it ("AddISOPadding = 1"). The
// last line for the key changes (the one reading obeys); without one, the key's commented
// block is added at the end. With no value, every line for the key goes and its default
// stands.
SettingsEdit EditSettingsText(std::string_view text, std::string_view key,
                              const std::optional<std::string>& value,
                              const ProgramFolders& folders);

// The same on the file at `path`, written under a passing name and renamed over it, in the
// file's own encoding. A missing file is started as the writer writes one, with the
// defaults; removing from a missing file changes nothing.
SettingsEdit EditSettingsFile(const std::string& path, std::string_view key,
                              const std::optional<std::string>& value,
                              const ProgramFolders& folders);

}  // namespace ebf
