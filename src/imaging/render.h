#pragma once
// Draws a picture scaled into a destination rectangle of a surface, blending it over what
// the surface holds with the picture's alpha, clipped to the surface. Shrinking averages
// the covered source area; enlarging interpolates linearly.

#include "imaging/picture.h"
#include "imaging/surface.h"

namespace ebf {

// `opacity` in percent (0..100). Returns false when nothing could be drawn (empty picture
// or a rectangle of no size); a rectangle wholly outside the surface draws nothing and
// still succeeds.
bool RenderPicture(const Picture& picture, Surface& surface, int64_t x, int64_t y, int64_t width,
                   int64_t height, int opacity);

}  // namespace ebf
