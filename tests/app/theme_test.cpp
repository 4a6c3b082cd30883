#include <gtest/gtest.h>

#include "app/settings.h"
#include "app/theme.h"
#include "common/files.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

TEST(ThemeHex, DigitsColonAndRejects) {
  // ":" is ten.
  const std::pair<const char*, ThemeColour> rows[] = {{"0000FF", 0xFF},
                                                      {"ff8000", 0xFF8000},
                                                      {"1:", 0x1A},
                                                      {"C0", 0xC0},
                                                      {"", 0},
                                                      {"12G4", kBadColour},
                                                      {"#FFFFFF", kBadColour},
                                                      {"FFFFFFFF", 0xFFFFFFFF},
                                                      {"1FFFFFFFF", kBadColour}};
  for (const auto& [text, value] : rows) EXPECT_EQ(ParseThemeHex(text), value) << text;
  const Rgb mixed = ThemeColourToRgb(0x302010);
  EXPECT_EQ(std::vector<int>({mixed.r, mixed.g, mixed.b}), std::vector<int>({0x10, 0x20, 0x30}));
}

TEST(ThemeReader, KeysLinesAndFallbacks) {
  const Theme t = ParseTheme(
      "; a comment\r\n"
      ";MAINFGCOL=000000\r\n"
      "  mainbgcol = 0000FF  \r\n"
      "MAINFGCOL = 12345\r\n"       // five digits: desktop colour
      "MainBgEditCol=00:000\r\n"    // six characters with the colon quirk
      "MAINFGEDITCOL = 00000G\r\n"  // six characters, not hex: desktop colour
      "mainfont=Tahoma\r\n"
      "MAINTITLE = My = Title\r\n"  // only the first "=" splits
      "a=\r\n"                      // short lines are skipped
      "NOEQUALSIGN\r\n"
      "UNKNOWN = 1\r\n"
      "DIALOGTILINECOL = FF\r\n"
      "DIALOGTILINECOL = 80FF\r\n"  // a later line wins
      "DIALOGTITEXTALPHA = zz\r\n"
      "DIALOGTILINEALPHA = C0\r\n"
      "DIALOGTILINEHEIGHT = 4\r\n"
      "DIALOGFONT =\r\n");
  EXPECT_EQ(t.mainBg.value_or(0), 0xFF);
  EXPECT_FALSE(t.mainFg.has_value());
  EXPECT_EQ(t.mainEditBg.value_or(0), 0xA000);
  EXPECT_FALSE(t.mainEditFg.has_value());
  EXPECT_FALSE(t.mainBoxBg.has_value());
  EXPECT_EQ(t.mainFont, "Tahoma");
  EXPECT_EQ(t.mainTitle, "My = Title");
  EXPECT_EQ(t.dialogTitleLineCol, 0x80FF);
  EXPECT_EQ(t.dialogTitleTextAlpha, kBadColour);
  EXPECT_EQ(t.dialogTitleLineAlpha, 0xC0);
  EXPECT_EQ(t.dialogTitleLineHeight, 4);
  EXPECT_EQ(t.dialogFont, " ");  // empty names become one blank
  EXPECT_EQ(t.dialogTitleFont, " ");
  EXPECT_EQ(t.dialogTitleTextCol, 0);

  // The title text colour survives a reload; nothing else does.
  const Theme first = ParseTheme("DIALOGTITEXTCOL = FFFFFF\nDIALOGTILINECOL = 00FF00\n");
  const Theme second = ParseTheme("MAINBGCOL = 000000\n", first);
  EXPECT_EQ(std::pair(second.dialogTitleTextCol, second.dialogTitleLineCol),
            std::pair(ThemeColour{0xFFFFFF}, ThemeColour{0}));
  EXPECT_EQ(ParseTheme("DIALOGTITEXTCOL = 10\n", first).dialogTitleTextCol, 0x10);
}

// Theme names are matched case-blind like every derived path; a folder without a style.ini
// is no theme.
TEST(ThemeFiles, LoadListAndTheUsersThemesFirst) {
  TempDir dir;
  ProgramFolders f;
  f.tree = dir.MakeDir("share") + "/";
  f.user = dir.MakeDir("user") + "/";
  dir.MakeDir("share/Themes/Default");
  dir.MakeDir("share/Themes/Night");
  dir.MakeDir("share/Themes/NoIni");
  dir.MakeDir("user/Themes/Night");
  dir.MakeDir("user/Themes/Amber");
  test::WriteFileText(dir / "share/Themes/Default/style.ini", "MAINTITLE=Shipped\n");
  test::WriteFileText(dir / "share/Themes/Night/style.ini",
                      "MAINBGCOL = 0000FF\nMAINTITLE=Shipped night\n");
  test::WriteFileText(dir / "share/Themes/Default/Ti_Main.jpg", "d");
  test::WriteFileText(dir / "share/Themes/Night/BG_SaveID.jpg", "n");
  test::WriteFileText(dir / "user/Themes/Night/style.ini", "MAINTITLE=My night\n");
  test::WriteFileText(dir / "user/Themes/Amber/style.ini", "MAINTITLE=Amber\n");
  test::WriteFileText(dir / "user/Themes/Amber/Ti_Main.jpg", "a");

  // The shipped tree alone.
  const Theme night = LoadTheme(f.tree, "night");
  EXPECT_EQ(night.mainTitle, "Shipped night");
  EXPECT_EQ(night.mainBg.value_or(0), 0xFF);
  EXPECT_EQ(FindThemePicture(f.tree, "Night", "Ti_Options.jpg"), "");
  EXPECT_EQ(ListThemes(f.tree), (std::vector<std::string>{"Default", "Night"}));
  EXPECT_TRUE(ListThemes(dir.MakeDir("bare") + "/").empty());
  // A theme that is not there keeps the title text colour it is given.
  Theme prev;
  prev.dialogTitleTextCol = 0x123456;
  const Theme missing = LoadTheme(f, "Gone", prev);
  EXPECT_FALSE(missing.mainBg.has_value());
  EXPECT_EQ(missing.dialogTitleTextCol, 0x123456);

  EXPECT_EQ(LoadTheme(f, "Night").mainTitle, "My night");
  EXPECT_EQ(LoadTheme(f, "amber").mainTitle, "Amber");
  EXPECT_EQ(LoadTheme(f, "Default").mainTitle, "Shipped");
  // A picture the user's theme lacks: the shipped copy of the same theme, then Default.
  EXPECT_EQ(FindThemePicture(f, "Night", "BG_SaveID.jpg"),
            dir / "share/Themes/Night/BG_SaveID.jpg");
  EXPECT_EQ(FindThemePicture(f, "Night", "Ti_Main.jpg"), dir / "share/Themes/Default/Ti_Main.jpg");
  EXPECT_EQ(FindThemePicture(f, "Amber", "ti_main.JPG"), dir / "user/Themes/Amber/Ti_Main.jpg");
  EXPECT_EQ(ListThemes(f), (std::vector<std::string>{"Amber", "Default", "Night"}));
  // The settings file may name a theme that only the user has.
  EXPECT_EQ(ParseSettings("Theme = Amber\r\n", f).settings.theme, "Amber");
  EXPECT_EQ(ParseSettings("Theme = Amber\r\n", ProgramFolders(f.tree)).settings.theme,
            Settings{}.theme);
}

}  // namespace
}  // namespace ebf
