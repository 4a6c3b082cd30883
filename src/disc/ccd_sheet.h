#pragma once
// CloneCD control files (.ccd) as text: [Section] headers and Key=Value lines. Only what a
// disc's track list needs is kept: the TOC entries and the track sections.

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ebf {

struct CcdEntry {
  int session = 1;
  int point = -1;  // 1-99 a track; 0xA0, 0xA1, 0xA2 the lead entries
  int adr = 1;
  int control = -1;  // bit 0x04 set: a data track; -1 when the entry has none
  int plba = 0;
  bool hasPlba = false;
};
struct CcdTrack {
  int number = 0;                            // as the section is headed ([TRACK 1])
  int mode = -1;                             // MODE=: 0 audio, 1 mode 1, 2 mode 2; -1 when absent
  std::vector<std::pair<int, int>> indexes;  // INDEX n=sector
};
struct CcdSheet {
  int sessions = 1;
  std::vector<CcdEntry> entries;  // in the order of the file
  std::vector<CcdTrack> tracks;
};
struct CcdParse {
  CcdSheet sheet;
  std::string error;  // names the sheet and the line; "" when it was read
};

// Keys are matched case-blind; numbers are decimal or 0x hexadecimal. Sections other than
// [Disc], [Entry n] and [TRACK n] are passed over. At most 256 entries and 100 track
// sections.
CcdParse ParseCcdSheet(std::string_view text, const std::string& sheetName);

}  // namespace ebf
