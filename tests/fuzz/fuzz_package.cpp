// libFuzzer target: a package as the program first meets it: the PBP header and sections,
// PARAM.SFO, the disc-image header and block index (of one disc, or of each disc a title
// header's table lists), the tracks its TOC gives (as extraction and verify read them), the
// start-data block, the PAL fix's view of the blocks and the
// check a new package passes before it is named EBOOT.PBP.

#include "common/file_io.h"
#include "pbp/container.h"
#include "pbp/disc_table.h"
#include "pbp/extract.h"
#include "pbp/info.h"
#include "pbp/inspect.h"
#include "pbp/package_check.h"
#include "pbp/package_tracks.h"
#include "pbp/patch.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static const ebf::fuzz::ScratchFile scratch("input.pbp");
  const std::string& path = scratch.Write(data, size);
  ebf::File f(path, ebf::File::Mode::Read);
  ebf::pbp::ReadInspection(f, path);
  ebf::pbp::DiscImageLayout layout;
  ebf::pbp::PackageDisc disc;
  if (ebf::pbp::ReadDiscImageLayout(f, path, layout).empty())
    ebf::pbp::ReadPackageDisc(layout, disc);
  if (auto psar = ebf::pbp::ReadLe32At(f, ebf::pbp::kPsarOffsetPos))
    ebf::pbp::ReadDiscTable(f, *psar);
  // Every disc a table may list, one past the most, and (as verify reads it) the index kept
  // past the file's end.
  for (int n = 1; n <= 6; ++n) {
    if (ebf::pbp::ReadDiscImageLayout(f, path, layout, true, n).empty())
      ebf::pbp::ReadPackageDisc(layout, disc);
  }
  ebf::pbp::PackageDiscCount(path);
  ebf::pbp::PalFixSpans(f);
  ebf::pbp::EbootInfo info;
  ebf::pbp::ReadEbootInfo(path, info);
  ebf::pbp::CheckWrittenPackage(path);
  ebf::pbp::CheckEbootForJob(path);
  return 0;
}
