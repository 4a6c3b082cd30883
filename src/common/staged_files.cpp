#include "common/staged_files.h"

#include <filesystem>
#include <system_error>

#include "common/bytes.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"

namespace ebf {

namespace fs = std::filesystem;

namespace {

bool EndsWith(const std::string& s, const std::string& end) {
  return s.size() >= end.size() && s.compare(s.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

StagedFiles::StagedFiles(std::string noteFolder) {
  if (!noteFolder.empty())
    notePath_ = WithTrailingSep(noteFolder) + kStagedNotePrefix +
                std::to_string(CurrentProcessId()) + kStagedNoteSuffix;
}

StagedFiles::~StagedFiles() {
  Discard();
}

std::string StagedFiles::Add(const std::string& finalPath) {
  // A name no user file is likely to carry, in the same folder so that the rename stays on
  // one volume.
  std::string temp = finalPath + kStagedSuffix;
  entries_.push_back({temp, finalPath});
  return temp;
}

bool StagedFiles::ConfirmReplacing(Questions* questions) const {
  if (!questions) return true;
  for (const Entry& e : entries_)
    if (ConfirmOverwrite(*questions, FolderOf(e.final), FileNameOf(e.final), "")) return false;
  return true;
}

void StagedFiles::AddMadeFolder(const std::string& folder) {
  folders_.push_back(folder);
}

std::string StagedFiles::Note() {
  if (notePath_.empty()) return {};
  std::string text;
  for (const Entry& e : entries_) text += "F " + e.temp + "\n";
  for (const std::string& f : folders_) text += "D " + f + "\n";
  File note(notePath_, File::Mode::Write);
  if (note && note.Write(std::string_view(text)) && note.Sync() && note.Close()) return {};
  const std::string why = note.LastError();
  note.Close();
  DeleteFileIfExists(notePath_);
  return "Could not write the note \"" + notePath_ + "\": " + why + ".";
}

std::string StagedFiles::Commit() {
  // A folder under a final name would stop its rename half way through the set: refused
  // before anything is renamed.
  for (const Entry& e : entries_) {
    std::error_code ec;
    if (fs::is_directory(fs::u8path(e.final), ec)) {
      std::string message =
          "Could not write \"" + e.final + "\": a folder of that name is in the way.";
      Discard();
      return message;
    }
  }
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
  DropNote();
  return {};
}

void StagedFiles::Discard() {
  if (done_) return;
  for (const Entry& e : entries_) DeleteFileIfExists(e.temp);
  entries_.clear();
  DropNote();
}

void StagedFiles::DropNote() {
  if (!notePath_.empty()) DeleteFileIfExists(notePath_);
}

void RemoveNotedStagedFiles(const std::string& tempFolder) {
  std::vector<std::string> notes;
  std::error_code ec;
  for (fs::directory_iterator it(fs::u8path(tempFolder), ec), end; !ec && it != end;
       it.increment(ec)) {
    const std::u8string u8 = it->path().filename().u8string();
    const std::string name(u8.begin(), u8.end());
    if (name.rfind(kStagedNotePrefix, 0) == 0 && EndsWith(name, kStagedNoteSuffix))
      notes.push_back(name);
  }
  for (const std::string& name : notes) {
    const std::string note = WithTrailingSep(tempFolder) + name;
    Bytes bytes;
    if (ReadWholeFile(note, bytes, 1 << 20)) {
      std::vector<std::string> folders;
      for (const std::string& line : SplitLines(
               std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()))) {
        if (line.size() < 3 || line[1] != ' ') continue;
        const std::string path = line.substr(2);
        // Only names a run gives its files are ever removed.
        if (line[0] == 'F' && EndsWith(path, kStagedSuffix)) DeleteFileIfExists(path);
        if (line[0] == 'D') folders.push_back(path);
      }
      for (const std::string& folder : folders) {
        std::error_code rm;
        if (fs::is_directory(fs::u8path(folder), rm) && fs::is_empty(fs::u8path(folder), rm))
          fs::remove(fs::u8path(folder), rm);
      }
    }
    DeleteFileIfExists(note);
  }
}

}  // namespace ebf
