#pragma once
// Big-endian reads of the widths CHD uses.

#include <cstdint>

namespace ebf::chd {

inline uint32_t LoadBe32(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}
inline uint16_t LoadBe16(const uint8_t* p) {
  return static_cast<uint16_t>((p[0] << 8) | p[1]);
}
inline uint32_t LoadBe24(const uint8_t* p) {
  return (uint32_t{p[0]} << 16) | (uint32_t{p[1]} << 8) | p[2];
}
inline uint64_t LoadBe48(const uint8_t* p) {
  return (uint64_t{LoadBe16(p)} << 32) | LoadBe32(p + 2);
}
inline uint64_t LoadBe64(const uint8_t* p) {
  return (uint64_t{LoadBe32(p)} << 32) | LoadBe32(p + 4);
}

}  // namespace ebf::chd
