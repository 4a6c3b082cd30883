#pragma once
// Reads a package's disc-image blocks as plain 37,632-byte blocks: raw stored blocks,
// deflate streams through libdeflate where it takes them whole, zlib for every other case
// (short streams, lengths past the end of the file, which read as zeros).

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "common/file_io.h"
#include "pbp/psar.h"

namespace ebf::pbp {

struct BlockRef;

enum class BlockStatus { Ok, InflateFailed, ReadFailed };

class BlockReader {
 public:
  // `file` stays owned by the caller and must outlive the reader.
  BlockReader(File& file, uint64_t fileSize, uint64_t psar);
  ~BlockReader();
  BlockReader(const BlockReader&) = delete;
  BlockReader& operator=(const BlockReader&) = delete;

  // Plain bytes of the block into `out` (kBlockSize bytes). A stream that ends early leaves
  // the rest of `out` as it was; `made` says how many bytes the block gave.
  BlockStatus Read(const BlockRef& block, std::span<uint8_t> out, std::size_t& made);

  // The absolute file offset of a block's bytes.
  uint64_t FileOffset(const BlockRef& block) const;

  // Reading ahead stops at this file offset (where the blocks this reader is given end),
  // unless a block itself reaches further; 0 lifts the limit.
  void LimitReadAhead(uint64_t end);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ebf::pbp
