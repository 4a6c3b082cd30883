#pragma once
// Laying one whole surface over another with one opacity for every pixel (no per-pixel
// alpha), as a cross-fade between two finished pictures needs.

#include "imaging/surface.h"

namespace ebf {

// dst = src * alpha/255 + dst * (255 - alpha)/255 over the area both surfaces share,
// rounded to nearest. `alpha` is clamped to 0..255.
void BlendSurface(const Surface& src, Surface& dst, int alpha);

}  // namespace ebf
