#pragma once
// Writes the top-left width x height pixels of a surface as a PNG: 8-bit truecolour without
// alpha, not interlaced, with an sBIT chunk of 8/8/8 and no other ancillary chunk.

#include <string>

#include "imaging/surface.h"

namespace ebf {

// False when the size does not fit the surface or any step of the encoder fails; a
// partial file is then removed.
bool WritePngFromDrawingContext(const Surface& surface, const std::string& path, int width,
                                int height);

}  // namespace ebf
