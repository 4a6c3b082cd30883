#pragma once
// A disc's blocks decoded ahead of whoever reads them, on several threads: each block is
// read, inflated and, where its index entry carries a digest, compared with it. While the
// caller works through one round of blocks the next round is being decoded. Extraction and
// verification both read a package this way.

#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "pbp/block_reader.h"
#include "pbp/extract.h"

namespace ebf::pbp {

struct DecodedBlock {
  BlockStatus status = BlockStatus::Ok;
  std::size_t made = 0;        // bytes the block gave; its place is zero from there on
  std::string why;             // the system's words when it could not be read
  bool digestCarried = false;  // the index entry's digest field is not all zero
  bool digestEqual = false;    // ... and holds the first 16 bytes of SHA-1 over the block
};

struct BlockRound {
  uint64_t first = 0;        // the number of its first block
  uint64_t count = 0;        // 0 once every block was handed out
  uint8_t* bytes = nullptr;  // count x kBlockSize, the caller's until the next round
  const DecodedBlock* blocks = nullptr;
};

class BlockRounds {
 public:
  // Blocks [0, count) of the layout, read from the package at `path` (each thread opens it
  // on its own); `threads` 0 means one for every core.
  BlockRounds(const std::string& path, const DiscImageLayout& layout, uint64_t count,
              unsigned threads = 0);
  ~BlockRounds();  // waits for the round being decoded
  BlockRounds(const BlockRounds&) = delete;
  BlockRounds& operator=(const BlockRounds&) = delete;

  // The next round, in block order; the one handed out before it is given up.
  BlockRound Next();

 private:
  struct Worker;
  void Start(uint64_t first);
  void Decode(Worker& worker, uint64_t first, uint64_t count, std::size_t slot, uint64_t at);

  const std::string path_;
  const DiscImageLayout& layout_;
  const uint64_t count_;
  uint64_t perThread_ = 0;
  std::vector<std::unique_ptr<Worker>> workers_;
  std::vector<uint8_t> bytes_[2];
  std::vector<DecodedBlock> blocks_[2];
  std::future<void> pending_;
  uint64_t pendingFirst_ = 0, pendingCount_ = 0;
  std::size_t filling_ = 0;
};

// Whether the index ends as our converter writes it: a marker of 1 (u16 at +6) on every
// real block and, last, the padding block of 16 zero sectors with marker 0 and the digest
// of those zeros.
bool WrittenByOurConverter(const DiscImageLayout& layout);

// What the digests of the blocks say, block after block. Fields of another kind (not one of
// them agrees) tell nothing; once the digests are known to be ours (the package was written
// by our converter, or one digest agreed), every block whose digest disagrees is damaged.
class DigestTally {
 public:
  explicit DigestTally(const DiscImageLayout& layout) : ours_(WrittenByOurConverter(layout)) {}
  void Add(uint64_t block, const DecodedBlock& decoded);

  bool Known() const { return ours_ || equal_ > 0; }
  uint64_t carried() const { return carried_; }
  // Blocks whose digest disagrees, in order (damage only when Known()).
  const std::vector<uint64_t>& mismatches() const { return mismatches_; }

 private:
  bool ours_;
  uint64_t carried_ = 0, equal_ = 0;
  std::vector<uint64_t> mismatches_;
};

}  // namespace ebf::pbp
