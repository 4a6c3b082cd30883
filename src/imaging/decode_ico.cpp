// Icons and cursors: the largest image of the file (then the deepest), stored either as a
// PNG or as a bitmap followed by its 1-bit AND mask, where a set bit means transparent.

#include <algorithm>
#include <vector>

#include "common/bytes.h"
#include "imaging/dib_reader.h"
#include "imaging/picture.h"

namespace ebf {
namespace {

constexpr std::size_t kDirHeaderSize = 6;
constexpr std::size_t kDirEntrySize = 16;
constexpr uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};

struct Candidate {
  std::span<const uint8_t> bytes;
  uint64_t area = 0;
  int bits = 0;
};

bool IsPng(std::span<const uint8_t> bytes) {
  return bytes.size() >= 8 && std::equal(kPngSignature, kPngSignature + 8, bytes.begin());
}

bool DecodeIconBitmap(std::span<const uint8_t> dib, Picture& out) {
  DibHeader h;
  if (!ReadDibHeader(dib, h) || h.topDown) return false;
  if (h.compression != kBiRgb && h.compression != kBiBitfields) return false;
  // The stored height covers the colour rows and the mask rows.
  const int64_t height = h.height / 2;
  if (height < 1) return false;
  const std::size_t entry = h.coreHeader ? 3 : 4;
  const uint64_t pixelStart = h.paletteOffset + static_cast<uint64_t>(entry) * h.paletteCount;
  if (pixelStart > dib.size()) return false;
  const auto pixels = dib.subspan(pixelStart);
  if (!DecodeDibPixels(dib, h, height, pixels, true, out)) return false;

  bool alphaUsed = false;
  if (h.bitCount == 32) {
    for (std::size_t i = 3; i < out.bgra.size() && !alphaUsed; i += 4)
      alphaUsed = out.bgra[i] != 255;
  }
  if (alphaUsed) return true;  // a real alpha channel wins over the mask
  const uint64_t colourBytes = DibStride(h.width, h.bitCount) * static_cast<uint64_t>(height);
  const uint64_t maskStride = DibStride(h.width, 1);
  // Some icons end without their mask; they are then fully opaque.
  if (!RangeFits(colourBytes, maskStride * static_cast<uint64_t>(height), pixels.size()))
    return true;
  for (int64_t row = 0; row < height; ++row) {
    const uint8_t* mask = pixels.data() + colourBytes + maskStride * static_cast<uint64_t>(row);
    uint8_t* dst = out.Row(static_cast<int>(height - 1 - row));
    for (int64_t x = 0; x < h.width; ++x) {
      if ((mask[x >> 3] >> (7 - (x & 7))) & 1) dst[x * 4 + 3] = 0;
    }
  }
  return true;
}

}  // namespace

bool DecodeIco(std::span<const uint8_t> data, Picture& out) {
  out = Picture{};
  ByteReader r(data);
  const uint16_t reserved = r.Le16(), type = r.Le16(), count = r.Le16();
  if (!r.ok() || reserved != 0 || (type != 1 && type != 2) || count == 0) return false;
  if (!RangeFits(kDirHeaderSize, kDirEntrySize * count, data.size())) return false;

  std::vector<Candidate> candidates;
  for (uint16_t i = 0; i < count; ++i) {
    const uint8_t* e = data.data() + kDirHeaderSize + kDirEntrySize * i;
    const uint32_t size = LoadLe32(e + 8), offset = LoadLe32(e + 12);
    if (size == 0 || !RangeFits(offset, size, data.size())) continue;
    Candidate c;
    c.bytes = data.subspan(offset, size);
    // The directory's own sizes are often wrong; believe the image's header.
    if (IsPng(c.bytes)) {
      if (c.bytes.size() < 24) continue;
      c.area = static_cast<uint64_t>(LoadBe32(c.bytes.data() + 16)) * LoadBe32(c.bytes.data() + 20);
      c.bits = 32;
    } else {
      DibHeader h;
      if (!ReadDibHeader(c.bytes, h)) continue;
      c.area = static_cast<uint64_t>(h.width * (h.height / 2));
      c.bits = h.bitCount;
    }
    candidates.push_back(c);
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& a, const Candidate& b) {
                     return a.area != b.area ? a.area > b.area : a.bits > b.bits;
                   });
  for (const Candidate& c : candidates) {
    const bool ok = IsPng(c.bytes) ? DecodePng(c.bytes, out) : DecodeIconBitmap(c.bytes, out);
    if (ok) return true;
    out = Picture{};
  }
  return false;
}

}  // namespace ebf
