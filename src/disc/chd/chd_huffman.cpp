#include "disc/chd/chd_huffman.h"

#include <algorithm>

namespace ebf::chd {

uint32_t BitReader::Peek(int bits) {
  if (bits == 0) return 0;
  // Gather the 5 bytes that can hold `bits` bits from any starting bit.
  uint64_t window = 0;
  const uint64_t byte = bitPos_ / 8;
  for (uint64_t i = 0; i < 5; ++i) {
    window <<= 8;
    if (byte + i < data_.size()) window |= data_[static_cast<std::size_t>(byte + i)];
  }
  const int shift = 40 - static_cast<int>(bitPos_ % 8) - bits;
  return static_cast<uint32_t>((window >> shift) & ((uint64_t{1} << bits) - 1));
}

uint32_t BitReader::Read(int bits) {
  uint32_t v = Peek(bits);
  Skip(bits);
  return v;
}

HuffmanDecoder::HuffmanDecoder(int numCodes, int maxBits)
    : numCodes_(numCodes),
      maxBits_(maxBits),
      lengths_(static_cast<std::size_t>(numCodes), 0),
      lookup_(std::size_t{1} << maxBits, 0) {}

bool HuffmanDecoder::ImportRle(BitReader& bits) {
  const int fieldBits = maxBits_ >= 16 ? 5 : maxBits_ >= 8 ? 4 : 3;
  int cur = 0;
  while (cur < numCodes_) {
    uint32_t v = bits.Read(fieldBits);
    if (v != 1) {
      lengths_[static_cast<std::size_t>(cur++)] = static_cast<uint8_t>(v);
      continue;
    }
    // 1 escapes: 1 again is a length of 1, anything else a run of that length.
    uint32_t w = bits.Read(fieldBits);
    if (w == 1) {
      lengths_[static_cast<std::size_t>(cur++)] = 1;
      continue;
    }
    uint32_t run = bits.Read(fieldBits) + 3;
    if (cur + static_cast<int>(run) > numCodes_) return false;
    while (run--) lengths_[static_cast<std::size_t>(cur++)] = static_cast<uint8_t>(w);
  }
  return !bits.Overrun() && Build();
}

bool HuffmanDecoder::ImportHuffman(BitReader& bits) {
  // First the lengths of a small 24-symbol code (up to 6 bits) ...
  HuffmanDecoder small(24, 6);
  small.lengths_[0] = static_cast<uint8_t>(bits.Read(3));
  const uint32_t start = bits.Read(3) + 1;
  uint32_t last = 0;
  for (uint32_t i = 1; i < 24; ++i) {
    if (i < start || last == 7) continue;  // 7 ends the list: the rest are unused
    last = bits.Read(3);
    small.lengths_[i] = static_cast<uint8_t>(last == 7 ? 0 : last);
  }
  if (!small.Build()) return false;
  // ... which codes this code's lengths: symbol s > 0 is length s - 1, symbol 0 repeats
  // the previous length 2 to 8 times, or more with an extra count.
  int runBits = 0;
  for (uint32_t t = static_cast<uint32_t>(numCodes_ - 9); t; t >>= 1) ++runBits;
  int cur = 0;
  uint8_t prev = 0;
  while (cur < numCodes_) {
    int s = small.Decode(bits);
    if (s < 0 || bits.Overrun()) return false;
    if (s != 0) {
      prev = static_cast<uint8_t>(s - 1);
      lengths_[static_cast<std::size_t>(cur++)] = prev;
      continue;
    }
    uint32_t run = bits.Read(3) + 2;
    if (run == 9) run += bits.Read(runBits);
    for (; run && cur < numCodes_; --run) lengths_[static_cast<std::size_t>(cur++)] = prev;
  }
  return !bits.Overrun() && Build();
}

bool HuffmanDecoder::Build() {
  uint32_t count[33] = {};
  for (uint8_t len : lengths_) {
    if (len > maxBits_) return false;
    ++count[len];
  }
  // Starting code per length, from the longest down.
  uint32_t first[33] = {};
  uint32_t cur = 0;
  for (int len = 32; len > 0; --len) {
    uint32_t next = (cur + count[len]) >> 1;
    if (len != 1 && next * 2 != cur + count[len]) return false;
    first[len] = cur;
    cur = next;
  }
  std::fill(lookup_.begin(), lookup_.end(), 0u);
  for (int s = 0; s < numCodes_; ++s) {
    const int len = lengths_[static_cast<std::size_t>(s)];
    if (len == 0) continue;
    const uint32_t code = first[len]++;
    const int shift = maxBits_ - len;
    const uint64_t begin = uint64_t{code} << shift, end = uint64_t{code + 1} << shift;
    if (end > lookup_.size()) return false;  // lengths of 1 can overfill the code space
    for (uint64_t i = begin; i < end; ++i)
      lookup_[static_cast<std::size_t>(i)] =
          (static_cast<uint32_t>(s) << 5) | static_cast<uint32_t>(len);
  }
  return true;
}

int HuffmanDecoder::Decode(BitReader& bits) {
  uint32_t entry = lookup_[bits.Peek(maxBits_)];
  if ((entry & 0x1F) == 0) return -1;
  bits.Skip(static_cast<int>(entry & 0x1F));
  return static_cast<int>(entry >> 5);
}

std::string HuffDecompress(std::span<const uint8_t> src, std::span<uint8_t> dst) {
  BitReader bits(src);
  HuffmanDecoder decoder(256, 16);
  if (!decoder.ImportHuffman(bits)) return "its Huffman table is invalid";
  for (uint8_t& out : dst) {
    int s = decoder.Decode(bits);
    if (s < 0) return "its Huffman data holds an invalid code";
    out = static_cast<uint8_t>(s);
  }
  if (bits.Overrun()) return "its Huffman data is cut short";
  return "";
}

}  // namespace ebf::chd
