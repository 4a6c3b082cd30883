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
  // The size hints are accepted for callers that pass them; 0 means the picture's own size.
  bool LoadPictureFile(const std::string& path, int hintWidth = 0, int hintHeight = 0);
  bool LoadPictureBytes(std::span<const uint8_t> bytes);
  void Clear() { picture_ = Picture{}; }

  bool IsLoaded() const { return !picture_.empty(); }
  int Width() const { return picture_.width; }
  int Height() const { return picture_.height; }
  const Picture& picture() const { return picture_; }

  // Draws into (x, y, width, height); 0 for a side means the picture's own size.
  // `opacity` is in percent.
  bool Render(Surface& surface, int64_t x, int64_t y, int64_t width = 0, int64_t height = 0,
              int opacity = 100) const;

 private:
  Picture picture_;
};

}  // namespace ebf
