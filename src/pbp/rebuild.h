#pragma once
// Rebuilding a package into a new file when the new assets do not fit in the old one, and
// the choice between that and the in-place patch.

#include <functional>
#include <optional>
#include <string>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/progress.h"
#include "common/questions.h"
#include "pbp/patch.h"

namespace ebf::pbp {

inline constexpr const char* kRebuildQuestion =
    "It seems that the custom files you are using are larger than the previous ones used.  To "
    "allow this, the EBOOT needs to be reconstructed.  If you continue, you'll be asked where "
    "to save the destination EBOOT.  Are you sure you wish to continue?";
inline constexpr const char* kRebuildDestinationTitle = "Select where to save the EBOOT.PBP";
inline constexpr const char* kSameFileMessage =
    "You cannot make the destination file the same as the source file!";
inline constexpr const char* kRebuildDone = "Done :)";

// Writes a new package at destPath: a fresh header and PARAM.SFO (patched), the five
// assets and BASE.PSP from Temp, then the source's DATA.PSAR up to the boot picture with
// the save name and underscored ID set in its first 32 KB, then the gameboot and
// Temp/START.DAT. A package of several discs is carried over whole (title header and every
// disc section), each section taking the save name where it lies, disc 1's and the title
// header's ID fields the ID, the start data after the last disc. The source is only read. Cancel is
// honoured every 32 reads. The package is written as destPath + ".part" and renamed when whole, so
// a cancel, a failure or a crash never leaves a file under destPath. On success the caller shows
// "Done :)"; a write error stops at once. A file named "null" in workFolder (where the slots put
// it) is deleted on every way out.
Outcome ReconstructEboot(const std::string& sourcePath, const std::string& destPath,
                         const std::string& tempFolder, const std::string& workFolder,
                         const EbootJob& job, Progress& progress, CancelToken& cancel);

struct PackageUpdate {
  Outcome outcome = Outcome::Declined();
  std::string rebuiltTo;  // the new package, when it was rebuilt into one
};
// The whole package job without the converter: checks, room test, then the in-place patch
// or, after the question (Yes/No, exclamation) and a destination (Declined when the user
// gives up either), the rebuild. `beforeRebuild` is told the rebuild's temporary file
// before anything is written to it; what it returns other than "" stops the job with that
// message.
PackageUpdate UpdateEboot(
    const std::string& ebootPath, const std::string& tempFolder, const std::string& workFolder,
    const EbootJob& job, Progress& progress, Questions& questions, CancelToken& cancel,
    const std::function<std::string(const std::string& partial)>& beforeRebuild = {});

}  // namespace ebf::pbp
