#include "library/game_names.h"

#include <algorithm>
#include <cctype>

#include "common/files.h"
#include "common/text.h"
#include "disc/disc_set.h"
#include "disc/resolver.h"

namespace ebf {
namespace {

// The name without its last "(Track N)" (N of one or two digits), blanks mended.
std::string WithoutTrackNumber(const std::string& name) {
  const std::string upper = ToUpperAscii(name);
  constexpr std::string_view kWord = "(TRACK ";
  for (std::size_t at = upper.rfind(kWord); at != std::string::npos;
       at = at == 0 ? std::string::npos : upper.rfind(kWord, at - 1)) {
    std::size_t end = at + kWord.size();
    std::size_t digits = 0;
    while (end < upper.size() && std::isdigit(static_cast<unsigned char>(upper[end])) &&
           digits < 2) {
      ++end;
      ++digits;
    }
    if (digits == 0 || end >= upper.size() || upper[end] != ')') continue;
    std::string before = name.substr(0, at);
    while (!before.empty() && before.back() == ' ') before.pop_back();
    const std::string after = name.substr(end + 1);
    if (!before.empty() && !after.empty() && after.front() != ' ') before += ' ';
    return Trim(before + after);
  }
  return name;
}

bool IsDeviceName(std::string_view name) {
  const std::string upper = ToUpperAscii(name.substr(0, name.find('.')));
  if (upper == "CON" || upper == "PRN" || upper == "AUX" || upper == "NUL") return true;
  return upper.size() == 4 && (upper.rfind("COM", 0) == 0 || upper.rfind("LPT", 0) == 0) &&
         upper[3] >= '1' && upper[3] <= '9';
}

}  // namespace

GameNames GameNamesOf(const ResolvedInput& r) {
  GameNames names{r.input, r.title, {}, r.region};
  for (const AssetPass& pass : r.assetPasses)
    if (!pass.gameId.empty()) names.gameIds.push_back(pass.gameId);
  if (!r.gameId.empty() &&
      std::find(names.gameIds.begin(), names.gameIds.end(), r.gameId) == names.gameIds.end())
    names.gameIds.push_back(r.gameId);
  return names;
}

std::string ImageStem(const std::string& path) {
  std::string stem = StemOf(path);
  if (Extension4(path) == ".ECM") {
    const std::string inner = Extension4(stem);
    if (inner == ".BIN" || inner == ".IMG" || inner == ".ISO" || inner == ".MDF")
      stem = stem.substr(0, stem.size() - 4);
  }
  return stem;
}

std::string FileNameToken(const std::string& path) {
  return WithoutTrackNumber(WithoutDiscNumber(ImageStem(path)));
}

std::vector<std::string> GameIdForms(const std::string& id) {
  auto letters = [](std::string_view s) {
    for (char c : s)
      if (!std::isalpha(static_cast<unsigned char>(c))) return false;
    return true;
  };
  auto digits = [](std::string_view s) {
    for (char c : s)
      if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    return true;
  };
  const std::string_view v = id;
  if (v.size() == 9 && letters(v.substr(0, 4)) && digits(v.substr(4)))
    return {id.substr(0, 4) + "-" + id.substr(4), id};
  if (v.size() == 10 && v[4] == '-' && letters(v.substr(0, 4)) && digits(v.substr(5)))
    return {id, id.substr(0, 4) + id.substr(5)};
  if (id.empty()) return {};
  return {id};
}

std::vector<std::string> ExpandTemplate(std::string_view pattern, const TokenValues& values) {
  // The pattern as pieces: literal text, or the index of a token in `values`.
  struct Piece {
    std::string text;
    int token = -1;
  };
  std::vector<Piece> pieces;
  std::size_t pos = 0;
  while (pos < pattern.size()) {
    const std::size_t open = pattern.find('%', pos);
    const std::size_t close = open == std::string_view::npos ? open : pattern.find('%', open + 1);
    if (close == std::string_view::npos) {
      pieces.push_back({std::string(pattern.substr(pos)), -1});
      break;
    }
    int token = -1;
    const std::string_view name = pattern.substr(open + 1, close - open - 1);
    for (std::size_t i = 0; i < values.size(); ++i)
      if (EqualsCaseBlind(name, values[i].first)) token = static_cast<int>(i);
    if (token < 0) {
      // Not a token: the first '%' is text, and the second may open one.
      pieces.push_back({std::string(pattern.substr(pos, close - pos)), -1});
      pos = close;
      continue;
    }
    pieces.push_back({std::string(pattern.substr(pos, open - pos)), -1});
    pieces.push_back({{}, token});
    pos = close + 1;
  }
  std::vector<std::string> out = {std::string()};
  for (const Piece& piece : pieces) {
    if (piece.token < 0) {
      for (std::string& text : out) text += piece.text;
      continue;
    }
    const std::vector<std::string>& choices = values[piece.token].second;
    std::vector<std::string> next;
    next.reserve(out.size() * choices.size());
    for (const std::string& text : out)
      for (const std::string& choice : choices) next.push_back(text + choice);
    out = std::move(next);
  }
  return out;
}

std::string FatSafeName(std::string_view name) {
  std::string out;
  out.reserve(name.size());
  for (char c : name) {
    const auto u = static_cast<unsigned char>(c);
    const bool refused =
        u < 0x20 || u == 0x7F || std::string_view("\"*/:<>?\\|").find(c) != std::string_view::npos;
    out += refused ? '_' : c;
  }
  out = LeftChars(out, 255);
  while (!out.empty() && (out.back() == ' ' || out.back() == '.')) out.pop_back();
  while (!out.empty() && out.front() == ' ') out.erase(0, 1);
  if (IsDeviceName(out)) out.insert(0, "_");
  return out;
}

std::string ThumbnailName(std::string_view label) {
  std::string out(label);
  for (char& c : out)
    if (std::string_view("&*/:`<>?\\|\"").find(c) != std::string_view::npos) c = '_';
  return out;
}

std::string CutAtFirstBracket(std::string_view name) {
  const std::size_t at = name.find_first_of("([");
  std::string out(name.substr(0, at));
  while (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

}  // namespace ebf
