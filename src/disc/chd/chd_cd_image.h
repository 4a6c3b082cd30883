#pragma once
// A CHD CD image seen as a disc: its tracks in disc order and its raw 2,352-byte sectors,
// exactly as the BIN/CUE set it was made from (joined, PREGAP and POSTGAP as zero sectors)
// would give them. The 4-frame padding after each track is skipped, audio comes out in
// the little-endian byte order of a .bin, and tracks stored cooked (2,048 or 2,336 bytes a
// sector) get their sync, header, EDC and ECC back.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "disc/chd/chd_file.h"

namespace ebf::chd {

struct CdTrackLayout {
  int number = 0;
  bool audio = false;
  std::string type;     // the CHD type: MODE2_RAW, AUDIO, MODE1_RAW, MODE1, MODE2 ...
  uint32_t start = 0;   // first sector in disc order (the pregap, INDEX 00, if any)
  uint32_t index1 = 0;  // INDEX 01
  uint32_t end = 0;     // one past the last sector (postgap included)
  uint32_t pregap = 0, postgap = 0;
  bool pregapStored = false;
  uint64_t chdFrame = 0;  // CHD frame of the first stored frame
  uint32_t storedFrames = 0;
  uint32_t firstStored = 0;  // disc sector of the first stored frame
};

class ChdCdImage {
 public:
  // "" or a message naming the file.
  std::string Open(const std::string& path);

  const std::vector<CdTrackLayout>& tracks() const { return tracks_; }
  uint32_t SectorCount() const { return sectors_; }

  // Sectors [first, first + count) in disc order, 2,352 bytes each, into `out`.
  // "" or a message.
  std::string ReadSectors(uint32_t first, uint32_t count, std::span<uint8_t> out);

  // After the whole disc was read in order: the header's SHA-1 digests are compared (the
  // few hunks no sector lies in, the track padding, are decoded here). A partial read,
  // such as game-ID detection, rests on the per-hunk CRCs alone and need not call this.
  std::string VerifyWholeImage() { return file_.VerifyDigests(); }

  // Before reading the whole disc in order: hunks are decoded ahead on worker threads.
  void ExpectReadInOrder() { file_.StartReadAhead(); }

  ChdFile& file() { return file_; }

 private:
  std::string ReadTrackSector(const CdTrackLayout& t, uint32_t sector, uint8_t* out);

  ChdFile file_;
  std::vector<CdTrackLayout> tracks_;
  uint32_t sectors_ = 0;
  std::size_t lastTrack_ = 0;
};

}  // namespace ebf::chd
