// libFuzzer target: the BMP reader, plus drawing whatever it accepts.

#include <cstddef>
#include <cstdint>
#include <span>

#include "imaging/picture.h"
#include "imaging/render.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  ebf::Picture picture;
  if (ebf::DecodeBmp(std::span(data, size), picture)) {
    ebf::Surface surface(17, 9);
    ebf::RenderPicture(picture, surface, -3, -2, 23, 11, 100);
  }
  return 0;
}
