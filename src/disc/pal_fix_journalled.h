#pragma once
// The PAL -> NTSC fix on a file of the user's that stays changed (a package, or an image the
// user asked to patch), all or nothing: a first pass finds the changes, the bytes they will
// overwrite go to a journal beside the file (pbp::PatchJournal, put on the disk), and only
// then are they written. A failure or a cancel puts the bytes back at once; a crash leaves
// the journal, which the next start (or the next look at a package) rolls back.

#include <cstdint>
#include <functional>
#include <string>

#include "common/host.h"
#include "disc/pal_fix.h"

namespace ebf {

struct JournalledPalFixResult {
  uint64_t patches = 0;    // changes made and kept (0 after a roll-back)
  bool cancelled = false;  // CancelRequested was seen; the flag is left set for the caller
  std::string error;       // "" or what went wrong; the file is then as it was (or it says
                           // why it could not be put back)
};

// `package`: only the disc image of a package is scanned (pbp::PalFixSpans), else the
// whole file. `tempFolder` is the work folder's Temp (it gets the note that names the
// journal). `onPatch` hears of each change as it is written.
JournalledPalFixResult ApplyPalFixJournalled(
    const std::string& path, bool package, const PalFixOptions& options,
    const std::string& tempFolder, Host& host,
    const std::function<void(const PalPatch&)>& onPatch = {});

}  // namespace ebf
