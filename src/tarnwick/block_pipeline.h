#pragma once
// Encodes the blocks of a disc image on several threads and hands them over strictly in
// order. Memory stays bounded: at most a few blocks per thread are in flight, whatever the
// image size.

#include <cstdint>
#include <functional>
#include <string>

#include "tarnwick/block_codec.h"

namespace ebf::tarnwick {

struct BlockSource {
  std::string imagePath;
  uint64_t imageSize = 0;   // bytes of the image that are read
  uint32_t blockCount = 0;  // blocks handed over; bytes past imageSize read as zeros
};

// Called on the calling thread for blocks 0, 1, 2 ... in turn. Returning false stops the run.
using BlockSink = std::function<bool(uint32_t index, const EncodedBlock& block)>;

struct PipelineResult {
  bool ok = false;
  std::string error;  // set when reading failed; empty when the sink stopped the run
};

// `threads` 0 means one per core.
PipelineResult EncodeBlocksInOrder(const BlockSource& source, int level, unsigned threads,
                                   const BlockSink& sink);

}  // namespace ebf::tarnwick
