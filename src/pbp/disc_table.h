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
  // The STARTDAT block, from the file start; 0 = none found. For several discs it is taken
  // only after the data of every disc.
  uint64_t startData = 0;
  std::string error;  // "" when every disc section was found and checked
};

// Reads the table of a package whose DATA.PSAR starts at `psar`. Every offset is checked
// against the file: a table of more than five discs, a section outside the file, sections
// that overlap or a missing section header give an error naming the disc.
DiscTable ReadDiscTable(File& file, uint64_t psar);

// True when DATA.PSAR (at `psar`) starts with the title header of a package of several discs.
bool HasTitleHeader(File& file, uint64_t psar);

// How many discs the package holds: the table's count for a titled package whose table
// reads whole, else 1 (the routines that read disc 1 then say what is wrong with it).
int PackageDiscCount(const std::string& ebootPath);

// A table's error as the rest of a sentence: "the sections of disc 1 and disc 2 overlap".
std::string DiscTableProblem(const std::string& error);
// ... and as the program says it about a package: "The discs of the EBOOT "x" cannot be
// read: the sections of disc 1 and disc 2 overlap."
std::string DiscTableMessage(const std::string& ebootPath, const std::string& error);

}  // namespace ebf::pbp
