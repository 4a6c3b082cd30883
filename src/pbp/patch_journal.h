#pragma once
// Patching a package in place is all or nothing as far as the user can tell: before the
// first write, the bytes the patch will overwrite are saved to a journal beside the package
// and put on the disk; the journal goes once the patched package is on the disk. A failure
// or cancel puts the bytes back at once; a crash leaves the journal, and the next start of
// either program (or the next look at that package) puts them back.
//
// Journal "<package>.undo": "EBFUNDO1", the package's length (u64), then per region its
// offset (u64), length (u64) and bytes, then "DONE" and the region count (u32); all
// little-endian. A journal without its end was cut short before the package was touched.
// Temp/PATCH.UNDO names the package, so that a start finds the journal.

#include <cstdint>
#include <string>
#include <vector>

#include "common/file_io.h"

namespace ebf::pbp {

inline constexpr const char* kJournalSuffix = ".undo";
inline constexpr const char* kJournalPointer = "PATCH.UNDO";

std::string JournalPathFor(const std::string& packagePath);

class PatchJournal {
 public:
  PatchJournal(std::string packagePath, std::string tempFolder);
  ~PatchJournal();  // a journal neither finished nor rolled back is rolled back
  PatchJournal(const PatchJournal&) = delete;
  PatchJournal& operator=(const PatchJournal&) = delete;

  // Saves the regions of the open package (cut at its end) and puts the journal on the
  // disk. "" or what went wrong; nothing has been written to the package either way.
  std::string Begin(File& package, const std::vector<FileSpan>& regions);
  // The patched package is closed and on the disk: the journal goes.
  void Finish();
  // Puts the saved bytes back and cuts the package to its old length. "" or the error;
  // the journal stays when the package could not be put back.
  std::string RollBack();

 private:
  std::string package_, journal_, pointer_;
  bool active_ = false;
};

// A journal left beside this package by a run that did not end is rolled back. "" when
// there was none; else the sentence to show (undone, or why it could not be).
std::string RollBackLeftoverPatch(const std::string& packagePath);

// The same for the package Temp/PATCH.UNDO names, at a program's start.
std::string RecoverInterruptedPatch(const std::string& tempFolder);

}  // namespace ebf::pbp
