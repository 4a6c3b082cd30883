#pragma once
// The bit stream and canonical Huffman codes of CHD: bits are read most significant first,
// reads past the end give zeros and mark the stream overrun. Codes are assigned MAME's way
// (the longest codes take the smallest values). Two ways of sending the code lengths: the
// run-length form of the hunk map and the Huffman-coded form of the "huff" codec.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace ebf::chd {

class BitReader {
 public:
  explicit BitReader(std::span<const uint8_t> data) : data_(data) {}
  // Up to 32 bits; 0 bits read as 0.
  uint32_t Read(int bits);
  uint32_t Peek(int bits);
  void Skip(int bits) { bitPos_ += static_cast<uint64_t>(bits); }
  bool Overrun() const { return bitPos_ > data_.size() * 8; }
  // Whole bytes taken so far, the last partly used byte included.
  std::size_t BytesUsed() const { return static_cast<std::size_t>((bitPos_ + 7) / 8); }

 private:
  std::span<const uint8_t> data_;
  uint64_t bitPos_ = 0;
};

class HuffmanDecoder {
 public:
  HuffmanDecoder(int numCodes, int maxBits);
  // Both return false when the lengths do not form a valid code.
  bool ImportRle(BitReader& bits);
  bool ImportHuffman(BitReader& bits);
  // The next symbol, or -1 when the bits match no code.
  int Decode(BitReader& bits);

 private:
  bool Build();
  int numCodes_, maxBits_;
  std::vector<uint8_t> lengths_;
  // Indexed by maxBits_ bits: symbol << 5 | code length (length 0: no code).
  std::vector<uint32_t> lookup_;
};

// The "huff" codec: a Huffman-coded table, then one 8-bit symbol per output byte.
std::string HuffDecompress(std::span<const uint8_t> src, std::span<uint8_t> dst);

}  // namespace ebf::chd
