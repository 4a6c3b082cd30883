// libFuzzer target: PARAM.SFO, read and patched with a new title and game ID.

#include <cstddef>
#include <cstdint>

#include "pbp/sfo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  ebf::Bytes sfo(data, data + size);
  ebf::pbp::ReadSfoFields(sfo);
  ebf::pbp::PatchSfo(sfo, "A Title", "SLUS00594");
  ebf::pbp::ReadSfoFields(sfo);
  return 0;
}
