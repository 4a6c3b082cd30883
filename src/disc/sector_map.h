#pragma once
// The disc model shared by the formats that keep sectors in plain files: the disc as a list
// of extents, each a run of sectors taken from one file in one format, or a run of zeros.

#include <cstdint>
#include <string>
#include <vector>

#include "common/bytes.h"
#include "common/file_io.h"
#include "disc/disc_file.h"
#include "disc/disc_image.h"

namespace ebf {

// How a run of sectors lies in its file.
enum class SectorFormat {
  Raw2352,  // raw sectors as they are
  Raw2448,  // raw sectors, each followed by 96 bytes of subchannel
  Iso2048,  // user data only; the raw header is made up (sync, address, mode 2)
  Zeros,    // in no file: an inserted gap
};

struct DiscExtent {
  uint32_t first = 0;  // disc sector
  uint32_t count = 0;
  SectorFormat format = SectorFormat::Raw2352;
  std::size_t file = 0;  // index into the disc's files
  uint64_t offset = 0;   // byte offset in that file of sector `first`
};

class SectorMapDisc final : public DiscImage {
 public:
  // Extents must follow each other from sector 0 without holes; info.sectorCount is their
  // end.
  SectorMapDisc(DiscInfo info, std::vector<std::string> files, std::vector<DiscExtent> extents);
  const DiscInfo& info() const override { return info_; }
  std::string Read(uint32_t first, uint32_t count, std::span<uint8_t> out) override;
  std::string CheckWholeRead() override;

 private:
  std::string ReadFile(std::size_t file, uint64_t offset, std::span<uint8_t> out);
  DiscInfo info_;
  std::vector<std::string> paths_;
  std::vector<DiscFile> files_;  // opened on first use
  std::vector<uint64_t> positions_;
  std::vector<DiscExtent> extents_;
  Bytes scratch_;
};

}  // namespace ebf
