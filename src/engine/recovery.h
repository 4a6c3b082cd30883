#pragma once
// What a run that never ended may have left, put right at a program's start: a PAL fix on
// the user's image, a half-patched package, files staged under temporary names, and the
// work files in Temp. Only while no other run holds the work folder's run lock: a run
// under way keeps its notes and files.

#include <string>
#include <vector>

#include "common/program_folders.h"

namespace ebf {

// One sentence for the user: something put back, or something that could not be.
struct RecoveryNote {
  std::string text;
  bool problem = false;
};

// Undoes an interrupted PAL fix and an interrupted in-place patch, removes what killed runs
// left in output folders, then empties Temp. Returns what to tell the user (nothing when
// there was nothing to put right, or when another run is under way).
std::vector<RecoveryNote> RecoverInterruptedWork(const ProgramFolders& folders);

// Deletes the work files in Temp; the notes of runs that never ended stay for the next
// start. Nothing is deleted while another run is under way.
void ClearWorkFiles(const std::string& workFolder);

}  // namespace ebf
