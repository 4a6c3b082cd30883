#include "tarnwick/disc_toc.h"

#include <algorithm>

#include "common/cd_sector.h"
#include "common/file_io.h"
#include "common/files.h"

namespace ebf::tarnwick {
namespace {

// Frames (1/75 s) as BCD minute, second, frame.
void PutMsf(uint8_t* p, uint32_t frames) {
  const auto msf = BcdMsf(frames);
  std::copy(msf.begin(), msf.end(), p);
}

}  // namespace

TocArea DefaultToc(uint32_t sectors) {
  TocArea toc{};
  uint8_t* a0 = &toc[0];
  uint8_t* a1 = &toc[10];
  uint8_t* a2 = &toc[20];
  uint8_t* t1 = &toc[30];
  for (uint8_t* e : {a0, a1, a2, t1}) e[0] = 0x41;
  a0[2] = 0xA0;
  a0[7] = 0x01;
  a0[8] = 0x20;
  a1[2] = 0xA1;
  a1[7] = 0x01;
  a2[2] = 0xA2;
  PutMsf(a2 + 7, sectors);
  t1[2] = 0x01;
  PutMsf(t1 + 3, 0);
  PutMsf(t1 + 7, kLeadInSectors);
  return toc;
}

bool LoadTocFile(const std::string& path, TocArea& toc, std::string& error) {
  File file(path, File::Mode::Read);
  if (!file) {
    error = "Cannot read " + FileNameOf(path) + ": " + file.LastError();
    return false;
  }
  uint64_t size = file.Size();
  if (size > kTocSize) {
    error = FileNameOf(path) + " is too large for a table of contents (" + std::to_string(size) +
            " bytes, at most " + std::to_string(kTocSize) + ")";
    return false;
  }
  toc.fill(0);
  if (!file.ReadExact(std::span<uint8_t>(toc.data(), static_cast<size_t>(size)))) {
    error = "Cannot read " + FileNameOf(path) + ": " + file.LastError();
    return false;
  }
  return true;
}

}  // namespace ebf::tarnwick
