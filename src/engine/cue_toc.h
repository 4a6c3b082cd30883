#pragma once
// A CUE sheet turned into the table of contents the converter copies into the package
// (ISO.TOC): three lead entries and one ten-byte entry per track.

#include <cstdint>
#include <string>
#include <string_view>

#include "common/bytes.h"
#include "disc/cue_sheet.h"
#include "disc/disc_image.h"
#include "pbp/psar.h"

namespace ebf {

struct CueToc {
  Bytes toc;              // (last track + 3) entries
  std::string imageName;  // the sheet's FILE name, upper-cased as read ("" when none)
  int lastTrack = 0;
};

// Builds the table from the sheet's text; imageLength (bytes) gives the lead-out.
CueToc BuildCueToc(std::string_view cueText, uint64_t imageLength);

// ISO.TOC for a disc whose tracks come from a sheet (a joined CUE sheet, CloneCD, MDS): the
// table a one-file sheet gives, each track at its start + 00:02:00 in both time fields, the
// lead-out at the disc's length.
Bytes BuildDiscToc(const DiscInfo& disc);

// Writes the table to `tocName` (ISO.TOC, or ISO2.TOC to ISO5.TOC for the later discs of a
// game) in the output folder (ending in the separator), replacing an older one. Returns ""
// or the message.
std::string WriteIsoToc(const Bytes& toc, const std::string& outputFolder,
                        const std::string& tocName = "ISO.TOC");

struct CuePreparation {
  std::string result;     // "" when all went well, else the message
  std::string imagePath;  // the data file the sheet names
};

// Reads a sheet of one file, finds its image (the name beside the sheet unless absolute,
// found case-blind, else the same name ending in ".bin") and writes ISO.TOC into the output
// folder (ending in the separator). A sheet whose disc would come out broken (see
// OpenOneFileCueDisc) gets its message and no ISO.TOC.
CuePreparation PrepareCue(const std::string& cuePath, const std::string& outputFolder,
                          const DiscOpenOptions& options = {},
                          const std::string& tocName = "ISO.TOC");

}  // namespace ebf
