#pragma once
// The digest field of the block index: the first 16 bytes of SHA-1 over a block's 37,632
// plain bytes. Hashing is most of the converter's work at level 0, and a good part of
// extracting and verifying, so blocks are hashed in runs: where Intel's multi-buffer library is
// present, it hashes a run's blocks side by side in vector lanes, several times faster than one
// block at a time.

#include <array>
#include <cstdint>
#include <span>

namespace ebf::pbp {

using BlockDigestValue = std::array<uint8_t, 16>;

BlockDigestValue BlockDigest(std::span<const uint8_t> plain);

// Not thread-safe; each worker owns one.
class BlockHasher {
 public:
  BlockHasher();
  ~BlockHasher();
  BlockHasher(const BlockHasher&) = delete;
  BlockHasher& operator=(const BlockHasher&) = delete;

  // `blocks` holds out.size() whole blocks, one after another.
  void Digest(std::span<const uint8_t> blocks, std::span<BlockDigestValue> out);

  // Whether runs are hashed side by side (false: one block after another).
  bool Parallel() const { return lanes_ != nullptr; }

 private:
  struct Lanes;
  Lanes* lanes_ = nullptr;
};

}  // namespace ebf::pbp
