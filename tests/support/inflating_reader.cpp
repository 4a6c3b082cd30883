#include "support/inflating_reader.h"

#include <zlib.h>

#include <cstring>

#include "support/temp_dir.h"

namespace ebf::test {
namespace {

constexpr uint32_t kSector = 2352;
constexpr uint32_t kBlock = 16 * kSector;
constexpr uint64_t kToc = 0x800, kIndex = 0x4000, kData = 0x100000;

int Bcd(uint8_t b) {
  return (b >> 4) * 10 + (b & 15);
}
int64_t Frames(const uint8_t* msf) {
  return (Bcd(msf[0]) * 60 + Bcd(msf[1])) * 75 + Bcd(msf[2]);
}

}  // namespace

InflatingReader::InflatingReader(const std::string& packagePath, int disc)
    : file_(ReadFileBytes(packagePath)) {
  if (file_.size() < 40) {
    error_ = "not a package";
    return;
  }
  psar_ = LoadLe32(&file_[36]);
  discCount_ = 1;
  if (psar_ + 0x400 <= file_.size() && std::memcmp(&file_[psar_], "PSTITLEIMG000000", 16) == 0) {
    std::vector<uint32_t> slots;
    for (int i = 0; i < 5 && LoadLe32(&file_[psar_ + 0x200 + 4 * i]) != 0; ++i)
      slots.push_back(LoadLe32(&file_[psar_ + 0x200 + 4 * i]));
    discCount_ = static_cast<int>(slots.size());
    if (disc < 1 || disc > discCount_) {
      error_ = "no disc " + std::to_string(disc) + " in the table";
      return;
    }
    psar_ += slots[disc - 1];
  } else if (disc != 1) {
    error_ = "a package of one disc";
    return;
  }
  if (psar_ + kData > file_.size() || std::memcmp(&file_[psar_], "PSISOIMG0000", 12) != 0) {
    error_ = "no disc section";
    return;
  }
  const uint8_t* toc = &file_[psar_ + kToc];
  const int last = Bcd(toc[10 + 7]);
  discSectors_ = static_cast<uint32_t>(Frames(toc + 20 + 7));
  for (int i = 0; i < last; ++i) {
    const uint8_t* e = toc + 10 * (3 + i);
    tracks_.push_back({Bcd(e[2]), e[0] == 0x01, Frames(e + 7) - 150, Frames(e + 3)});
  }
  for (uint64_t at = psar_ + kIndex; at < psar_ + kData; at += 32) {
    offsets_.push_back(LoadLe32(&file_[at]));  // for the last, where the last block ends
    if (LoadLe32(&file_[at + 4]) == 0) break;
    sizes_.push_back(LoadLe16(&file_[at + 4]));
  }
}

std::string InflatingReader::Block(uint32_t index, Bytes& out) {
  if (index + 1 >= offsets_.size()) return "block " + std::to_string(index) + " is not indexed";
  const int64_t size = int64_t{offsets_[index + 1]} - offsets_[index];
  const uint64_t at = psar_ + kData + offsets_[index];
  if (size <= 0 || at + static_cast<uint64_t>(size) > file_.size())
    return "block " + std::to_string(index) + " has no size";
  out.assign(kBlock + 1, 0);
  z_stream z{};
  if (inflateInit2(&z, -15) != Z_OK) return "zlib";
  z.next_in = &file_[at], z.avail_in = static_cast<uInt>(size);
  z.next_out = out.data(), z.avail_out = static_cast<uInt>(out.size());
  const int rc = inflate(&z, Z_FINISH);
  const uLong made = z.total_out;
  inflateEnd(&z);
  if (rc != Z_STREAM_END || made != kBlock)
    return "block " + std::to_string(index) + " does not inflate (" + std::to_string(rc) + ", " +
           std::to_string(made) + " bytes)";
  out.resize(kBlock);
  return {};
}

std::string InflatingReader::ReadSectors(uint32_t first, uint32_t count, Bytes& out) {
  out.clear();
  Bytes block;
  for (uint32_t s = first; s < first + count; ++s) {
    if (s == first || s % 16 == 0)
      if (std::string e = Block(s / 16, block); !e.empty()) return e;
    const uint8_t* p = block.data() + (s % 16) * kSector;
    out.insert(out.end(), p, p + kSector);
  }
  return {};
}

}  // namespace ebf::test
