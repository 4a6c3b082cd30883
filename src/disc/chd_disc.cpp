// A disc from a CHD: the tracks its metadata lists, in the places a joined CUE sheet of
// the same tracks would give them, and its sectors decoded hunk by hunk.
#include <memory>

#include "disc/chd/chd_cd_image.h"
#include "disc/disc_openers.h"

namespace ebf {
namespace {

TrackMode ModeOf(const chd::CdTrackLayout& t) {
  if (t.audio) return TrackMode::Audio;
  return t.type.rfind("MODE1", 0) == 0 ? TrackMode::Mode1 : TrackMode::Mode2;
}

class ChdDisc final : public DiscImage {
 public:
  // A pregap of track 1 that the file does not hold is the 2-second gap before INDEX 01
  // that no image holds: as with a sheet, the disc starts at the first stored sector.
  ChdDisc(const std::string& path, std::unique_ptr<chd::ChdCdImage> image)
      : image_(std::move(image)) {
    const auto& layout = image_->tracks();
    skip_ = layout.front().pregapStored ? 0 : layout.front().pregap;
    info_.assembly = DiscAssembly::Decoded;
    info_.sheet = path;
    for (std::size_t k = 0; k < layout.size(); ++k) {
      const chd::CdTrackLayout& c = layout[k];
      DiscTrack d;
      d.number = c.number;
      d.mode = ModeOf(c);
      d.file = path;
      d.index1 = c.index1 - skip_;
      if (c.pregapStored || k == 0) {
        d.start = c.start + (c.pregapStored ? 0 : c.pregap) - skip_;
      } else {
        // Zeros in no file, as a sheet's PREGAP inserts them; the track starts at the first.
        d.pregap = c.pregap;
        d.start = c.start - skip_;
      }
      d.postgap = c.postgap;
      info_.tracks.push_back(d);
    }
    info_.sectorCount = image_->SectorCount() - skip_;
    FillTrackLengths(info_.tracks, info_.sectorCount);
  }

  const DiscInfo& info() const override { return info_; }

  std::string Read(uint32_t first, uint32_t count, std::span<uint8_t> out) override {
    if (first > info_.sectorCount || count > info_.sectorCount - first)
      return "Sectors " + std::to_string(first) + " to " + std::to_string(uint64_t{first} + count) +
             " lie outside the disc (" + std::to_string(info_.sectorCount) + " sectors)";
    return image_->ReadSectors(first + skip_, count, out);
  }

  void ExpectReadInOrder() override { image_->ExpectReadInOrder(); }
  std::string CheckWholeRead() override { return image_->VerifyWholeImage(); }

 private:
  std::unique_ptr<chd::ChdCdImage> image_;
  DiscInfo info_;
  uint32_t skip_ = 0;
};

}  // namespace

DiscOpenResult OpenChdDisc(const std::string& chdPath) {
  auto image = std::make_unique<chd::ChdCdImage>();
  if (std::string error = image->Open(chdPath); !error.empty()) return DiscFailure(error);
  const chd::CdTrackLayout& first = image->tracks().front();
  if (image->SectorCount() <= (first.pregapStored ? 0 : first.pregap))
    return DiscFailure(image->file().Message("holds no sectors."));
  DiscOpenResult r;
  r.disc = std::make_unique<ChdDisc>(chdPath, std::move(image));
  return r;
}

}  // namespace ebf
