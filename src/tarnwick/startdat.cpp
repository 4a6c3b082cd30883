#include "tarnwick/startdat.h"

#include <cstring>

namespace ebf::tarnwick {

Bytes StartDatHeader(uint32_t pngSize) {
  Bytes header(kStartDatHeaderSize, 0);
  std::memcpy(header.data(), kStartDatMagic, kStartDatMagicSize);
  StoreLe32(header.data() + 0x08, 1);
  StoreLe32(header.data() + 0x0C, 1);
  StoreLe32(header.data() + kStartDatHeaderSizeField, kStartDatHeaderSize);
  StoreLe32(header.data() + kStartDatPngSizeField, pngSize);
  return header;
}

}  // namespace ebf::tarnwick
