#pragma once
// A small, independent reader of the packages the converter writes, for the tests: section
// bytes, the disc header, index entries (u16 size, u16 marker) and single blocks (37,632
// bytes stored, anything else raw deflate).

#include <zlib.h>

#include <cstring>
#include <optional>
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
  bool EntryIsZero(uint32_t slot) const {
    const uint8_t* e = PsarAt(0x4000 + 32 * slot);
    for (int i = 0; i < 32; ++i)
      if (e[i]) return false;
    return true;
  }
  // One block's 37,632 plain bytes, or nullopt when it does not decode to exactly that.
  std::optional<Bytes> Block(uint32_t offset, uint32_t length) const {
    uint64_t at = uint64_t{Psar()} + 0x100000 + offset;
    if (at > bytes_.size()) return std::nullopt;
    // A length that runs past the end of the file reads what is there.
    if (length != kTestBlock && at + length > bytes_.size())
      length = static_cast<uint32_t>(bytes_.size() - at);
    if (at + length > bytes_.size()) return std::nullopt;
    const uint8_t* src = &bytes_[at];
    if (length == kTestBlock) return Bytes(src, src + length);
    Bytes out(kTestBlock + 1);
    z_stream z{};
    if (inflateInit2(&z, -15) != Z_OK) return std::nullopt;
    z.next_in = const_cast<uint8_t*>(src);
    z.avail_in = length;
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    int rc = inflate(&z, Z_FINISH);
    size_t produced = z.total_out;
    inflateEnd(&z);
    if (rc != Z_STREAM_END || produced != kTestBlock) return std::nullopt;
    out.resize(kTestBlock);
    return out;
  }

 private:
  Bytes bytes_;
};

}  // namespace ebf::test
