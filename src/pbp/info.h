#pragma once
// What a package holds, read without taking it apart: the fields the inspection reads,
// the section table, the block index and the TOC's tracks.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "pbp/container.h"
#include "pbp/psar.h"

namespace ebf::pbp {

struct TrackInfo {
  int number = 0;                         // BCD-decoded point
  bool data = false;                      // control nibble 4
  int minute = 0, second = 0, frame = 0;  // absolute start (PMin, PSec, PFrame)
};

// One disc of a package of several.
struct DiscInfo {
  int number = 0;        // from 1
  std::string gameId;    // from its own section, "SLUS00594"
  uint32_t sectors = 0;  // its length as its TOC gives it, never beyond its blocks
  uint64_t blocks = 0;
  uint64_t compressedBlocks = 0;
  uint64_t compressedSize = 0;  // bytes of its block data
  std::vector<TrackInfo> tracks;
  std::string problem;  // why its index or TOC could not be read ("" when they were)
};

struct EbootInfo {
  std::string title, gameId, saveName;
  uint64_t fileSize = 0;
  PbpHeader header;
  std::array<uint64_t, kSectionCount> sectionSizes{};
  uint64_t blocks = 0;
  uint64_t compressedBlocks = 0;
  uint64_t startData = 0;
  uint64_t bootPngSize = 0;
  std::vector<TrackInfo> tracks;
  // Why the block index and the TOC could not be read ("" when they were); the rest of
  // the description stands. Blocks, tracks and this are disc 1's in a package of several.
  std::string discImageProblem;
  // The sentence that says a patch journal left beside the package was rolled back ("" when
  // there was none).
  std::string recovered;
  // Every disc, when DATA.PSAR starts with a title header (a package of several discs);
  // empty for a package of one.
  std::vector<DiscInfo> discs;
};

// "" and the description, or the message of the window's inspection for a package it
// refuses (a missing file gives "File doesn't exist!"). A package the inspection opens is
// described, its disc image as far as it can be read. A patch of the package that never
// ended (its journal beside it) is rolled back first; a journal that cannot be rolled back
// gives the sentence that says so.
std::string ReadEbootInfo(const std::string& ebootPath, EbootInfo& out);

// "mm:ss:ff".
std::string FormatMsf(int minute, int second, int frame);

}  // namespace ebf::pbp
