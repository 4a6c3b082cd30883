// A disc from an IMG with a CloneCD sheet beside it: the IMG as a plain image, the tracks
// from the sheet's TOC entries (Point 1-99 at PLBA; Control bit 0x04 marks a data track).
#include <algorithm>

#include "common/ansi.h"
#include "common/files.h"
#include "disc/ccd_sheet.h"
#include "disc/disc_openers.h"

namespace ebf {
namespace {

constexpr uint64_t kMaxSheetBytes = 1 << 20;
constexpr int kDataControl = 0x04;

// The data mode the track's section gives, when that section is clearly this track's.
TrackMode DataMode(const CcdSheet& sheet, int number, int plba) {
  for (const CcdTrack& t : sheet.tracks) {
    if (t.number != number) continue;
    const bool sameStart = std::any_of(t.indexes.begin(), t.indexes.end(),
                                       [&](auto& i) { return i.first == 1 && i.second == plba; });
    if (sameStart && t.mode == 1) return TrackMode::Mode1;
  }
  return TrackMode::Mode2;
}

}  // namespace

DiscOpenResult OpenCcdDisc(const std::string& imagePath, const std::string& ccdPath,
                           const DiscOpenOptions& options) {
  const std::string name = FileNameOf(ccdPath);
  Bytes bytes;
  if (!ReadWholeFile(ccdPath, bytes, kMaxSheetBytes))
    return DiscFailure("Cannot read the CloneCD sheet " + ccdPath + ".");
  const bool empty = bytes.size() == 1 && bytes[0] == 0;
  CcdParse parse =
      ParseCcdSheet(TextFileToUtf8(std::string_view(reinterpret_cast<const char*>(bytes.data()),
                                                    empty ? 0 : bytes.size())),
                    name);
  if (!parse.error.empty()) return DiscFailure(parse.error);
  const CcdSheet& sheet = parse.sheet;
  if (sheet.sessions != 1)
    return DiscFailure(name + " describes " + std::to_string(sheet.sessions) +
                       " sessions; only discs of one session can be converted.");

  std::vector<DiscTrack> tracks;
  for (const CcdEntry& e : sheet.entries) {
    if (e.point < 1 || e.point > 99 || e.adr != 1) continue;
    const std::string which = "The entry for track " + std::to_string(e.point) + " in " + name;
    if (e.session != 1)
      return DiscFailure(which + " belongs to session " + std::to_string(e.session) + ".");
    if (!e.hasPlba || e.control < 0) return DiscFailure(which + " has no PLBA or Control.");
    if (e.point != static_cast<int>(tracks.size()) + 1)
      return DiscFailure(which + " is out of order; tracks must be listed 1, 2, 3 ... in order.");
    if (e.plba < 0 || (!tracks.empty() && static_cast<uint32_t>(e.plba) <= tracks.back().start))
      return DiscFailure(which + " starts at sector " + std::to_string(e.plba) +
                         ", not after the track before it.");
    if (tracks.empty() && e.plba != 0)
      return DiscFailure(which + " starts at sector " + std::to_string(e.plba) +
                         "; the image must begin with track 1.");
    DiscTrack t;
    t.number = e.point;
    t.mode = (e.control & kDataControl) ? DataMode(sheet, e.point, e.plba) : TrackMode::Audio;
    t.start = t.index1 = static_cast<uint32_t>(e.plba);
    tracks.push_back(t);
  }
  if (tracks.empty()) return DiscFailure(name + " lists no tracks.");

  SectorMapParts parts = PlainImageParts(imagePath, options.addIsoPadding);
  if (!parts.error.empty()) return DiscFailure(parts.error);
  if (std::string e = PutSheetTracks(parts, std::move(tracks), ccdPath); !e.empty())
    return DiscFailure(e);
  return OpenParts(std::move(parts));
}

}  // namespace ebf
