#include "disc/cue_sheet.h"

#include "common/ansi.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/line_reader.h"

namespace ebf {
namespace {

// Sheets are a few hundred bytes; a longer line means the file is not a sheet.
constexpr std::size_t kMaxCueLine = 4096;

// An existing file (not a folder; no wildcard matching).
bool IsFile(const std::string& path) {
  return FileSize(path).has_value();
}

}  // namespace

std::optional<CueLine> SplitCueLine(std::string_view raw) {
  std::string line = ToUpperAscii(Trim(raw));
  if (line.empty()) return std::nullopt;
  std::size_t blank = line.find_first_of(" \t");
  if (blank == std::string::npos) return std::nullopt;
  return CueLine{line.substr(0, blank), line.substr(blank + 1)};
}

std::optional<std::string> CueQuotedName(std::string_view rest) {
  std::size_t open = rest.find('"');
  if (open == std::string_view::npos) return std::nullopt;
  std::size_t close = rest.find('"', open + 1);
  if (close == std::string_view::npos) return std::nullopt;
  return std::string(rest.substr(open + 1, close - open - 1));
}

CueFileEntry ReadCueFileEntry(const std::string& cuePath) {
  CueFileEntry entry;
  File file(cuePath, File::Mode::Read);
  if (!file) {
    entry.invalid = true;
    return entry;
  }
  LineReader reader(file, kMaxCueLine);
  std::string raw;
  for (bool first = true; reader.Next(raw); first = false) {
    // Sheets saved as UTF-8 by some editors start with a byte order mark.
    if (first && raw.rfind("\xEF\xBB\xBF", 0) == 0) raw.erase(0, 3);
    if (reader.lastTooLong()) {
      entry.invalid = true;
      return entry;
    }
    if (Trim(raw).empty()) continue;
    auto line = SplitCueLine(TextFileToUtf8(raw));
    if (!line) {
      entry.invalid = true;
      return entry;
    }
    if (line->keyword != "FILE") continue;
    auto name = CueQuotedName(line->rest);
    if (!name || name->empty()) {
      entry.invalid = true;
      return entry;
    }
    entry.found = true;
    entry.name = *name;
    return entry;
  }
  entry.invalid = reader.failed();
  return entry;
}

bool IsCueNameAbsolute(const std::string& name) {
  if (name.size() >= 3 && name[1] == ':' && name[2] == '\\') return true;
#ifndef _WIN32
  if (!name.empty() && name[0] == '/') return true;
#endif
  return false;
}

std::optional<std::string> FindCueDataFile(const std::string& cuePath) {
  CueFileEntry entry = ReadCueFileEntry(cuePath);
  if (entry.invalid) return std::nullopt;
  if (!entry.found) return cuePath;
  std::string name = entry.name;
#ifndef _WIN32
  // Sheets written on Windows name sub-folders with backslashes.
  if (!IsCueNameAbsolute(name)) name = ReplaceAll(name, "\\", "/");
#endif
  std::string path = IsCueNameAbsolute(name) ? name : FolderOf(cuePath) + name;
  std::string found = ResolveCaseBlind(path);
  if (IsFile(found)) return found;
  if (CharCount(path) < 4) return std::nullopt;
  std::string fallback = ResolveCaseBlind(LeftChars(path, CharCount(path) - 4) + ".bin");
  if (IsFile(fallback)) return fallback;
  return std::nullopt;
}

}  // namespace ebf
