#include "disc/game_db.h"

#include "common/ansi.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/pattern.h"
#include "common/text.h"
#include "disc/line_reader.h"

namespace ebf {
namespace {

// The dialog reserves room for the shipped database's size up front.
constexpr std::size_t kListReserve = 10108;
// No real line comes near this; longer ones are skipped unread.
constexpr std::size_t kMaxDbLine = 4096;

// Byte offsets of every character (code point) of a UTF-8 text, plus its end.
std::vector<std::size_t> CharStarts(std::string_view text) {
  std::vector<std::size_t> starts;
  starts.reserve(text.size() + 1);
  for (std::size_t i = 0; i < text.size(); ++i)
    if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) starts.push_back(i);
  starts.push_back(text.size());
  return starts;
}

bool EndsWith(std::string_view text, std::string_view tail) {
  return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

void HideTags(GameDbEntry& e) {
  e.saveName = RemoveNameTag(e.saveName);
  e.title = RemoveNameTag(e.title);
}

// Calls fn(utf8Line) for each line of the database until fn returns false.
template <typename Fn>
void ForEachDbLine(const std::string& dbPath, Fn fn) {
  File file(dbPath, File::Mode::Read);
  if (!file) return;
  LineReader reader(file, kMaxDbLine);
  std::string raw;
  while (reader.Next(raw)) {
    if (reader.lastTooLong()) continue;
    if (!fn(TextFileToUtf8(raw))) return;
  }
}

// Whether a line matches kGameDbLinePattern. The list for the dialog tests ten thousand
// lines, so the pattern is checked here by position rather than by the general matcher:
// fixed characters at the front, ";" and the five digits of the nine-character tail at the
// back, and at least two ";" in between. `at` holds the characters' byte offsets.
bool HasDbLineShape(std::string_view line, const std::vector<std::size_t>& at) {
  std::size_t chars = at.size() - 1;
  if (chars < 33) return false;
  auto ch = [&](std::size_t i) { return line[at[i]]; };  // the first byte of character i
  auto single = [&](std::size_t i) { return at[i + 1] - at[i] == 1; };
  auto is = [&](std::size_t i, char c) { return single(i) && ch(i) == c; };
  auto digit = [&](std::size_t i) { return single(i) && ch(i) >= '0' && ch(i) <= '9'; };
  auto digits = [&](std::size_t from) {
    for (std::size_t i = from; i < from + 5; ++i)
      if (!digit(i)) return false;
    return true;
  };
  if (!is(4, '-') || !digits(5) || !is(10, ';') || !digits(15) || !is(20, ';')) return false;
  if (!is(chars - 10, ';') || !digits(chars - 5)) return false;
  std::size_t middle = 0;
  for (std::size_t b = at[21]; b < at[chars - 10]; ++b) middle += line[b] == ';';
  return middle >= 2;
}

}  // namespace

std::string GameDbPath(const std::string& programFolder) {
  return WithTrailingSep(programFolder) + "Data" + kSep + kGameDbFileName;
}

std::optional<GameDbEntry> ParseGameDbLine(std::string_view line) {
  std::vector<std::size_t> at = CharStarts(line);
  if (!HasDbLineShape(line, at)) return std::nullopt;
  std::size_t chars = at.size() - 1;
  auto slice = [&](std::size_t from, std::size_t to) {  // characters [from, to)
    return std::string(line.substr(at[from], at[to] - at[from]));
  };
  GameDbEntry e;
  e.packageId = slice(11, 20);
  e.discId = slice(chars - 9, chars);
  // Save name and title are cut at ";" from character 22 on.
  std::size_t saveStart = at[21];
  std::size_t saveEnd = line.find(';', saveStart);
  std::size_t titleEnd = line.find(';', saveEnd + 1);
  e.saveName = std::string(line.substr(saveStart, saveEnd - saveStart));
  e.title = std::string(line.substr(saveEnd + 1, titleEnd - saveEnd - 1));
  // The region is the field before the disc ID, found from the end.
  std::size_t regionEnd = at[chars - 10];
  std::size_t regionStart = line.rfind(';', at[chars - 11]) + 1;
  e.region = std::string(line.substr(regionStart, regionEnd - regionStart));
  return e;
}

std::string RemoveNameTag(std::string_view name) {
  // A tag is "[NTSC-" or "[PAL-" with a "]" somewhere after it; NTSC tags go first. (This
  // is what matching "*[[]NTSC-*]*" decides, without the matcher's cost per name.)
  std::size_t start = name.find("[NTSC-");
  if (start == std::string_view::npos || name.find(']', start) == std::string_view::npos)
    start = name.find("[PAL-");
  if (start == std::string_view::npos) return std::string(name);
  std::size_t end = name.find(']', start);
  if (end == std::string_view::npos) return std::string(name);
  return Trim(Trim(name.substr(0, start)) + " " + Trim(name.substr(end + 1)));
}

std::optional<GameDbEntry> LookupGame(const std::string& dbPath, const std::string& id,
                                      bool hideNameTags) {
  std::optional<GameDbEntry> found;
  if (id.empty()) return found;
  ForEachDbLine(dbPath, [&](const std::string& line) {
    if (!EndsWith(line, id)) return true;
    found = ParseGameDbLine(line);
    return !found;
  });
  if (found && hideNameTags) HideTags(*found);
  return found;
}

GameList LoadGameList(const std::string& dbPath, bool hideNameTags, const std::string& currentId) {
  GameList list;
  list.entries.reserve(kListReserve);
  int current = -1, fallback = -1;
  ForEachDbLine(dbPath, [&](const std::string& line) {
    auto e = ParseGameDbLine(line);
    if (!e) return true;
    if (hideNameTags) HideTags(*e);
    int index = static_cast<int>(list.entries.size());
    if (e->discId == kFallbackSelectionId) fallback = index;
    if (!currentId.empty() && EndsWith(line, currentId)) current = index;
    list.entries.push_back(std::move(*e));
    return true;
  });
  list.selected = current >= 0 ? current : fallback;
  return list;
}

}  // namespace ebf
