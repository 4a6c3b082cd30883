#pragma once
// The EBOOT-to-ISO action: asks where the disc image goes, warns before a .ccd beside it
// is replaced, takes the image out of the package with a progress window and says how it
// went. A package of several discs gives every disc as "NAME (Disc N).iso" beside the
// chosen name, each .ccd asked about before anything is written.

#include <string>

#include "common/outcome.h"
#include "ui/theme_apply.h"

namespace ebf::ui {

class FileDialogs;
class Prompter;

inline constexpr const char* kMsgIsoDone = "Done :)";

// `tocSetting` is eboot_toc_extract. With the work folder, the run holds its run lock and
// notes its temporary files in Temp. Declined when the user stopped at a dialog.
Outcome EbootToIso(QWidget* parent, Prompter& prompter, FileDialogs& dialogs,
                   const ThemeContext& theme, const std::string& ebootPath, int tocSetting,
                   const std::string& workFolder = {});

}  // namespace ebf::ui
