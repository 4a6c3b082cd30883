// Converting a 4000 x 3000 JPEG photo to a 480 x 272 slot PNG: target under 150 ms.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <vector>
// clang-format off
#include <jpeglib.h>
// clang-format on

#include "assets/convert.h"
#include "common/files.h"
#include "support/temp_dir.h"

namespace {

// A photo-like picture: smooth gradients with fine noise, so the encoder does real work.
bool WriteTestJpeg(const std::string& path, int width, int height) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  jpeg_compress_struct info{};
  jpeg_error_mgr err{};
  info.err = jpeg_std_error(&err);
  jpeg_create_compress(&info);
  jpeg_stdio_dest(&info, f);
  info.image_width = static_cast<JDIMENSION>(width);
  info.image_height = static_cast<JDIMENSION>(height);
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 90, TRUE);
  jpeg_start_compress(&info, TRUE);
  std::vector<uint8_t> row(static_cast<std::size_t>(width) * 3);
  uint32_t seed = 12345;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      seed = seed * 1664525u + 1013904223u;
      const int noise = static_cast<int>(seed >> 28) - 8;
      row[x * 3 + 0] = static_cast<uint8_t>(std::clamp(x * 255 / width + noise, 0, 255));
      row[x * 3 + 1] = static_cast<uint8_t>(std::clamp(y * 255 / height + noise, 0, 255));
      row[x * 3 + 2] = static_cast<uint8_t>(std::clamp(((x ^ y) & 0xFF) + noise, 0, 255));
    }
    JSAMPROW r = row.data();
    jpeg_write_scanlines(&info, &r, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  return std::fclose(f) == 0;
}

}  // namespace

int main() {
  ebf::test::TempDir dir;
  const std::string jpeg = dir / "photo.jpg";
  if (!WriteTestJpeg(jpeg, 4000, 3000)) {
    std::fprintf(stderr, "could not write the test JPEG\n");
    return 1;
  }
  std::printf("4000x3000 JPEG: %llu bytes\n",
              static_cast<unsigned long long>(ebf::FileSize(jpeg).value_or(0)));
  bool allUnder = true;
  for (int mode : {1, 2, 3}) {
    std::vector<double> times;
    for (int run = 0; run < 7; ++run) {
      ebf::c32bppDIB image;
      std::string path = jpeg;
      const auto start = std::chrono::steady_clock::now();
      ebf::ConvertSlotPictureToPng(dir.folder(), path, "PIC1", image, 480, 272, mode, true);
      const auto end = std::chrono::steady_clock::now();
      times.push_back(std::chrono::duration<double, std::milli>(end - start).count());
    }
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];
    allUnder = allUnder && median < 150.0;
    std::printf("JPEG 4000x3000 -> PNG 480x272, mode %d: median %.1f ms (best %.1f ms) %s\n", mode,
                median, times.front(), median < 150.0 ? "OK" : "OVER 150 ms");
  }
  return allUnder ? 0 : 1;
}
