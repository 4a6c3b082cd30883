#include "disc/disc_image.h"

#include <algorithm>
#include <cstring>

#include "common/cd_sector.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/classify.h"
#include "disc/disc_openers.h"

namespace ebf {
namespace {

bool IsFile(const std::string& path) {
  return FileSize(path).has_value() && !IsDirectory(path);
}

// The sheet beside an image: the same name with another extension, found case-blind.
std::string Companion(const std::string& path, const char* extension) {
  const std::size_t n = CharCount(path);
  return ResolveCaseBlind((n >= 4 ? LeftChars(path, n - 4) : path) + extension);
}

// Serves bytes from the disc's sectors, keeping the last sector read.
class DiscByteSource : public ByteSource {
 public:
  explicit DiscByteSource(DiscImage& disc) : disc_(disc) {}
  uint64_t Size() override { return uint64_t{disc_.info().sectorCount} * kRawSectorSize; }
  std::size_t ReadAt(uint64_t offset, std::span<uint8_t> out) override {
    std::size_t done = 0;
    while (done < out.size()) {
      const uint64_t at = offset + done;
      const uint64_t sector = at / kRawSectorSize;
      if (sector >= disc_.info().sectorCount) break;
      if (sector != cached_) {
        cached_ = ~uint64_t{0};
        if (!disc_.Read(static_cast<uint32_t>(sector), 1, sector_).empty()) break;
        cached_ = sector;
      }
      const std::size_t within = static_cast<std::size_t>(at % kRawSectorSize);
      const std::size_t n = std::min(out.size() - done, kRawSectorSize - within);
      std::memcpy(out.data() + done, sector_.data() + within, n);
      done += n;
    }
    return done;
  }

 private:
  DiscImage& disc_;
  std::array<uint8_t, kRawSectorSize> sector_{};
  uint64_t cached_ = ~uint64_t{0};
};

}  // namespace

const char* TrackModeName(TrackMode mode) {
  switch (mode) {
    case TrackMode::Audio:
      return "AUDIO";
    case TrackMode::Mode1:
      return "MODE1/2352";
    default:
      return "MODE2/2352";
  }
}

DiscOpenResult DiscFailure(std::string message) {
  DiscOpenResult r;
  r.message = std::move(message);
  return r;
}

DiscOpenResult OpenParts(SectorMapParts parts) {
  if (!parts.error.empty()) return DiscFailure(std::move(parts.error));
  DiscOpenResult r;
  r.disc = std::make_unique<SectorMapDisc>(std::move(parts.info), std::move(parts.files),
                                           std::move(parts.extents));
  return r;
}

void FillTrackLengths(std::vector<DiscTrack>& tracks, uint32_t sectorCount) {
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    const uint32_t end = i + 1 < tracks.size() ? tracks[i + 1].start : sectorCount;
    tracks[i].length = end > tracks[i].start ? end - tracks[i].start : 0;
  }
}

std::string PutSheetTracks(SectorMapParts& parts, std::vector<DiscTrack> tracks,
                           const std::string& sheet) {
  uint32_t sectors = 0;
  for (const DiscExtent& e : parts.extents) sectors = e.first + e.count;
  const std::string image = parts.files.empty() ? std::string() : FileNameOf(parts.files[0]);
  for (DiscTrack& t : tracks) {
    if (t.start >= sectors)
      return "Track " + std::to_string(t.number) + " of " + FileNameOf(sheet) +
             " starts at sector " + std::to_string(t.start) + ", beyond the end of " + image +
             " (" + std::to_string(sectors) + " sectors).";
    if (t.file.empty() && !parts.files.empty()) t.file = parts.files[0];
  }
  FillTrackLengths(tracks, sectors);
  parts.info.tracks = std::move(tracks);
  parts.info.sheet = sheet;
  return {};
}

DiscOpenResult OpenPlainDisc(const std::string& path, const DiscOpenOptions& options) {
  return OpenParts(PlainImageParts(path, options.addIsoPadding));
}

DiscOpenResult OpenDiscImage(const std::string& path, const DiscOpenOptions& options) {
  const std::string ext = Extension4(path);
  if (ext == ".CUE") return OpenCueDisc(path, options);
  if (ext == ".CHD") return OpenChdDisc(path);
  // A CloneCD sheet beside an image of any of the names it is kept under: CloneCD's .img,
  // or the .bin and .iso that extractions write beside their .ccd.
  if (ext == ".IMG" || ext == ".BIN" || ext == ".ISO") {
    const std::string ccd = Companion(path, ".ccd");
    if (IsFile(ccd)) return OpenCcdDisc(path, ccd, options);
  }
  if (ext == ".MDF") {
    const std::string mds = Companion(path, ".mds");
    if (IsFile(mds)) return OpenMdsDisc(path, mds);
  }
  // A sheet chosen for its image: the image beside it.
  if (ext == ".CCD") {
    const std::string image = CcdImagePath(path);
    if (IsFile(image)) return OpenCcdDisc(image, path, options);
  }
  if (ext == ".MDS") {
    const std::string mdf = Companion(path, ".mdf");
    if (IsFile(mdf)) return OpenMdsDisc(mdf, path);
  }
  return OpenPlainDisc(path, options);
}

std::unique_ptr<ByteSource> DiscBytes(DiscImage& disc) {
  return std::make_unique<DiscByteSource>(disc);
}

}  // namespace ebf
