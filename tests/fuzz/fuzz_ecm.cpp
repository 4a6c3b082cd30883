// libFuzzer target: the ECM decoder (record scan, decoding in order and from a seek, the
// closing checksum). The input is written to a file, as the reader reads files.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "disc/ecm_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  // One scratch file a process, removed when the fuzzer ends.
  static const struct Scratch {
    std::string path = "/tmp/ebf-fuzz-ecm-" + std::to_string(getpid()) + ".ecm";
    ~Scratch() { std::remove(path.c_str()); }
  } scratch;
  const std::string& path = scratch.path;
  if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
    std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
  ebf::EcmReader reader;
  if (!reader.Open(path).empty()) return 0;
  std::vector<uint8_t> buffer(64 * 1024);
  // At most a few MB out, whatever the records claim.
  for (int i = 0; i < 64 && reader.Read(buffer) > 0; ++i) {
  }
  reader.CheckChecksum();
  reader.Seek(reader.DecodedSize() / 2);
  reader.Read(std::span<uint8_t>(buffer.data(), 5000));
  return 0;
}
