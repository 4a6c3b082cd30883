#pragma once
// The converter's command line: options naming its files, then "<title>" <GAMEID>
// <level 0-9> "<image>", then for a game on several discs one <GAMEID> "<image>" pair for
// each later disc, in disc order. A file that no option names is read from (or, for the
// package, written to) the working folder under its usual name.

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace ebf::tarnwick {

inline constexpr char kUsage[] =
    "Usage: tarnwick.exe [--output FILE] [--template FILE] [--data-psp FILE] [--icon0 FILE] "
    "[--icon1 FILE] [--pic0 FILE] [--pic1 FILE] [--snd0 FILE] [--boot FILE] [--toc FILE] "
    "[--toc2 FILE ... --toc5 FILE] [--] \"<title>\" <GAMEID> <level 0-9> \"<image>\" "
    "[<GAMEID2> \"<image2>\" ... up to disc 5]";
// Shown under the usage line when the converter is started without arguments.
inline constexpr char kDescription[] =
    "Writes EBOOT.PBP in the current folder from BASE.PBP, the pictures and sound, and the disc\n"
    "images found there; the options name any of these files elsewhere. One image makes a\n"
    "package of one disc. Each further ID and image adds a disc to the same package, in disc\n"
    "order; the first ID names the package and its save data. ISO.TOC describes disc 1,\n"
    "ISO2.TOC to ISO5.TOC the later discs.";

// The disc menu of the PSP and the emulators see at most five.
inline constexpr std::size_t kMaxDiscs = 5;

struct LaterDisc {
  std::string gameId;     // this disc's own ID
  std::string imagePath;  // raw 2,352-byte sectors
};

// Where the converter reads and writes; "" is the working folder's file of the usual name.
struct ConverterFiles {
  std::string output;                       // EBOOT.PBP
  std::string templatePackage;              // BASE.PBP
  std::string dataPsp;                      // DATA.PSP
  std::array<std::string, 5> assets;        // ICON0.PNG, ICON1.PMF, PIC0.PNG, PIC1.PNG, SND0.AT3
  std::string boot;                         // BOOT.PNG
  std::array<std::string, kMaxDiscs> tocs;  // ISO.TOC, ISO2.TOC ... ISO5.TOC
};

struct ConverterArgs {
  ConverterFiles files;
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
