#pragma once
// A CHD CD image written out as one raw image of 2,352-byte sectors in disc order, with
// the whole image's SHA-1 checked at the end. Written under a temporary name and renamed
// only when everything matched.

#include <string>

#include "disc/job_hooks.h"

namespace ebf::chd {

// Progress in sectors; nothing is left at binPath on failure or cancel.
Outcome WriteChdAsBin(const std::string& chdPath, const std::string& binPath,
                      const DiscJobHooks& hooks = {});

}  // namespace ebf::chd
