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
};

// "" and the description, or the message the inspection or the extraction would give
// (a missing file gives "File doesn't exist!").
std::string ReadEbootInfo(const std::string& ebootPath, EbootInfo& out);

// "mm:ss:ff".
std::string FormatMsf(int minute, int second, int frame);

}  // namespace ebf::pbp
