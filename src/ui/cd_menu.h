#pragma once
// The CD menu's two actions: the disc in a drive ripped into a BIN+CUE set with Redump's
// file names, with a progress window and Cancel; either where the user saves it ("Make an
// image from a disc...") or into the Temp folder for a conversion ("Convert straight from
// a drive..."). Without a drive, choosing either says so.

#include <functional>
#include <string>

#include <vector>
#include "common/outcome.h"

#include "ui/theme_apply.h"

namespace ebf::ui {

class FileDialogs;
class Prompter;

// The drives there are (rip::ListDrives unless a test gives its own).
using DriveLister = std::function<std::vector<std::string>()>;

inline constexpr const char* kMsgNoDrive =
    "No CD drive was found.  Connect a drive, put the disc in it and try again.";
inline constexpr const char* kMsgRipDone = "Done :)";
inline constexpr const char* kRipCaption = "Reading the disc...";

struct RipOutcome {
  Outcome result = Outcome::Declined();  // Declined: stopped at a dialog
  std::string cuePath;                   // the sheet written, on success
};

// The first drive of `drives`, or "" after telling the user there is none.
std::string ChooseDrive(QWidget* parent, Prompter& prompter, const DriveLister& drives);

// Asks for NAME.cue with a save dialog starting at `startFolder`, then rips `drive` beside
// it. A failure is shown; success says "Done :)".
RipOutcome MakeImageFromDisc(QWidget* parent, Prompter& prompter, FileDialogs& dialogs,
                             const ThemeContext& theme, const std::string& drive,
                             const std::string& startFolder);

// Rips `drive` into `folder` (replacing an earlier rip there) as NAME. A failure is shown.
RipOutcome RipForConversion(QWidget* parent, Prompter& prompter, const ThemeContext& theme,
                            const std::string& drive, const std::string& folder,
                            const std::string& name);

}  // namespace ebf::ui
