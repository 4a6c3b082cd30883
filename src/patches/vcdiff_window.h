#pragma once
// One window of a VCDIFF patch (RFC 3284) as xdelta3 writes it: its header, its sections
// (LZMA-compressed by xdelta3 when the patch says so), and the instructions that rebuild its
// piece of the target from the source segment and from the piece itself.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "patches/patch_io.h"

namespace ebf::patches::vcdiff {

// Bounds no real patch passes: xdelta3's windows are at most 16 MiB of target (its -W).
inline constexpr uint64_t kMaxWindow = 16ull << 20;
inline constexpr uint64_t kMaxSection = 2 * kMaxWindow + (1 << 20);

// The indicator bits.
inline constexpr uint8_t kHeaderSecondary = 0x01, kHeaderCodeTable = 0x02,
                         kHeaderApplication = 0x04;
inline constexpr uint8_t kWindowSource = 0x01, kWindowTarget = 0x02, kWindowAdler32 = 0x04;
inline constexpr uint8_t kDeltaData = 0x01, kDeltaInst = 0x02, kDeltaAddr = 0x04;
// xdelta3's secondary compressors.
inline constexpr uint8_t kSecondaryDjw = 1, kSecondaryLzma = 2, kSecondaryFgk = 16;

// An integer of 7 bits a byte, most significant first, every byte but the last with its
// high bit set. Nothing when it is cut short or does not fit 64 bits.
std::optional<uint64_t> ReadInteger(PatchCursor& cursor);
std::optional<uint64_t> ReadInteger(std::span<const uint8_t>& bytes);

struct WindowHeader {
  uint8_t indicator = 0;
  uint64_t sourceLength = 0, sourceOffset = 0;
  uint64_t targetLength = 0;
  uint8_t deltaIndicator = 0;
  uint64_t dataLength = 0, instLength = 0, addrLength = 0;
  std::optional<uint32_t> adler32;
  uint64_t sectionsAt = 0;  // where the data section starts in the patch
  uint64_t sectionsLength() const { return dataLength + instLength + addrLength; }
};

// Reads a window's header; on return the cursor stands at its data section. "" or what is
// wrong with it. `secondary` tells whether the patch names a secondary compressor.
std::string ReadWindowHeader(PatchCursor& cursor, bool secondary, WindowHeader& w);

// The LZMA decoders of the three kinds of section: xdelta3 compresses every section of a
// kind as one LZMA stream that goes on from window to window, flushed at each window's end.
class LzmaSections {
 public:
  LzmaSections();
  ~LzmaSections();
  LzmaSections(const LzmaSections&) = delete;
  LzmaSections& operator=(const LzmaSections&) = delete;
  // A compressed section of kind 0 (data), 1 (instructions) or 2 (addresses): its decoded
  // size, then its piece of the stream. "" or what is wrong.
  std::string Decode(int kind, std::span<const uint8_t> section, std::vector<uint8_t>& out);

 private:
  struct Streams;
  std::unique_ptr<Streams> streams_;
};

// The pieces a window's target is made of, in order: spans of the source segment, of the
// window's data section and of bytes made here (runs), which `made` holds. Nothing is
// copied that can be pointed at, so that the target goes to the file in one gathered write.
class WindowPieces {
 public:
  void Reset(uint64_t targetLength);
  uint64_t size() const { return size_; }
  const std::vector<std::span<const uint8_t>>& pieces() const { return pieces_; }
  void Add(std::span<const uint8_t> piece);
  // `length` bytes made here, all `value`, or repeating `period` (a copy that reads what
  // it writes).
  void Fill(uint8_t value, uint64_t length);
  void Repeat(std::span<const uint8_t> period, uint64_t length);
  // The pieces that make [from, from + length) of the target made so far.
  void Resolve(uint64_t from, uint64_t length, std::vector<std::span<const uint8_t>>& out) const;

 private:
  std::vector<std::span<const uint8_t>> pieces_;
  std::vector<uint64_t> starts_;
  std::vector<uint8_t> made_;  // reserved to the window's length: it never moves
  uint64_t size_ = 0;
};

// What went wrong in a window: the patch (damaged) or a read of the source (I/O).
struct WindowError {
  bool io = false;
  std::string text;
};

// Makes the window's target from its decoded sections, the source segment (`segment`, the
// window's [sourceOffset, + sourceLength) of the image) and the target itself.
std::optional<WindowError> DecodeWindow(const WindowHeader& w, std::span<const uint8_t> data,
                                        std::span<const uint8_t> inst,
                                        std::span<const uint8_t> addr,
                                        std::span<const uint8_t> segment, WindowPieces& target);

}  // namespace ebf::patches::vcdiff
