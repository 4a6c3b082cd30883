#include <gtest/gtest.h>

#include "common/ansi.h"
#include "common/bytes.h"
#include "common/pattern.h"
#include "common/text.h"

namespace ebf {
namespace {

TEST(Matches, WildcardsDigitsAndClasses) {
  EXPECT_TRUE(Matches("SLUS00594", "????#####"));
  EXPECT_FALSE(Matches("SLUS0059A", "????#####"));
  EXPECT_FALSE(Matches("SLUS005944", "????#####"));  // the pattern is anchored
  EXPECT_TRUE(
      Matches("SLUS-00594;SLUS00594;x;y;NTSC;SLUS00594", "????-#####;????#####;*;*;*;????#####"));
  EXPECT_TRUE(Matches("", "*"));
  EXPECT_TRUE(Matches("abc", "a*c"));
  EXPECT_TRUE(Matches("ac", "a*c"));
  EXPECT_FALSE(Matches("ab", "a*c"));
  EXPECT_TRUE(Matches("aXbXc", "*X*c"));  // needs backtracking

  EXPECT_TRUE(Matches("b", "[abc]"));
  EXPECT_FALSE(Matches("d", "[abc]"));
  EXPECT_TRUE(Matches("Q", "[A-Z]"));
  EXPECT_FALSE(Matches("q", "[A-Z]"));  // case-sensitive
  EXPECT_TRUE(Matches("q", "[!A-Z]"));
  EXPECT_FALSE(Matches("Q", "[!A-Z]"));
  EXPECT_TRUE(Matches("-", "[a-]"));  // trailing "-" is literal
  EXPECT_TRUE(Matches("Title [NTSC-U]", "*[[]NTSC-*]"));
  EXPECT_FALSE(Matches("Title (NTSC-U)", "*[[]NTSC-*]"));
  EXPECT_TRUE(Matches("a*b", "a[*]b"));
  EXPECT_FALSE(Matches("axb", "a[*]b"));
  EXPECT_TRUE(Matches("#1", "[#]#"));
  EXPECT_FALSE(Matches("x", "[x"));  // malformed: no match
  // "[]" is empty, which is how a literal "]" is written after it.
  EXPECT_TRUE(Matches("Game [NTSC-U]", "*[[]NTSC-*[]]*"));
  EXPECT_TRUE(Matches("ab", "a[]b"));
  EXPECT_FALSE(Matches("Game (NTSC-U)", "*[[]NTSC-*[]]*"));

  // "?" is one character, not one byte.
  EXPECT_TRUE(Matches("\xC3\xA9t\xC3\xA9", "?t?"));
  EXPECT_TRUE(Matches("\xC3\xA9", "[\xC3\xA0-\xC3\xBF]"));
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
