#include "tarnwick/block_codec.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace ebf::tarnwick {

int LibdeflateLevelFor(int level) {
  // At 5 and 6 libdeflate's output is a little larger than zlib's at the same level; one
  // step up it is smaller and still about twice as fast. Elsewhere the levels match.
  static constexpr int kTable[10] = {0, 1, 2, 3, 4, 6, 7, 7, 8, 9};
  return kTable[std::clamp(level, 0, 9)];
}

BlockEncoder::BlockEncoder(int level) : level_(std::clamp(level, 0, 9)) {
  if (level_ > 0) {
    compressor_ = libdeflate_alloc_compressor(LibdeflateLevelFor(level_));
    if (!compressor_) throw std::bad_alloc();
  }
}

BlockEncoder::~BlockEncoder() {
  if (compressor_) libdeflate_free_compressor(compressor_);
}

StoredForm BlockEncoder::Append(std::span<const uint8_t> plain, Bytes& out) {
  if (plain.size() != kBlockSize) throw std::invalid_argument("block size");
  const size_t at = out.size();
  out.resize(at + kBlockSize);
  if (compressor_) {
    // A limit one short of the block keeps a deflated block from ever being 37,632 bytes
    // long, which readers would take for a stored one. 0 means it did not fit.
    size_t n = libdeflate_deflate_compress(compressor_, plain.data(), plain.size(), out.data() + at,
                                           kBlockSize - 1);
    if (n > 0) {
      out.resize(at + n);
      return {static_cast<uint32_t>(n), true};
    }
  }
  std::memcpy(out.data() + at, plain.data(), kBlockSize);
  return {kBlockSize, false};
}

}  // namespace ebf::tarnwick
