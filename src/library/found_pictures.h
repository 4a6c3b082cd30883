#pragma once
// A found picture is taken exactly as one the user chose: converted by the slot's rules
// and tested by the slot's validation. It is checked when the job is planned, so that a
// picture the slot refuses stops the job with the file named, never falling back to the
// default. A thumbnail is first drawn into the slot's size (fitted, centred on black):
// RetroArch keeps box art and screens far larger than the PSP's pictures.

#include <array>
#include <string>

#include "assets/slots.h"
#include "common/outcome.h"
#include "library/picture_lookup.h"

namespace ebf {

struct FoundSlots {
  std::array<bool, kSlotCount> ticked{};
  std::array<std::string, kSlotCount> texts;
  std::array<SlotSource, kSlotCount> sources{};
};

// Draws `thumbnail` fitted into the slot's size and centred on black, a PNG of exactly
// that size at `output`. False (and nothing written) when the picture cannot be read.
bool DrawThumbnail(int slot, const std::string& thumbnail, const std::string& output);

// For each ticked slot whose file was found in the resource folder or the thumbnails:
// thumbnails are drawn to <work>/Temp/T_<asset> and `paths` receives that file (the
// others stay ""); then every such slot's file is converted and validated as the run
// will do it. The first refusal, in the slots' order, names the file and where it came
// from: "<file> (from thumbnails): The ICON0.PNG file is WAY too small to be valid."
Outcome TakeFoundPictures(const FoundSlots& slots, const std::string& workFolder, int mode,
                          bool centre, std::array<std::string, kSlotCount>& paths);

}  // namespace ebf
