#include "disc/cue_sheet.h"

#include "common/ansi.h"
#include "common/cd_sector.h"
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
  const std::string written = Trim(raw);
  std::string line = ToUpperAscii(written);
  if (line.empty()) return std::nullopt;
  std::size_t blank = line.find_first_of(" \t");
  if (blank == std::string::npos) return std::nullopt;
  return CueLine{line.substr(0, blank), line.substr(blank + 1), written.substr(blank + 1)};
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
    auto name = CueQuotedName(line->restAsWritten);
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

std::string LocateCueFile(const std::string& cuePath, const std::string& rawName) {
  std::string name = rawName;
#ifndef _WIN32
  // Sheets written on Windows name sub-folders with backslashes.
  if (!IsCueNameAbsolute(name)) name = ReplaceAll(name, "\\", "/");
#endif
  std::string path = IsCueNameAbsolute(name) ? name : FolderOf(cuePath) + name;
  std::string found = ResolveCaseBlind(path);
  if (IsFile(found)) return found;
  // A sheet kept beside the ECM-packed file it was written for (game.bin.ecm).
  std::string packed = ResolveCaseBlind(path + ".ecm");
  if (IsFile(packed)) return packed;
  if (CharCount(path) < 4) return {};
  std::string fallback = ResolveCaseBlind(LeftChars(path, CharCount(path) - 4) + ".bin");
  if (IsFile(fallback)) return fallback;
  return {};
}

std::optional<std::string> FindCueDataFile(const std::string& cuePath) {
  CueFileEntry entry = ReadCueFileEntry(cuePath);
  if (entry.invalid) return std::nullopt;
  if (!entry.found) return cuePath;
  std::string found = LocateCueFile(cuePath, entry.name);
  if (found.empty()) return std::nullopt;
  return found;
}

std::string CueInvalidMessage(const std::string& cuePath) {
  const CueFileEntry entry = ReadCueFileEntry(cuePath);
  if (entry.invalid || !entry.found || !LocateCueFile(cuePath, entry.name).empty())
    return kCueInvalidMessage;
  return std::string(kCueInvalidMessage) + "\r\n(" + entry.name + ", named by " +
         FileNameOf(cuePath) + ", is not there)";
}

std::vector<std::string> FindCueDataFiles(const std::string& cuePath) {
  std::vector<std::string> found;
  File file(cuePath, File::Mode::Read);
  if (!file) return found;
  LineReader reader(file, kMaxCueLine);
  std::string raw;
  while (reader.Next(raw)) {
    auto line = SplitCueLine(TextFileToUtf8(raw));
    if (!line || line->keyword != "FILE") continue;
    auto name = CueQuotedName(line->restAsWritten);
    if (!name || name->empty()) continue;
    std::string path = LocateCueFile(cuePath, *name);
    if (!path.empty()) found.push_back(path);
  }
  return found;
}

bool IsOneFileCueSheet(std::string_view text) {
  int files = 0;
  for (const std::string& raw : SplitLines(text)) {
    auto line = SplitCueLine(raw);
    if (!line) continue;
    if (line->keyword == "FILE") ++files;
    if (line->keyword == "PREGAP" || line->keyword == "POSTGAP") return false;
  }
  return files <= 1;
}

namespace {

constexpr std::string_view kCueCommands[] = {
    "CATALOG", "CDTEXTFILE", "FILE", "FLAGS",      "INDEX", "ISRC", "PERFORMER",
    "POSTGAP", "PREGAP",     "REM",  "SONGWRITER", "TITLE", "TRACK"};
constexpr int kMaxTracks = 99;
constexpr uint32_t kMaxMinutes = 999;

bool IsCommand(std::string_view keyword) {
  for (auto c : kCueCommands)
    if (keyword == c) return true;
  return false;
}

// A whole number of at most `maxDigits` digits, nothing else.
std::optional<uint32_t> Digits(std::string_view text, std::size_t maxDigits) {
  if (text.empty() || text.size() > maxDigits) return std::nullopt;
  uint32_t n = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    n = n * 10 + static_cast<uint32_t>(c - '0');
  }
  return n;
}

// "mm:ss:ff" as frames; seconds below 60, frames below 75.
std::optional<uint32_t> CueTime(std::string_view text) {
  const std::size_t c1 = text.find(':');
  const std::size_t c2 = c1 == std::string_view::npos ? c1 : text.find(':', c1 + 1);
  if (c2 == std::string_view::npos) return std::nullopt;
  auto m = Digits(text.substr(0, c1), 3);
  auto s = Digits(text.substr(c1 + 1, c2 - c1 - 1), 2);
  auto f = Digits(text.substr(c2 + 1), 2);
  if (!m || !s || !f || *m > kMaxMinutes || *s >= kSecondsPerMinute || *f >= kFramesPerSecond)
    return std::nullopt;
  return (*m * kSecondsPerMinute + *s) * kFramesPerSecond + *f;
}

std::string Two(int n) {
  return (n < 10 ? "0" : "") + std::to_string(n);
}

// The words of a line's rest, split at blanks.
std::vector<std::string_view> Words(std::string_view rest) {
  std::vector<std::string_view> words;
  std::size_t i = 0;
  while (i < rest.size()) {
    while (i < rest.size() && (rest[i] == ' ' || rest[i] == '\t')) ++i;
    std::size_t j = i;
    while (j < rest.size() && rest[j] != ' ' && rest[j] != '\t') ++j;
    if (j > i) words.push_back(rest.substr(i, j - i));
    i = j;
  }
  return words;
}

class CueParser {
 public:
  CueParser(std::string sheetName, CueReading reading)
      : name_(std::move(sheetName)), reading_(reading) {}

  CueParse Run(std::string_view text) {
    CueParse out;
    int lineNo = 0;
    for (const std::string& raw : SplitLines(text)) {
      ++lineNo;
      std::string trimmed = Trim(raw);
      // Sheets saved as UTF-8 by some editors start with a byte order mark.
      if (lineNo == 1 && trimmed.rfind("\xEF\xBB\xBF", 0) == 0) trimmed = Trim(trimmed.substr(3));
      if (trimmed.empty()) continue;
      line_ = lineNo;
      auto line = SplitCueLine(trimmed);
      if (reading_ == CueReading::OneFile && PassedOver(line)) continue;
      std::string error;
      if (!line || !IsCommand(line->keyword))
        error = "\"" + trimmed + "\" is not a CUE sheet command.";
      else
        error = Command(line->keyword,
                        Trim(line->keyword == "FILE" ? line->restAsWritten : line->rest));
      if (!error.empty()) {
        out.error = At(error);
        return out;
      }
    }
    out.error = Finish();
    if (out.error.empty()) out.sheet = std::move(sheet_);
    return out;
  }

 private:
  // What the first reading of a one-file sheet never looked at.
  bool PassedOver(const std::optional<CueLine>& line) const {
    if (!line) return true;
    if (line->keyword == "INDEX") return sheet_.tracks.empty();
    return line->keyword != "FILE" && line->keyword != "TRACK";
  }

  std::string At(const std::string& what) const {
    return name_ + ", line " + std::to_string(line_) + ": " + what;
  }

  std::string Command(const std::string& keyword, const std::string& rest) {
    if (keyword == "FILE") return FileLine(rest);
    if (keyword == "TRACK") return TrackLine(rest);
    if (keyword == "INDEX") return IndexLine(rest);
    if (keyword == "PREGAP" || keyword == "POSTGAP") return GapLine(keyword, rest);
    return {};  // the other commands carry nothing the disc needs
  }

  std::string FileLine(const std::string& rest) {
    CueFile file;
    std::string after;
    if (!rest.empty() && rest[0] == '"') {
      auto name = CueQuotedName(rest);
      if (!name) return "the FILE line's name has no closing quote.";
      file.name = *name;
      after = Trim(rest.substr(name->size() + 2));
    } else {
      auto words = Words(rest);
      if (words.empty()) return "the FILE line names no file.";
      file.name = std::string(words[0]);
      after = Trim(rest.substr(rest.find(words[0]) + words[0].size()));
    }
    if (file.name.empty()) return "the FILE line names no file.";
    file.type = after.empty() ? "BINARY" : ToUpperAscii(Words(after)[0]);
    sheet_.files.push_back(file);
    return {};
  }

  std::string TrackLine(const std::string& rest) {
    auto words = Words(rest);
    if (sheet_.files.empty()) return "TRACK comes before any FILE line.";
    auto number = words.empty() ? std::nullopt : Digits(words[0], 3);
    if (!number) return "\"TRACK " + rest + "\" has no track number.";
    if (words.size() < 2) return "track " + Two(static_cast<int>(*number)) + " has no mode.";
    if (*number > kMaxTracks)
      return "track " + std::to_string(*number) + ": a disc holds at most 99 tracks.";
    const int expected = static_cast<int>(sheet_.tracks.size()) + 1;
    if (static_cast<int>(*number) != expected)
      return "TRACK " + Two(static_cast<int>(*number)) + " should be track " + Two(expected) +
             "; tracks are numbered 1, 2, 3 ... in order.";
    if (!sheet_.tracks.empty()) {
      if (std::string e = CloseTrack(); !e.empty()) return e;
    }
    CueTrack track;
    track.number = static_cast<int>(*number);
    track.mode = std::string(words[1]);
    sheet_.tracks.push_back(track);
    return {};
  }

  std::string IndexLine(const std::string& rest) {
    if (sheet_.tracks.empty()) return "INDEX comes before any TRACK line.";
    CueTrack& track = sheet_.tracks.back();
    auto words = Words(rest);
    auto number = words.size() == 2 ? Digits(words[0], 2) : std::nullopt;
    auto frames = words.size() == 2 ? CueTime(words[1]) : std::nullopt;
    if (!number || !frames)
      return "\"INDEX " + rest +
             "\" is not an index: INDEX nn mm:ss:ff (seconds below 60, frames below 75).";
    if (track.postgap)
      return "INDEX " + Two(static_cast<int>(*number)) + " of track " + Two(track.number) +
             " comes after its POSTGAP.";
    if (!track.indexes.empty() && static_cast<int>(*number) <= track.indexes.back().number)
      return "INDEX " + Two(static_cast<int>(*number)) + " of track " + Two(track.number) +
             " comes after INDEX " + Two(track.indexes.back().number) +
             "; INDEX numbers must rise.";
    const std::size_t file = sheet_.files.size() - 1;
    if (lastIndex_ && lastIndex_->file == file && *frames <= lastIndex_->frames)
      return "INDEX " + Two(static_cast<int>(*number)) + " of track " + Two(track.number) + " (" +
             MsfText(*frames).data() + ") does not come after INDEX " + Two(lastIndex_->number) +
             " of track " + Two(lastTrack_) + " (" + MsfText(lastIndex_->frames).data() +
             ") in the same file; INDEX times must rise.";
    CueIndex index{static_cast<int>(*number), file, *frames};
    track.indexes.push_back(index);
    lastIndex_ = index;
    lastTrack_ = track.number;
    return {};
  }

  std::string GapLine(const std::string& keyword, const std::string& rest) {
    if (sheet_.tracks.empty()) return keyword + " comes before any TRACK line.";
    CueTrack& track = sheet_.tracks.back();
    auto words = Words(rest);
    auto frames = words.size() == 1 ? CueTime(words[0]) : std::nullopt;
    if (!frames)
      return "\"" + keyword + " " + rest + "\" is not a gap: " + keyword +
             " mm:ss:ff (seconds below 60, frames below 75).";
    if (keyword == "PREGAP") {
      if (!track.indexes.empty())
        return "PREGAP of track " + Two(track.number) + " comes after its INDEX lines.";
      track.pregap = *frames;
    } else {
      if (track.indexes.empty())
        return "POSTGAP of track " + Two(track.number) + " comes before its INDEX lines.";
      track.postgap = *frames;
    }
    return {};
  }

  // A track is complete when the next begins or the sheet ends.
  std::string CloseTrack() {
    const CueTrack& t = sheet_.tracks.back();
    for (const CueIndex& i : t.indexes)
      if (i.number == 1) return {};
    return "track " + Two(t.number) + " has no INDEX 01.";
  }

  std::string Finish() {
    if (sheet_.tracks.empty()) return name_ + " holds no tracks.";
    if (std::string e = CloseTrack(); !e.empty()) return name_ + ": " + e;
    return {};
  }

  std::string name_;
  CueReading reading_;
  CueSheet sheet_;
  int line_ = 0;
  std::optional<CueIndex> lastIndex_;
  int lastTrack_ = 0;
};

}  // namespace

CueParse ParseCueSheet(std::string_view text, const std::string& sheetName, CueReading reading) {
  return CueParser(sheetName, reading).Run(text);
}

}  // namespace ebf
