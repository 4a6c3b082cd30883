#include "disc/chd/chd_codecs.h"

#include <lzma.h>
#include <zlib.h>
#include <zstd.h>

#include <cstring>

#include "disc/cd_ecc.h"
#include "disc/chd/chd_header.h"
#include "disc/chd/chd_huffman.h"

namespace ebf::chd {
namespace {

// FLAC block sizes the CHD encoders choose: a quarter of the data, halved down to the
// limit (2,048 sample frames for plain flac, one CD sector's 2,352 bytes for cdfl).
uint32_t FlacBlockSize(uint32_t bytes, uint32_t limit) {
  uint32_t b = bytes / 4;
  while (b > limit) b /= 2;
  return b;
}

// The dictionary the LZMA encoder was set up with for this output size (level 9, reduced
// to the size); decoding needs one at least that large.
uint32_t LzmaDictionary(uint32_t size) {
  const uint32_t want = std::max<uint32_t>(size, 4096);
  for (int i = 11; i < 30; ++i) {
    if ((2u << i) >= want) return 2u << i;
    if ((3u << i) >= want) return 3u << i;
  }
  return 1u << 30;
}

}  // namespace

HunkCodecs::HunkCodecs(uint32_t hunkBytes)
    : hunkBytes_(hunkBytes), frames_(hunkBytes / kRawSubSectorSize), zlib_(new z_stream{}) {
  zlibReady_ = inflateInit2(zlib_.get(), -15) == Z_OK;
  zstd_ = ZSTD_createDCtx();
  base_.resize(std::size_t{frames_} * kRawSectorSize);
  sub_.resize(std::size_t{frames_} * kSubchannelSize);
}

HunkCodecs::~HunkCodecs() {
  if (zlibReady_) inflateEnd(zlib_.get());
  if (zstd_) ZSTD_freeDCtx(zstd_);
}

std::string HunkCodecs::Inflate(std::span<const uint8_t> src, std::span<uint8_t> dst) {
  if (!zlibReady_ || inflateReset(zlib_.get()) != Z_OK) return "zlib could not be started";
  z_stream& z = *zlib_;
  z.next_in = const_cast<Bytef*>(src.data());
  z.avail_in = static_cast<uInt>(src.size());
  z.next_out = dst.data();
  z.avail_out = static_cast<uInt>(dst.size());
  int rc = inflate(&z, Z_FINISH);
  if (rc != Z_STREAM_END || z.avail_out != 0) return "its deflate data is damaged";
  return "";
}

std::string HunkCodecs::Lzma(std::span<const uint8_t> src, std::span<uint8_t> dst) {
  lzma_options_lzma options{};
  options.dict_size = LzmaDictionary(static_cast<uint32_t>(dst.size()));
  options.lc = 3;
  options.lp = 0;
  options.pb = 2;
  // No end marker: the stream ends when the known size has come out.
#ifdef LZMA_FILTER_LZMA1EXT
  options.ext_size_low = static_cast<uint32_t>(dst.size());
  options.ext_size_high = 0;
  const lzma_filter filters[2] = {{LZMA_FILTER_LZMA1EXT, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
#else
  const lzma_filter filters[2] = {{LZMA_FILTER_LZMA1, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
#endif
  lzma_stream s = LZMA_STREAM_INIT;
  if (lzma_raw_decoder(&s, filters) != LZMA_OK) return "LZMA could not be started";
  s.next_in = src.data();
  s.avail_in = src.size();
  s.next_out = dst.data();
  s.avail_out = dst.size();
  lzma_ret rc = lzma_code(&s, LZMA_FINISH);
  const bool full = s.avail_out == 0;
  lzma_end(&s);
  if (!full || (rc != LZMA_OK && rc != LZMA_STREAM_END)) return "its LZMA data is damaged";
  return "";
}

std::string HunkCodecs::Zstd(std::span<const uint8_t> src, std::span<uint8_t> dst) {
  if (!zstd_) return "zstd could not be started";
  size_t n = ZSTD_decompressDCtx(zstd_, dst.data(), dst.size(), src.data(), src.size());
  if (ZSTD_isError(n) || n != dst.size()) return "its zstd data is damaged";
  return "";
}

std::string HunkCodecs::Flac(std::span<const uint8_t> src, std::span<uint8_t> dst) {
  // A first byte of 'L' or 'B' gives the byte order of the samples.
  if (src.empty() || (src[0] != 'L' && src[0] != 'B') || dst.size() % 4 != 0)
    return "its FLAC data is damaged";
  std::size_t used = 0;
  return flac_.Decode(src.subspan(1), FlacBlockSize(static_cast<uint32_t>(dst.size()), 2048),
                      src[0] == 'B', dst, used);
}

void HunkCodecs::Interleave(std::span<uint8_t> dst, std::span<const uint8_t> eccBits) {
  for (uint32_t i = 0; i < frames_; ++i) {
    uint8_t* frame = dst.data() + std::size_t{i} * kRawSubSectorSize;
    std::memcpy(frame, &base_[std::size_t{i} * kRawSectorSize], kRawSectorSize);
    std::memcpy(frame + kRawSectorSize, &sub_[std::size_t{i} * kSubchannelSize], kSubchannelSize);
    // Sync and ECC were left out when they could be rebuilt from the rest.
    if (!eccBits.empty() && (eccBits[i / 8] & (1u << (i % 8)))) {
      std::memcpy(frame, kSectorSync, sizeof kSectorSync);
      CdComputeEcc(frame, frame[15] == 2);
    }
  }
}

std::string HunkCodecs::CdFrames(uint32_t codec, std::span<const uint8_t> src,
                                 std::span<uint8_t> dst) {
  const std::size_t eccBytes = (frames_ + 7) / 8;
  const std::size_t lengthBytes = hunkBytes_ < 65536 ? 2 : 3;
  if (src.size() < eccBytes + lengthBytes) return "its CD data is cut short";
  std::size_t baseLength = 0;
  for (std::size_t i = 0; i < lengthBytes; ++i) baseLength = baseLength << 8 | src[eccBytes + i];
  const std::size_t start = eccBytes + lengthBytes;
  if (baseLength > src.size() - start) return "its CD data is cut short";
  auto base = src.subspan(start, baseLength);
  auto sub = src.subspan(start + baseLength);
  std::string error;
  if (codec == kCodecCdLzma) {
    error = Lzma(base, base_);
    if (error.empty()) error = Inflate(sub, sub_);
  } else if (codec == kCodecCdZlib) {
    error = Inflate(base, base_);
    if (error.empty()) error = Inflate(sub, sub_);
  } else {
    error = Zstd(base, base_);
    if (error.empty()) error = Zstd(sub, sub_);
  }
  if (!error.empty()) return error;
  Interleave(dst, src.subspan(0, eccBytes));
  return "";
}

std::string HunkCodecs::CdFlac(std::span<const uint8_t> src, std::span<uint8_t> dst) {
  std::size_t used = 0;
  std::string error =
      flac_.Decode(src, FlacBlockSize(frames_ * kRawSectorSize, kRawSectorSize), true, base_, used);
  if (error.empty()) error = Inflate(src.subspan(used), sub_);
  if (!error.empty()) return error;
  Interleave(dst, {});
  return "";
}

std::string HunkCodecs::Decompress(uint32_t codec, std::span<const uint8_t> src,
                                   std::span<uint8_t> dst) {
  switch (codec) {
    case kCodecZlib:
      return Inflate(src, dst);
    case kCodecLzma:
      return Lzma(src, dst);
    case kCodecZstd:
      return Zstd(src, dst);
    case kCodecHuff:
      return HuffDecompress(src, dst);
    case kCodecFlac:
      return Flac(src, dst);
    case kCodecCdZlib:
    case kCodecCdLzma:
    case kCodecCdZstd:
      return CdFrames(codec, src, dst);
    case kCodecCdFlac:
      return CdFlac(src, dst);
  }
  return "it uses the unknown compression \"" + CodecName(codec) + "\"";
}

}  // namespace ebf::chd
