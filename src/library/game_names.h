#pragma once
// What a game is called, as the name templates see it: the tokens %GAMEID%, %TITLE%,
// %FILENAME% and %REGION% (and %RESOURCE%, %EXT% for pictures), and the rules that make a
// name fit a memory stick or a RetroArch thumbnails folder.

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ebf {

struct ResolvedInput;

struct GameNames {
  std::string image;                 // the image as chosen (a sheet stays the sheet)
  std::string title;                 // the title from the game list, else the file's
  std::vector<std::string> gameIds;  // the disc's own, then the list's, each once
  std::string region;                // "NTSC", "PAL" or ""
};

// The names of a resolved input: its IDs those of the asset passes.
GameNames GameNamesOf(const ResolvedInput& resolved);

// The image's file name without its extension; "game.bin.ecm" loses both.
std::string ImageStem(const std::string& path);
// %FILENAME%: ImageStem without its "(Disc N)" and "(Track N)".
std::string FileNameToken(const std::string& path);
// The two spellings of an ID: "SLUS00594" and "SLUS-00594" give {"SLUS-00594", "SLUS00594"};
// anything else is given as it is.
std::vector<std::string> GameIdForms(const std::string& id);

// A token's name without its percent signs ("GAMEID") and the values it may take, tried in
// order.
using TokenValues = std::vector<std::pair<std::string, std::vector<std::string>>>;

// Every text the template makes, the first token's values changing slowest. Token names
// are case-blind; an unknown %WORD% stays as written; a known token without values makes
// no text at all.
std::vector<std::string> ExpandTemplate(std::string_view pattern, const TokenValues& values);

// A name a FAT volume can hold: control characters and "*/:<>?\| become '_', blanks and
// dots at the end go, device names (CON, LPT1 ...) get a '_' in front, at most 255
// characters. "" stays "".
std::string FatSafeName(std::string_view name);

// RetroArch's thumbnail name for a playlist label: &*/:`<>?\|" become '_'.
std::string ThumbnailName(std::string_view label);
// The text before the first '(' or '[', without the blanks before it.
std::string CutAtFirstBracket(std::string_view name);

}  // namespace ebf
