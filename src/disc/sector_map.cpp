#include "disc/sector_map.h"

#include <algorithm>
#include <cstring>

#include "common/cd_sector.h"

namespace ebf {
namespace {

constexpr uint64_t kUnknownPosition = ~uint64_t{0};

// The raw sector the ISO padding makes of 2,048 bytes of user data: sync, the BCD address,
// mode byte 2, the data at 16 and zeros where subheader, EDC and ECC would be. This layout
// is deliberate and is kept.
void PadIsoSector(uint32_t discSector, const uint8_t* user, uint8_t* out) {
  out[0] = 0;
  std::memset(out + 1, 0xFF, 10);
  out[11] = 0;
  const auto msf = BcdMsf(discSector + kLeadInSectors);
  std::memcpy(out + 12, msf.data(), 3);
  out[15] = 0x02;
  std::memcpy(out + 16, user, kIsoSectorSize);
  std::memset(out + 16 + kIsoSectorSize, 0, kRawSectorSize - 16 - kIsoSectorSize);
}

}  // namespace

SectorMapDisc::SectorMapDisc(DiscInfo info, std::vector<std::string> files,
                             std::vector<DiscExtent> extents)
    : info_(std::move(info)),
      paths_(std::move(files)),
      files_(paths_.size()),
      positions_(paths_.size(), kUnknownPosition),
      extents_(std::move(extents)) {
  info_.sectorCount = extents_.empty() ? 0 : extents_.back().first + extents_.back().count;
}

std::string SectorMapDisc::ReadFile(std::size_t index, uint64_t offset, std::span<uint8_t> out) {
  DiscFile& f = files_[index];
  auto failed = [&] {
    positions_[index] = kUnknownPosition;
    // An ECM file's own sentences name it.
    return f.Encoded() ? f.LastError() : "Cannot read " + paths_[index] + ": " + f.LastError();
  };
  if (!f && !f.Open(paths_[index])) return failed();
  // A seek empties the read buffer, so it is made only when the reads do not follow on.
  if (positions_[index] != offset && !f.Seek(offset)) return failed();
  const std::size_t got = f.Read(out);
  if (got < out.size()) {
    if (!f.LastError().empty()) return failed();
    std::memset(out.data() + got, 0, out.size() - got);  // past the file's end
    positions_[index] = kUnknownPosition;
    return {};
  }
  positions_[index] = offset + got;
  return {};
}

std::string SectorMapDisc::CheckWholeRead() {
  for (std::size_t i = 0; i < files_.size(); ++i) {
    if (!IsEcmPath(paths_[i])) continue;
    if (!files_[i] && !files_[i].Open(paths_[i])) return files_[i].LastError();
    positions_[i] = kUnknownPosition;
    if (std::string error = files_[i].CheckWhole(); !error.empty()) return error;
  }
  return {};
}

std::string SectorMapDisc::Read(uint32_t first, uint32_t count, std::span<uint8_t> out) {
  if (first > info_.sectorCount || count > info_.sectorCount - first ||
      out.size() < uint64_t{count} * kRawSectorSize)
    return "Sectors " + std::to_string(first) + " to " + std::to_string(uint64_t{first} + count) +
           " lie outside the disc (" + std::to_string(info_.sectorCount) + " sectors)";
  if (count == 0) return {};
  // The extent that holds `first`; the ones after it follow on without holes.
  auto it = std::upper_bound(extents_.begin(), extents_.end(), first,
                             [](uint32_t s, const DiscExtent& e) { return s < e.first; }) -
            1;
  uint8_t* dst = out.data();
  for (; count > 0; ++it) {
    const DiscExtent& e = *it;
    const uint32_t within = first - e.first;
    const uint32_t n = std::min(count, e.count - within);
    const std::size_t bytes = std::size_t{n} * kRawSectorSize;
    std::string error;
    switch (e.format) {
      case SectorFormat::Zeros:
        std::memset(dst, 0, bytes);
        break;
      case SectorFormat::Raw2352:
        error = ReadFile(e.file, e.offset + uint64_t{within} * kRawSectorSize,
                         std::span<uint8_t>(dst, bytes));
        break;
      case SectorFormat::Raw2448: {
        scratch_.resize(std::size_t{n} * kRawSubSectorSize);
        error = ReadFile(e.file, e.offset + uint64_t{within} * kRawSubSectorSize, scratch_);
        for (uint32_t i = 0; i < n && error.empty(); ++i)
          std::memcpy(dst + std::size_t{i} * kRawSectorSize,
                      scratch_.data() + std::size_t{i} * kRawSubSectorSize, kRawSectorSize);
        break;
      }
      case SectorFormat::Iso2048: {
        scratch_.resize(std::size_t{n} * kIsoSectorSize);
        error = ReadFile(e.file, e.offset + uint64_t{within} * kIsoSectorSize, scratch_);
        for (uint32_t i = 0; i < n && error.empty(); ++i)
          PadIsoSector(first + i, scratch_.data() + std::size_t{i} * kIsoSectorSize,
                       dst + std::size_t{i} * kRawSectorSize);
        break;
      }
    }
    if (!error.empty()) return error;
    first += n;
    count -= n;
    dst += bytes;
  }
  return {};
}

}  // namespace ebf
