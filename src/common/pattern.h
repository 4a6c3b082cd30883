#pragma once
// The one pattern rule set used wherever a text "matches" a pattern:
//   ?      any one character
//   #      one digit 0-9
//   *      any run of characters, the empty run included
//   [abc]  one character of the class; ranges as in [A-Z]; a "-" first or last is literal
//   [!abc] one character not in the class
//   [[]    a literal "[" (so are "[*]", "[?]", "[#]")
//   []     matches nothing at all, so "[]]" is a literal "]" after it
// Matching is by character (UTF-8 code point) and case-sensitive. A malformed pattern
// (an unclosed "[") matches nothing.

#include <string_view>

namespace ebf {

bool Matches(std::string_view text, std::string_view pattern);

}  // namespace ebf
