#pragma once
// The look of the windows: a theme folder under Themes/ with a style.ini of colours, fonts
// and a title, plus pictures for dialog headers, backgrounds and buttons. Themes/Default
// backs every picture that a theme leaves out.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/program_folders.h"

namespace ebf {

// A colour value as a theme stores it: lowest byte red, then green, then blue, the way
// the theme author writes it (BBGGRR). -1 marks a value with a character that is no digit.
using ThemeColour = int64_t;
inline constexpr ThemeColour kBadColour = -1;

struct Theme {
  // nullopt: the key was missing, not exactly six characters or not hex; the window keeps the
  // desktop's own colour (button face, button text, edit background, edit text, and for
  // the box colour a shade derived from the button face).
  std::optional<ThemeColour> mainBg, mainFg, mainEditBg, mainEditFg, mainBoxBg;
  // A single blank means "keep the control's own font".
  std::string mainFont = " ";
  std::string mainTitle;

  // The title area of dialogs.
  ThemeColour dialogTitleTextCol = 0;
  ThemeColour dialogTitleLineCol = 0;
  int64_t dialogTitleTextAlpha = 0;
  int64_t dialogTitleLineAlpha = 0;
  std::string dialogFont = " ";
  std::string dialogTitleFont = " ";
  int dialogTitleLineHeight = 0;

  bool operator==(const Theme&) const = default;
};

// Hex digits read as one number, first digit most significant; ":" counts as ten (an old
// quirk that theme files rely on). Any other character, or more than 32 bits, gives -1.
ThemeColour ParseThemeHex(std::string_view digits);

// Reads style.ini text. The dialog title's text colour keeps its value from `previous`
// when the file does not name it; every other value starts from its fallback.
Theme ParseTheme(std::string_view text, const Theme& previous = {});

// Themes/<name>/style.ini, found case-blind, the user's tree before the shipped one.
std::string ThemeFilePath(const ProgramFolders& folders, const std::string& themeName);
// A missing or unreadable file gives the fallbacks (text colour kept from `previous`).
Theme LoadTheme(const ProgramFolders& folders, const std::string& themeName,
                const Theme& previous = {});

// The path of a theme picture: the theme's own, else the Default theme's, else "" (the
// caller then draws its built-in placeholder). In each, the user's tree comes first.
std::string FindThemePicture(const ProgramFolders& folders, const std::string& themeName,
                             const std::string& fileName);

// Folders under Themes/ (of either tree) that hold a style.ini, sorted by name, each once.
std::vector<std::string> ListThemes(const ProgramFolders& folders);

// Red, green and blue of a six-digit theme colour.
struct Rgb {
  uint8_t r, g, b;
};
inline Rgb ThemeColourToRgb(ThemeColour c) {
  const auto v = static_cast<uint32_t>(c);
  return {static_cast<uint8_t>(v & 0xFF), static_cast<uint8_t>((v >> 8) & 0xFF),
          static_cast<uint8_t>((v >> 16) & 0xFF)};
}

}  // namespace ebf
