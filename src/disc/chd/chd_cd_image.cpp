#include "disc/chd/chd_cd_image.h"

#include <cstring>

#include "common/bytes.h"
#include "disc/cd_ecc.h"

namespace ebf::chd {
namespace {

// After each track the frames are padded to a multiple of four.
constexpr uint32_t kTrackPadding = 4;

uint8_t Bcd(uint32_t n) {
  return static_cast<uint8_t>((n / 10) << 4 | (n % 10));
}

// Sync and the sector address of disc sector `lba` (150 sectors of lead-in before it).
void PutSyncAndAddress(uint8_t* s, uint32_t lba, uint8_t mode) {
  std::memcpy(s, kSectorSync, sizeof kSectorSync);
  const uint32_t a = lba + 150;
  s[12] = Bcd(a / 4500);
  s[13] = Bcd(a / 75 % 60);
  s[14] = Bcd(a % 75);
  s[15] = mode;
}

}  // namespace

std::string ChdCdImage::Open(const std::string& path) {
  tracks_.clear();
  sectors_ = 0;
  std::string error = file_.Open(path);
  if (!error.empty()) return error;
  std::vector<ChdTrack> listed;
  error = ParseCdTracks(file_.metadata(), listed);
  if (!error.empty()) return file_.Message(error);

  uint64_t frame = 0, sector = 0;
  for (const ChdTrack& c : listed) {
    if (c.type == "MODE2_FORM1" || c.type == "MODE2_FORM2")
      return file_.Message("holds track " + std::to_string(c.number) + " as " + c.type +
                           " without its subheaders, so its raw sectors cannot be rebuilt.");
    CdTrackLayout t;
    t.number = c.number;
    t.audio = c.Audio();
    t.type = c.type;
    t.pregap = c.pregap;
    t.postgap = c.postgap;
    t.pregapStored = c.pregapStored;
    t.storedFrames = c.frames;
    t.chdFrame = frame;
    t.start = static_cast<uint32_t>(sector);
    t.firstStored = static_cast<uint32_t>(sector + (c.pregapStored ? 0 : c.pregap));
    t.index1 = t.start + c.pregap;
    sector += uint64_t{c.pregapStored ? 0 : c.pregap} + c.frames + c.postgap;
    if (sector > kMaxFrames) return file_.Message("is damaged: its tracks are longer than a CD.");
    t.end = static_cast<uint32_t>(sector);
    frame += c.frames + (kTrackPadding - c.frames % kTrackPadding) % kTrackPadding;
    tracks_.push_back(t);
  }
  // The last track's padding may be cut off; its frames may not.
  const uint64_t lastFrameEnd = tracks_.back().chdFrame + tracks_.back().storedFrames;
  if (lastFrameEnd * kRawSubSectorSize > file_.header().logicalBytes)
    return file_.Message("is damaged: its tracks run past the end of its data.");
  sectors_ = static_cast<uint32_t>(sector);
  return "";
}

std::string ChdCdImage::ReadTrackSector(const CdTrackLayout& t, uint32_t sector, uint8_t* out) {
  if (sector < t.firstStored || sector >= t.firstStored + t.storedFrames) {
    std::memset(out, 0, kRawSectorSize);  // a pregap or postgap the file does not hold
    return "";
  }
  const uint64_t frame = t.chdFrame + (sector - t.firstStored);
  const uint32_t perHunk = file_.header().FramesPerHunk();
  const uint8_t* hunk = file_.Hunk(static_cast<uint32_t>(frame / perHunk));
  if (!hunk) return file_.error();
  const uint8_t* src = hunk + (frame % perHunk) * kRawSubSectorSize;
  if (t.audio) {
    // Stored big-endian.
    for (uint32_t i = 0; i < kRawSectorSize; i += 2) {
      out[i] = src[i + 1];
      out[i + 1] = src[i];
    }
  } else if (t.type == "MODE1") {
    PutSyncAndAddress(out, sector, 1);
    std::memcpy(out + 16, src, 2048);
    StoreLe32(out + 0x810, CdEdc(out, 0x810));
    std::memset(out + 0x814, 0, 8);
    CdComputeEcc(out, false);
  } else if (t.type == "MODE2" || t.type == "MODE2_FORM_MIX") {
    PutSyncAndAddress(out, sector, 2);
    std::memcpy(out + 16, src, 2336);
  } else {
    std::memcpy(out, src, kRawSectorSize);
  }
  return "";
}

std::string ChdCdImage::ReadSectors(uint32_t first, uint32_t count, std::span<uint8_t> out) {
  if (uint64_t{first} + count > sectors_ || out.size() < std::size_t{count} * kRawSectorSize)
    return file_.Message("was read past its last sector.");
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t sector = first + i;
    if (lastTrack_ >= tracks_.size() || sector < tracks_[lastTrack_].start ||
        sector >= tracks_[lastTrack_].end) {
      lastTrack_ = 0;
      while (sector >= tracks_[lastTrack_].end) ++lastTrack_;
    }
    std::string error =
        ReadTrackSector(tracks_[lastTrack_], sector, out.data() + std::size_t{i} * kRawSectorSize);
    if (!error.empty()) return error;
  }
  return "";
}

}  // namespace ebf::chd
