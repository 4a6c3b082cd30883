#include "imaging/dib.h"

#include "common/files.h"
#include "imaging/render.h"

namespace ebf {

bool c32bppDIB::LoadPictureFile(const std::string& path, int /*hintWidth*/, int /*hintHeight*/) {
  Clear();
  std::vector<uint8_t> bytes;
  if (!ReadWholeFile(path, bytes, kMaxPictureFileBytes)) return false;
  return LoadPictureBytes(bytes);
}

bool c32bppDIB::LoadPictureBytes(std::span<const uint8_t> bytes) {
  Clear();
  return DecodePicture(bytes, picture_);
}

bool c32bppDIB::Render(Surface& surface, int64_t x, int64_t y, int64_t width, int64_t height,
                       int opacity) const {
  if (!IsLoaded()) return false;
  if (width == 0) width = picture_.width;
  if (height == 0) height = picture_.height;
  return RenderPicture(picture_, surface, x, y, width, height, opacity);
}

}  // namespace ebf
