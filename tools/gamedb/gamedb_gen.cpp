// Writes the game database the program ships (Data/TarnwickPS1ID.db) from the catalogue
// kept in data/gamedb/ps1-games.tsv. Rows that would not make a well-formed line are left
// out and counted; the build fails only when the input cannot be read or nothing is left.
//
// Usage: ebf_gamedb_gen <games.tsv> <out.db>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "common/files.h"
#include "common/pattern.h"
#include "common/text.h"

namespace {

constexpr const char* kLinePattern = "????-#####;????#####;*;*;*;????#####";

// Release areas as the catalogue names them, and the letters of their tag.
const std::map<std::string, std::string>& AreaCodes() {
  static const std::map<std::string, std::string> codes = {
      {"USA", "U"},      {"Canada", "U"},   {"Japan", "J"},        {"Asia", "J"},
      {"Korea", "K"},    {"Taiwan", "T"},   {"China", "C"},        {"Brazil", "B"},
      {"Europe", "E"},   {"Germany", "G"},  {"France", "F"},       {"Italy", "I"},
      {"Spain", "S"},    {"UK", "UK"},      {"Australia", "A"},    {"Austria", "AT"},
      {"Belgium", "BE"}, {"Denmark", "D"},  {"Finland", "FI"},     {"Greece", "GR"},
      {"Ireland", "IE"}, {"Israel", "IL"},  {"Netherlands", "NL"}, {"Norway", "NO"},
      {"Poland", "PL"},  {"Portugal", "P"}, {"Russia", "R"},       {"Scandinavia", "SC"},
      {"Sweden", "SW"},
  };
  return codes;
}

std::vector<std::string> Split(const std::string& text, const std::string& sep) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (;;) {
    std::size_t at = text.find(sep, start);
    parts.push_back(text.substr(start, at - start));
    if (at == std::string::npos) return parts;
    start = at + sep.size();
  }
}

// The tag letters of the first group in brackets that lists only release areas
// ("(Europe, Australia)" -> "E"); "" when the name has none.
std::string AreaCode(const std::string& sourceName) {
  std::size_t open = 0;
  while ((open = sourceName.find('(', open)) != std::string::npos) {
    std::size_t close = sourceName.find(')', open);
    if (close == std::string::npos) return {};
    auto areas = Split(sourceName.substr(open + 1, close - open - 1), ", ");
    bool allAreas = true;
    for (const auto& a : areas) allAreas = allAreas && AreaCodes().count(a) > 0;
    if (allAreas) return AreaCodes().at(areas.front());
    open = close;
  }
  return {};
}

bool IsCode(const std::string& code) {
  return ebf::Matches(code, "[A-Z][A-Z][A-Z][A-Z]#####");
}

bool IsPlainText(const std::string& text) {
  for (unsigned char c : text)
    if (c < 0x20 || c == ';' || c == 0x7F) return false;
  return !ebf::Trim(text).empty();
}

// The database line for one catalogue row, or "" with the reason in `why`.
std::string LineFor(const std::string& row, std::string& why) {
  auto f = Split(row, "\t");
  if (f.size() != 6) return why = "not six fields", "";
  const std::string &disc = f[0], &package = f[1], &title = f[2], &region = f[3];
  if (!IsCode(disc) || !IsCode(package)) return why = "code shape", "";
  if (region != "NTSC" && region != "PAL") return why = "region", "";
  if (!IsPlainText(title)) return why = "title", "";
  std::string area = AreaCode(f[5]);
  if (area.empty()) return why = "no release area", "";
  std::string line = disc.substr(0, 4) + "-" + disc.substr(4) + ";" + package + ";" + title + ";" +
                     title + " [" + region + "-" + area + "];" + region + ";" + disc;
  if (!ebf::Matches(line, kLinePattern)) return why = "line shape", "";
  return line;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: ebf_gamedb_gen <games.tsv> <out.db>\n";
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  if (!in) {
    std::cerr << "cannot read " << argv[1] << "\n";
    return 1;
  }
  std::string out = argv[2];
  std::string partial = out + ".part";
  std::ofstream db(partial, std::ios::binary | std::ios::trunc);
  if (!db) {
    std::cerr << "cannot write " << partial << "\n";
    return 1;
  }
  std::map<std::string, int> skipped;
  std::string row;
  long written = 0, lineNo = 0;
  while (std::getline(in, row)) {
    ++lineNo;
    if (!row.empty() && row.back() == '\r') row.pop_back();
    if (lineNo == 1 && row.rfind("disc_serial\t", 0) == 0) continue;  // column names
    if (ebf::Trim(row).empty()) continue;
    std::string why;
    std::string line = LineFor(row, why);
    if (line.empty()) {
      ++skipped[why];
      continue;
    }
    db << line << "\r\n";
    ++written;
  }
  db.close();
  if (!db || written == 0) {
    std::cerr << "no database written (" << written << " lines)\n";
    ebf::DeleteFileIfExists(partial);
    return 1;
  }
  if (std::rename(partial.c_str(), out.c_str()) != 0) {
    std::cerr << "cannot rename " << partial << "\n";
    ebf::DeleteFileIfExists(partial);
    return 1;
  }
  long skippedTotal = 0;
  std::ostringstream why;
  for (const auto& [reason, count] : skipped) {
    skippedTotal += count;
    why << (why.tellp() ? ", " : " (") << reason << ": " << count;
  }
  if (skippedTotal) why << ")";
  std::cout << ebf::FileNameOf(out) << ": " << written << " games written, " << skippedTotal
            << " lines skipped" << why.str() << "\n";
  return 0;
}
