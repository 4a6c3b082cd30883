#pragma once
// One 16-sector block of a disc image as the package stores it: raw deflate when that makes
// it smaller, else the bytes as they are. Deflate is libdeflate's: on disc-image blocks it
// is faster than zlib at every level, and with the level table below its output is never
// larger than zlib's at the same level (see bench/tarnwick_bench).

#include <array>
#include <cstdint>
#include <span>

#include "common/bytes.h"
#include "pbp/psar.h"

struct libdeflate_compressor;

namespace ebf::tarnwick {

inline constexpr uint32_t kSectorSize = static_cast<uint32_t>(pbp::kSectorSize);
inline constexpr uint32_t kSectorsPerBlock = static_cast<uint32_t>(pbp::kSectorsPerBlock);
inline constexpr uint32_t kBlockSize = static_cast<uint32_t>(pbp::kBlockSize);  // 37,632

struct EncodedBlock {
  Bytes data;  // what goes into the block data area
  bool deflated = false;
  std::array<uint8_t, 16> digest{};  // first 16 bytes of SHA-1 over the 37,632 plain bytes
};

// Not thread-safe; each worker owns one.
class BlockEncoder {
 public:
  explicit BlockEncoder(int level);  // 0 = store everything, 1-9 = deflate level
  ~BlockEncoder();
  BlockEncoder(const BlockEncoder&) = delete;
  BlockEncoder& operator=(const BlockEncoder&) = delete;

  // `plain` must be exactly kBlockSize bytes. Reuses out's storage.
  void Encode(std::span<const uint8_t> plain, EncodedBlock& out);

 private:
  int level_;
  libdeflate_compressor* compressor_ = nullptr;
};

// The libdeflate level used for a compression level 1-9.
int LibdeflateLevelFor(int level);

std::array<uint8_t, 16> BlockDigest(std::span<const uint8_t> plain);

}  // namespace ebf::tarnwick
