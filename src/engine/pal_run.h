#pragma once
// The PAL -> NTSC fix as a run makes it: on the user's own source image, every change noted
// in a journal before it is written so that the clean-up (or, after a crash, the next
// start) can put the image back; or on the disc image inside a package.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/file_io.h"
#include "common/outcome.h"
#include "common/progress.h"
#include "disc/pal_fix.h"

namespace ebf {

// The journal in Temp of the fix on disc `disc`'s image: "PALFIX.UNDO" for the first,
// "PALFIX2.UNDO" ... for later discs. It holds the image's path, then one "offset w0 w1"
// line per change.
inline constexpr const char* kPalJournal = "PALFIX.UNDO";
std::string PalJournalName(int disc);
// Whether a file in Temp is such a journal (the start keeps those it could not act on).
bool IsPalJournalName(const std::string& name);

class PalJournal {
 public:
  PalJournal(const std::string& workFolder, const std::string& image, int disc = 1);
  // False when the note could not be made to last: the change must then not be written.
  bool Add(const PalPatch& patch);
  // Closes the journal once every change is in it; false when that failed.
  bool Close();
  bool ok() const { return ok_; }

 private:
  std::string path_;
  File file_;
  bool ok_ = true;
};

struct PalFixRun {
  bool screen = false, graphics = false;
  Progress& progress;
  CancelToken& cancel;
  uint64_t patches = 0;  // the changes made, added up over the run
};

// The fix over a whole image. Every change goes into `undo` (and the journal, when given)
// before it is written.
Outcome FixWholeImage(const std::string& path, PalFixRun& run, std::vector<PalPatch>& undo,
                      PalJournal* journal);

// The fix over the disc images inside a package (one the run has just made).
Outcome FixPackageImage(const std::string& path, PalFixRun& run);

// The fix on a file of the user's that stays changed (a package, or an image the user asked
// to patch), all or nothing: a first pass finds the changes, the bytes they will overwrite
// go to a journal beside the file (pbp/patch_journal.h, put on the disk), and only then are
// they written. A failure or a cancel puts the bytes back at once; a crash leaves the
// journal, which the next start (or the next look at the file) rolls back. `package`: only
// the disc images of a package are scanned. `tempFolder` gets the note that names the
// journal. `onPatch` hears of each change as it is written.
Outcome FixAllOrNothing(const std::string& path, bool package, PalFixRun& run,
                        const std::string& tempFolder,
                        const std::function<bool(const PalPatch&)>& onPatch = {});

// The file a fix given `input` changes: the image itself, the file a sheet names first (the
// data track, where the game's code is), a CloneCD or Alcohol sheet's image. "" in
// `target` and the reason returned when there is none that can be changed in place (a
// CHD or ECM file, which is packed; a sheet naming what is not there).
std::string PalFixTarget(const std::string& input, std::string& target);

// Puts back every PAL fix that a run interrupted by a crash left on a user's images. Called
// at start; returns "" or what went wrong.
std::string RecoverInterruptedPalFix(const std::string& workFolder);

}  // namespace ebf
