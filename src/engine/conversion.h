#pragma once
// RunConversion carries out a plan (plan.h). Three ways: a new package from a disc image
// through the converter; a package patched in place, or rebuilt into a new file when its new
// assets do not fit; a package whose disc image is taken out and converted again.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/progress.h"
#include "common/questions.h"
#include "engine/image_prep.h"
#include "engine/pal_run.h"
#include "engine/plan.h"

namespace ebf {

// The closing messages of a run.
inline constexpr const char* kMsgPatchingDone = "Patching Done!  Enjoy :)";
inline constexpr const char* kMsgConversionDone =
    "Conversion Done :)  Just copy the EBOOT.PBP file to ms0:/PSP/GAME/<Game Name>  Enjoy!";
inline constexpr const char* kMsgOnPspFolder =
    "Conversion Done :)  The output folder you have selected appears to be the correct location "
    "on the PSP drive (if not, you'll need to copy).  If this is so, just run the game from the "
    "GAME menu.  Enjoy!";
inline constexpr const char* kMsgOfferTransfer =
    "Conversion Done :)  Do you want to transfer the game to the PSP now?\r\n(note, if you "
    "wish, you can disable this feature by editing the INI file, if you find this annoying)";

struct ConversionResult {
  Outcome outcome = Outcome::Declined();
  std::string package;   // the package made, patched or rebuilt (on success)
  bool rebuilt = false;  // a package input rebuilt into a new file (`package` names it)
  uint64_t palPatches = 0;
  std::vector<std::string> warnings;  // what the package made lacks (kMsgUnpaddedIso), logged too
  std::string converterOutput;        // all the converter printed, when it ran to its end
};

// Knobs the tests turn: the volume's free space and the converter's poll interval.
struct RunTuning {
  FreeSpaceSource freeSpace;  // the real volume when empty
  std::chrono::milliseconds pollInterval{200};
};

ConversionResult RunConversion(const ConversionPlan& plan, Progress& progress, Questions& questions,
                               CancelToken& cancel, const RunTuning& tuning = {});

}  // namespace ebf
