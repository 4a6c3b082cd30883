#pragma once
// One 16-sector block of a disc image as the package stores it: raw deflate when that makes
// it smaller, else the bytes as they are. Deflate is libdeflate's: on disc-image blocks it
// is faster than zlib at every level, and with the level table below its output is never
// larger than zlib's at the same level (see bench/tarnwick_bench).

#include <cstdint>
#include <span>

#include "common/bytes.h"
#include "pbp/psar.h"

struct libdeflate_compressor;

namespace ebf::tarnwick {

inline constexpr uint32_t kSectorSize = static_cast<uint32_t>(pbp::kSectorSize);
inline constexpr uint32_t kSectorsPerBlock = static_cast<uint32_t>(pbp::kSectorsPerBlock);
inline constexpr uint32_t kBlockSize = static_cast<uint32_t>(pbp::kBlockSize);  // 37,632

// How a block was stored.
struct StoredForm {
  uint32_t size = 0;  // bytes in the block data area
  bool deflated = false;
};

// Not thread-safe; each worker owns one.
class BlockEncoder {
 public:
  explicit BlockEncoder(int level);  // 0 = store everything, 1-9 = deflate level
  ~BlockEncoder();
  BlockEncoder(const BlockEncoder&) = delete;
  BlockEncoder& operator=(const BlockEncoder&) = delete;

  // Appends the stored form of `plain`, which must be exactly kBlockSize bytes, to `out`.
  StoredForm Append(std::span<const uint8_t> plain, Bytes& out);

 private:
  int level_;
  libdeflate_compressor* compressor_ = nullptr;
};

// The libdeflate level used for a compression level 1-9.
int LibdeflateLevelFor(int level);

}  // namespace ebf::tarnwick
