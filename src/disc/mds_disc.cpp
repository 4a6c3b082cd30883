// A disc from an MDF with an Alcohol descriptor (.mds) beside it. The MDF holds the disc's
// sectors from sector 0 on, one after another, each of the size the track blocks give
// (2,352, or 2,448 with subchannel); the tracks start where the blocks say, less the pregap
// each track's extra block gives.
#include "common/cd_sector.h"
#include "common/files.h"
#include "disc/disc_openers.h"
#include "disc/mds_sheet.h"

namespace ebf {
namespace {

constexpr uint64_t kMaxSheetBytes = 16 << 20;
constexpr uint8_t kDataControl = 0x04;
constexpr uint8_t kModeNibbleMode1 = 0xA;

}  // namespace

DiscOpenResult OpenMdsDisc(const std::string& mdfPath, const std::string& mdsPath) {
  const std::string name = FileNameOf(mdsPath);
  Bytes bytes;
  if (!ReadWholeFile(mdsPath, bytes, kMaxSheetBytes))
    return DiscFailure("Cannot read the Alcohol sheet " + mdsPath + ".");
  MdsParse parse = ParseMdsSheet(bytes, name);
  if (!parse.error.empty()) return DiscFailure(parse.error);
  if (parse.sheet.sessions.size() != 1)
    return DiscFailure(name + " describes " + std::to_string(parse.sheet.sessions.size()) +
                       " sessions; only discs of one session can be converted.");

  std::vector<DiscTrack> tracks;
  uint16_t sectorSize = 0;
  for (const MdsTrackBlock& b : parse.sheet.sessions[0].blocks) {
    if (b.point < 1 || b.point > 99) continue;
    const std::string which = "Track " + std::to_string(b.point) + " in " + name;
    if (b.point != tracks.size() + 1)
      return DiscFailure(which + " is out of order; tracks must be listed 1, 2, 3 ... in order.");
    if (b.sectorSize != kRawSectorSize && b.sectorSize != kRawSubSectorSize)
      return DiscFailure(which + " has sectors of " + std::to_string(b.sectorSize) +
                         " bytes; only 2,352 and 2,448 can be read.");
    if (sectorSize != 0 && b.sectorSize != sectorSize)
      return DiscFailure(which + " has sectors of another size than the tracks before it.");
    sectorSize = b.sectorSize;
    if (tracks.empty() ? b.startSector != 0 : b.startSector <= tracks.back().index1)
      return DiscFailure(which + " starts at sector " + std::to_string(b.startSector) +
                         (tracks.empty() ? "; the image must begin with track 1."
                                         : ", not after the track before it."));
    // Readers disagree on whether the offset points at INDEX 01 or at the pregap before it;
    // either way the MDF holds sector n at n x size. Anything else is another layout.
    const uint64_t at = b.startOffset / b.sectorSize;
    if (b.startOffset % b.sectorSize != 0 ||
        (at != b.startSector && at + b.pregap != b.startSector))
      return DiscFailure(which + " lies at byte " + std::to_string(b.startOffset) +
                         " of the MDF, which does not follow from its start sector; this "
                         "layout cannot be read.");
    DiscTrack t;
    const bool data = (b.adrControl & kDataControl) != 0;
    t.number = b.point;
    t.mode = !data                                 ? TrackMode::Audio
             : (b.mode & 0x0F) == kModeNibbleMode1 ? TrackMode::Mode1
                                                   : TrackMode::Mode2;
    t.start = t.index1 = b.startSector;
    // The pregap lies in the MDF before INDEX 01 and belongs to the track; track 1's is the
    // two seconds no image holds.
    if (!tracks.empty() && b.pregap > 0) {
      if (b.pregap >= b.startSector - tracks.back().index1)
        return DiscFailure(which + " has a pregap of " + std::to_string(b.pregap) +
                           " sectors, which reaches back past the start of the track before it.");
      t.start = b.startSector - b.pregap;
    }
    tracks.push_back(t);
  }
  if (tracks.empty()) return DiscFailure(name + " lists no tracks.");

  SectorMapParts parts = PlainImagePartsAs(
      mdfPath, sectorSize == kRawSubSectorSize ? SectorFormat::Raw2448 : SectorFormat::Raw2352);
  if (!parts.error.empty()) return DiscFailure(parts.error);
  const MdsTrackBlock* last = nullptr;
  for (const MdsTrackBlock& b : parse.sheet.sessions[0].blocks)
    if (b.point == tracks.back().number) last = &b;
  const uint64_t needed = uint64_t{tracks.back().index1} + (last->hasExtra ? last->length : 1);
  const uint64_t held = parts.extents.empty() ? 0 : parts.extents.back().count;
  if (held < needed)
    return DiscFailure(FileNameOf(mdfPath) + " holds " + std::to_string(held) +
                       " sectors, fewer than the " + std::to_string(needed) + " that " + name +
                       " describes.");
  if (std::string e = PutSheetTracks(parts, std::move(tracks), mdsPath); !e.empty())
    return DiscFailure(e);
  return OpenParts(std::move(parts));
}

}  // namespace ebf
