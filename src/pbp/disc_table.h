#pragma once
// Where the discs of a package are: one "PSISOIMG0000" section at DATA.PSAR, or a title
// header whose table points at up to five of them.

#include <cstdint>
#include <string>
#include <vector>

#include "common/file_io.h"

namespace ebf::pbp {

struct DiscSection {
  uint64_t start = 0;    // of its "PSISOIMG0000" header, from the file start
  uint64_t dataEnd = 0;  // end of its last indexed block, from the file start
  std::string discId;    // "SLUS00594", from its own header
};

struct DiscTable {
  bool titled = false;             // a title header ("PSTITLEIMG") comes first
  std::vector<DiscSection> discs;  // in the table's order = disc order
  std::string sharedId;            // the title header's ID, "SLUS00594"; "" for one disc
  uint64_t startData = 0;          // the STARTDAT block, from the file start; 0 = none found
  std::string error;               // "" when every disc section was found and checked
};

// Reads the table of a package whose DATA.PSAR starts at `psar`. Every offset is checked
// against the file: a table of more than five discs, a section outside the file, sections
// that overlap or a missing section header give an error naming the disc.
DiscTable ReadDiscTable(File& file, uint64_t psar);

}  // namespace ebf::pbp
