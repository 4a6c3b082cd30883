// A plain image: one file of sectors with no sheet, one data track.
#include <array>
#include <cmath>

#include "common/cd_sector.h"
#include "common/files.h"
#include "disc/disc_file.h"
#include "disc/disc_openers.h"

namespace ebf {
namespace {

constexpr std::array<uint8_t, 4> kSyncStart = {0x00, 0xFF, 0xFF, 0xFF};
constexpr std::size_t kModeByte = 15;

uint32_t Sectors(uint64_t size, SectorFormat format) {
  switch (format) {
    case SectorFormat::Raw2448:
      return static_cast<uint32_t>(size / kRawSubSectorSize);
    case SectorFormat::Iso2048:
      // The nearest whole sector, ties to even; a short last sector reads as zeros.
      return static_cast<uint32_t>(std::nearbyint(static_cast<double>(size) / kIsoSectorSize));
    default:
      return static_cast<uint32_t>((size + kRawSectorSize - 1) / kRawSectorSize);
  }
}

}  // namespace

SectorFormat PlainImageFormat(const std::string& path, bool addIsoPadding) {
  DiscFile f(path);
  if (!f) return SectorFormat::Raw2352;
  const uint64_t len = f.Size();
  std::array<uint8_t, 4> head{};
  if (len % kRawSubSectorSize == 0 && len > kRawSubSectorSize + 4) {
    if (f.Seek(kRawSubSectorSize) && f.ReadExact(head) && head == kSyncStart)
      return SectorFormat::Raw2448;
  }
  if (len % kRawSubSectorSize != 0 && len % kIsoSectorSize == 0 && addIsoPadding && len >= 4) {
    if (f.Seek(0) && f.ReadExact(head) && head == std::array<uint8_t, 4>{0, 0, 0, 0})
      return SectorFormat::Iso2048;
  }
  return SectorFormat::Raw2352;
}

SectorMapParts PlainImagePartsAs(const std::string& path, SectorFormat format) {
  SectorMapParts parts;
  if (IsDirectory(path)) {
    parts.error = "Cannot read the image " + path + ": it is a folder";
    return parts;
  }
  DiscFile f(path);
  if (!f) {
    parts.error =
        f.Encoded() ? f.LastError() : "Cannot read the image " + path + ": " + f.LastError();
    return parts;
  }
  const uint64_t size = f.Size();
  if (size / kIsoSectorSize > UINT32_MAX) {
    parts.error = "The image " + path + " is too large for a CD";
    return parts;
  }
  const uint32_t sectors = Sectors(size, format);
  DiscTrack track;
  track.number = 1;
  std::array<uint8_t, kModeByte + 1> head{};
  if (format != SectorFormat::Iso2048 && f.ReadExact(head) && head[kModeByte] == 1)
    track.mode = TrackMode::Mode1;
  track.length = sectors;
  track.file = path;
  parts.info.tracks.push_back(track);
  parts.info.assembly = format == SectorFormat::Iso2048   ? DiscAssembly::IsoPadding
                        : format == SectorFormat::Raw2448 ? DiscAssembly::StripSubchannel
                        : f.Encoded()                     ? DiscAssembly::Decoded
                                                          : DiscAssembly::File;
  if (format == SectorFormat::Raw2352 && !f.Encoded()) parts.info.wholeFile = path;
  parts.files.push_back(path);
  if (sectors > 0) parts.extents.push_back({0, sectors, format, 0, 0});
  return parts;
}

SectorMapParts PlainImageParts(const std::string& path, bool addIsoPadding) {
  return PlainImagePartsAs(path, PlainImageFormat(path, addIsoPadding));
}

}  // namespace ebf
