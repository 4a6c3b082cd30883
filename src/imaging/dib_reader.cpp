#include "imaging/dib_reader.h"

#include <array>
#include <bit>

#include "common/bytes.h"

namespace ebf {
namespace {

struct MaskChannel {
  uint32_t mask = 0;
  int shift = 0;
  int bits = 0;
  uint8_t Extract(uint32_t value) const {
    if (bits == 0) return 0;
    uint32_t v = (value & mask) >> shift;
    if (bits >= 8) return static_cast<uint8_t>(v >> (bits - 8));
    // Spread a short field over 0..255 exactly (5 bits: 31 -> 255).
    return static_cast<uint8_t>((v * 255 + ((1u << bits) - 1) / 2) / ((1u << bits) - 1));
  }
};

MaskChannel MakeChannel(uint32_t mask) {
  MaskChannel c;
  c.mask = mask;
  if (mask == 0) return c;
  c.shift = std::countr_zero(mask);
  c.bits = std::popcount(mask);
  // A mask with holes is not a colour field any writer makes.
  if (c.bits < 32 && (mask >> c.shift) != (1u << c.bits) - 1) c.bits = 0;
  if (c.bits > 16) {
    // Keep only the top 16 bits so the arithmetic above cannot overflow.
    c.shift += c.bits - 16;
    c.mask = ((1u << 16) - 1) << c.shift;
    c.bits = 16;
  }
  return c;
}

void PutPixel(Picture& out, int64_t x, int64_t y, uint8_t b, uint8_t g, uint8_t r, uint8_t a) {
  uint8_t* p = out.Row(static_cast<int>(y)) + x * 4;
  p[0] = b;
  p[1] = g;
  p[2] = r;
  p[3] = a;
}

// Run-length pixels: records are read until the end-of-bitmap mark. Pixels the records
// skip stay transparent.
bool DecodeRle(std::span<const uint8_t> data, const DibHeader& h, int64_t height,
               const std::array<uint32_t, 256>& palette, uint32_t paletteCount, Picture& out) {
  const bool four = h.compression == kBiRle4;
  int64_t x = 0, y = 0;  // y counts from the bottom row
  std::size_t pos = 0;
  auto put = [&](uint32_t index) {
    if (x < out.width && y < height && index < paletteCount) {
      uint32_t c = palette[index];
      PutPixel(out, x, height - 1 - y, static_cast<uint8_t>(c), static_cast<uint8_t>(c >> 8),
               static_cast<uint8_t>(c >> 16), 255);
    }
    ++x;
  };
  while (pos + 2 <= data.size()) {
    const uint8_t count = data[pos], value = data[pos + 1];
    pos += 2;
    if (count > 0) {
      for (int i = 0; i < count; ++i) put(four ? ((i & 1) ? (value & 0x0F) : (value >> 4)) : value);
      continue;
    }
    if (value == 0) {  // end of line
      x = 0;
      ++y;
    } else if (value == 1) {  // end of bitmap
      return true;
    } else if (value == 2) {  // move by (dx, dy)
      if (pos + 2 > data.size()) return false;
      x += data[pos];
      y += data[pos + 1];
      pos += 2;
    } else {  // `value` literal pixels, padded to a 16-bit boundary
      const std::size_t bytes = four ? (value + 1u) / 2 : value;
      if (bytes > data.size() - pos) return false;
      for (int i = 0; i < value; ++i) {
        uint8_t byte = data[pos + (four ? i / 2 : i)];
        put(four ? ((i & 1) ? (byte & 0x0F) : (byte >> 4)) : byte);
      }
      pos += bytes + (bytes & 1);
    }
    if (y > height) return true;  // past the top: nothing more can land
  }
  // The data ended without its end-of-bitmap mark: the file is cut short.
  return false;
}

}  // namespace

bool ReadDibHeader(std::span<const uint8_t> dib, DibHeader& h) {
  h = DibHeader{};
  ByteReader r(dib);
  h.headerSize = r.Le32();
  if (!r.ok()) return false;
  if (h.headerSize == 12) {
    h.coreHeader = true;
    h.width = r.Le16();
    h.height = r.Le16();  // unsigned here: OS/2 bitmaps are always bottom-up
    r.Le16();             // planes
    h.bitCount = r.Le16();
  } else if (h.headerSize >= 40 && h.headerSize <= 1024) {
    h.width = static_cast<int32_t>(r.Le32());
    h.height = static_cast<int32_t>(r.Le32());
    r.Le16();  // planes
    h.bitCount = r.Le16();
    h.compression = r.Le32();
    r.Skip(12);  // image size, resolution
    h.colorsUsed = r.Le32();
    r.Le32();  // important colours
  } else {
    return false;
  }
  if (!r.ok()) return false;
  if (h.height < 0) {
    h.topDown = true;
    h.height = -h.height;
  }
  if (h.width < 1 || h.height < 1) return false;
  std::size_t afterHeader = h.headerSize;
  if (h.compression == kBiBitfields || h.compression == kBiAlphaBitfields) {
    if (h.bitCount != 16 && h.bitCount != 32) return false;
    const int count = h.compression == kBiAlphaBitfields ? 4 : 3;
    // Version 4 and 5 headers hold the masks; a plain 40-byte header is followed by them.
    ByteReader m(dib, 40);
    for (int i = 0; i < count; ++i) h.masks[i] = m.Le32();
    if (h.headerSize >= 56) h.masks[3] = m.Le32();
    if (!m.ok()) return false;
    if (h.headerSize == 40) afterHeader += 4u * count;
  } else if (h.compression == kBiRgb) {
    if (h.bitCount == 16) {
      h.masks[0] = 0x7C00, h.masks[1] = 0x03E0, h.masks[2] = 0x001F;
    } else if (h.bitCount == 24 || h.bitCount == 32) {
      h.masks[0] = 0xFF0000, h.masks[1] = 0xFF00, h.masks[2] = 0xFF;
    } else if (h.bitCount != 1 && h.bitCount != 4 && h.bitCount != 8) {
      return false;
    }
  } else if (h.compression == kBiRle8) {
    if (h.bitCount != 8 || h.topDown) return false;
  } else if (h.compression == kBiRle4) {
    if (h.bitCount != 4 || h.topDown) return false;
  } else {
    return false;  // JPEG or PNG inside a BMP, Huffman 1D: not supported
  }
  h.paletteOffset = afterHeader;
  if (h.bitCount <= 8) {
    const uint32_t full = 1u << h.bitCount;
    h.paletteCount = (h.colorsUsed == 0 || h.colorsUsed > full) ? full : h.colorsUsed;
  }
  return true;
}

bool DecodeDibPixels(std::span<const uint8_t> dib, const DibHeader& h, int64_t height,
                     std::span<const uint8_t> pixels, bool useAlpha, Picture& out) {
  out = Picture{};
  if (h.width > kMaxPictureSide || height > kMaxPictureSide) return false;
  const bool rle = h.compression == kBiRle8 || h.compression == kBiRle4;
  const uint64_t stride = DibStride(h.width, h.bitCount);
  const uint64_t lastRow = (static_cast<uint64_t>(h.width) * h.bitCount + 7) / 8;
  if (rle) {
    // A run record paints at most 255 pixels with two bytes.
    if (!FileCanHold(static_cast<uint64_t>(h.width * height), pixels.size(), 128)) return false;
  } else if (!RangeFits(0, stride * static_cast<uint64_t>(height - 1) + lastRow, pixels.size())) {
    return false;
  }
  if (!AllocatePicture(out, h.width, height)) return false;
  std::array<uint32_t, 256> palette{};
  if (h.bitCount <= 8) {
    const std::size_t entry = h.coreHeader ? 3 : 4;
    if (!RangeFits(h.paletteOffset, entry * h.paletteCount, dib.size())) return false;
    for (uint32_t i = 0; i < h.paletteCount; ++i) {
      const uint8_t* p = dib.data() + h.paletteOffset + i * entry;
      palette[i] = p[0] | (p[1] << 8) | (p[2] << 16);
    }
  }
  if (rle) return DecodeRle(pixels, h, height, palette, h.paletteCount, out);
  const MaskChannel red = MakeChannel(h.masks[0]), green = MakeChannel(h.masks[1]),
                    blue = MakeChannel(h.masks[2]), alpha = MakeChannel(h.masks[3]);
  const bool alphaFromData = (h.bitCount == 32 && useAlpha && h.compression == kBiRgb) ||
                             (alpha.bits > 0 && (h.bitCount == 16 || h.bitCount == 32));
  bool anyAlpha = false;
  for (int64_t row = 0; row < height; ++row) {
    const uint8_t* src = pixels.data() + stride * static_cast<uint64_t>(row);
    const int64_t y = h.topDown ? row : height - 1 - row;
    uint8_t* dst = out.Row(static_cast<int>(y));
    for (int64_t x = 0; x < h.width; ++x, dst += 4) {
      uint32_t c = 0;
      uint8_t a = 255;
      switch (h.bitCount) {
        case 1:
          c = palette[(src[x >> 3] >> (7 - (x & 7))) & 1];
          break;
        case 4:
          c = palette[(src[x >> 1] >> ((x & 1) ? 0 : 4)) & 0x0F];
          break;
        case 8:
          c = palette[src[x]];
          break;
        case 24:
          c = src[x * 3] | (src[x * 3 + 1] << 8) | (src[x * 3 + 2] << 16);
          break;
        case 16:
        case 32: {
          const uint32_t v = h.bitCount == 16 ? LoadLe16(src + x * 2) : LoadLe32(src + x * 4);
          c = blue.Extract(v) | (green.Extract(v) << 8) | (red.Extract(v) << 16);
          if (alphaFromData) a = h.compression == kBiRgb ? src[x * 4 + 3] : alpha.Extract(v);
          break;
        }
        default:
          return false;
      }
      dst[0] = static_cast<uint8_t>(c);
      dst[1] = static_cast<uint8_t>(c >> 8);
      dst[2] = static_cast<uint8_t>(c >> 16);
      dst[3] = a;
      anyAlpha |= a != 0;
    }
  }
  // Many writers leave the fourth byte zero: an alpha channel that hides everything means
  // there is no alpha channel.
  if (alphaFromData && !anyAlpha) {
    for (std::size_t i = 3; i < out.bgra.size(); i += 4) out.bgra[i] = 255;
  }
  return true;
}

}  // namespace ebf
