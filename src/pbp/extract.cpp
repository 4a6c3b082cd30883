#include "pbp/extract.h"

#include <zlib.h>

#ifdef EBF_HAVE_LIBDEFLATE
#include <libdeflate.h>
#endif

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <span>

#include "common/async_writer.h"
#include "common/bytes.h"
#include "common/cancel.h"
#include "common/files.h"
#include "pbp/container.h"
#include "pbp/toc.h"

namespace ebf::pbp {
namespace {

constexpr long kErrDeviceIo = 57;
constexpr int kProgressEvery = 32;
// Input is fed to inflate and copied in pieces of this size, so that a stated block length
// of any size never turns into an allocation of that size.
constexpr std::size_t kFeedSize = 64 * 1024;
// Blocks lie back to back, so reading ahead in one large piece saves a seek and a small
// read per block.
constexpr std::size_t kReadAheadSize = 1024 * 1024;
// Output goes to the file in pieces of this many blocks, written while the next ones
// inflate.
constexpr uint64_t kWriteChunkBlocks = 16;

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
      std::size_t want = static_cast<std::size_t>(std::min<uint64_t>(buf_.size(), size_ - pos));
      if (!f_.Seek(pos)) return false;
      std::size_t got = f_.Read(std::span<uint8_t>(buf_.data(), want));
      start_ = pos;
      len_ = got;
      if (got == 0) return false;
    }
    std::size_t at = static_cast<std::size_t>(pos - start_);
    out = std::span<const uint8_t>(buf_.data() + at, std::min(maxLen, len_ - at));
    return true;
  }

 private:
  File& f_;
  uint64_t size_;
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

enum class BlockStatus { Ok, InflateFailed, ReadFailed };

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

// The most input the fast path looks at: a block's stream plus the 64 KB that a marker of
// 1 in the high half of the stated length adds, with room to spare.
constexpr std::size_t kFastInputMax = 256 * 1024;

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
                         std::span<uint8_t> out) {
  static const std::array<uint8_t, kFeedSize> zeros{};
  z_stream& zs = inf.stream();
  if (inflateReset(&zs) != Z_OK) return BlockStatus::InflateFailed;
  zs.next_out = out.data();
  zs.avail_out = static_cast<uInt>(out.size());
  if (length == 0) {
    // Nothing to inflate is a failure of its own (the index promised a block).
    zs.next_in = nullptr;
    zs.avail_in = 0;
    return inflate(&zs, Z_NO_FLUSH) < 0 ? BlockStatus::InflateFailed : BlockStatus::Ok;
  }
  uint64_t left = length;
  while (left > 0 && zs.avail_out > 0) {
    std::size_t want = static_cast<std::size_t>(std::min<uint64_t>(left, kFeedSize));
    std::span<const uint8_t> piece;
    if (!in.Get(pos, want, piece)) return BlockStatus::ReadFailed;
    const bool padding = piece.empty();
    if (padding) piece = std::span<const uint8_t>(zeros.data(), want);
    zs.next_in = const_cast<Bytef*>(piece.data());
    zs.avail_in = static_cast<uInt>(piece.size());
    const uInt outBefore = zs.avail_out;
    int ret = inflate(&zs, Z_NO_FLUSH);
    if (ret < 0) return BlockStatus::InflateFailed;
    if (ret == Z_STREAM_END) break;
    std::size_t used = piece.size() - zs.avail_in;
    pos += used;
    left -= used;
    if (zs.avail_out == outBefore && (used == 0 || padding)) break;  // no further progress
  }
  return BlockStatus::Ok;
}

}  // namespace

std::string OutOfSpaceText(uint64_t bytesRequired) {
  return "It appears that you're out of space!  (" + std::to_string(bytesRequired) +
         " bytes are required)  [Note, I'm too lazy to code some things, so if you're "
         "replacing a file and getting this message, try deleting the file first]";
}

std::string CcdOverwriteQuestion(const std::string& outputPath) {
  const std::string ccd = CcdFilePath(outputPath);
  if (!FileExists(ccd)) return {};
  return "The following file will be overwritten if you continue!\r\n" + ccd +
         "\r\nDo you wish to continue?";
}

std::string ReadDiscImageLayout(File& package, const std::string& displayPath,
                                DiscImageLayout& out) {
  out = DiscImageLayout{};
  out.fileSize = package.Size();
  auto psar = ReadLe32At(package, kPsarOffsetPos);
  if (!psar) return kPsarHeaderNotFound;
  out.psar = *psar;
  std::array<uint8_t, kPsarMagicSize> magic{};
  if (!package.Seek(out.psar) || !package.ReadExact(magic) ||
      std::memcmp(magic.data(), kPsarMagic.data(), kPsarMagicSize) != 0)
    return kPsarHeaderNotFound;

  const uint64_t dataStart = out.psar + kPsarBlockDataPos;
  if (dataStart > out.fileSize)
    return "The EBOOT \"" + displayPath + "\" is cut short: its disc image index ends at byte " +
           std::to_string(dataStart) + ", beyond the end of the file (" +
           std::to_string(out.fileSize) + " bytes).";

  if (!package.Seek(out.psar + kPsarTocPos) || !package.ReadExact(out.toc))
    return kPsarHeaderNotFound;

  Bytes index(kPsarBlockDataPos - kPsarIndexPos);
  if (!package.Seek(out.psar + kPsarIndexPos) || !package.ReadExact(index))
    return "The EBOOT \"" + displayPath + "\" could not be read: " + package.LastError();
  for (uint64_t slot = 0; slot < kIndexSlots; ++slot) {
    const uint8_t* e = index.data() + slot * kIndexEntrySize;
    BlockRef b{LoadLe32(e), LoadLe32(e + 4)};
    if (b.offset == 0 && b.length == 0) continue;
    if (dataStart + b.offset >= out.fileSize)
      return "The EBOOT \"" + displayPath + "\" is damaged: disc image block " +
             std::to_string(out.blocks.size()) + " (index slot " + std::to_string(slot) +
             ") starts at byte " + std::to_string(dataStart + b.offset) +
             ", beyond the end of the file (" + std::to_string(out.fileSize) + " bytes).";
    out.blocks.push_back(b);
  }
  return {};
}

std::string ExtractDiscImage(const std::string& ebootPath, const std::string& outputPath,
                             bool conversionLayout, int tocSetting, Host& host) {
  if (!FileExists(ebootPath) || IsDirectory(ebootPath)) return kNoSuchFile;
  File in(ebootPath, File::Mode::Read);
  if (!in) return kNoSuchFile;

  DiscImageLayout layout;
  if (std::string err = ReadDiscImageLayout(in, ebootPath, layout); !err.empty()) return err;
  // The output is deleted before it is written; it must never be the package itself.
  std::error_code ec;
  if (std::filesystem::equivalent(std::filesystem::u8path(ebootPath),
                                  std::filesystem::u8path(outputPath), ec))
    return "The disc image cannot be written over the EBOOT it comes from (\"" + outputPath +
           "\").";

  TocWriteResult toc = WriteTocFiles(layout.toc, outputPath, conversionLayout, tocSetting, host);
  if (toc.stop) return toc.result;

  const uint64_t n = layout.blocks.size();
  const uint64_t required = n * kBlockSize;
  if (auto free = FreeSpace(outputPath); free && required > *free) return OutOfSpaceText(required);

  DeleteFileIfExists(outputPath);
  File out(outputPath, File::Mode::Write);
  if (!out) {
    AskContinueAfterError(host, out.LastError(), kErrDeviceIo);
    return "";
  }
  Bytes block(kBlockSize, 0), scratch(kBlockSize, 0);

  host.Log("  Extracting ISO... ");
  host.SetCaption("Extracting ISO...");

  RawInflater inflater;
  if (!inflater.ok()) return kInflateFailed;
  FastInflater fast;
  WindowReader reader(in, layout.fileSize);
  const uint64_t dataStart = layout.psar + kPsarBlockDataPos;
  {
    // Declared after `out`, so every way out writes what is pending before the file closes.
    AsyncWriter writer(out, kWriteChunkBlocks * kBlockSize);
    auto writeFailed = [&] {
      return !AskContinueAfterError(host, writer.TakeError(), kErrDeviceIo);
    };
    for (uint64_t i = 0; i < n; ++i) {
      if ((i + 1) % kProgressEvery == 0) {
        host.SetFraction(static_cast<double>(i) / static_cast<double>(n));
        host.PumpEvents();
        if (TakeCancelRequest()) return "Cancelled.";
      }
      const BlockRef& b = layout.blocks[i];
      const uint64_t pos = dataStart + b.offset;
      BlockStatus st = BlockStatus::Ok;
      if (b.stored()) {
        st = ReadStored(reader, pos, block);
      } else {
        std::span<const uint8_t> in;
        const std::size_t look =
            static_cast<std::size_t>(std::min<uint64_t>(b.length, kFastInputMax));
        if (reader.Get(pos, look, in, true) && fast.TryWholeBlock(in, scratch)) {
          block.swap(scratch);  // `block` keeps the last block for a short stream's tail
        } else {
          st = InflateBlock(reader, inflater, pos, b.length, block);
        }
      }
      if (st == BlockStatus::InflateFailed) return kInflateFailed;
      if (st == BlockStatus::ReadFailed &&
          !AskContinueAfterError(host, in.LastError(), kErrDeviceIo))
        return "";
      if (!writer.Write(block) && writeFailed()) return "";
    }
    if (!writer.Flush() && writeFailed()) return "";
  }
  if (!out.Close() && !AskContinueAfterError(host, out.LastError(), kErrDeviceIo)) return "";
  host.SetFraction(1.0);
  host.Log("Done");
  return "Success.";
}

}  // namespace ebf::pbp
