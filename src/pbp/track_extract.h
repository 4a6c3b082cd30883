#pragma once
// The disc image of a package taken out as the files a user had: one BIN per track with a
// sheet naming them (a Redump set), or one BIN with a multi-track sheet.

#include <string>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/progress.h"
#include "pbp/extract.h"

namespace ebf::pbp {

enum class TrackFiles { Split, OneFile };

// `output` is the set's name with or without ".cue"/".bin" ("dir/Game" gives
// "dir/Game (Track 1).bin" ... and "dir/Game.cue"). Every file is written under a temporary
// name and renamed once all are complete; on any other way out nothing of the run is left.
// With a note folder, the temporary names are noted there first (see ExtractDiscImage). A
// failure names the failing block and its offset for a damaged package, or the file that
// could not be written. `discNumber` (from 1) chooses the disc of a package of several.
// `replace` says whether files of the user's in the way are asked about first.
Outcome ExtractTracks(const std::string& ebootPath, const std::string& output, TrackFiles files,
                      Progress& progress, CancelToken& cancel, const std::string& noteFolder = {},
                      int discNumber = 1, const ReplaceCheck& replace = {});

}  // namespace ebf::pbp
