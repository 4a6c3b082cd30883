#pragma once
// Ripping a CD into a BIN+CUE set the way Redump names its dumps: one file per track,
// "NAME (Track N).bin" (N two digits from ten tracks on; a one-track disc is "NAME.bin"),
// each file holding its track's pregap, and a sheet "NAME.cue" with INDEX 00 and 01.
// Every file is written under a temporary name and renamed only when the whole disc was
// read; on failure or cancel nothing is left behind.

#include <cstdint>
#include <string>
#include <vector>

#include "disc/job_hooks.h"
#include "disc/rip/cd_drive.h"

namespace ebf::rip {

// "NAME (Track 2).bin", "NAME (Track 02).bin" or "NAME.bin".
std::string TrackFileName(const std::string& name, int track, int trackCount);

// The sheet's text (CRLF line ends) for the tracks as they will be written.
std::string BuildRipCue(const std::string& name, const std::vector<DriveTrack>& tracks);

struct RipRequest {
  std::string source;  // drive device, or a CUE sheet read as a drive
  std::string folder;  // where the set goes (made when missing)
  std::string name;    // NAME of the files
  bool overwrite = false;
};

struct RipResult {
  std::string cuePath;
  std::vector<std::string> binPaths;
  uint64_t sectors = 0;
};

// Progress is reported in sectors.
Outcome RipToBinCue(const RipRequest& request, const DiscJobHooks& hooks,
                    RipResult* result = nullptr);

}  // namespace ebf::rip
