#include "assets/slot_file.h"

#include "assets/validate.h"
#include "imaging/dib.h"

namespace ebf {

const SlotTarget* SlotConversionTarget(int slot) {
  switch (slot) {
    case kSlotIcon0:
      return &kIcon0Target;
    case kSlotPic1:
      return &kPic1Target;
    case kSlotGameboot:
      return &kGamebootTarget;
    default:
      return nullptr;
  }
}

SlotTake TakeSlotFile(int slot, const std::string& userPath, const std::string& convertedPath,
                      int mode, bool centre) {
  const SlotInfo& info = kSlots.at(static_cast<std::size_t>(slot));
  SlotTake take;
  take.message = SlotFileMissingMessage(userPath, info.messageName);
  if (!take.message.empty()) return take;
  take.path = userPath;
  if (const SlotTarget* target = SlotConversionTarget(slot)) {
    c32bppDIB image;
    take.converted = ConvertSlotPicture(userPath, convertedPath, image, target->width,
                                        target->height, mode, centre);
    if (take.converted) take.path = convertedPath;
  }
  const Outcome verdict = ValidateSlot(info, true, userPath, take.path);
  if (!verdict.succeeded()) take.message = verdict.text();
  return take;
}

}  // namespace ebf
