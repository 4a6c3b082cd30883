#pragma once
// A disc's track list as one line of text a track, so that a test compares it whole with
// lines written out by hand: "number mode start index1 length pregap postgap file" (or
// without the file, to compare two layouts of one disc).

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

}  // namespace ebf::test
