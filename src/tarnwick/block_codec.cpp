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

StoredForm AppendStoredStream(std::span<const uint8_t> plain, Bytes& out) {
  if (plain.size() != kBlockSize) throw std::invalid_argument("block size");
  out.insert(out.end(), kStoredHead.begin(), kStoredHead.end());
  out.insert(out.end(), plain.begin(), plain.end());
  return {kStoredStreamSize};
}

StoredForm BlockEncoder::Append(std::span<const uint8_t> plain, Bytes& out) {
  if (plain.size() != kBlockSize) throw std::invalid_argument("block size");
  if (compressor_) {
    const size_t at = out.size();
    const size_t bound = libdeflate_deflate_compress_bound(compressor_, kBlockSize);
    out.resize(at + bound);
    size_t n = libdeflate_deflate_compress(compressor_, plain.data(), plain.size(), out.data() + at,
                                           bound);
    // Readers take a block of exactly 37,632 bytes for a raw one; the index holds sizes up
    // to 65,535.
    if (n > 0 && n != kBlockSize && n <= UINT16_MAX) {
      out.resize(at + n);
      return {static_cast<uint32_t>(n)};
    }
    out.resize(at);
  }
  return AppendStoredStream(plain, out);
}

}  // namespace ebf::tarnwick
