#include "library/found_pictures.h"

#include "assets/convert.h"
#include "assets/slot_file.h"
#include "assets/validate.h"
#include "common/files.h"
#include "imaging/dib.h"
#include "imaging/png_writer.h"
#include "imaging/surface.h"

namespace ebf {

bool DrawThumbnail(int slot, const std::string& thumbnail, const std::string& output) {
  const SlotTarget* target = SlotConversionTarget(slot);
  DeleteFileIfExists(output);
  if (!target) return false;
  Surface surface(target->width, target->height);
  c32bppDIB image;
  DrawScaledPicture(thumbnail, surface, image, target->width, target->height, kResizeFit, true, 0,
                    0);
  if (!image.IsLoaded()) return false;
  return WritePngFromDrawingContext(surface, output, target->width, target->height);
}

Outcome TakeFoundPictures(const FoundSlots& slots, const std::string& workFolder, int mode,
                          bool centre, std::array<std::string, kSlotCount>& paths) {
  paths = {};
  for (int i = 0; i < kSlotCount; ++i) {
    const SlotSource source = slots.sources[i];
    if (!slots.ticked[i] || slots.texts[i].empty()) continue;
    if (source != SlotSource::ResourceFolder && source != SlotSource::Thumbnails) continue;
    const SlotInfo& info = kSlots[i];
    const std::string where = slots.texts[i] + " (" + SlotSourceCaption(source) + ")";
    std::string file = slots.texts[i];
    if (source == SlotSource::Thumbnails) {
      paths[i] = TempFolder(workFolder) + "T_" + info.assetFileName;
      // A picture that cannot be read leaves no file, which the slot's test refuses as it
      // refuses an unreadable picture the user chose.
      if (!DrawThumbnail(i, file, paths[i]))
        return ValidateCustomFile(paths[i], info.minimumLength, info.messageName, info.signature,
                                  info.maximumWidth, info.maximumHeight)
            .Within(where);
      file = paths[i];
    }
    // The run converts and tests again; this trial only tells whether the slot takes it.
    const std::string trial = TempFolder(workFolder) + "F_" + info.assetFileName;
    const SlotTake take = TakeSlotFile(i, file, trial, mode, centre);
    DeleteFileIfExists(trial);
    if (!take.message.empty()) return Outcome::Failed(take.message).Within(where);
  }
  return Outcome::Success();
}

}  // namespace ebf
