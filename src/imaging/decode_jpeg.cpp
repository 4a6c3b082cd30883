// JPEG through libjpeg(-turbo). A file that ends before its last scan is refused rather
// than shown with a grey lower half.

#include <csetjmp>
#include <cstddef>
#include <cstdio>
// clang-format off
#include <jpeglib.h>
#include <jerror.h>
// clang-format on

#include "imaging/picture.h"

namespace ebf {
namespace {

struct ErrorState {
  jpeg_error_mgr mgr;
  std::jmp_buf jump;
  bool truncated = false;
};

void ErrorExit(j_common_ptr info) {
  std::longjmp(reinterpret_cast<ErrorState*>(info->err)->jump, 1);
}

void EmitMessage(j_common_ptr info, int level) {
  auto* state = reinterpret_cast<ErrorState*>(info->err);
  if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF) state->truncated = true;
}

void OutputMessage(j_common_ptr) {}

struct DecompressGuard {
  jpeg_decompress_struct info{};
  bool created = false;
  ~DecompressGuard() {
    if (created) jpeg_destroy_decompress(&info);
  }
};

}  // namespace

bool ReadJpegSize(std::span<const uint8_t> data, int& width, int& height) {
  width = height = 0;
  if (data.size() < 4) return false;
  DecompressGuard g;
  ErrorState err;
  g.info.err = jpeg_std_error(&err.mgr);
  err.mgr.error_exit = ErrorExit;
  err.mgr.emit_message = EmitMessage;
  err.mgr.output_message = OutputMessage;
  if (setjmp(err.jump)) return false;
  jpeg_create_decompress(&g.info);
  g.created = true;
  jpeg_mem_src(&g.info, data.data(), static_cast<unsigned long>(data.size()));
  if (jpeg_read_header(&g.info, TRUE) != JPEG_HEADER_OK) return false;
  if (g.info.image_width < 1 || g.info.image_height < 1 || g.info.image_width > kMaxPictureSide ||
      g.info.image_height > kMaxPictureSide)
    return false;
  width = static_cast<int>(g.info.image_width);
  height = static_cast<int>(g.info.image_height);
  return true;
}

bool DecodeJpeg(std::span<const uint8_t> data, Picture& out, int minWidth, int minHeight) {
  out = Picture{};
  if (data.size() < 4) return false;
  DecompressGuard g;
  ErrorState err;
  g.info.err = jpeg_std_error(&err.mgr);
  err.mgr.error_exit = ErrorExit;
  err.mgr.emit_message = EmitMessage;
  err.mgr.output_message = OutputMessage;
  std::vector<uint8_t> cmykRow;
  if (setjmp(err.jump)) {
    out = Picture{};
    return false;
  }
  jpeg_create_decompress(&g.info);
  g.created = true;
  jpeg_mem_src(&g.info, data.data(), static_cast<unsigned long>(data.size()));
  if (jpeg_read_header(&g.info, TRUE) != JPEG_HEADER_OK) return false;
  const int64_t ownWidth = g.info.image_width, ownHeight = g.info.image_height;
  // Even a flat baseline picture needs about two bits per 8 x 8 block and component;
  // 4096 pixels per byte leaves room for progressive files' runs of empty blocks.
  if (ownWidth < 1 || ownHeight < 1 || ownWidth > kMaxPictureSide || ownHeight > kMaxPictureSide ||
      !FileCanHold(static_cast<uint64_t>(ownWidth * ownHeight), data.size(), 4096))
    return false;
  g.info.mem->max_memory_to_use = 1536L << 20;

  const bool cmyk = g.info.jpeg_color_space == JCS_CMYK || g.info.jpeg_color_space == JCS_YCCK;
  g.info.out_color_space = cmyk ? JCS_CMYK : JCS_EXT_BGRA;
  // Drawn much smaller than it is: let the decoder shrink it (by 1/2, 1/4 or 1/8) while
  // still keeping at least the drawn size, which is both faster and a clean reduction.
  if (minWidth > 0 && minHeight > 0) {
    for (unsigned denom : {8u, 4u, 2u}) {
      if (ownWidth / denom >= minWidth && ownHeight / denom >= minHeight) {
        g.info.scale_num = 1;
        g.info.scale_denom = denom;
        break;
      }
    }
  }
  jpeg_calc_output_dimensions(&g.info);
  if (!StartPicture(out, g.info.output_width, g.info.output_height)) return false;
  out.ownWidth = static_cast<int>(ownWidth);
  out.ownHeight = static_cast<int>(ownHeight);
  jpeg_start_decompress(&g.info);
  if (static_cast<int>(g.info.output_width) != out.width ||
      static_cast<int>(g.info.output_height) != out.height || g.info.output_components != 4)
    return false;
  if (cmyk) cmykRow.resize(static_cast<std::size_t>(out.width) * 4);
  while (g.info.output_scanline < g.info.output_height) {
    JSAMPROW row = cmyk ? cmykRow.data() : NextRow(out);
    if (jpeg_read_scanlines(&g.info, &row, 1) != 1) return false;
    if (cmyk) {
      // Adobe writes CMYK JPEGs inverted, which is what every reader assumes.
      uint8_t* dst = NextRow(out);
      for (int x = 0; x < out.width; ++x) {
        const uint8_t* s = &cmykRow[static_cast<std::size_t>(x) * 4];
        dst[x * 4 + 0] = static_cast<uint8_t>(s[2] * s[3] / 255);
        dst[x * 4 + 1] = static_cast<uint8_t>(s[1] * s[3] / 255);
        dst[x * 4 + 2] = static_cast<uint8_t>(s[0] * s[3] / 255);
        dst[x * 4 + 3] = 255;
      }
    }
    if (err.truncated) return false;
  }
  jpeg_finish_decompress(&g.info);
  if (err.truncated) {
    out = Picture{};
    return false;
  }
  return true;
}

}  // namespace ebf
