#include "common/staged_files.h"

#include <filesystem>
#include <system_error>

#include "common/files.h"

namespace ebf {

namespace fs = std::filesystem;

StagedFiles::~StagedFiles() {
  Discard();
}

std::string StagedFiles::Add(const std::string& finalPath) {
  // A name no user file is likely to carry, in the same folder so that the rename stays on
  // one volume.
  std::string temp = finalPath + ".ebf-part";
  entries_.push_back({temp, finalPath});
  return temp;
}

std::string StagedFiles::Commit() {
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    std::error_code ec;
    fs::rename(fs::u8path(entries_[i].temp), fs::u8path(entries_[i].final), ec);
    if (ec) {
      std::string message = "Could not write \"" + entries_[i].final + "\": " + ec.message() + ".";
      entries_.erase(entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>(i));
      Discard();
      return message;
    }
  }
  entries_.clear();
  done_ = true;
  return {};
}

void StagedFiles::Discard() {
  if (done_) return;
  for (const Entry& e : entries_) DeleteFileIfExists(e.temp);
  entries_.clear();
}

}  // namespace ebf
