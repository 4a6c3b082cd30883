#include "engine/recovery.h"

#include <cstdio>
#include <filesystem>

#include "common/bytes.h"
#include "common/files.h"
#include "common/run_lock.h"
#include "common/staged_files.h"
#include "common/text.h"
#include "engine/conversion.h"
#include "engine/converter_run.h"
#include "pbp/patch_journal.h"

namespace ebf {
namespace {

std::vector<std::string> ReadLines(const std::string& path) {
  Bytes bytes;
  if (!ReadWholeFile(path, bytes, 64ull << 20)) return {};
  return SplitLines(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

// The image a PAL fix journal names when it holds at least one change, else "".
std::string PalFixedImage(const std::string& journal) {
  if (!FileExists(journal)) return {};
  const std::vector<std::string> lines = ReadLines(journal);
  if (lines.empty() || lines[0].empty()) return {};
  for (std::size_t i = 1; i < lines.size(); ++i) {
    unsigned long long offset = 0;
    unsigned w0 = 0, w1 = 0;
    if (std::sscanf(lines[i].c_str(), "%llu %x %x", &offset, &w0, &w1) == 3) return lines[0];
  }
  return {};
}

void RecoverPalFix(const std::string& work, std::vector<RecoveryNote>& said) {
  // A game on several discs may have left a journal for each disc's image.
  std::vector<std::string> images;
  for (int disc = 1; disc <= kMaxPackageDiscs; ++disc)
    if (std::string image = PalFixedImage(TempFolder(work) + PalJournalName(disc)); !image.empty())
      images.push_back(image);
  const std::string error = RecoverInterruptedPalFix(work);
  if (!error.empty()) {
    said.push_back({error, true});
    return;
  }
  for (const std::string& image : images)
    said.push_back({"An interrupted PAL -> NTSC fix on " + image +
                        " was found and undone; the image is as it was before.",
                    false});
}

// The notes only a start reads (and removes once it has put right what they name).
bool IsNote(const std::string& name) {
  if (IsPalJournalName(name) || name == pbp::kJournalPointer || name == kRunNote) return true;
  const std::string prefix = kStagedNotePrefix, suffix = kStagedNoteSuffix;
  return name.size() >= prefix.size() + suffix.size() && name.rfind(prefix, 0) == 0 &&
         name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

std::vector<RecoveryNote> RecoverInterruptedWork(const ProgramFolders& folders) {
  std::vector<RecoveryNote> said;
  // No Temp folder, nothing left behind (and none is made just to look).
  if (!IsDirectory(WithTrailingSep(folders.work) + "Temp")) return said;
  // A run under way keeps what it has noted: it is not a run that never ended.
  RunLock lock(folders.work, RunLockMode::Exclusive);
  if (!lock.held()) return said;
  const std::string temp = TempFolder(folders.work);
  RecoverPalFix(folders.work, said);
  if (std::string s = pbp::RecoverInterruptedPatch(temp); !s.empty())
    said.push_back({s, s.find("could not be undone") != std::string::npos});
  // What a conversion this program did not live to finish left in its output folder; only
  // names a run makes there are taken from the note.
  for (const std::string& path : ReadLines(temp + kRunNote))
    if (IsRunFileName(FileNameOf(path))) DeleteFileIfExists(path);
  DeleteFileIfExists(temp + kRunNote);
  // What an extraction left under temporary names.
  RemoveNotedStagedFiles(temp);
  // The empty stand-in of an unticked slot, which a run removes at its end.
  DeleteFileIfExists(WithTrailingSep(folders.work) + "null");
  ClearWorkFiles(folders.work);
  return said;
}

void ClearWorkFiles(const std::string& workFolder) {
  namespace fs = std::filesystem;
  const std::string temp = WithTrailingSep(workFolder) + "Temp";
  std::error_code ec;
  if (!fs::is_directory(fs::u8path(temp), ec)) return;
  RunLock lock(workFolder, RunLockMode::Exclusive);
  if (!lock.held()) return;
  std::vector<fs::path> doomed;
  for (fs::directory_iterator it(fs::u8path(temp), ec), end; !ec && it != end; it.increment(ec)) {
    const std::u8string name = it->path().filename().u8string();
    const std::string plain(name.begin(), name.end());
    if (IsNote(plain)) continue;
    std::error_code rm;
    if (it->is_regular_file(rm) || it->is_symlink(rm)) doomed.push_back(it->path());
  }
  for (const fs::path& p : doomed) {
    std::error_code rm;
    fs::remove(p, rm);
  }
}

}  // namespace ebf
