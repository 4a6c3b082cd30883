#pragma once
// A disc's track list as one line of text a track, so that a test compares it whole with
// lines written out by hand: "number mode start index1 length pregap postgap file" (or
// without the file, to compare two layouts of one disc).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/files.h"
#include "disc/disc_image.h"

namespace ebf::test {

using Rows = std::vector<std::string>;

inline Rows TrackRows(const DiscInfo& info, bool withFile = true) {
  Rows rows;
  for (const DiscTrack& t : info.tracks) {
    std::string row = std::to_string(t.number) + " " + TrackModeName(t.mode);
    for (uint32_t n : {t.start, t.index1, t.length, t.pregap, t.postgap})
      row += " " + std::to_string(n);
    rows.push_back(withFile ? row + " " + FileNameOf(t.file) : row);
  }
  return rows;
}

// Every sector, read in runs of an awkward size so that reads cross hunks, records, extents,
// tracks and files.
inline Bytes ReadAll(DiscImage& disc, uint32_t run = 37) {
  Bytes all(std::size_t{disc.info().sectorCount} * 2352);
  for (uint32_t s = 0; s < disc.info().sectorCount; s += run) {
    const uint32_t n = std::min(run, disc.info().sectorCount - s);
    EXPECT_EQ(disc.Read(s, n, std::span<uint8_t>(all.data() + std::size_t{s} * 2352, n * 2352u)),
              "");
  }
  return all;
}

}  // namespace ebf::test
