// libFuzzer target: the three sheet parsers of the disc model (CUE, CloneCD, Alcohol MDS).
// The first byte picks the parser; the rest is the sheet. A CUE sheet is also written to a
// file and read line by line through the fixed buffer, as the input checks and the image
// opener read it.

#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>

#include "disc/ccd_sheet.h"
#include "disc/cue_sheet.h"
#include "disc/disc_image.h"
#include "disc/mds_sheet.h"

namespace {

// One scratch folder a process, removed when the fuzzer ends.
struct Scratch {
  std::string folder = "/tmp/ebf-fuzz-sheets-" + std::to_string(getpid());
  std::string cue = folder + "/fuzz.cue";
  Scratch() {
    if (mkdir(folder.c_str(), 0700) != 0) folder.clear();
  }
  ~Scratch() {
    std::remove(cue.c_str());
    std::remove(folder.c_str());
  }
};

void ReadCueFile(std::string_view text) {
  static const Scratch scratch;
  if (scratch.folder.empty()) return;
  if (std::FILE* f = std::fopen(scratch.cue.c_str(), "wb")) {
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
  }
  ebf::ReadCueFileEntry(scratch.cue);
  ebf::FindCueDataFile(scratch.cue);
  ebf::FindCueDataFiles(scratch.cue);
  ebf::OpenDiscImage(scratch.cue);
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
