// PNG through libpng and JPEG through libjpeg, straight from the canvas.

#include <png.h>
#include <csetjmp>
#include <cstdio>
#include <memory>

extern "C" {
#include <jpeglib.h>
}

#include "canvas.h"

namespace artgen {
namespace {

struct FileCloser {
  void operator()(FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

}  // namespace

bool WritePng(const std::string& path, const Canvas& canvas) {
  FilePtr file(std::fopen(path.c_str(), "wb"));
  if (!file) return false;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  if (!png) return false;
  png_infop info = png_create_info_struct(png);
  const std::vector<uint8_t> pixels = canvas.Rgba8();
  if (!info || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, info ? &info : nullptr);
    return false;
  }
  png_init_io(png, file.get());
  png_set_compression_level(png, 9);
  png_set_IHDR(png, info, canvas.width(), canvas.height(), 8, PNG_COLOR_TYPE_RGB_ALPHA,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  for (int y = 0; y < canvas.height(); ++y)
    png_write_row(png, pixels.data() + static_cast<size_t>(y) * canvas.width() * 4);
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return std::fflush(file.get()) == 0;
}

bool WriteJpeg(const std::string& path, const Canvas& canvas, int quality) {
  FilePtr file(std::fopen(path.c_str(), "wb"));
  if (!file) return false;
  jpeg_compress_struct cinfo;
  jpeg_error_mgr err;
  cinfo.err = jpeg_std_error(&err);  // the default handler exits on a fatal error
  jpeg_create_compress(&cinfo);
  jpeg_stdio_dest(&cinfo, file.get());
  cinfo.image_width = static_cast<JDIMENSION>(canvas.width());
  cinfo.image_height = static_cast<JDIMENSION>(canvas.height());
  cinfo.input_components = 3;
  cinfo.in_color_space = JCS_RGB;
  jpeg_set_defaults(&cinfo);
  jpeg_set_quality(&cinfo, quality, TRUE);
  cinfo.optimize_coding = TRUE;
  // Full-resolution colour: the pictures are smooth gradients with thin light lines.
  cinfo.comp_info[0].h_samp_factor = cinfo.comp_info[0].v_samp_factor = 1;
  jpeg_start_compress(&cinfo, TRUE);
  std::vector<uint8_t> rgb = canvas.Rgb8();
  while (cinfo.next_scanline < cinfo.image_height) {
    JSAMPROW row = rgb.data() + static_cast<size_t>(cinfo.next_scanline) * canvas.width() * 3;
    jpeg_write_scanlines(&cinfo, &row, 1);
  }
  jpeg_finish_compress(&cinfo);
  jpeg_destroy_compress(&cinfo);
  return std::fflush(file.get()) == 0;
}

}  // namespace artgen
