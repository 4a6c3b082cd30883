#pragma once
// What a slot makes of a file the user names, as a run does it: the "doesn't exist" check,
// the conversion of ICON0, PIC1 and Gameboot pictures to PNGs of the slot's size, and the
// slot's plausibility test. The command line's `png` goes through here, so it takes,
// converts and refuses exactly what a slot does.

#include <string>

#include "assets/convert.h"
#include "assets/slots.h"

namespace ebf {

// The size a slot converts other pictures to; nullptr for ICON1, PIC0 and SND0, which take
// their file as it is.
const SlotTarget* SlotConversionTarget(int slot);

struct SlotTake {
  std::string message;     // "" when the slot takes the file; else the slot's own message
  std::string path;        // the file the slot uses: the converted PNG or the file itself
  bool converted = false;  // a picture was drawn to `convertedPath`
};

// `convertedPath` receives the PNG when the slot converts the file (mode and centre as the
// imgresmode and imgrescentre settings); nothing else is written.
SlotTake TakeSlotFile(int slot, const std::string& userPath, const std::string& convertedPath,
                      int mode, bool centre);

}  // namespace ebf
