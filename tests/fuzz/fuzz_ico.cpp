// libFuzzer target: the ICO/CUR reader (bitmap and PNG images inside).

#include <cstddef>
#include <cstdint>
#include <span>

#include "imaging/picture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  ebf::Picture picture;
  ebf::DecodeIco(std::span(data, size), picture);
  return 0;
}
