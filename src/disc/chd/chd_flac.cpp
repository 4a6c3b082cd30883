#include "disc/chd/chd_flac.h"

#include <FLAC/stream_decoder.h>

#include <algorithm>
#include <cstring>

namespace ebf::chd {
namespace {

constexpr std::size_t kHeader = 42;

using Call = FlacDecoder::Call;

FLAC__StreamDecoderReadStatus OnRead(const FLAC__StreamDecoder*, FLAC__byte buffer[], size_t* bytes,
                                     void* data) {
  Call& c = *static_cast<Call*>(data);
  const uint64_t total = kHeader + c.src.size();
  if (c.pos >= total) {
    *bytes = 0;
    return FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM;
  }
  std::size_t n = 0;
  while (n < *bytes && c.pos < total) {
    if (c.pos < kHeader) {
      std::size_t k = std::min<std::size_t>(*bytes - n, kHeader - static_cast<std::size_t>(c.pos));
      std::memcpy(buffer + n, c.header + c.pos, k);
      n += k;
      c.pos += k;
    } else {
      const std::size_t at = static_cast<std::size_t>(c.pos - kHeader);
      std::size_t k = std::min<std::size_t>(*bytes - n, c.src.size() - at);
      std::memcpy(buffer + n, c.src.data() + at, k);
      n += k;
      c.pos += k;
    }
  }
  *bytes = n;
  return FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
}

FLAC__StreamDecoderTellStatus OnTell(const FLAC__StreamDecoder*, FLAC__uint64* offset, void* data) {
  *offset = static_cast<Call*>(data)->pos;
  return FLAC__STREAM_DECODER_TELL_STATUS_OK;
}

FLAC__bool OnEof(const FLAC__StreamDecoder*, void* data) {
  const Call& c = *static_cast<Call*>(data);
  return c.pos >= kHeader + c.src.size();
}

FLAC__StreamDecoderWriteStatus OnWrite(const FLAC__StreamDecoder*, const FLAC__Frame* frame,
                                       const FLAC__int32* const channels[], void* data) {
  Call& c = *static_cast<Call*>(data);
  const uint32_t n = frame->header.blocksize;
  if (frame->header.channels != 2 || frame->header.bits_per_sample != 16 ||
      c.written + std::size_t{n} * 4 > c.out.size()) {
    c.failed = true;
    return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
  }
  uint8_t* p = c.out.data() + c.written;
  for (uint32_t i = 0; i < n; ++i) {
    for (int ch = 0; ch < 2; ++ch) {
      const uint16_t s = static_cast<uint16_t>(channels[ch][i]);
      p[0] = static_cast<uint8_t>(c.bigEndian ? s >> 8 : s);
      p[1] = static_cast<uint8_t>(c.bigEndian ? s : s >> 8);
      p += 2;
    }
  }
  c.written += std::size_t{n} * 4;
  return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

void OnError(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus, void* data) {
  static_cast<Call*>(data)->failed = true;
}

// fLaC, a last STREAMINFO block of 34 bytes: block sizes, unknown frame sizes, 44,100 Hz,
// 2 channels, 16 bits, unknown length, no MD5.
void MakeHeader(uint8_t* h, uint32_t blockSize) {
  const uint8_t fixed[18] = {'f', 'L', 'a', 'C', 0x80, 0x00, 0x00, 0x22, 0,
                             0,   0,   0,   0,   0,    0,    0,    0,    0};
  std::memcpy(h, fixed, sizeof fixed);
  h[8] = h[10] = static_cast<uint8_t>(blockSize >> 8);
  h[9] = h[11] = static_cast<uint8_t>(blockSize);
  const uint8_t format[8] = {0x0A, 0xC4, 0x42, 0xF0, 0x00, 0x00, 0x00, 0x00};
  std::memcpy(h + 18, format, sizeof format);
  std::memset(h + 26, 0, 16);
}

}  // namespace

FlacDecoder::FlacDecoder() : decoder_(FLAC__stream_decoder_new()) {}

FlacDecoder::~FlacDecoder() {
  if (decoder_) FLAC__stream_decoder_delete(static_cast<FLAC__StreamDecoder*>(decoder_));
}

std::string FlacDecoder::Decode(std::span<const uint8_t> src, uint32_t blockSize, bool bigEndian,
                                std::span<uint8_t> out, std::size_t& consumed) {
  auto* decoder = static_cast<FLAC__StreamDecoder*>(decoder_);
  if (!decoder) return "the FLAC decoder could not be made";
  Call c;
  c.src = src;
  c.out = out;
  c.bigEndian = bigEndian;
  MakeHeader(c.header, blockSize);
  if (FLAC__stream_decoder_init_stream(decoder, OnRead, nullptr, OnTell, nullptr, OnEof, OnWrite,
                                       nullptr, OnError, &c) != FLAC__STREAM_DECODER_INIT_STATUS_OK)
    return "the FLAC decoder could not be started";
  bool ok = FLAC__stream_decoder_process_until_end_of_metadata(decoder);
  while (ok && !c.failed && c.written < out.size()) {
    if (!FLAC__stream_decoder_process_single(decoder)) ok = false;
    if (FLAC__stream_decoder_get_state(decoder) == FLAC__STREAM_DECODER_END_OF_STREAM) break;
  }
  FLAC__uint64 position = 0;
  const bool complete = ok && !c.failed && c.written == out.size() &&
                        FLAC__stream_decoder_get_decode_position(decoder, &position) &&
                        position >= kHeader && position - kHeader <= src.size();
  FLAC__stream_decoder_finish(decoder);
  if (!complete) return "its FLAC data is damaged";
  consumed = static_cast<std::size_t>(position - kHeader);
  return "";
}

}  // namespace ebf::chd
