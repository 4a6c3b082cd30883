#pragma once
// What every patch format reads and writes: the patch file read front to back through a
// fixed buffer, the image the patch goes onto read at any offset through a few cached
// blocks, and the patched image, either written front to back (and read back for copies
// within it) or changed in place record by record.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/async_writer.h"
#include "common/file_io.h"
#include "common/mapped_view.h"
#include "common/outcome.h"

namespace ebf::patches {

// A patched image is never larger than this (a CD holds well under 1 GB).
inline constexpr uint64_t kMaxPatchedImage = 2ull << 30;

// Reads a patch file through a fixed buffer. A read that runs past the end of the file (or
// past Limit) fails the cursor for good and yields zeros, so a parser checks ok() where it
// matters instead of after every field.
class PatchCursor {
 public:
  // `buffer`: what one read of the file brings in; small for a walk that skips most bytes.
  bool Open(const std::string& path, std::size_t buffer = 1 << 20);
  const std::string& error() const { return error_; }
  uint64_t size() const { return size_; }
  uint64_t pos() const { return pos_; }
  bool ok() const { return ok_; }
  // Reads beyond `end` fail (the end of the file when not set); a cursor already past it
  // fails at once.
  void Limit(uint64_t end) {
    end_ = std::min(end, size_);
    if (pos_ > end_) ok_ = false;
  }
  uint64_t end() const { return end_; }
  uint64_t remaining() const { return ok_ && pos_ < end_ ? end_ - pos_ : 0; }

  bool Seek(uint64_t pos);
  bool Skip(uint64_t n);
  bool Read(std::span<uint8_t> out);
  uint8_t U8();
  uint16_t Le16();
  uint32_t Le32();
  uint64_t Le64();
  uint32_t Be16();
  uint32_t Be24();
  uint32_t Be32();

 private:
  bool Fill();
  File file_;
  std::vector<uint8_t> buf_;
  uint64_t bufStart_ = 0;  // file offset of buf_[0]
  std::size_t bufLen_ = 0;
  uint64_t pos_ = 0, size_ = 0, end_ = 0;
  bool ok_ = false;
  std::string error_;
};

// The image a patch goes onto, read at any offset through a few cached blocks. Never
// written.
class SourceImage {
 public:
  bool Open(const std::string& path);
  void Close();
  const std::string& error() const { return error_; }
  uint64_t size() const { return size_; }
  // [offset, offset + out.size()) of the image; false when it is not all inside or a read
  // fails.
  bool Read(uint64_t offset, std::span<uint8_t> out);
  // Reads the whole image front to back in fixed pieces (a checksum over it).
  template <typename Fn>
  bool ForEachPiece(Fn&& fn);
  // [offset, offset + length) of the image mapped into memory, or read into `copy` where
  // mapping is not possible; an empty span when it is not all inside or cannot be read.
  std::span<const uint8_t> View(uint64_t offset, uint64_t length, MappedView& view,
                                std::vector<uint8_t>& copy);

 private:
  static constexpr std::size_t kBlock = 1 << 20;
  static constexpr std::size_t kBlocks = 16;
  struct Block {
    uint64_t index = UINT64_MAX;
    std::size_t length = 0;
    std::vector<uint8_t> bytes;
  };
  Block* Load(uint64_t index);
  File file_;
  FileMapper mapper_;
  uint64_t size_ = 0;
  std::array<Block, kBlocks> cache_;
  std::string error_;
};

template <typename Fn>
bool SourceImage::ForEachPiece(Fn&& fn) {
  std::vector<uint8_t> piece(4 << 20);
  for (uint64_t at = 0; at < size_;) {
    const std::size_t n = static_cast<std::size_t>(std::min<uint64_t>(piece.size(), size_ - at));
    if (!file_.Seek(at) || !file_.ReadExact(std::span<uint8_t>(piece.data(), n))) {
      error_ = file_.LastError().empty() ? "the image is shorter than it was" : file_.LastError();
      return false;
    }
    if (!fn(std::span<const uint8_t>(piece.data(), n))) return false;
    at += n;
  }
  return true;
}

// The patched image. Made new and written front to back (Create: BPS, VCDIFF), or an
// existing copy of the source changed in place (OpenInPlace: PPF, IPS). It never grows past
// its limit.
class TargetImage {
 public:
  explicit TargetImage(uint64_t limit = kMaxPatchedImage) : limit_(limit) {}
  ~TargetImage();
  TargetImage(const TargetImage&) = delete;
  TargetImage& operator=(const TargetImage&) = delete;

  bool Create(const std::string& path);
  bool OpenInPlace(const std::string& path);
  const std::string& error() const { return error_; }
  uint64_t size() const { return size_; }
  uint64_t limit() const { return limit_; }

  // Create mode: bytes after the ones written, and bytes written before read back (keeping
  // the last few MB in memory from the start makes copies from just behind cheap).
  void KeepTail() { tail_.resize(kTail); }
  bool Append(std::span<const uint8_t> data);
  bool AppendFill(uint8_t value, uint64_t count);
  // Appends pieces that lie elsewhere (a mapped image, a patch's data) in one system call,
  // without gathering them first.
  bool AppendPieces(std::span<const std::span<const uint8_t>> pieces);
  bool ReadBack(uint64_t offset, std::span<uint8_t> out);
  // In-place mode: bytes at any offset up to the end (the image may grow at its end), and
  // the image cut (or lengthened with zeros) to a size.
  bool WriteAt(uint64_t offset, std::span<const uint8_t> data);
  bool FillAt(uint64_t offset, uint8_t value, uint64_t count);
  bool Resize(uint64_t size);
  // In-place mode over a copy still being made: the size the copy will have, and what a
  // change waits for first: the copy's first `end` bytes (all for UINT64_MAX), false when
  // the copy stopped.
  void WaitForCopy(uint64_t size, std::function<bool(uint64_t end)> copied) {
    size_ = size;
    copied_ = std::move(copied);
  }
  // Everything written is in the file, and the file is closed.
  bool Finish();

 private:
  static constexpr std::size_t kTail = 4 << 20;
  bool Fail(const std::string& why);
  bool TooLarge(uint64_t size);
  File file_, readBack_;
  std::optional<AsyncWriter> writer_;
  std::vector<uint8_t> tail_;
  std::function<bool(uint64_t)> copied_;
  std::string path_;
  uint64_t size_ = 0, limit_, flushed_ = 0;
  bool inPlace_ = false;
  std::string error_;
};

// Copies a file (within the system where it can, else through a large buffer), for a patch
// that goes onto a copy of the image. `step` hears of the bytes in the new file so far (0
// as soon as it exists, so that another thread may open it and write what is copied) and
// stops the copy by returning false (Cancelled). A copy cut short is deleted.
Outcome CopyImage(const std::string& from, const std::string& to,
                  const std::function<bool(uint64_t done, uint64_t total)>& step);

}  // namespace ebf::patches
