#include "app/theme.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "common/ansi.h"
#include "common/files.h"
#include "common/text.h"

namespace ebf {
namespace {

std::optional<ThemeColour> SixDigitColour(const std::string& value) {
  if (CharCount(value) != 6) return std::nullopt;
  const ThemeColour c = ParseThemeHex(value);
  if (c == kBadColour) return std::nullopt;
  return c;
}

std::string FontOrBlank(const std::string& name) {
  return name.empty() ? " " : name;
}

}  // namespace

ThemeColour ParseThemeHex(std::string_view digits) {
  uint64_t value = 0;
  for (char c : digits) {
    int d;
    if (c >= '0' && c <= ':') {
      d = c - '0';
    } else if (c >= 'A' && c <= 'F') {
      d = c - 'A' + 10;
    } else if (c >= 'a' && c <= 'f') {
      d = c - 'a' + 10;
    } else {
      return kBadColour;
    }
    value = value * 16 + static_cast<uint64_t>(d);
    if (value > 0xFFFFFFFFull) return kBadColour;
  }
  return static_cast<ThemeColour>(value);
}

Theme ParseTheme(std::string_view text, const Theme& previous) {
  Theme t;
  t.dialogTitleTextCol = previous.dialogTitleTextCol;
  for (const std::string& raw : SplitLines(text)) {
    const std::string line = Trim(raw);
    if (line.empty() || line[0] == ';' || line.size() < 3) continue;
    const auto eq = line.find('=');
    if (eq == std::string::npos) continue;
    const std::string key = ToUpperAscii(Trim(line.substr(0, eq)));
    const std::string value = Trim(line.substr(eq + 1));
    if (key == "MAINBGCOL") {
      t.mainBg = SixDigitColour(value);
    } else if (key == "MAINFGCOL") {
      t.mainFg = SixDigitColour(value);
    } else if (key == "MAINBGEDITCOL") {
      t.mainEditBg = SixDigitColour(value);
    } else if (key == "MAINFGEDITCOL") {
      t.mainEditFg = SixDigitColour(value);
    } else if (key == "MAINBOXBGCOL") {
      t.mainBoxBg = SixDigitColour(value);
    } else if (key == "MAINFONT") {
      t.mainFont = value;
    } else if (key == "MAINTITLE") {
      t.mainTitle = value;
    } else if (key == "DIALOGTITEXTCOL") {
      t.dialogTitleTextCol = ParseThemeHex(value);
    } else if (key == "DIALOGTILINECOL") {
      t.dialogTitleLineCol = ParseThemeHex(value);
    } else if (key == "DIALOGTITEXTALPHA") {
      t.dialogTitleTextAlpha = ParseThemeHex(value);
    } else if (key == "DIALOGTILINEALPHA") {
      t.dialogTitleLineAlpha = ParseThemeHex(value);
    } else if (key == "DIALOGFONT") {
      t.dialogFont = value;
    } else if (key == "DIALOGTIFONT") {
      t.dialogTitleFont = value;
    } else if (key == "DIALOGTILINEHEIGHT") {
      t.dialogTitleLineHeight = std::clamp(ValInt(value), -32768, 32767);
    }
  }
  t.mainFont = FontOrBlank(t.mainFont);
  t.dialogFont = FontOrBlank(t.dialogFont);
  t.dialogTitleFont = FontOrBlank(t.dialogTitleFont);
  return t;
}

std::string ThemeFilePath(const ProgramFolders& folders, const std::string& themeName) {
  return FindRuntimeFile(folders, "Themes/" + themeName + "/style.ini");
}

Theme LoadTheme(const ProgramFolders& folders, const std::string& themeName,
                const Theme& previous) {
  std::vector<uint8_t> bytes;
  const std::string path = ThemeFilePath(folders, themeName);
  if (!FileExists(path) || IsDirectory(path) || !ReadWholeFile(path, bytes, 1 << 20)) {
    Theme t;
    t.dialogTitleTextCol = previous.dialogTitleTextCol;
    return t;
  }
  // An empty file reads as one zero byte.
  if (bytes.size() == 1 && bytes[0] == 0) bytes.clear();
  const std::string text =
      TextFileToUtf8(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  return ParseTheme(text, previous);
}

std::string FindThemePicture(const ProgramFolders& folders, const std::string& themeName,
                             const std::string& fileName) {
  for (const std::string& theme : {themeName, std::string("Default")}) {
    const std::string path = FindRuntimeFile(folders, "Themes/" + theme + "/" + fileName);
    if (FileExists(path) && !IsDirectory(path)) return path;
  }
  return "";
}

std::vector<std::string> ListThemes(const ProgramFolders& folders) {
  namespace fs = std::filesystem;
  std::vector<std::string> names;
  for (const std::string& treeRoot : RuntimeRoots(folders)) {
    std::error_code ec;
    const std::string rootText = WithTrailingSep(treeRoot) + "Themes";
    const fs::path root(std::u8string(rootText.begin(), rootText.end()));
    for (fs::directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec)) {
      if (!it->is_directory(ec)) continue;
      const std::u8string u8 = it->path().filename().u8string();
      const std::string name(u8.begin(), u8.end());
      const std::string ini = ResolveCaseBlind(rootText + kSep + name + kSep + "style.ini");
      if (FileExists(ini) && !IsDirectory(ini)) names.push_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

}  // namespace ebf
