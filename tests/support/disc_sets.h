#pragma once
// Multi-track discs laid out as users have them, written into a folder: the files and the
// sheet beside them, and the disc they stand for (what a reader of the finished package
// must see, sector for sector). Each holds a 300-sector data track of a game whose ID is
// SLUS01234 and two tracks of incompressible audio.

#include <cstdint>
#include <string>
#include <vector>

#include "common/bytes.h"

namespace ebf::test {

struct DiscSet {
  std::string input;  // the path to convert: the sheet, or the image with its sheet beside
  Bytes disc;         // the whole disc, 2,352-byte sectors, gaps as zeros
  std::vector<std::string> files;  // every file the set is made of, sheet included
};

// One file per track, INDEX 00 00:00:00 and INDEX 01 00:02:00 in each audio file: files of
// 300, 375 and 450 sectors; the tracks start (first INDEX) at 0, 300 and 675 of 1,125.
DiscSet WriteRedumpSet(const std::string& folder, bool silentThirdPregap = false);
// One file (300 + 225 + 300 sectors): track 1 with POSTGAP 00:01:00, tracks 2 and 3 with
// PREGAP 00:02:00; the tracks start at 0, 525 and 900 of 1,200.
DiscSet WritePregapSheet(const std::string& folder);
// One file of 1,125 sectors and three tracks, INDEX 00 and INDEX 01 in the audio tracks;
// the tracks start (first INDEX) at 0, 300 and 675.
DiscSet WriteOneFileSheet(const std::string& folder, bool silentThirdPregap = false);
// game.img with game.ccd: 1,125 sectors, INDEX 01 of the tracks at 0, 450 and 825 (each
// audio track has a 150-sector pregap in the image).
DiscSet WriteCloneCdSet(const std::string& folder, bool silentThirdPregap = false);
// game.mdf with game.mds, the same disc as the CloneCD set, in sectors of `sectorSize`
// (2,352, or 2,448 with subchannel); `offsetAtPregap` puts each track's MDF offset at its
// pregap instead of at INDEX 01.
DiscSet WriteAlcoholSet(const std::string& folder, uint32_t sectorSize, bool offsetAtPregap,
                        bool silentThirdPregap = false);

// One disc in each layout users keep it in: the sets above with track 3's pregap silent
// (`silentThirdPregap`), the same disc with that pregap as a PREGAP line, the CloneCD set's
// image named game.bin (the input is its sheet) and game.iso (the input is the image),
// chdman's CHDs of the Redump set and of the PREGAP sheet, and the Redump set with every
// file ECM-packed (the sheet still names the .bin files).
// clang-format off
enum class SameDiscLayout { OneFileSheet, RedumpSet, PregapLine, CloneCd, CloneCdBin, CloneCdIso,
                            Alcohol, ChdOfRedumpSet, ChdOfPregapLine, EcmRedumpSet };
// clang-format on
DiscSet WriteSameDisc(SameDiscLayout layout, const std::string& folder);

// The sheet text of the Redump set with its three file names, for variants of it.
std::string RedumpSheet(const std::vector<std::string>& names);

}  // namespace ebf::test
