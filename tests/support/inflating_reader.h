#pragma once
// A package reader that reads as the emulator readers which inflate every block do, written
// for the tests apart from the program's own package code: the index is read up to the
// first entry whose u32 at +4 (size and marker) is 0, each block's size comes from the next
// entry's offset, every block is inflated with Z_FINISH and must end its stream with
// exactly 37,632 bytes. A track starts at TOC bytes 7-9 minus 150; its audio position is
// bytes 3-5 (a byte position / 2,352 for CD-DA reads); the disc's length is A2's bytes 7-9.
// A package of several discs ("PSTITLEIMG000000" at DATA.PSAR) is read as the strictest of
// those readers does: up to five slots at +0x200, to the first zero, each disc's section
// read on its own from DATA.PSAR + slot.

#include <cstdint>
#include <string>
#include <vector>

#include "common/bytes.h"

namespace ebf::test {

class InflatingReader {
 public:
  // `disc` counts from 1.
  explicit InflatingReader(const std::string& packagePath, int disc = 1);

  // "" when the package's header, TOC and index were read.
  const std::string& error() const { return error_; }

  struct Track {
    int number = 0;
    bool audio = false;         // control byte exactly 0x01
    int64_t start = 0;          // bytes 7-9 as sectors, minus 150
    int64_t audioPosition = 0;  // bytes 3-5 as sectors
  };
  const std::vector<Track>& tracks() const { return tracks_; }
  uint32_t discSectors() const { return discSectors_; }  // A2 bytes 7-9
  int discCount() const { return discCount_; }
  uint64_t sectionStart() const { return psar_; }  // of the disc read, from the file start
  // The u16 size of every index entry read (the padding block's included).
  const std::vector<uint16_t>& entrySizes() const { return sizes_; }

  // Sectors [first, first + count) as the reader serves them; "" or why it cannot.
  std::string ReadSectors(uint32_t first, uint32_t count, Bytes& out);

 private:
  std::string Block(uint32_t index, Bytes& out);
  Bytes file_;
  uint64_t psar_ = 0;
  int discCount_ = 0;
  std::string error_;
  std::vector<Track> tracks_;
  uint32_t discSectors_ = 0;
  std::vector<uint32_t> offsets_;
  std::vector<uint16_t> sizes_;
};

}  // namespace ebf::test
