#pragma once
// The cheap plausibility test each slot's file gets before it goes into a package:
// minimum length, four-byte signature, and for pictures the PNG header's width and height.

#include <cstdint>
#include <string>

#include "assets/slots.h"
#include "common/outcome.h"

namespace ebf {

// A failure carries the complete message for the user. A path naming no file counts as a
// file of length 0.
Outcome ValidateCustomFile(const std::string& path, int16_t minimumLength, const std::string& name,
                           uint32_t signature, int16_t maximumWidth, int16_t maximumHeight);

// The rule for which files are tested: an unticked slot (the "null" file) and a blank
// one (the shipped default, or the original asset of a package input) pass untested, as
// does a text naming no file (it fell back to the default). Every file the user supplied
// is tested, at `convertedPath` (the PNG made from it, or the file itself).
Outcome ValidateSlot(const SlotInfo& slot, bool ticked, const std::string& text,
                     const std::string& convertedPath);

}  // namespace ebf
