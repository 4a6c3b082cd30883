#pragma once
// A CHD v5 file opened for reading hunks: header, map and metadata read and checked at
// open, hunks decoded on demand into a small cache (four hunks), each checked against the
// CRC-16 the map gives. Hunks taken in order from the first are also fed to a SHA-1 of
// the whole data, which VerifyDigests() completes and compares with the header's.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/file_io.h"
#include "disc/chd/chd_codecs.h"
#include "disc/chd/chd_header.h"
#include "disc/chd/chd_map.h"
#include "disc/chd/chd_metadata.h"

namespace ebf::chd {

class Sha1Stream;

class ChdFile {
 public:
  ChdFile();
  ~ChdFile();
  ChdFile(const ChdFile&) = delete;
  ChdFile& operator=(const ChdFile&) = delete;

  // "" when the file can be read, else a message that names the file.
  std::string Open(const std::string& path);

  const Header& header() const { return header_; }
  const std::vector<MapEntry>& map() const { return map_; }
  const std::vector<MetadataEntry>& metadata() const { return metadata_; }

  // The decoded hunk (hunkBytes bytes, valid until the next call), or nullptr with
  // error() saying why.
  const uint8_t* Hunk(uint32_t n);

  // Decodes the hunks not yet hashed in order, then compares the SHA-1 of the data and
  // the overall SHA-1 (data and checksummed metadata) with the header's. "" or a message.
  // Files whose header holds no digests (chdman stores none in uncompressed files) pass.
  std::string VerifyDigests();
  uint32_t HunksHashed() const { return nextHashed_; }

  const std::string& error() const { return error_; }
  // "\"name.chd\" " + sentence.
  std::string Message(const std::string& sentence) const;

 private:
  struct Slot {
    uint32_t hunk = ~0u;
    uint64_t lastUse = 0;
    std::vector<uint8_t> data;
  };
  const uint8_t* Load(uint32_t n);
  const uint8_t* Fail(const std::string& sentence);

  File file_;
  std::string path_;
  uint64_t fileSize_ = 0;
  Header header_;
  std::vector<MapEntry> map_;
  std::vector<MetadataEntry> metadata_;
  std::unique_ptr<HunkCodecs> codecs_;
  std::vector<uint8_t> stored_;
  std::array<Slot, 4> cache_;
  uint64_t useClock_ = 0;
  std::unique_ptr<Sha1Stream> sha1_;
  uint32_t nextHashed_ = 0;
  std::string error_;
};

}  // namespace ebf::chd
