#pragma once
// A CHD v5 file opened for reading hunks: header, map and metadata read and checked at
// open, hunks decoded on demand into a small cache (four hunks), each checked against the
// CRC-16 the map gives, or decoded ahead on worker threads for a read in order. Hunks taken in
// order from the first are also fed to a SHA-1 of the whole data, which VerifyDigests() completes
// and compares with the header's.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/file_io.h"
#include "disc/chd/chd_header.h"
#include "disc/chd/chd_hunk_reader.h"
#include "disc/chd/chd_map.h"
#include "disc/chd/chd_metadata.h"
#include "disc/chd/chd_read_ahead.h"

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

  // For a read through the whole file in order: hunks from the next one not yet hashed on
  // are decoded ahead on `workers` threads (none: read-ahead stays off). Reads out of
  // order still work; they are decoded here.
  void StartReadAhead(int workers = ReadAhead::DefaultWorkers());

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
  Slot& FreeSlot();
  void Hash(uint32_t n, const uint8_t* data);
  const uint8_t* Fail(const std::string& sentence);

  File file_;
  std::string path_;
  uint64_t fileSize_ = 0;
  Header header_;
  std::vector<MapEntry> map_;
  std::vector<MetadataEntry> metadata_;
  std::unique_ptr<HunkReader> reader_;
  std::unique_ptr<ReadAhead> ahead_;
  std::array<Slot, 4> cache_;
  uint64_t useClock_ = 0;
  std::unique_ptr<Sha1Stream> sha1_;
  uint32_t nextHashed_ = 0;
  std::string error_;
};

}  // namespace ebf::chd
