#pragma once
// Little-endian reads and writes over byte spans. Every read is bounds-checked: a reader
// that runs off the end stays failed and returns zeros, so a parser checks ok() once.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ebf {

using Bytes = std::vector<uint8_t>;

inline uint16_t LoadLe16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
inline uint32_t LoadLe32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
inline uint32_t LoadBe32(const uint8_t* p) {
  return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
         (static_cast<uint32_t>(p[2]) << 8) | static_cast<uint32_t>(p[3]);
}
inline void StoreLe16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline void StoreLe32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void StoreBe32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}

void AppendLe16(Bytes& out, uint16_t v);
void AppendLe32(Bytes& out, uint32_t v);
void AppendBytes(Bytes& out, std::string_view text);

class ByteReader {
 public:
  explicit ByteReader(std::span<const uint8_t> data, std::size_t pos = 0)
      : data_(data), pos_(pos), ok_(pos <= data.size()) {}

  bool ok() const { return ok_; }
  std::size_t pos() const { return pos_; }
  std::size_t remaining() const { return ok_ ? data_.size() - pos_ : 0; }
  bool Seek(std::size_t pos);
  bool Skip(std::size_t n);

  uint8_t U8();
  uint16_t Le16();
  uint32_t Le32();
  uint32_t Be32();
  // Copies n bytes; on a short read the reader fails and nothing is copied.
  bool Take(std::size_t n, std::span<uint8_t> out);
  std::span<const uint8_t> View(std::size_t n);
  // Text up to the first NUL within the next n bytes; the reader moves on by n.
  std::string FixedString(std::size_t n);

 private:
  bool Need(std::size_t n);
  std::span<const uint8_t> data_;
  std::size_t pos_;
  bool ok_;
};

// A byte range [offset, offset + length) that must lie within a whole of `size` bytes,
// computed without overflow.
inline bool RangeFits(uint64_t offset, uint64_t length, uint64_t size) {
  return offset <= size && length <= size - offset;
}

}  // namespace ebf
