#pragma once
// The FLAC side of CHD's "flac" and "cdfl" codecs: a FLAC stream without its "fLaC" marker
// and STREAMINFO block, decoded with libFLAC after a made-up header (44,100 Hz, two
// channels, 16 bits, the codec's block size).

#include <cstdint>
#include <span>
#include <string>

namespace ebf::chd {

class FlacDecoder {
 public:
  FlacDecoder();
  ~FlacDecoder();
  FlacDecoder(const FlacDecoder&) = delete;
  FlacDecoder& operator=(const FlacDecoder&) = delete;

  // Decodes out.size() / 4 stereo sample frames from `src`, each sample written as two
  // bytes, big-endian or little-endian. `consumed` gets the bytes of src the frames took.
  // Returns "" or what is wrong.
  std::string Decode(std::span<const uint8_t> src, uint32_t blockSize, bool bigEndian,
                     std::span<uint8_t> out, std::size_t& consumed);

  // Callbacks' view of the call in progress.
  struct Call {
    std::span<const uint8_t> src;
    uint8_t header[42] = {};
    uint64_t pos = 0;  // in header + src
    std::span<uint8_t> out;
    std::size_t written = 0;
    bool bigEndian = true;
    bool failed = false;
  };

 private:
  void* decoder_ = nullptr;  // a FLAC__StreamDecoder (an unnamed struct in libFLAC)
};

}  // namespace ebf::chd
