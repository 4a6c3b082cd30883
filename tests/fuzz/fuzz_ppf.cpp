// libFuzzer target: the PPF 1.0, 2.0 and 3.0 reader (check block, undo data, file_id.diz), opened,
// checked and applied to a small image.
#include "patch_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  return ebf::fuzz::RunPatch(data, size, "ppf", ebf::patches::OpenPpf);
}
