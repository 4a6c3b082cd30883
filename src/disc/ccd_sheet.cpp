#include "disc/ccd_sheet.h"

#include <cstdint>
#include <optional>

#include "common/text.h"

namespace ebf {
namespace {

constexpr std::size_t kMaxEntries = 256;
constexpr std::size_t kMaxTrackSections = 100;

// A decimal or 0x-hexadecimal integer with an optional sign, within +-2^31.
std::optional<int> Number(std::string_view text) {
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  if (text.empty() || text.size() > 10) return std::nullopt;
  int64_t n = 0;
  for (char c : text) {
    int d = c >= '0' && c <= '9'   ? c - '0'
            : c >= 'a' && c <= 'f' ? c - 'a' + 10
            : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                   : 99;
    if (d >= base) return std::nullopt;
    n = n * base + d;
  }
  if (n > INT32_MAX) return std::nullopt;
  return static_cast<int>(negative ? -n : n);
}

enum class Section { None, Other, Disc, Entry, Track };

}  // namespace

CcdParse ParseCcdSheet(std::string_view text, const std::string& sheetName) {
  CcdParse out;
  CcdSheet& sheet = out.sheet;
  Section section = Section::None;
  int lineNo = 0;
  auto fail = [&](const std::string& what) {
    out.error = sheetName + ", line " + std::to_string(lineNo) + ": " + what;
    out.sheet = {};
    return out;
  };
  for (const std::string& raw : SplitLines(text)) {
    ++lineNo;
    std::string line = Trim(raw);
    if (lineNo == 1 && line.rfind("\xEF\xBB\xBF", 0) == 0) line = Trim(line.substr(3));
    if (line.empty() || line[0] == ';') continue;
    if (line[0] == '[') {
      if (line.back() != ']') return fail("\"" + line + "\" is not a section header.");
      const std::string name = ToUpperAscii(Trim(line.substr(1, line.size() - 2)));
      const std::size_t blank = name.find(' ');
      const std::string head = name.substr(0, blank);
      if (name == "DISC") {
        section = Section::Disc;
      } else if (head == "ENTRY" && blank != std::string::npos) {
        if (sheet.entries.size() == kMaxEntries)
          return fail("more than " + std::to_string(kMaxEntries) + " TOC entries.");
        section = Section::Entry;
        sheet.entries.emplace_back();
      } else if (head == "TRACK" && blank != std::string::npos) {
        auto n = Number(Trim(name.substr(blank + 1)));
        if (!n || *n < 0 || *n > 99) return fail("\"" + line + "\" names no track 0-99.");
        if (sheet.tracks.size() == kMaxTrackSections)
          return fail("more than " + std::to_string(kMaxTrackSections) + " track sections.");
        section = Section::Track;
        sheet.tracks.push_back({*n, -1, {}});
      } else {
        section = Section::Other;
      }
      continue;
    }
    const std::size_t eq = line.find('=');
    if (eq == std::string::npos || section == Section::None)
      return fail("\"" + line + "\" is neither a [section] nor a Key=Value line.");
    if (section == Section::Other) continue;
    const std::string key = ToUpperAscii(Trim(line.substr(0, eq)));
    const std::string value = Trim(line.substr(eq + 1));
    auto number = [&]() { return Number(value); };
    auto bad = [&]() { return fail("\"" + line + "\" does not hold a number."); };
    if (section == Section::Disc) {
      if (key == "SESSIONS") {
        auto n = number();
        if (!n) return bad();
        sheet.sessions = *n;
      }
    } else if (section == Section::Entry) {
      CcdEntry& e = sheet.entries.back();
      int* field = key == "SESSION"   ? &e.session
                   : key == "POINT"   ? &e.point
                   : key == "ADR"     ? &e.adr
                   : key == "CONTROL" ? &e.control
                   : key == "PLBA"    ? &e.plba
                                      : nullptr;
      if (field) {
        auto n = number();
        if (!n) return bad();
        *field = *n;
        if (key == "PLBA") e.hasPlba = true;
      }
    } else if (section == Section::Track) {
      CcdTrack& t = sheet.tracks.back();
      if (key == "MODE") {
        auto n = number();
        if (!n) return bad();
        t.mode = *n;
      } else if (key.rfind("INDEX", 0) == 0) {
        auto index = Number(Trim(key.substr(5)));
        auto n = number();
        if (!index || !n) return bad();
        if (t.indexes.size() < 100) t.indexes.emplace_back(*index, *n);
      }
    }
  }
  return out;
}

}  // namespace ebf
