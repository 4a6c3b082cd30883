#pragma once
// The six asset slots as the main window shows them: control names, file names, the
// browse and extract dialogs' titles and filters.

#include "ui/file_dialogs.h"

namespace ebf::ui {

struct SlotInfo {
  const char* key;        // ICON0 ... Gameboot: the middle of the control names
  const char* assetFile;  // name under PSXCust/Default and Temp
  const char* checkLabel;
  const char* infoText;
  const char* browseTitle;
  FileFilters browseFilters;
  const char* extractTitle;
  const char* extractName;  // proposed name ("" for none)
  const char* extractExtension;
  FileFilters extractFilters;
};

// ICON0, ICON1, PIC0, PIC1, SND0, Gameboot.
const SlotInfo& SlotAt(int index);

}  // namespace ebf::ui
