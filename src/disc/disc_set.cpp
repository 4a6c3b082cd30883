#include "disc/disc_set.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>

#include "common/files.h"
#include "common/text.h"

namespace ebf {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDiscWord = "(DISC ";

struct DiscMark {
  std::size_t at = 0;    // of the "("
  std::size_t size = 0;  // through the ")"
  int number = 0;
};

std::optional<DiscMark> FindMark(std::string_view name) {
  const std::string upper = ToUpperAscii(name);
  for (std::size_t at = upper.rfind(kDiscWord); at != std::string::npos;
       at = at == 0 ? std::string::npos : upper.rfind(kDiscWord, at - 1)) {
    const std::size_t digit = at + kDiscWord.size();
    if (digit + 1 < upper.size() && upper[digit] >= '1' && upper[digit] <= '9' &&
        upper[digit + 1] == ')')
      return DiscMark{at, kDiscWord.size() + 2, upper[digit] - '0'};
  }
  return std::nullopt;
}

// The name with its disc number taken out, upper case: what the discs of one set share.
std::string SetKey(std::string_view name, const DiscMark& mark) {
  return ToUpperAscii(std::string(name.substr(0, mark.at)) + "(DISC ?)" +
                      std::string(name.substr(mark.at + mark.size)));
}

std::string Utf8Name(const fs::path& p) {
  std::u8string s = p.filename().u8string();
  return std::string(s.begin(), s.end());
}

}  // namespace

int DiscNumberOf(std::string_view name) {
  auto mark = FindMark(name);
  return mark ? mark->number : 0;
}

std::string WithoutDiscNumber(std::string_view title) {
  auto mark = FindMark(title);
  if (!mark) return std::string(title);
  std::string before(title.substr(0, mark->at));
  while (!before.empty() && before.back() == ' ') before.pop_back();
  std::string after(title.substr(mark->at + mark->size));
  if (!before.empty() && !after.empty() && after.front() != ' ') before += ' ';
  return Trim(before + after);
}

DiscSet FindDiscSet(const std::string& path,
                    const std::function<bool(const std::string& path)>& accepted) {
  DiscSet set;
  auto mark = FindMark(StemOf(path));
  if (!mark) {
    set.discs.push_back({0, path});
    return set;
  }
  const std::string key = SetKey(StemOf(path), *mark);
  const std::string ownExt = Extension4(path);
  // Disc number -> candidates, the own extension first, then by name.
  std::map<int, std::vector<std::string>> found;
  std::error_code ec;
  const std::string folder = FolderOf(path);
  for (fs::directory_iterator it(folder.empty() ? fs::path(".") : fs::u8path(folder), ec), end;
       !ec && it != end; it.increment(ec)) {
    if (!it->is_regular_file(ec)) continue;
    const std::string candidate = Utf8Name(it->path());
    const std::string stem = StemOf(candidate);
    auto m = FindMark(stem);
    if (!m || SetKey(stem, *m) != key) continue;
    const std::string full = JoinPath(folder, candidate);
    if (!accepted(full)) continue;
    found[m->number].push_back(full);
  }
  for (auto& [number, paths] : found) {
    std::sort(paths.begin(), paths.end(), [&](const std::string& a, const std::string& b) {
      const bool ownA = Extension4(a) == ownExt, ownB = Extension4(b) == ownExt;
      if (ownA != ownB) return ownA;
      return a < b;
    });
    // The given file stands for its own disc even where another extension sorts first.
    const std::string chosen = number == mark->number ? path : paths.front();
    set.discs.push_back({number, chosen});
  }
  if (set.discs.empty()) set.discs.push_back({mark->number, path});
  for (int n = 1; n < set.discs.back().number; ++n)
    if (!found.count(n)) set.missing.push_back(n);
  return set;
}

std::vector<std::string> ParseM3u(std::string_view text) {
  if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  std::vector<std::string> entries;
  for (const std::string& line : SplitLines(text)) {
    std::string entry = Trim(line);
    if (entry.empty() || entry.front() == '#') continue;
    entries.push_back(entry);
  }
  return entries;
}

PlaylistDiscs ReadM3u(const std::string& playlistPath) {
  PlaylistDiscs out;
  std::vector<uint8_t> bytes;
  // A playlist is a few lines; anything large is not one.
  if (IsDirectory(playlistPath) || !ReadWholeFile(playlistPath, bytes, 64 << 10)) {
    out.error = "Cannot read the playlist " + playlistPath;
    return out;
  }
  if (FileSize(playlistPath).value_or(0) == 0) bytes.clear();
  const std::vector<std::string> entries = ParseM3u(std::string(bytes.begin(), bytes.end()));
  if (entries.empty()) {
    out.error = "The playlist " + playlistPath + " names no disc";
    return out;
  }
  if (entries.size() > kMaxDiscsInSet) {
    out.error = "The playlist " + playlistPath + " names " + std::to_string(entries.size()) +
                " discs; a package holds at most " + std::to_string(kMaxDiscsInSet);
    return out;
  }
  const std::string self = CanonicalPath(AbsolutePath(playlistPath));
  for (const std::string& entry : entries) {
    const std::string disc =
        IsAbsolutePath(entry) ? entry : JoinPath(FolderOf(AbsolutePath(playlistPath)), entry);
    std::string why;
    if (!FileExists(disc) || IsDirectory(disc))
      why = ", which does not exist";
    else if (CanonicalPath(disc) == self)
      why = ": itself, not a disc";
    else if (Extension4(disc) == ".M3U")
      why = ", another playlist: a playlist names disc images";
    if (!why.empty()) {
      out.error = "The playlist " + playlistPath + " names " + entry + why;
      out.paths.clear();
      return out;
    }
    out.paths.push_back(disc);
  }
  return out;
}

}  // namespace ebf
