#pragma once
// The tracks of a package's disc as its TOC places them: each track runs from its start
// (TOC bytes 7-9 minus 00:02:00) to the next track's start, the last one to the disc's end
// (A2, or the blocks' end when A2 is out of reach). These are the track files a Redump
// set has, and the sheet that names them.

#include <cstdint>
#include <string>
#include <vector>

#include "pbp/extract.h"

namespace ebf::pbp {

struct PackageTrack {
  int number = 0;
  bool audio = false;
  uint32_t start = 0;   // sectors from the image's start
  uint32_t length = 0;  // sectors
};

struct PackageDisc {
  std::vector<PackageTrack> tracks;
  uint32_t sectors = 0;  // the disc's length; never beyond what the blocks hold
};

// Returns "" or a message saying what in the table cannot be used.
std::string ReadPackageDisc(const DiscImageLayout& layout, PackageDisc& out);

// The pregap a sheet gives an audio track, INDEX 00 to INDEX 01: two seconds.
inline constexpr uint32_t kPregapSectors = 150;

// How a track appears in a sheet. `mode` is 1 or 2 for a data track (its first sector's
// mode byte), ignored for audio; `pregap` says the track starts with two seconds of pregap:
// INDEX 00 at its start, INDEX 01 150 sectors in.
struct SheetTrack {
  PackageTrack track;
  int mode = 2;
  bool pregap = false;
};

// "Game (Track 1).bin" ... : "(Track 01)" once the disc has ten tracks or more; a
// one-track disc is "Game.bin".
std::vector<std::string> SplitTrackNames(const std::string& stem, std::size_t trackCount);

// Sheet text, CR LF line ends. Split: one FILE per track, each track at 00:00:00 of its file
// (INDEX 00 00:00:00 and INDEX 01 00:02:00 for a pregap). One file: every track at its place
// in `binName`.
std::string SplitSheet(const std::vector<SheetTrack>& tracks,
                       const std::vector<std::string>& fileNames);
std::string OneFileSheet(const std::vector<SheetTrack>& tracks, const std::string& binName);

}  // namespace ebf::pbp
