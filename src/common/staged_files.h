#pragma once
// A set of output files written under temporary names beside their final ones and renamed
// only when all of them are complete; whatever is left uncommitted is removed, so that a
// failure or a cancel never leaves a partial file under a name the user asked for.
//
// With a note folder (the work folder's Temp), the temporary names are first written to a
// note there, so that the next start of the program removes what a killed run left.

#include <string>
#include <vector>

#include "common/questions.h"

namespace ebf {

// The notes of staged files in Temp: "STAGED-<process id>.NOTE", one line per entry, "F "
// and a temporary file, or "D " and a folder the run made (removed when empty).
inline constexpr const char* kStagedNotePrefix = "STAGED-";
inline constexpr const char* kStagedNoteSuffix = ".NOTE";
// What every temporary name ends in.
inline constexpr const char* kStagedSuffix = ".ebf-part";

class StagedFiles {
 public:
  StagedFiles() = default;
  explicit StagedFiles(std::string noteFolder);
  ~StagedFiles();  // removes the temporary files unless Commit() succeeded
  StagedFiles(const StagedFiles&) = delete;
  StagedFiles& operator=(const StagedFiles&) = delete;

  // Registers a final path and returns the temporary name to write instead.
  std::string Add(const std::string& finalPath);
  // Asks before each registered file that already exists would be replaced, in the order
  // they were added; false when a question was answered No. Null questions ask nothing.
  bool ConfirmReplacing(Questions* questions) const;
  // A folder made for the files, to be noted with them.
  void AddMadeFolder(const std::string& folder);
  // Writes the note (every entry so far) and puts it on the disk; "" or what went wrong.
  // Without a note folder there is nothing to write.
  std::string Note();
  // Renames every temporary file to its final name, replacing what is there. Returns "" or
  // a message naming the file that could not be renamed (the rest are then removed).
  std::string Commit();
  // Removes the temporary files now.
  void Discard();

 private:
  void DropNote();
  struct Entry {
    std::string temp, final;
  };
  std::vector<Entry> entries_;
  std::vector<std::string> folders_;
  std::string notePath_;
  bool done_ = false;
};

// What the notes in `tempFolder` name, put right after a run that was killed: the
// temporary files removed, the folders made for them removed when empty, the notes removed.
void RemoveNotedStagedFiles(const std::string& tempFolder);

}  // namespace ebf
