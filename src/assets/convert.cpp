#include "assets/convert.h"

#include <algorithm>
#include <limits>

#include "common/files.h"
#include "common/text.h"
#include "imaging/png_writer.h"
#include "imaging/rounding.h"

namespace ebf {
namespace {

// A drawn side is kept within what a surface coordinate can hold; pictures this far out of
// proportion are cut by the target anyway.
int64_t Side(double value) {
  if (!(value == value)) return 0;  // NaN from a picture that did not load
  return std::clamp<int64_t>(RoundHalfEven(std::clamp(value, -1e9, 1e9)), 0,
                             std::numeric_limits<int32_t>::max());
}

}  // namespace

bool IsConvertiblePicturePath(const std::string& path) {
  return CharCount(path) >= 6 && HasConvertibleExtension(path);
}

bool HasConvertibleExtension(const std::string& path) {
  const std::string ext = Extension4(path);
  for (const char* e : {".JPG", "JPEG", ".BMP", ".GIF", ".WMF", ".EMF", ".ICO", ".CUR"})
    if (ext == e) return true;
  return false;
}

DrawnSize ComputeDrawnSize(int pictureWidth, int pictureHeight, int16_t targetWidth,
                           int16_t targetHeight, int mode) {
  const double iA = static_cast<double>(pictureWidth) / pictureHeight;
  const double tA = static_cast<double>(targetWidth) / targetHeight;
  const bool loaded = pictureWidth > 0 && pictureHeight > 0;
  switch (mode) {
    case kResizeFill:
      if (!loaded) return {};
      if (tA > iA) return {targetWidth, Side(tA / iA * targetHeight)};
      return {Side(iA / tA * targetWidth), targetHeight};
    case kResizeStretch:
      return {targetWidth, targetHeight};
    case kResizeFit:
      if (!loaded) return {};
      if (tA > iA) return {Side(iA / tA * targetWidth), targetHeight};
      return {targetWidth, Side(tA / iA * targetHeight)};
    default:
      return {pictureWidth, pictureHeight};
  }
}

DrawnSize DrawScaledPicture(const std::string& path, Surface& surface, c32bppDIB& image,
                            int16_t targetWidth, int16_t targetHeight, int mode, bool centre,
                            int originX, int originY) {
  // The drawn size depends only on the picture's own size, so it is known before the
  // pixels are decoded, and a large photo drawn small need not be decoded in full.
  int ownWidth = 0, ownHeight = 0;
  c32bppDIB::ReadPictureFileSize(path, ownWidth, ownHeight);
  const DrawnSize planned = ComputeDrawnSize(ownWidth, ownHeight, targetWidth, targetHeight, mode);
  const bool small = planned.width > 0 && planned.height > 0 && planned.width < ownWidth &&
                     planned.height < ownHeight;
  image.LoadPictureFile(path, small ? static_cast<int>(planned.width) : 0,
                        small ? static_cast<int>(planned.height) : 0);
  const DrawnSize drawn =
      ComputeDrawnSize(image.Width(), image.Height(), targetWidth, targetHeight, mode);
  int64_t x = originX, y = originY;
  if (centre) {
    surface.FillRect(0, 0, targetWidth, targetHeight, 0, 0, 0);
    // Halves go to the even neighbour; a negative offset cuts both sides equally.
    x += RoundHalfEven(static_cast<double>(targetWidth - drawn.width) / 2.0);
    y += RoundHalfEven(static_cast<double>(targetHeight - drawn.height) / 2.0);
  }
  if (image.IsLoaded() && drawn.width > 0 && drawn.height > 0)
    image.Render(surface, x, y, drawn.width, drawn.height, 100);
  return drawn;
}

bool ConvertSlotPicture(const std::string& path, const std::string& outputPath, c32bppDIB& image,
                        int16_t targetWidth, int16_t targetHeight, int mode, bool centre) {
  if (!IsConvertiblePicturePath(path)) return false;
  Surface surface(targetWidth, targetHeight);
  const DrawnSize drawn =
      DrawScaledPicture(path, surface, image, targetWidth, targetHeight, mode, centre, 0, 0);
  DeleteFileIfExists(outputPath);
  // Only the drawn size is kept, capped at the target: with centring and a smaller picture
  // the saved corner shows the black band on one side and loses as much on the other.
  const int64_t width = std::min<int64_t>(drawn.width, targetWidth);
  const int64_t height = std::min<int64_t>(drawn.height, targetHeight);
  // A picture that did not load leaves nothing to save; validation then reports the
  // missing file as too small.
  WritePngFromDrawingContext(surface, outputPath, static_cast<int>(width),
                             static_cast<int>(height));
  return true;
}

bool ConvertSlotPictureToPng(const std::string& workFolder, std::string& path,
                             const std::string& slotWord, c32bppDIB& image, int16_t targetWidth,
                             int16_t targetHeight, int mode, bool centre) {
  if (!IsConvertiblePicturePath(path)) return false;
  const std::string output = TempFolder(workFolder) + "C_" + slotWord + ".png";
  ConvertSlotPicture(path, output, image, targetWidth, targetHeight, mode, centre);
  path = output;
  return true;
}

}  // namespace ebf
