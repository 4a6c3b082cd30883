// libFuzzer target: the CHD reader (header, hunk map, metadata and track list, and the
// hunks a few sector reads touch). The input is written to a file, as the reader reads files.

#include <vector>

#include "disc/chd/chd_cd_image.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static const ebf::fuzz::ScratchFile scratch("input.chd");
  const std::string& path = scratch.Write(data, size);
  ebf::chd::ChdCdImage image;
  if (!image.Open(path).empty()) return 0;
  std::vector<uint8_t> sectors(2 * 2352);
  const uint32_t count = image.SectorCount();
  if (count > 0) {
    image.ReadSectors(0, 1, sectors);
    image.ReadSectors(count - 1, 1, sectors);
  }
  if (image.file().header().hunkCount <= 16) image.VerifyWholeImage();
  return 0;
}
