#include "pbp/package_check.h"

#include <algorithm>

#include "common/file_io.h"
#include "pbp/container.h"
#include "pbp/disc_table.h"
#include "pbp/extract.h"
#include "pbp/psar.h"

namespace ebf::pbp {
namespace {

// A package of several discs: each disc's blocks inside the file and before whatever
// follows its section (the next section in the file, or STARTDAT after the last).
std::string CheckDiscSet(File& f, const std::string& path, uint64_t psar, uint64_t size) {
  const DiscTable table = ReadDiscTable(f, psar);
  if (!table.error.empty()) return DiscTableProblem(table.error) + ".";
  if (table.startData == 0) return "its start data block cannot be found after its last disc.";
  if (size - table.startData < kStartDataPngLengthPos + 4)
    return "its start data block lies beyond the end of the file.";
  std::vector<uint64_t> starts;
  for (const DiscSection& d : table.discs) starts.push_back(d.start);
  std::sort(starts.begin(), starts.end());
  for (int disc = 1; disc <= static_cast<int>(table.discs.size()); ++disc) {
    DiscImageLayout layout;
    if (std::string e = ReadDiscImageLayout(f, path, layout, false, disc); !e.empty()) return e;
    const auto next = std::upper_bound(starts.begin(), starts.end(), layout.section);
    const uint64_t limit = next == starts.end() ? table.startData : *next;
    const uint64_t dataStart = layout.section + kPsarBlockDataPos;
    for (const BlockRef& b : layout.blocks)
      if (dataStart + b.offset + (b.length & 0xFFFF) > limit)
        return "the index of disc " + std::to_string(disc) + " runs past the end of its section.";
  }
  return {};
}

}  // namespace

std::string CheckWrittenPackage(const std::string& path) {
  auto bad = [&](const std::string& what) {
    return "The new package " + path + " is not whole: " + what;
  };
  File f(path, File::Mode::Read);
  if (!f) return bad("it cannot be read (" + f.LastError() + ").");
  const uint64_t size = f.Size();
  auto header = ReadPbpHeader(f);
  if (!header || header->magic != kPbpMagic) return bad("it has no PBP header.");
  uint64_t previous = kPbpHeaderSize;
  for (uint32_t offset : header->offsets) {
    if (offset < previous || offset > size) return bad("its section offsets are out of order.");
    previous = offset;
  }
  if (HasTitleHeader(f, header->psarOffset())) {
    std::string e = CheckDiscSet(f, path, header->psarOffset(), size);
    return e.empty() ? e : bad(e);
  }
  DiscImageLayout layout;
  if (std::string e = ReadDiscImageLayout(f, path, layout); !e.empty()) return bad(e);
  auto startData = FindStartData(f);
  if (!startData || *startData > size || size - *startData < kStartDataPngLengthPos + 4)
    return bad("its start data block lies beyond the end of the file.");
  const uint64_t dataStart = layout.psar + kPsarBlockDataPos;
  for (const BlockRef& b : layout.blocks) {
    // The entry's length is its low 16 bits; the high ones carry flags.
    const uint64_t end = dataStart + b.offset + (b.length & 0xFFFF);
    if (end > *startData) return bad("its disc image index runs past its last block.");
  }
  return {};
}

}  // namespace ebf::pbp
