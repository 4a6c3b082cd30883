#include "pbp/block_reader.h"

#include <zlib.h>

#ifdef EBF_HAVE_LIBDEFLATE
#include <libdeflate.h>
#endif

#include <algorithm>
#include <array>
#include <cstring>

#include "common/bytes.h"
#include "pbp/extract.h"

namespace ebf::pbp {
namespace {

// Input is fed to inflate and copied in pieces of this size, so that a stated block length
// of any size never turns into an allocation of that size.
constexpr std::size_t kFeedSize = 64 * 1024;
// Blocks lie back to back, so reading ahead in one large piece saves a seek and a small
// read per block.
constexpr std::size_t kReadAheadSize = 1024 * 1024;
// The most input the fast path looks at: a block's stream plus the 64 KB that a marker of
// 1 in the high half of the stated length adds, with room to spare.
constexpr std::size_t kFastInputMax = 256 * 1024;

// Serves byte ranges of a file from a read-ahead window.
class WindowReader {
 public:
  WindowReader(File& f, uint64_t fileSize) : f_(f), size_(fileSize), buf_(kReadAheadSize) {}

  // Up to maxLen bytes at pos; empty at or past the end of the file. False on a read error.
  // With `whole`, the window is moved when it holds fewer than maxLen bytes at pos and the
  // file holds more (maxLen must not exceed the window).
  bool Get(uint64_t pos, std::size_t maxLen, std::span<const uint8_t>& out, bool whole = false) {
    out = {};
    if (pos >= size_ || maxLen == 0) return true;
    const bool inWindow = pos >= start_ && pos < start_ + len_;
    const bool tooShort = whole && pos + maxLen > start_ + len_ && start_ + len_ < size_;
    if (!inWindow || tooShort) {
      uint64_t want = std::min<uint64_t>(buf_.size(), size_ - pos);
      if (limit_ > pos) want = std::min(want, std::max<uint64_t>(limit_ - pos, maxLen));
      if (!f_.Seek(pos)) return false;
      std::size_t got = f_.Read(std::span<uint8_t>(buf_.data(), static_cast<std::size_t>(want)));
      start_ = pos;
      len_ = got;
      if (got == 0) return false;
    }
    std::size_t at = static_cast<std::size_t>(pos - start_);
    out = std::span<const uint8_t>(buf_.data() + at, std::min(maxLen, len_ - at));
    return true;
  }

  void Limit(uint64_t end) { limit_ = end; }

 private:
  File& f_;
  uint64_t size_;
  uint64_t limit_ = 0;
  Bytes buf_;
  uint64_t start_ = 0;
  std::size_t len_ = 0;
};

// One raw-inflate stream, reset for every block.
class RawInflater {
 public:
  RawInflater() { ok_ = inflateInit2(&zs_, -MAX_WBITS) == Z_OK; }
  ~RawInflater() {
    if (ok_) inflateEnd(&zs_);
  }
  RawInflater(const RawInflater&) = delete;
  RawInflater& operator=(const RawInflater&) = delete;
  bool ok() const { return ok_; }
  z_stream& stream() { return zs_; }

 private:
  z_stream zs_{};
  bool ok_ = false;
};

#ifdef EBF_HAVE_LIBDEFLATE
// Whole-block decompression with libdeflate, several times faster than a zlib stream. It
// only takes blocks whose stream ends with exactly a full block; every other case (short
// stream, longer stream, bad data, input cut by the end of the file) goes the zlib way,
// whose results are the ones that count.
class FastInflater {
 public:
  FastInflater() : d_(libdeflate_alloc_decompressor()) {}
  ~FastInflater() {
    if (d_) libdeflate_free_decompressor(d_);
  }
  FastInflater(const FastInflater&) = delete;
  FastInflater& operator=(const FastInflater&) = delete;

  bool TryWholeBlock(std::span<const uint8_t> in, std::span<uint8_t> out) {
    if (!d_ || in.empty()) return false;
    std::size_t inUsed = 0, outMade = 0;
    libdeflate_result r = libdeflate_deflate_decompress_ex(d_, in.data(), in.size(), out.data(),
                                                           out.size(), &inUsed, &outMade);
    return r == LIBDEFLATE_SUCCESS && outMade == out.size();
  }

 private:
  libdeflate_decompressor* d_;
};
#else
class FastInflater {
 public:
  bool TryWholeBlock(std::span<const uint8_t>, std::span<uint8_t>) { return false; }
};
#endif

// Copies a stored block; bytes past the end of the file are zero.
BlockStatus ReadStored(WindowReader& in, uint64_t pos, std::span<uint8_t> out) {
  std::size_t done = 0;
  while (done < out.size()) {
    std::span<const uint8_t> piece;
    if (!in.Get(pos + done, out.size() - done, piece)) return BlockStatus::ReadFailed;
    if (piece.empty()) {
      std::memset(out.data() + done, 0, out.size() - done);
      break;
    }
    std::memcpy(out.data() + done, piece.data(), piece.size());
    done += piece.size();
  }
  return BlockStatus::Ok;
}

// Inflates a block of `length` stated bytes into `out`. What the file does not hold is fed
// as zeros; inflate stops at its stream's end or when the output is full. A short stream
// leaves the rest of `out` as it was.
BlockStatus InflateBlock(WindowReader& in, RawInflater& inf, uint64_t pos, uint64_t length,
                         std::span<uint8_t> out, std::size_t& made) {
  static const std::array<uint8_t, kFeedSize> zeros{};
  made = 0;
  z_stream& zs = inf.stream();
  if (!inf.ok() || inflateReset(&zs) != Z_OK) return BlockStatus::InflateFailed;
  zs.next_out = out.data();
  zs.avail_out = static_cast<uInt>(out.size());
  if (length == 0) {
    // Nothing to inflate is a failure of its own (the index promised a block).
    zs.next_in = nullptr;
    zs.avail_in = 0;
    return inflate(&zs, Z_NO_FLUSH) < 0 ? BlockStatus::InflateFailed : BlockStatus::Ok;
  }
  uint64_t left = length;
  BlockStatus status = BlockStatus::Ok;
  while (left > 0 && zs.avail_out > 0) {
    std::size_t want = static_cast<std::size_t>(std::min<uint64_t>(left, kFeedSize));
    std::span<const uint8_t> piece;
    if (!in.Get(pos, want, piece)) {
      status = BlockStatus::ReadFailed;
      break;
    }
    const bool padding = piece.empty();
    if (padding) piece = std::span<const uint8_t>(zeros.data(), want);
    zs.next_in = const_cast<Bytef*>(piece.data());
    zs.avail_in = static_cast<uInt>(piece.size());
    const uInt outBefore = zs.avail_out;
    int ret = inflate(&zs, Z_NO_FLUSH);
    if (ret < 0) {
      status = BlockStatus::InflateFailed;
      break;
    }
    if (ret == Z_STREAM_END) break;
    std::size_t used = piece.size() - zs.avail_in;
    pos += used;
    left -= used;
    if (zs.avail_out == outBefore && (used == 0 || padding)) break;  // no further progress
  }
  made = out.size() - zs.avail_out;
  return status;
}

}  // namespace

struct BlockReader::Impl {
  Impl(File& f, uint64_t size, uint64_t psar)
      : reader(f, size), dataStart(psar + kPsarBlockDataPos), scratch(kBlockSize) {}
  WindowReader reader;
  RawInflater inflater;
  FastInflater fast;
  uint64_t dataStart;
  Bytes scratch;
};

BlockReader::BlockReader(File& file, uint64_t fileSize, uint64_t psar)
    : impl_(std::make_unique<Impl>(file, fileSize, psar)) {}
BlockReader::~BlockReader() = default;

uint64_t BlockReader::FileOffset(const BlockRef& block) const {
  return impl_->dataStart + block.offset;
}

void BlockReader::LimitReadAhead(uint64_t end) {
  impl_->reader.Limit(end);
}

BlockStatus BlockReader::Read(const BlockRef& b, std::span<uint8_t> out, std::size_t& made) {
  const uint64_t pos = FileOffset(b);
  made = 0;
  if (b.stored()) {
    BlockStatus st = ReadStored(impl_->reader, pos, out);
    if (st == BlockStatus::Ok) made = out.size();
    return st;
  }
  std::span<const uint8_t> in;
  const std::size_t look = static_cast<std::size_t>(std::min<uint64_t>(b.length, kFastInputMax));
  Bytes& scratch = impl_->scratch;
  if (out.size() == scratch.size() && impl_->reader.Get(pos, look, in, true) &&
      impl_->fast.TryWholeBlock(in, scratch)) {
    // Decoded aside, so that a failed attempt leaves `out` as it was.
    std::memcpy(out.data(), scratch.data(), out.size());
    made = out.size();
    return BlockStatus::Ok;
  }
  return InflateBlock(impl_->reader, impl_->inflater, pos, b.length, out, made);
}

}  // namespace ebf::pbp
