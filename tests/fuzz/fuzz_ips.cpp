// libFuzzer target: the IPS reader (RLE runs, the truncation after EOF), opened, checked and
// applied to a small image.
#include "patch_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  return ebf::fuzz::RunPatch(data, size, "ips", ebf::patches::OpenIps);
}
