// Windows and OS/2 bitmaps: 1, 4, 8, 16, 24 and 32 bits, RLE4 and RLE8, both row orders.

#include "common/bytes.h"
#include "imaging/dib_reader.h"
#include "imaging/picture.h"

namespace ebf {

namespace {
constexpr std::size_t kFileHeaderSize = 14;
constexpr std::size_t kPixelOffsetField = 10;
}  // namespace

bool DecodeBmp(std::span<const uint8_t> data, Picture& out) {
  out = Picture{};
  if (data.size() < kFileHeaderSize + 12 || data[0] != 'B' || data[1] != 'M') return false;
  const std::span<const uint8_t> dib = data.subspan(kFileHeaderSize);
  DibHeader h;
  if (!ReadDibHeader(dib, h)) return false;
  const uint32_t pixelOffset = LoadLe32(data.data() + kPixelOffsetField);
  // The pixels can never start inside the headers.
  if (pixelOffset < kFileHeaderSize + h.headerSize || pixelOffset >= data.size()) return false;
  if (!DecodeDibPixels(dib, h, h.height, data.subspan(pixelOffset), false, out)) {
    out = Picture{};
    return false;
  }
  return true;
}

}  // namespace ebf
