#pragma once
// Encodes the blocks of a disc image on several threads and hands them over strictly in
// order, a run of up to kRunBlocks blocks at a time. Memory stays bounded: a few runs per
// thread are in flight, whatever the image size.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/mapped_view.h"
#include "pbp/block_digest.h"
#include "tarnwick/block_codec.h"

namespace ebf::tarnwick {

// Blocks read, hashed and handed over together: as many as the hashing lanes take at once.
inline constexpr uint32_t kRunBlocks = 16;

struct BlockSource {
  std::string imagePath;
  uint64_t imageSize = 0;   // bytes of the image that are read
  uint32_t blockCount = 0;  // blocks handed over; bytes past imageSize read as zeros
};

struct EncodedBlockInfo {
  StoredForm form;
  pbp::BlockDigestValue digest{};  // of the plain block
};

struct EncodedRun {
  uint32_t first = 0;  // index of the first block
  Bytes data;          // the blocks' stored forms, one after another...
  MappedView view;     // ...or, at level 0, the image itself where it is mapped: each block
                       // then goes out as kStoredHead followed by its bytes in the view
  std::vector<EncodedBlockInfo> blocks;

  // The stored forms in order, as pieces of one gathered write (`out` is refilled).
  void Pieces(std::vector<std::span<const uint8_t>>& out) const;
};

// Called on the calling thread for the runs in order. Returning false stops the run.
using RunSink = std::function<bool(const EncodedRun& run)>;

struct PipelineResult {
  bool ok = false;
  std::string error;  // set when reading failed; empty when the sink stopped the run
};

// `threads` 0 means one per core.
PipelineResult EncodeBlocksInOrder(const BlockSource& source, int level, unsigned threads,
                                   const RunSink& sink);

}  // namespace ebf::tarnwick
