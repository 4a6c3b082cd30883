#pragma once
// A small, independent reader of the packages the converter writes, for the tests: section
// bytes, the disc header and index entries (u16 size, u16 marker, digest). The blocks
// themselves are read by support/inflating_reader.h.

#include <string>

#include "common/bytes.h"
#include "support/temp_dir.h"

namespace ebf::test {

inline constexpr uint32_t kTestBlock = 37632;

struct IndexEntry {
  uint32_t offset;
  uint16_t size;
  uint16_t marker;
  const uint8_t* digest;  // 16 bytes
};

class PackageBytes {
 public:
  explicit PackageBytes(const std::string& path) : bytes_(ReadFileBytes(path)) {}
  const Bytes& bytes() const { return bytes_; }
  uint32_t SectionOffset(int i) const { return LoadLe32(&bytes_.at(8 + 4 * i)); }
  Bytes Section(int i) const {
    uint32_t end = i == 7 ? static_cast<uint32_t>(bytes_.size()) : SectionOffset(i + 1);
    return Bytes(bytes_.begin() + SectionOffset(i), bytes_.begin() + end);
  }
  uint32_t Psar() const { return SectionOffset(7); }
  const uint8_t* PsarAt(uint32_t off) const { return &bytes_.at(Psar() + off); }
  std::string PsarText(uint32_t off, size_t n) const {
    std::string s(reinterpret_cast<const char*>(PsarAt(off)), n);
    return s.substr(0, s.find('\0'));
  }
  IndexEntry Entry(uint32_t slot) const {
    const uint8_t* e = PsarAt(0x4000 + 32 * slot);
    return {LoadLe32(e), LoadLe16(e + 4), LoadLe16(e + 6), e + 8};
  }

 private:
  Bytes bytes_;
};

}  // namespace ebf::test
