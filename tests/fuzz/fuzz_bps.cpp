// libFuzzer target: the BPS reader (its numbers, the four actions, the three CRC32s), opened,
// checked and applied to a small image.
#include "patch_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  return ebf::fuzz::RunPatch(data, size, "bps", ebf::patches::OpenBps);
}
