#pragma once
// The openers of the formats behind OpenDiscImage, one source file each. Parsing a sheet is
// apart (cue_sheet, ccd_sheet, mds_sheet); an opener turns the parsed sheet and the files
// it names into a disc.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "disc/disc_image.h"
#include "disc/sector_map.h"

namespace ebf {

// What a disc built on the sector map is made of, before it is opened.
struct SectorMapParts {
  DiscInfo info;
  std::vector<std::string> files;
  std::vector<DiscExtent> extents;
  std::string error;  // set when the parts could not be put together
};
DiscOpenResult OpenParts(SectorMapParts parts);
DiscOpenResult DiscFailure(std::string message);

// A plain image: how its sectors lie is decided by its length and first bytes: 2,448-byte
// sectors when the length is a multiple of 2,448 and the second sector starts with a sync;
// 2,048-byte sectors when padding is on, the length is a multiple of 2,048 (not of 2,448)
// and the first four bytes are zero; otherwise raw 2,352-byte sectors as they are. One data
// track covers it.
SectorMapParts PlainImageParts(const std::string& path, bool addIsoPadding);
// The same with the format given (ISO padding rounds to the nearest whole sector).
SectorMapParts PlainImagePartsAs(const std::string& path, SectorFormat format);
SectorFormat PlainImageFormat(const std::string& path, bool addIsoPadding);

// Sheet tracks on a plain image (CloneCD, a one-file CUE sheet): every track must start
// inside the image; lengths follow from the starts.
std::string PutSheetTracks(SectorMapParts& parts, std::vector<DiscTrack> tracks,
                           const std::string& sheet);

DiscOpenResult OpenCueDisc(const std::string& cuePath, const DiscOpenOptions& options);
// A sheet of one file (IsOneFileCueSheet, its text given) on the image found for it. The
// lines the program's first reading passes over stay passed over; what would make a broken
// disc is refused as in any sheet: a mode of other than 2,352-byte sectors, tracks out of
// order or more than 99, INDEX lines out of order, a track without INDEX 01 or past the
// image's end.
DiscOpenResult OpenOneFileCueDisc(const std::string& cuePath, std::string_view text,
                                  const std::string& imagePath, const DiscOpenOptions& options);
DiscOpenResult OpenCcdDisc(const std::string& imagePath, const std::string& ccdPath,
                           const DiscOpenOptions& options);
DiscOpenResult OpenMdsDisc(const std::string& mdfPath, const std::string& mdsPath);
DiscOpenResult OpenChdDisc(const std::string& chdPath);

// Each track's length from the next track's start (the disc's end for the last).
void FillTrackLengths(std::vector<DiscTrack>& tracks, uint32_t sectorCount);

}  // namespace ebf
