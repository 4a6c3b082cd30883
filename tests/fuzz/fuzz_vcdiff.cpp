// libFuzzer target: the VCDIFF reader (window headers, the code table, the address cache, LZMA
// sections), opened, checked and applied to a small image.
#include "patch_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  return ebf::fuzz::RunPatch(data, size, "vcdiff", ebf::patches::OpenVcdiff);
}
