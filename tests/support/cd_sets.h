#pragma once
// Small BIN/CUE sets as users keep them, for the image readers' tests: a one-file data
// disc and a Redump-style set of a data track and two audio tracks (one pregap in its
// file, one from a PREGAP line), with the disc they stand for in disc order.

#include <cstdint>
#include <string>
#include <vector>

#include "common/bytes.h"

namespace ebf::test {

struct CdSet {
  std::string cuePath;
  std::vector<std::string> binPaths;
  Bytes disc;  // every sector in disc order, PREGAP lines as zero sectors
};

// "Data Disc.cue" + "Data Disc.bin": 419 Mode 2 sectors of a game disc (SLUS_012.34).
CdSet WriteDataOnlySet(const std::string& folder);

// "Mixed.cue" with "Mixed (Track 1).bin" (300 data sectors), "Mixed (Track 2).bin" (150
// sectors of silence as INDEX 00, then 220 of a tone) and "Mixed (Track 3).bin" (130
// sectors of another tone after "PREGAP 00:01:00").
CdSet WriteMixedSet(const std::string& folder);

// CD audio of a stereo tone with a little noise: compresses as music does.
Bytes ToneSectors(uint32_t count, double hertz, uint32_t seed);

}  // namespace ebf::test
