#pragma once
// Redump / No-Intro style XML DAT files: <datafile><game name=".."><rom name=".." size=".."
// crc=".." md5=".." sha1=".."/>...</game></datafile>. Only what a disc's track files are
// looked up by is kept.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ebf {

struct DatRom {
  std::string name;
  std::optional<uint64_t> size;
  std::string crc, md5, sha1;  // lower-case hexadecimal, "" when the DAT gives none
};

struct DatGame {
  std::string name;
  std::vector<DatRom> tracks;  // the game's roms less its sheets (.cue), in DAT order
};

// Reads the DAT; returns "" or a message naming the file and what is wrong.
std::string ReadDatFile(const std::string& path, std::vector<DatGame>& games);

// What a track's figures are, for the lookup.
struct TrackFigures {
  uint64_t size = 0;
  std::string crc, md5, sha1;  // lower-case hexadecimal
};

// Whether a rom lists these figures: every figure the rom gives must be equal.
bool RomMatches(const DatRom& rom, const TrackFigures& track);

struct DatLookup {
  const DatGame* game = nullptr;  // the game all of whose tracks match, or else the closest
  bool matched = false;
  std::vector<int> differing;  // 1-based track numbers that do not match the closest game
};

// The game whose tracks are exactly these, in order. Without one, the game that shares the
// most tracks (at least one) and the tracks that differ from it; game stays null when no
// track is found at all.
DatLookup LookUpTracks(const std::vector<DatGame>& games, const std::vector<TrackFigures>& tracks);

}  // namespace ebf
