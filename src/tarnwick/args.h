#pragma once
// The converter's command line: "<title>" <GAMEID> <level 0-9> "<image>", then for a game
// on several discs one <GAMEID> "<image>" pair for each later disc, in disc order.

#include <optional>
#include <string>
#include <vector>

namespace ebf::tarnwick {

inline constexpr char kUsage[] =
    "Usage: tarnwick.exe \"<title>\" <GAMEID> <level 0-9> \"<image>\" "
    "[<GAMEID2> \"<image2>\" ... up to disc 5]";
// Shown under the usage line when the converter is started without arguments.
inline constexpr char kDescription[] =
    "Writes EBOOT.PBP in the current folder from BASE.PBP, the staged pictures and sound, and\n"
    "the disc images. One image makes a package of one disc. Each further ID and image adds a\n"
    "disc to the same package, in disc order; the first ID names the package and its save\n"
    "data. ISO.TOC describes disc 1, ISO2.TOC to ISO5.TOC the later discs.";

// The disc menu of the PSP and the emulators see at most five.
inline constexpr std::size_t kMaxDiscs = 5;

struct LaterDisc {
  std::string gameId;     // this disc's own ID
  std::string imagePath;  // raw 2,352-byte sectors
};

struct ConverterArgs {
  std::string title;                  // UTF-8, at most 127 characters
  std::string gameId;                 // nine characters, such as SLUS00594
  int level = 9;                      // 0 = no compression
  std::string imagePath;              // raw 2,352-byte sectors
  std::vector<LaterDisc> laterDiscs;  // discs 2 to 5; empty for a one-disc game
};

// `args` excludes the program name. Arguments are single-byte ANSI text as the program
// passes them; valid UTF-8 (typed in a terminal) is taken as it is. On failure `message`
// holds the usage line (wrong count) or the one line saying what is wrong.
std::optional<ConverterArgs> ParseConverterArgs(const std::vector<std::string>& args,
                                                std::string& message);

}  // namespace ebf::tarnwick
