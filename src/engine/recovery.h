#pragma once
// What a run that never ended may have left, put right at a program's start: a PAL fix on
// the user's image, a half-patched package, and the work files in Temp.

#include <string>
#include <vector>

#include "common/program_folders.h"

namespace ebf {

// Undoes an interrupted PAL fix and an interrupted in-place patch, then empties Temp.
// Returns the sentences to show the user (none when there was nothing to put right).
std::vector<std::string> RecoverInterruptedWork(const ProgramFolders& folders);

// Deletes the work files in Temp; the notes that still point at something to undo stay.
void ClearWorkFiles(const std::string& workFolder);

}  // namespace ebf
