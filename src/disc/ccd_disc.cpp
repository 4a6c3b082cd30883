// A disc from an image with a CloneCD sheet beside it: the image as a plain image, the
// tracks from the sheet's TOC entries (Point 1-99 at PLBA, which is INDEX 1; Control bit
// 0x04 marks a data track), each starting at the INDEX 0 its track section gives.
#include <algorithm>
#include <optional>

#include "common/ansi.h"
#include "common/files.h"
#include "disc/ccd_sheet.h"
#include "disc/disc_openers.h"

namespace ebf {
namespace {

constexpr uint64_t kMaxSheetBytes = 1 << 20;
constexpr int kDataControl = 0x04;

// The track's section, when it is clearly this track's: its number, and INDEX 1 at PLBA.
const CcdTrack* SectionOf(const CcdSheet& sheet, int number, int plba) {
  for (const CcdTrack& t : sheet.tracks) {
    if (t.number != number) continue;
    const bool sameStart = std::any_of(t.indexes.begin(), t.indexes.end(),
                                       [&](auto& i) { return i.first == 1 && i.second == plba; });
    if (sameStart) return &t;
  }
  return nullptr;
}

// The track's INDEX 0 when its section gives one before INDEX 1: the pregap, which the
// image holds, belongs to the track.
std::optional<int> PregapStart(const CcdTrack* section, int plba) {
  if (!section) return std::nullopt;
  for (const auto& [index, sector] : section->indexes)
    if (index == 0 && sector >= 0 && sector < plba) return sector;
  return std::nullopt;
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
    if (e.plba < 0 || (!tracks.empty() && static_cast<uint32_t>(e.plba) <= tracks.back().index1))
      return DiscFailure(which + " starts at sector " + std::to_string(e.plba) +
                         ", not after the track before it.");
    if (tracks.empty() && e.plba != 0)
      return DiscFailure(which + " starts at sector " + std::to_string(e.plba) +
                         "; the image must begin with track 1.");
    const CcdTrack* section = SectionOf(sheet, e.point, e.plba);
    DiscTrack t;
    t.number = e.point;
    t.mode = !(e.control & kDataControl)     ? TrackMode::Audio
             : section && section->mode == 1 ? TrackMode::Mode1
                                             : TrackMode::Mode2;
    t.start = t.index1 = static_cast<uint32_t>(e.plba);
    if (auto pregap = PregapStart(section, e.plba); pregap && !tracks.empty()) {
      if (static_cast<uint32_t>(*pregap) <= tracks.back().index1)
        return DiscFailure(which + " has INDEX 0 at sector " + std::to_string(*pregap) +
                           ", not after the track before it.");
      t.start = static_cast<uint32_t>(*pregap);
    }
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
