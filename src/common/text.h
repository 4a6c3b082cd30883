#pragma once
// Small text helpers shared by every subsystem. Strings in the core are UTF-8; bytes that
// go to or come from files in the old single-byte form pass through ansi.h.

#include <string>
#include <string_view>
#include <vector>

namespace ebf {

std::string ToUpperAscii(std::string_view text);
std::string ToLowerAscii(std::string_view text);
bool EqualsCaseBlind(std::string_view a, std::string_view b);

// Trims blanks and tabs from both ends.
std::string Trim(std::string_view text);
std::string RemoveBlanks(std::string_view text);
std::string ReplaceAll(std::string text, std::string_view from, std::string_view to);
std::vector<std::string> SplitLines(std::string_view text);  // CR LF, LF or CR

// The last four characters of a path, upper-cased (".ISO", ".PBP"); shorter paths give
// the whole path upper-cased.
std::string Extension4(std::string_view path);

// The leading number of a text the way a classic BASIC Val reads it: blanks skipped,
// optional sign, digits and one decimal point; "&H" introduces hex. Anything else ends
// the number; no number gives 0.
double Val(std::string_view text);

// Val rounded half to even and clamped into the range of a 32-bit integer.
int ValInt(std::string_view text);

// Number of characters (UTF-8 code points) in a text.
std::size_t CharCount(std::string_view utf8);
// The first n characters (code points) of a UTF-8 text.
std::string LeftChars(std::string_view utf8, std::size_t n);

}  // namespace ebf
