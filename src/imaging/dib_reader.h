#pragma once
// The device-independent bitmap inside BMP files and icons: header, palette, pixel rows.
// Shared by the BMP and ICO/CUR readers.

#include <cstdint>
#include <span>

#include "imaging/picture.h"

namespace ebf {

struct DibHeader {
  uint32_t headerSize = 0;
  int64_t width = 0;
  int64_t height = 0;  // always positive here; see topDown
  bool topDown = false;
  uint16_t bitCount = 0;
  uint32_t compression = 0;
  uint32_t colorsUsed = 0;
  uint32_t masks[4] = {};         // red, green, blue, alpha
  bool coreHeader = false;        // OS/2 12-byte header: 3-byte palette entries
  std::size_t paletteOffset = 0;  // from the header start
  uint32_t paletteCount = 0;
};

inline constexpr uint32_t kBiRgb = 0;
inline constexpr uint32_t kBiRle8 = 1;
inline constexpr uint32_t kBiRle4 = 2;
inline constexpr uint32_t kBiBitfields = 3;
inline constexpr uint32_t kBiAlphaBitfields = 6;

// Reads the header at the start of `dib` (the span runs to the end of the file).
bool ReadDibHeader(std::span<const uint8_t> dib, DibHeader& header);

// Decodes the pixels found at `pixels` (which runs to the end of the file) with the
// palette from `dib`. `height` is the picture's own height (icons store twice it).
// `useAlpha`: 32-bit pixels keep their fourth byte as alpha (icons), else are opaque,
// unless an alpha mask says otherwise.
bool DecodeDibPixels(std::span<const uint8_t> dib, const DibHeader& header, int64_t height,
                     std::span<const uint8_t> pixels, bool useAlpha, Picture& out);

// Bytes in one stored row of `width` pixels at `bits` per pixel (rows are 4-byte aligned).
inline uint64_t DibStride(int64_t width, int bits) {
  return ((static_cast<uint64_t>(width) * static_cast<uint64_t>(bits) + 31) / 32) * 4;
}

}  // namespace ebf
