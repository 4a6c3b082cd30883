#pragma once
// Turning a slot's picture into a PNG of the slot's size, following the user's resize
// mode and centring choice.

#include <cstdint>
#include <string>

#include "imaging/dib.h"
#include "imaging/surface.h"

namespace ebf {

enum ResizeMode { kResizeOriginal = 0, kResizeFill = 1, kResizeStretch = 2, kResizeFit = 3 };

struct SlotTarget {
  const char* slotWord;
  int16_t width;
  int16_t height;
};
// The converted slots, in the order the conversion treats them. PIC0 must already be a PNG.
inline constexpr SlotTarget kIcon0Target{"ICON0", 144, 80};
inline constexpr SlotTarget kPic1Target{"PIC1", 480, 272};
inline constexpr SlotTarget kGamebootTarget{"Gameboot", 480, 272};

// True for a path of at least 6 characters ending (case-blind) in .JPG, JPEG, .BMP, .GIF,
// .WMF, .EMF, .ICO or .CUR.
bool IsConvertiblePicturePath(const std::string& path);
// The same extension test without the length rule (documentation pages).
bool HasConvertibleExtension(const std::string& path);

struct DrawnSize {
  int64_t width = 0;
  int64_t height = 0;
};

// The size the picture is drawn at for a mode (0..3; anything else acts as 0). A picture
// that did not load (0 x 0) draws at 0 x 0, except when stretched to the target.
DrawnSize ComputeDrawnSize(int pictureWidth, int pictureHeight, int16_t targetWidth,
                           int16_t targetHeight, int mode);

// Loads `path` into `image` and draws it on `surface` at (originX, originY), or centred on
// a black target-sized area when `centre` is set. Returns the drawn size, which may exceed
// the target.
DrawnSize DrawScaledPicture(const std::string& path, Surface& surface, c32bppDIB& image,
                            int16_t targetWidth, int16_t targetHeight, int mode, bool centre,
                            int originX, int originY);

// When `path` is a convertible picture, draws it at the target size by the resize mode and
// writes `outputPath` (deleted first): a PNG of the drawn size capped at the target, or
// nothing when the picture does not load. Returns true when `path` was convertible; other
// paths are left alone and nothing is written.
bool ConvertSlotPicture(const std::string& path, const std::string& outputPath, c32bppDIB& image,
                        int16_t targetWidth, int16_t targetHeight, int mode, bool centre);

// ConvertSlotPicture for a run: when `path` is a convertible picture, draws it and writes
// <work folder>/Temp/C_<slotWord>.png of the drawn size capped at the target, and
// replaces `path` with that file. Other paths are left as they are. Returns true when
// `path` was replaced.
bool ConvertSlotPictureToPng(const std::string& workFolder, std::string& path,
                             const std::string& slotWord, c32bppDIB& image, int16_t targetWidth,
                             int16_t targetHeight, int mode, bool centre);

}  // namespace ebf
