#pragma once
// A set of output files written under temporary names beside their final ones and renamed
// only when all of them are complete; whatever is left uncommitted is removed, so that a
// failure or a cancel never leaves a partial file under a name the user asked for.

#include <string>
#include <vector>

namespace ebf {

class StagedFiles {
 public:
  StagedFiles() = default;
  ~StagedFiles();  // removes the temporary files unless Commit() succeeded
  StagedFiles(const StagedFiles&) = delete;
  StagedFiles& operator=(const StagedFiles&) = delete;

  // Registers a final path and returns the temporary name to write instead.
  std::string Add(const std::string& finalPath);
  // Renames every temporary file to its final name, replacing what is there. Returns "" or
  // a message naming the file that could not be renamed (the rest are then removed).
  std::string Commit();
  // Removes the temporary files now.
  void Discard();

 private:
  struct Entry {
    std::string temp, final;
  };
  std::vector<Entry> entries_;
  bool done_ = false;
};

}  // namespace ebf
