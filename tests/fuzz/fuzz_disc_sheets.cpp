// libFuzzer target: the three sheet parsers of the disc model (CUE, CloneCD, Alcohol MDS).
// The first byte picks the parser; the rest is the sheet.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "disc/ccd_sheet.h"
#include "disc/cue_sheet.h"
#include "disc/mds_sheet.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  switch (data[0] % 3) {
    case 0:
      ebf::ParseCueSheet(text, "fuzz.cue");
      ebf::ParseCueSheet(text, "fuzz.cue", ebf::CueReading::OneFile);
      ebf::IsOneFileCueSheet(text);
      break;
    case 1:
      ebf::ParseCcdSheet(text, "fuzz.ccd");
      break;
    default:
      ebf::ParseMdsSheet(std::span<const uint8_t>(data + 1, size - 1), "fuzz.mds");
      break;
  }
  return 0;
}
