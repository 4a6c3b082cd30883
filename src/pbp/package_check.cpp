#include "pbp/package_check.h"

#include "common/file_io.h"
#include "pbp/container.h"
#include "pbp/extract.h"
#include "pbp/psar.h"

namespace ebf::pbp {

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
