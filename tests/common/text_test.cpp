#include <gtest/gtest.h>

#include <tuple>

#include "common/ansi.h"
#include "common/bytes.h"
#include "common/pattern.h"
#include "common/text.h"

namespace ebf {
namespace {

TEST(Matches, WildcardsDigitsAndClasses) {
  // clang-format off
  const std::tuple<const char*, const char*, bool> rows[] = {
      {"SLUS00594", "????#####", true}, {"SLUS0059A", "????#####", false},
      {"SLUS005944", "????#####", false},  // the pattern is anchored
      {"SLUS-00594;SLUS00594;x;y;NTSC;SLUS00594", "????-#####;????#####;*;*;*;????#####", true},
      {"", "*", true}, {"abc", "a*c", true}, {"ac", "a*c", true}, {"ab", "a*c", false},
      {"aXbXc", "*X*c", true},  // needs backtracking
      {"b", "[abc]", true}, {"d", "[abc]", false}, {"Q", "[A-Z]", true},
      {"q", "[A-Z]", false},  // case-sensitive
      {"q", "[!A-Z]", true}, {"Q", "[!A-Z]", false},
      {"-", "[a-]", true},  // trailing "-" is literal
      {"Title [NTSC-U]", "*[[]NTSC-*]", true}, {"Title (NTSC-U)", "*[[]NTSC-*]", false},
      {"a*b", "a[*]b", true}, {"axb", "a[*]b", false}, {"#1", "[#]#", true},
      {"x", "[x", false},  // malformed: no match
      // "[]" is empty, which is how a literal "]" is written after it.
      {"Game [NTSC-U]", "*[[]NTSC-*[]]*", true}, {"ab", "a[]b", true},
      {"Game (NTSC-U)", "*[[]NTSC-*[]]*", false},
      // "?" is one character, not one byte.
      {"\xC3\xA9t\xC3\xA9", "?t?", true}, {"\xC3\xA9", "[\xC3\xA0-\xC3\xBF]", true},
  };
  // clang-format on
  for (const auto& [text, pattern, expected] : rows)
    EXPECT_EQ(Matches(text, pattern), expected) << text << " ~ " << pattern;
}

TEST(Ansi, Windows1252RoundTripAndReplacement) {
#ifndef _WIN32
  const std::string utf8 = "Caf\xC3\xA9 \xE2\x82\xAC \xE2\x80\x94";  // Café € —
  const std::string ansi = Utf8ToAnsi(utf8);
  EXPECT_EQ(ansi, std::string("Caf\xE9 \x80 \x97"));
  EXPECT_EQ(AnsiToUtf8(ansi), utf8);
  EXPECT_EQ(Utf8ToAnsi("\xE3\x81\x82x"), "?x");  // Japanese kana has no byte
  EXPECT_EQ(AnsiToUtf8("\x81"), "\xC2\x81");     // holes map to C1 controls
  EXPECT_EQ(TextFileToUtf8("Caf\xE9"), "Caf\xC3\xA9");
  EXPECT_EQ(TextFileToUtf8("Caf\xC3\xA9"), "Caf\xC3\xA9");
#endif
  EXPECT_FALSE(IsValidUtf8("\xC0\x80"));  // overlong
  EXPECT_FALSE(IsValidUtf8("\xE2\x82"));  // truncated
  EXPECT_FALSE(
      IsValidUtf8("\xE2\x82"
                  "A"));  // the last byte is no continuation
  EXPECT_TRUE(IsValidUtf8("\xF0\x9F\x8E\xAE"));
}

TEST(Text, ValReadsLikeBasic) {
  EXPECT_EQ(Val("7"), 7);
  EXPECT_EQ(Val("  12abc"), 12);
  EXPECT_EQ(Val("abc"), 0);
  EXPECT_EQ(Val("-3"), -3);
  EXPECT_EQ(Val("1 2"), 12);  // blanks inside a number are skipped
  EXPECT_DOUBLE_EQ(Val("2.5"), 2.5);
  EXPECT_EQ(Val("&HFF"), 255);
  EXPECT_EQ(ValInt("2.5"), 2);  // half to even
  EXPECT_EQ(ValInt("3.5"), 4);
  EXPECT_EQ(ValInt("99999999999"), 2147483647);
}

TEST(Text, CaseTrimLinesAndExtensions) {
  EXPECT_EQ(Trim(" \tab c \t"), "ab c");
  EXPECT_EQ(RemoveBlanks(" Default Output Dir = x"), "DefaultOutputDir=x");
  EXPECT_EQ(Extension4("game.pbp"), ".PBP");
  EXPECT_EQ(Extension4("a.b"), "A.B");
  EXPECT_EQ(SplitLines("a\r\nb\nc\rd"), (std::vector<std::string>{"a", "b", "c", "d"}));
  EXPECT_EQ(SplitLines("a\r\n\r\n"), (std::vector<std::string>{"a", ""}));
  EXPECT_EQ(CharCount("\xC3\xA9t\xC3\xA9"), 3u);
  EXPECT_EQ(LeftChars("\xC3\xA9t\xC3\xA9", 2), "\xC3\xA9t");
}

TEST(ByteReader, StopsAtTheEndWithoutReadingPastIt) {
  const uint8_t data[] = {1, 0, 2, 0, 0, 0, 'a', 'b', 0, 'z'};
  ByteReader r(data);
  EXPECT_EQ(r.Le16(), 1);
  EXPECT_EQ(r.Le32(), 2u);
  EXPECT_EQ(r.FixedString(4), "ab");
  EXPECT_TRUE(r.ok());
  EXPECT_EQ(r.Le32(), 0u);  // only 0 bytes left
  EXPECT_FALSE(r.ok());
  EXPECT_EQ(r.U8(), 0);  // stays failed
  EXPECT_TRUE(RangeFits(4, 6, 10));
  EXPECT_FALSE(RangeFits(4, 7, 10));
  EXPECT_FALSE(RangeFits(0xFFFFFFFFull, 0xFFFFFFFFFFFFFFFFull, 10));
}

}  // namespace
}  // namespace ebf
