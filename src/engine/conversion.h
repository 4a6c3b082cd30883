#pragma once
// RunConversion: one request in, one result string out. Three branches: a new package
// from a disc image (through the converter), a package patched in place, a package rebuilt
// into a new file; a package to be recompressed goes through extraction first and then
// the first branch.

#include <array>
#include <chrono>
#include <functional>
#include <string>

#include "app/settings.h"
#include "common/host.h"
#include "common/program_folders.h"
#include "engine/conversion_request.h"
#include "engine/image_prep.h"

namespace ebf {

// A slot row as the user left it: ticked or not, and the text typed or browsed ("" = the
// default). Decides which files are validated.
struct SlotChoice {
  bool ticked = true;
  std::string text;
};

struct ConversionContext {
  ProgramFolders folders;
  Settings settings;
  Host* host = nullptr;
  // ICON0, ICON1, PIC0, PIC1, SND0, Gameboot.
  std::array<SlotChoice, 6> slotChoices{};
  // Asked when a package must be rebuilt: the destination file, or "" to give up.
  std::function<std::string()> chooseRebuildDestination;
  FreeSpaceSource freeSpace;  // the real volume when empty
  std::chrono::milliseconds pollInterval{200};
};

// Filled as the run goes, for the caller's closing message.
struct ConversionOutcome {
  std::string rebuiltTo;    // set when a package was rebuilt into a new file
  uint64_t palPatches = 0;  // PAL fix changes made to the package or the image
};

std::string RunConversion(ConversionRequest& request, const ConversionContext& context,
                          ConversionOutcome* outcome = nullptr);

// Puts back a PAL fix that a run interrupted by a crash left on a user's image (its journal
// is in the work folder's Temp). Called at start; returns "" or what went wrong.
std::string RecoverInterruptedPalFix(const std::string& workFolder);

}  // namespace ebf
