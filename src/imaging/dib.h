#pragma once
// The program's one picture object: loads any supported picture file (the format is told
// by content), knows its size, and draws itself scaled and alpha-blended onto a Surface.
// It may be loaded again and again; a load that fails leaves it empty.

#include <cstdint>
#include <span>
#include <string>

#include "imaging/picture.h"
#include "imaging/surface.h"

namespace ebf {

// Picture files larger than this are not read at all.
inline constexpr uint64_t kMaxPictureFileBytes = 256ull << 20;

class c32bppDIB {
 public:
  // The hints give the largest size the picture will be drawn at, so that a large photo
  // need not be decoded in full; 0 keeps every pixel. Width() and Height() are always the
  // picture's own size.
  bool LoadPictureFile(const std::string& path, int hintWidth = 0, int hintHeight = 0);
  bool LoadPictureBytes(std::span<const uint8_t> bytes, int hintWidth = 0, int hintHeight = 0);

  // The own size of the picture in a file, without keeping it.
  static bool ReadPictureFileSize(const std::string& path, int& width, int& height);
  void Clear() { picture_ = Picture{}; }

  bool IsLoaded() const { return !picture_.empty(); }
  int Width() const { return picture_.ownWidth; }
  int Height() const { return picture_.ownHeight; }
  const Picture& picture() const { return picture_; }

  // Draws into (x, y, width, height); 0 for a side means the picture's own size.
  // `opacity` is in percent.
  bool Render(Surface& surface, int64_t x, int64_t y, int64_t width = 0, int64_t height = 0,
              int opacity = 100) const;

 private:
  Picture picture_;
};

}  // namespace ebf
