// GIF through giflib: the first image of the file on the logical screen, with its
// transparent colour. Records are read one by one so that every size is checked before
// anything is allocated.

#include <gif_lib.h>

#include <cstring>

#include "imaging/picture.h"

namespace ebf {
namespace {

struct MemoryInput {
  std::span<const uint8_t> data;
  std::size_t pos = 0;
};

int ReadFromMemory(GifFileType* gif, GifByteType* out, int length) {
  auto* in = static_cast<MemoryInput*>(gif->UserData);
  if (length < 0) return 0;
  std::size_t n =
      std::min<std::size_t>(static_cast<std::size_t>(length), in->data.size() - in->pos);
  std::memcpy(out, in->data.data() + in->pos, n);
  in->pos += n;
  return static_cast<int>(n);
}

struct GifGuard {
  GifFileType* gif = nullptr;
  ~GifGuard() {
    if (gif) DGifCloseFile(gif, nullptr);
  }
};

}  // namespace

bool DecodeGif(std::span<const uint8_t> data, Picture& out) {
  out = Picture{};
  MemoryInput input{data, 0};
  GifGuard g;
  int error = 0;
  g.gif = DGifOpen(&input, ReadFromMemory, &error);
  if (!g.gif) return false;
  GifFileType* gif = g.gif;
  if (gif->SWidth < 1 || gif->SHeight < 1 ||
      !FileCanHold(static_cast<uint64_t>(gif->SWidth) * static_cast<uint64_t>(gif->SHeight),
                   data.size(), 2731) ||
      !AllocatePicture(out, gif->SWidth, gif->SHeight))
    return false;

  int transparent = -1;
  GifRecordType record = UNDEFINED_RECORD_TYPE;
  do {
    if (DGifGetRecordType(gif, &record) == GIF_ERROR) break;
    if (record == EXTENSION_RECORD_TYPE) {
      int code = 0;
      GifByteType* ext = nullptr;
      if (DGifGetExtension(gif, &code, &ext) == GIF_ERROR) break;
      if (code == GRAPHICS_EXT_FUNC_CODE && ext && ext[0] >= 4) {
        GraphicsControlBlock gcb;
        if (DGifExtensionToGCB(ext[0], ext + 1, &gcb) == GIF_OK) transparent = gcb.TransparentColor;
      }
      while (ext) {
        if (DGifGetExtensionNext(gif, &ext) == GIF_ERROR) {
          out = Picture{};
          return false;
        }
      }
    } else if (record == IMAGE_DESC_RECORD_TYPE) {
      if (DGifGetImageDesc(gif) == GIF_ERROR) break;
      const GifImageDesc& d = gif->Image;
      const ColorMapObject* map = d.ColorMap ? d.ColorMap : gif->SColorMap;
      if (!map || d.Width < 1 || d.Height < 1 || d.Width > kMaxPictureSide ||
          d.Height > kMaxPictureSide || d.Left < 0 || d.Top < 0)
        break;
      std::vector<GifPixelType> line(static_cast<std::size_t>(d.Width));
      // Interlaced images arrive in four passes of rows.
      static constexpr int kStart[] = {0, 4, 2, 1};
      static constexpr int kStep[] = {8, 8, 4, 2};
      const int passes = d.Interlace ? 4 : 1;
      for (int pass = 0; pass < passes; ++pass) {
        const int start = d.Interlace ? kStart[pass] : 0;
        const int step = d.Interlace ? kStep[pass] : 1;
        for (int row = start; row < d.Height; row += step) {
          if (DGifGetLine(gif, line.data(), d.Width) == GIF_ERROR) {
            out = Picture{};
            return false;
          }
          const int y = d.Top + row;
          if (y >= out.height) continue;
          uint8_t* dst = out.Row(y);
          for (int col = 0; col < d.Width; ++col) {
            const int x = d.Left + col;
            if (x >= out.width) break;
            const int index = line[col];
            if (index == transparent || index >= map->ColorCount) continue;
            const GifColorType& c = map->Colors[index];
            dst[x * 4 + 0] = c.Blue;
            dst[x * 4 + 1] = c.Green;
            dst[x * 4 + 2] = c.Red;
            dst[x * 4 + 3] = 255;
          }
        }
      }
      return true;
    }
  } while (record != TERMINATE_RECORD_TYPE);
  out = Picture{};
  return false;
}

}  // namespace ebf
