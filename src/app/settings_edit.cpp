#include "app/settings_edit.h"

#include <algorithm>

#include "app/settings.h"
#include "common/ansi.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"

namespace ebf {
namespace {

// A setting as the writer lays it out: its name, and its line with the comments above it.
struct Block {
  int key = -1;
  std::string name;
  std::vector<std::string> lines;
};

std::vector<Block> WrittenBlocks() {
  std::vector<Block> blocks;
  std::vector<std::string> comments;
  for (const std::string& line : SplitLines(FormatSettings(Settings{}, ""))) {
    if (!line.empty() && line[0] == ';') {
      comments.push_back(line);
      continue;
    }
    if (const int key = SettingsKeyOfLine(line); key > 0) {
      comments.push_back(line);
      blocks.push_back({key, line.substr(0, line.find(" = ")), std::move(comments)});
    }
    comments.clear();
  }
  return blocks;
}

enum class Kind { Folder, Flag, Number, GameId, Theme, Template };
struct Rule {
  Kind kind;
  long low = 0, high = 0;
};

// What `settings set` asks of a value beyond what reading asks: numbers written as numbers,
// in the range each setting's meaning has.
Rule RuleFor(const std::string& name) {
  static const std::pair<const char*, Rule> rules[] = {
      {"DefaultImagePath", {Kind::Folder}},
      {"DefaultOutputDir", {Kind::Folder}},
      {"DefaultOutDirOpt", {Kind::Number, 0, 3}},
      {"DefaultCustDir", {Kind::Folder}},
      {"CompressLevel", {Kind::Number, 0, 9}},
      {"AutoTransfer", {Kind::Number, 0, 2}},
      {"DefGameID", {Kind::GameId}},
      {"ImgResMode", {Kind::Number, 0, 3}},
      {"EBOOT_TOC_Extract", {Kind::Number, 0, 2}},
      {"PreviewDelay", {Kind::Number, 0, 999999999}},
      {"Theme", {Kind::Theme}},
      {"ResourceRoot", {Kind::Folder}},
      {"ThumbnailsRoot", {Kind::Folder}},
      {"ResourceTemplate", {Kind::Template}},
      {"NameTemplate", {Kind::Template}}};
  for (const auto& [n, rule] : rules)
    if (name == n) return rule;
  return {Kind::Flag, 0, 1};
}

std::string Refusal(const std::string& name, const std::string& value, const Rule& rule) {
  const std::string quoted = "\"" + value + "\"";
  switch (rule.kind) {
    case Kind::Folder:
      return name + " takes a folder that exists; " + quoted + " is not one.";
    case Kind::Flag:
      return name + " takes 1 (on) or 0 (off), not " + quoted + ".";
    case Kind::Number:
      if (rule.high > 9) return name + " takes a number of milliseconds, not " + quoted + ".";
      return name + " takes a number from " + std::to_string(rule.low) + " to " +
             std::to_string(rule.high) + ", not " + quoted + ".";
    case Kind::GameId:
      return name + " takes a game ID of four characters and five digits, such as SLUS00594; " +
             quoted + " is not one.";
    case Kind::Theme:
      return name + " takes the name of a folder under Themes that holds a style.ini; " + quoted +
             " is not one.";
    case Kind::Template:
      return name + " takes a name template such as %GAMEID%/%RESOURCE%.%EXT%, not " + quoted + ".";
  }
  return "";
}

// The value as the writer writes it, or a refusal in `error`.
std::string CheckValue(const Block& block, const std::string& value, const ProgramFolders& folders,
                       std::string& error) {
  const Rule rule = RuleFor(block.name);
  if (rule.kind == Kind::Flag || rule.kind == Kind::Number) {
    const bool digits =
        !value.empty() && value.size() <= 9 &&
        std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (!digits || ValInt(value) < rule.low || ValInt(value) > rule.high) {
      error = Refusal(block.name, value, rule);
      return "";
    }
  }
  Settings taken;
  if (!TakeSettingValue(taken, block.key, value, folders)) {
    error = Refusal(block.name, value, rule);
    return "";
  }
  for (const auto& [name, written] : SettingsAsPairs(taken))
    if (name == block.name) return written;
  return value;
}

std::string LineEndOf(std::string_view text) {
  const auto lf = text.find('\n');
  if (lf == std::string_view::npos) return text.find('\r') != text.npos ? "\r" : "\r\n";
  return lf > 0 && text[lf - 1] == '\r' ? "\r\n" : "\n";
}

// The line with its value replaced, the name and the blanks around "=" kept as typed.
std::string WithValue(const std::string& line, const std::string& value) {
  const std::size_t eq = line.find('=');
  std::size_t start = eq + 1;
  while (start < line.size() && (line[start] == ' ' || line[start] == '\t')) ++start;
  std::string head = line.substr(0, start);
  if (start == eq + 1 && eq > 0 && line[eq - 1] == ' ') head += ' ';
  return head + value;
}

}  // namespace

std::vector<std::string> EditableSettingNames() {
  std::vector<std::string> names;
  for (const Block& b : WrittenBlocks()) names.push_back(b.name);
  return names;
}

SettingsEdit EditSettingsText(std::string_view text, std::string_view key,
                              const std::optional<std::string>& value,
                              const ProgramFolders& folders) {
  SettingsEdit edit;
  edit.text = std::string(text);
  const std::vector<Block> blocks = WrittenBlocks();
  const int wanted = SettingsKeyOfLine(std::string(key) + "=");
  const auto block = std::find_if(blocks.begin(), blocks.end(), [&](const Block& b) {
    return b.key == wanted && EqualsCaseBlind(RemoveBlanks(key), b.name);
  });
  if (block == blocks.end()) {
    std::string names;
    for (const Block& b : blocks) names += (names.empty() ? "" : ", ") + b.name;
    edit.error =
        "There is no setting \"" + std::string(key) + "\". The settings are: " + names + ".";
    return edit;
  }
  edit.name = block->name;
  if (value) {
    edit.value = CheckValue(*block, *value, folders, edit.error);
    if (!edit.error.empty()) return edit;
  }

  const std::string eol = LineEndOf(text);
  std::vector<std::string> lines = SplitLines(text);
  bool endsWithEol = !text.empty() && (text.back() == '\n' || text.back() == '\r');
  std::vector<std::size_t> mine;
  for (std::size_t i = 0; i < lines.size(); ++i)
    if (SettingsKeyOfLine(lines[i]) == block->key) mine.push_back(i);

  if (!value) {
    for (auto i = mine.rbegin(); i != mine.rend(); ++i)
      lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(*i));
    edit.changed = !mine.empty();
  } else if (!mine.empty()) {
    std::string& line = lines[mine.back()];
    const std::string changed = WithValue(line, edit.value);
    edit.changed = changed != line;
    line = changed;
  } else {
    if (!lines.empty() && !lines.back().empty()) lines.emplace_back();
    for (const std::string& l : block->lines) lines.push_back(l);
    lines.back() = WithValue(lines.back(), edit.value);
    lines.emplace_back();
    edit.changed = endsWithEol = true;
  }
  edit.text.clear();
  for (std::size_t i = 0; i < lines.size(); ++i)
    edit.text += lines[i] + (i + 1 < lines.size() || endsWithEol ? eol : "");
  return edit;
}

SettingsEdit EditSettingsFile(const std::string& path, std::string_view key,
                              const std::optional<std::string>& value,
                              const ProgramFolders& folders) {
  std::vector<uint8_t> bytes;
  const bool exists = FileExists(path);
  if (exists && !ReadWholeFile(path, bytes, 16u << 20)) {
    SettingsEdit failed;
    failed.error = "The settings file could not be read: " + path;
    return failed;
  }
  const std::string_view raw(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const bool utf8 = exists && IsValidUtf8(raw);
  const std::string text = exists ? TextFileToUtf8(raw) : FormatSettings(Settings{}, "");
  SettingsEdit edit = EditSettingsText(text, key, value, folders);
  if (!edit.error.empty() || !edit.changed || (!exists && !value)) {
    edit.changed = false;
    return edit;
  }
  // A file in the single-byte code page stays in it unless the new value needs more.
  std::string out = edit.text;
  if (!utf8) {
    const std::string ansi = Utf8ToAnsi(out);
    if (AnsiToUtf8(ansi) == out) out = ansi;
  }
  if (const std::string folder = FolderOf(path); !folder.empty() && !IsDirectory(folder))
    MakeFolders(folder);
  const std::string part = path + ".part";
  File f(part, File::Mode::Write);
  std::string why;
  if (!f || !f.Write(out) || !f.Close() || !RenameReplacing(part, path, &why)) {
    DeleteFileIfExists(part);
    edit.error = "The settings file could not be written: " + path;
    edit.changed = false;
  }
  return edit;
}

}  // namespace ebf
