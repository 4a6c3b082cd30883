#include "engine/recovery.h"

#include <filesystem>

#include "common/bytes.h"
#include "common/files.h"
#include "common/text.h"
#include "engine/conversion.h"
#include "engine/converter_run.h"
#include "pbp/patch_journal.h"

namespace ebf {

std::vector<std::string> RecoverInterruptedWork(const ProgramFolders& folders) {
  std::vector<std::string> said;
  // No Temp folder, nothing left behind (and none is made just to look).
  if (!IsDirectory(WithTrailingSep(folders.work) + "Temp")) return said;
  for (const std::string& s : {RecoverInterruptedPalFix(folders.work),
                               pbp::RecoverInterruptedPatch(TempFolder(folders.work))})
    if (!s.empty()) said.push_back(s);
  // What a conversion this program did not live to finish left in its output folder; only
  // names a run makes there are taken from the note.
  Bytes note;
  if (ReadWholeFile(TempFolder(folders.work) + kRunNote, note, 1 << 20)) {
    for (const std::string& path :
         SplitLines(std::string_view(reinterpret_cast<const char*>(note.data()), note.size())))
      if (IsRunFileName(FileNameOf(path))) DeleteFileIfExists(path);
  }
  ClearWorkFiles(folders.work);
  return said;
}

void ClearWorkFiles(const std::string& workFolder) {
  namespace fs = std::filesystem;
  const std::string temp = WithTrailingSep(workFolder) + "Temp";
  std::error_code ec;
  for (fs::directory_iterator it(fs::u8path(temp), ec), end; !ec && it != end; it.increment(ec)) {
    const std::u8string name = it->path().filename().u8string();
    const std::string plain(name.begin(), name.end());
    if (IsPalJournalName(plain) || plain == pbp::kJournalPointer) continue;
    std::error_code rm;
    if (it->is_regular_file(rm) || it->is_symlink(rm)) fs::remove(it->path(), rm);
  }
}

}  // namespace ebf
