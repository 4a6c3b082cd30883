// libFuzzer target: the ECM decoder (record scan, decoding in order and from a seek, the
// closing checksum). The input is written to a file, as the reader reads files.

#include <vector>

#include "disc/ecm_reader.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static const ebf::fuzz::ScratchFile scratch("input.ecm");
  const std::string& path = scratch.Write(data, size);
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
