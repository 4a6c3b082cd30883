#pragma once
// The STARTDAT block that ends DATA.PSAR: an 80-byte header, the boot picture, then a
// trailing blob that a package takes over from its template.

#include <cstdint>

#include "common/bytes.h"

namespace ebf::tarnwick {

inline constexpr char kStartDatMagic[] = "STARTDAT";
inline constexpr uint32_t kStartDatMagicSize = 8;
inline constexpr uint32_t kStartDatHeaderSize = 0x50;
inline constexpr uint32_t kStartDatHeaderSizeField = 0x10;
inline constexpr uint32_t kStartDatPngSizeField = 0x14;

Bytes StartDatHeader(uint32_t pngSize);

}  // namespace ebf::tarnwick
