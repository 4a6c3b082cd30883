#include "tarnwick/block_codec.h"

#include <libdeflate.h>
#include <openssl/evp.h>

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

void BlockEncoder::Encode(std::span<const uint8_t> plain, EncodedBlock& out) {
  if (plain.size() != kBlockSize) throw std::invalid_argument("block size");
  out.digest = BlockDigest(plain);
  if (compressor_) {
    out.data.resize(kBlockSize);
    // A limit one short of the block keeps a deflated block from ever being 37,632 bytes
    // long, which readers would take for a stored one. 0 means it did not fit.
    size_t n = libdeflate_deflate_compress(compressor_, plain.data(), plain.size(), out.data.data(),
                                           kBlockSize - 1);
    if (n > 0) {
      out.data.resize(n);
      out.deflated = true;
      return;
    }
  }
  out.data.assign(plain.begin(), plain.end());
  out.deflated = false;
}

std::array<uint8_t, 16> BlockDigest(std::span<const uint8_t> plain) {
  unsigned char md[EVP_MAX_MD_SIZE];
  unsigned int len = 0;
  std::array<uint8_t, 16> digest{};
  if (EVP_Digest(plain.data(), plain.size(), md, &len, EVP_sha1(), nullptr) == 1 && len >= 16)
    std::memcpy(digest.data(), md, 16);
  return digest;
}

}  // namespace ebf::tarnwick
