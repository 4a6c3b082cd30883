#pragma once
// CUE sheets as the program reads them: every line trimmed and upper-cased, the keyword is
// the text before the first blank, and only the first FILE line matters here.

#include <optional>
#include <string>
#include <string_view>

namespace ebf {

inline constexpr const char* kCueInvalidMessage = "CUE Sheet is invalid!";

// One line of a sheet, already trimmed and upper-cased.
struct CueLine {
  std::string keyword;  // text before the first blank
  std::string rest;     // text after it
};
// Trims and upper-cases a raw line. Empty lines and lines without a blank give nothing.
std::optional<CueLine> SplitCueLine(std::string_view raw);
// The text between the first two double quotes of a FILE line's rest; nothing when the
// quotes are missing or unbalanced.
std::optional<std::string> CueQuotedName(std::string_view rest);

struct CueFileEntry {
  bool found = false;    // a FILE line with a quoted name was read
  bool invalid = false;  // the sheet broke off before one: a line without a blank, a FILE
                         // line without a name, a line that is far too long, a read error
  std::string name;      // the name as written in the sheet, upper-cased
};
// Reads the sheet up to its first FILE line.
CueFileEntry ReadCueFileEntry(const std::string& cuePath);

// A name from a sheet is absolute when it carries a drive ("C:\...") or, on POSIX, starts at
// the root.
bool IsCueNameAbsolute(const std::string& name);

// The data file a sheet names, made absolute against the sheet's folder, found case-blind,
// with the ".bin" fallback. Nothing when neither exists (the sheet is invalid). A sheet
// without any FILE line stands for itself.
std::optional<std::string> FindCueDataFile(const std::string& cuePath);

}  // namespace ebf
