// libFuzzer target: the three sheet parsers of the disc model (CUE, CloneCD, Alcohol MDS).
// The first byte picks the parser; the rest is the sheet. A CUE sheet is also written to a
// file and read line by line through the fixed buffer, as the input checks and the image
// opener read it.

#include <span>
#include <string_view>

#include "disc/ccd_sheet.h"
#include "disc/cue_sheet.h"
#include "disc/disc_image.h"
#include "disc/mds_sheet.h"
#include "scratch_file.h"

namespace {

// In a folder of its own, so that the files a sheet names are looked for there alone.
void ReadCueFile(std::string_view text) {
  static const ebf::fuzz::ScratchFolder folder("sheets");
  static const ebf::fuzz::ScratchFile file("fuzz.cue", folder.path);
  const std::string& cue = file.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size());
  ebf::ReadCueFileEntry(cue);
  ebf::FindCueDataFile(cue);
  ebf::FindCueDataFiles(cue);
  ebf::OpenDiscImage(cue);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  switch (data[0] % 3) {
    case 0:
      ebf::ParseCueSheet(text, "fuzz.cue");
      ebf::ParseCueSheet(text, "fuzz.cue", ebf::CueReading::OneFile);
      ebf::IsOneFileCueSheet(text);
      ReadCueFile(text);
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
