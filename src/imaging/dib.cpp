#include "imaging/dib.h"

#include "common/files.h"
#include "imaging/render.h"

namespace ebf {

bool c32bppDIB::LoadPictureFile(const std::string& path, int hintWidth, int hintHeight) {
  Clear();
  std::vector<uint8_t> bytes;
  if (!ReadWholeFile(path, bytes, kMaxPictureFileBytes)) return false;
  return LoadPictureBytes(bytes, hintWidth, hintHeight);
}

bool c32bppDIB::LoadPictureBytes(std::span<const uint8_t> bytes, int hintWidth, int hintHeight) {
  Clear();
  return DecodePicture(bytes, picture_, hintWidth, hintHeight);
}

bool c32bppDIB::ReadPictureFileSize(const std::string& path, int& width, int& height) {
  width = height = 0;
  std::vector<uint8_t> bytes;
  if (!ReadWholeFile(path, bytes, kMaxPictureFileBytes)) return false;
  return ReadPictureSize(bytes, width, height);
}

bool c32bppDIB::Render(Surface& surface, int64_t x, int64_t y, int64_t width, int64_t height,
                       int opacity) const {
  if (!IsLoaded()) return false;
  if (width == 0) width = picture_.ownWidth;
  if (height == 0) height = picture_.ownHeight;
  return RenderPicture(picture_, surface, x, y, width, height, opacity);
}

}  // namespace ebf
