#pragma once
// One 16-sector block of a disc image as the package stores it: always a complete raw
// deflate stream, so that readers which inflate every block read every package. Levels 1-9
// keep the compressor's stream even when it is not smaller than the block; level 0 (and a
// stream that would be exactly 37,632 bytes long, the size readers take for a raw block)
// becomes a stored-mode stream: a 5-byte head, then the block's bytes as they are.
// Deflate is libdeflate's: on disc-image blocks it is faster than zlib at every level, and
// with the level table below its output is never larger than zlib's at the same level (see
// bench/tarnwick_bench).

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

inline constexpr std::array<uint8_t, 5> kStoredHead = pbp::kStoredBlockHead;
inline constexpr uint32_t kStoredStreamSize = static_cast<uint32_t>(pbp::kStoredBlockStreamSize);

// How a block was stored.
struct StoredForm {
  uint32_t size = 0;  // bytes in the block data area
};

// Not thread-safe; each worker owns one.
class BlockEncoder {
 public:
  explicit BlockEncoder(int level);  // 0 = stored-mode streams, 1-9 = deflate level
  ~BlockEncoder();
  BlockEncoder(const BlockEncoder&) = delete;
  BlockEncoder& operator=(const BlockEncoder&) = delete;

  // Appends the stored form of `plain`, which must be exactly kBlockSize bytes, to `out`.
  StoredForm Append(std::span<const uint8_t> plain, Bytes& out);

 private:
  int level_;
  libdeflate_compressor* compressor_ = nullptr;
};

// Appends the stored-mode stream of `plain` (kBlockSize bytes) to `out`.
StoredForm AppendStoredStream(std::span<const uint8_t> plain, Bytes& out);

// The libdeflate level used for a compression level 1-9.
int LibdeflateLevelFor(int level);

}  // namespace ebf::tarnwick
