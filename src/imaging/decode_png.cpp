// PNG through libpng: every colour type comes out as 8-bit BGRA with tRNS turned into alpha.

#include <png.h>

#include <csetjmp>
#include <cstring>

#include "imaging/picture.h"

namespace ebf {
namespace {

struct MemoryInput {
  std::span<const uint8_t> data;
  std::size_t pos = 0;
};

void ReadFromMemory(png_structp png, png_bytep out, png_size_t length) {
  auto* in = static_cast<MemoryInput*>(png_get_io_ptr(png));
  if (length > in->data.size() - in->pos) png_error(png, "truncated");
  std::memcpy(out, in->data.data() + in->pos, length);
  in->pos += length;
}

void Quiet(png_structp, png_const_charp) {}

void ErrorExit(png_structp png, png_const_charp) {
  png_longjmp(png, 1);
}

// libpng state released on every way out.
struct ReadGuard {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~ReadGuard() { png_destroy_read_struct(&png, info ? &info : nullptr, nullptr); }
};

}  // namespace

bool DecodePng(std::span<const uint8_t> data, Picture& out) {
  out = Picture{};
  if (data.size() < 8 || png_sig_cmp(data.data(), 0, 8) != 0) return false;
  MemoryInput input{data, 0};
  ReadGuard g;
  g.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, ErrorExit, Quiet);
  if (!g.png) return false;
  g.info = png_create_info_struct(g.png);
  if (!g.info) return false;
  std::vector<png_bytep> rows;
  if (setjmp(png_jmpbuf(g.png))) {
    out = Picture{};
    return false;
  }
  png_set_read_fn(g.png, &input, ReadFromMemory);
  png_set_user_limits(g.png, static_cast<png_uint_32>(kMaxPictureSide),
                      static_cast<png_uint_32>(kMaxPictureSide));
  png_set_chunk_malloc_max(g.png, 8u << 20);
  png_read_info(g.png, g.info);
  png_uint_32 width = 0, height = 0;
  int bitDepth = 0, colourType = 0, interlace = 0;
  png_get_IHDR(g.png, g.info, &width, &height, &bitDepth, &colourType, &interlace, nullptr,
               nullptr);
  // Deflate never packs more than 1032 bytes into one; the raw rows (a filter byte each)
  // must fit that ratio with the file's size.
  const uint64_t rowBytes =
      1 + (static_cast<uint64_t>(width) * png_get_channels(g.png, g.info) * bitDepth + 7) / 8;
  if (!FileCanHold(rowBytes * height, data.size(), 1032)) return false;
  if (interlace == PNG_INTERLACE_NONE ? !StartPicture(out, width, height)
                                      : !AllocatePicture(out, width, height))
    return false;

  if (colourType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(g.png);
  if (colourType == PNG_COLOR_TYPE_GRAY && bitDepth < 8) png_set_expand_gray_1_2_4_to_8(g.png);
  if (png_get_valid(g.png, g.info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(g.png);
  if (bitDepth == 16) png_set_strip_16(g.png);
  if (colourType == PNG_COLOR_TYPE_GRAY || colourType == PNG_COLOR_TYPE_GRAY_ALPHA)
    png_set_gray_to_rgb(g.png);
  png_set_filler(g.png, 0xFF, PNG_FILLER_AFTER);
  png_set_bgr(g.png);
  png_set_interlace_handling(g.png);
  png_read_update_info(g.png, g.info);
  if (png_get_rowbytes(g.png, g.info) != static_cast<png_size_t>(width) * 4) png_error(g.png, "");

  if (interlace == PNG_INTERLACE_NONE) {
    for (png_uint_32 y = 0; y < height; ++y) png_read_row(g.png, NextRow(out), nullptr);
  } else {
    rows.resize(height);
    for (png_uint_32 y = 0; y < height; ++y) rows[y] = out.Row(static_cast<int>(y));
    png_read_image(g.png, rows.data());
  }
  return true;
}

}  // namespace ebf
