#pragma once
// Decompression of one CHD hunk with any codec a CD image may use: the plain zlib, lzma,
// zstd, huff and flac, and the CD front ends cdzl, cdlz, cdzs and cdfl, which compress the
// sectors and the subcode apart and leave out sync and ECC where they can be rebuilt.

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "disc/chd/chd_flac.h"

typedef struct z_stream_s z_stream;
typedef struct ZSTD_DCtx_s ZSTD_DCtx;

namespace ebf::chd {

class HunkCodecs {
 public:
  explicit HunkCodecs(uint32_t hunkBytes);
  ~HunkCodecs();
  HunkCodecs(const HunkCodecs&) = delete;
  HunkCodecs& operator=(const HunkCodecs&) = delete;

  // Decompresses `src` with `codec` into `dst` (one whole hunk). Returns "" or what is
  // wrong, as a phrase ("its LZMA data is damaged").
  std::string Decompress(uint32_t codec, std::span<const uint8_t> src, std::span<uint8_t> dst);

 private:
  std::string Inflate(std::span<const uint8_t> src, std::span<uint8_t> dst);
  std::string Lzma(std::span<const uint8_t> src, std::span<uint8_t> dst);
  std::string Zstd(std::span<const uint8_t> src, std::span<uint8_t> dst);
  std::string Flac(std::span<const uint8_t> src, std::span<uint8_t> dst);
  std::string CdFrames(uint32_t codec, std::span<const uint8_t> src, std::span<uint8_t> dst);
  std::string CdFlac(std::span<const uint8_t> src, std::span<uint8_t> dst);
  void Interleave(std::span<uint8_t> dst, std::span<const uint8_t> eccBits);

  uint32_t hunkBytes_;
  uint32_t frames_;
  std::unique_ptr<z_stream> zlib_;
  bool zlibReady_ = false;
  ZSTD_DCtx* zstd_ = nullptr;
  FlacDecoder flac_;
  std::vector<uint8_t> base_, sub_;
};

}  // namespace ebf::chd
