#include "imaging/png_writer.h"

#include <png.h>

#include <csetjmp>
#include <vector>

#include "common/file_io.h"
#include "common/files.h"

namespace ebf {
namespace {

void WriteToFile(png_structp png, png_bytep data, png_size_t length) {
  auto* file = static_cast<File*>(png_get_io_ptr(png));
  if (!file->Write(std::span<const uint8_t>(data, length))) png_error(png, "write failed");
}

void FlushFile(png_structp) {}
void Quiet(png_structp, png_const_charp) {}
void ErrorExit(png_structp png, png_const_charp) {
  png_longjmp(png, 1);
}

struct WriteGuard {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~WriteGuard() { png_destroy_write_struct(&png, info ? &info : nullptr); }
};

bool Encode(const Surface& surface, File& file, int width, int height) {
  WriteGuard g;
  g.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, ErrorExit, Quiet);
  if (!g.png) return false;
  g.info = png_create_info_struct(g.png);
  if (!g.info) return false;
  std::vector<uint8_t> row(static_cast<std::size_t>(width) * 3);
  if (setjmp(png_jmpbuf(g.png))) return false;
  png_set_write_fn(g.png, &file, WriteToFile, FlushFile);
  png_set_IHDR(g.png, g.info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
               PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_color_8 bits{};
  bits.red = bits.green = bits.blue = 8;
  png_set_sBIT(g.png, g.info, &bits);
  // Level 3 writes a 480 x 272 photo in about half the time of the default level for a
  // file a tenth larger; slot pictures are small either way.
  png_set_compression_level(g.png, 3);
  png_write_info(g.png, g.info);
  // Rows go to the encoder as blue, green, red triplets; it swaps them back.
  png_set_bgr(g.png);
  for (int y = 0; y < height; ++y) {
    const uint8_t* src = surface.Row(y);
    for (int x = 0; x < width; ++x) {
      row[x * 3 + 0] = src[x * 4 + 0];
      row[x * 3 + 1] = src[x * 4 + 1];
      row[x * 3 + 2] = src[x * 4 + 2];
    }
    png_write_row(g.png, row.data());
  }
  png_write_end(g.png, nullptr);
  return true;
}

}  // namespace

bool WritePngFromDrawingContext(const Surface& surface, const std::string& path, int width,
                                int height) {
  if (width < 1 || height < 1 || width > surface.width() || height > surface.height()) return false;
  File file(path, File::Mode::Write);
  if (!file) return false;
  const bool ok = Encode(surface, file, width, height) && file.Close();
  if (!ok) {
    file.Close();
    DeleteFileIfExists(path);
  }
  return ok;
}

}  // namespace ebf
