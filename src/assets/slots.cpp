#include "assets/slots.h"

#include <vector>

#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"

namespace ebf {

std::string NullAssetFile(const std::string& workFolder) {
  const std::string path = WithTrailingSep(workFolder) + "null";
  if (!FileExists(path)) {
    MakeFolders(workFolder);
    File created(path, File::Mode::Write);
    created.Close();
    MarkHidden(path);
  }
  return path;
}

std::string ResolveSlotFile(const ProgramFolders& folders, bool ticked, const std::string& text,
                            const std::string& assetFileName, bool inputIsEboot) {
  if (!ticked) return NullAssetFile(folders.work);
  if (!text.empty() && FileExists(text) && !IsDirectory(text)) return text;
  if (inputIsEboot) return ResolveCaseBlind(folders.work + "Temp" + kSep + assetFileName);
  return FindRuntimeFile(folders, "PSXCust/Default/" + assetFileName);
}

std::string SlotFileMissingMessage(const std::string& text, const std::string& assetFileName) {
  if (Trim(text).empty()) return "";
  if (FileExists(text) && !IsDirectory(text)) return "";
  return "The " + assetFileName + " file doesn't exist!";
}

std::string FirstMissingSlotMessage(const std::array<std::string, kSlotCount>& texts) {
  constexpr std::pair<int, const char*> kOrder[] = {
      {kSlotIcon0, "ICON0.PNG"}, {kSlotPic0, "PIC0.PNG"}, {kSlotPic1, "PIC1.PNG"},
      {kSlotIcon1, "ICON1.PMF"}, {kSlotSnd0, "SND0.AT3"}, {kSlotGameboot, "Gameboot PNG"}};
  for (auto [slot, label] : kOrder) {
    std::string msg = SlotFileMissingMessage(texts[static_cast<std::size_t>(slot)], label);
    if (!msg.empty()) return msg;
  }
  return "";
}

int FillSlotsFromCustomFolder(std::array<std::string, kSlotCount>& texts,
                              const CustomFolderSearch& search) {
  // Candidate folders, most specific first: a sub-folder named after the input's base name
  // wins over loose files, and the user's own custom folder wins over the source folder,
  // which wins over the program's PSXCust folder. So "Game.bin" looks in, in order:
  //   <custom>/Game/, <custom>/, <source>/Game/, <source>/ (when enabled),
  //   <user tree>/PSXCust/Game/, <shipped tree>/PSXCust/Game/
  // with <folder>/<game ID>/ first in each when an ID is known
  // and within a folder for "<name>" then "Game_<name>" (e.g. "ICON0.PNG", "Game_ICON0.PNG").
  // The loose PSXCust folder is left out: its Default sub-folder already serves as the
  // fallback for every blank slot.
  // A folder named by the game ID comes before the one named after the input, so that
  // artwork kept per game is found whatever the image file is called.
  const std::string base = search.inputPath.empty() ? std::string() : StemOf(search.inputPath);
  std::vector<std::string> folders;
  auto addFolder = [&](const std::string& folder, bool withLoose) {
    if (folder.empty() || !IsDirectory(folder)) return;
    if (!search.gameId.empty()) folders.push_back(JoinPath(folder, search.gameId));
    if (!base.empty()) folders.push_back(JoinPath(folder, base));
    if (withLoose) folders.push_back(WithTrailingSep(folder));
  };
  addFolder(search.customFolder, true);
  if (search.useSourceFolder && !search.inputPath.empty())
    addFolder(FolderOf(search.inputPath), true);
  for (const std::string& root : RuntimeRoots(search.folders))
    addFolder(WithTrailingSep(root) + "PSXCust", false);

  int filled = 0;
  for (int i = 0; i < kSlotCount; ++i) {
    const std::string name = kSlots[i].assetFileName;
    for (const std::string& folder : folders) {
      std::string found;
      for (const std::string& candidate :
           {JoinPath(folder, name),
            base.empty() ? std::string() : JoinPath(folder, base + "_" + name)}) {
        if (candidate.empty()) continue;
        const std::string resolved = ResolveCaseBlind(candidate);
        if (FileExists(resolved) && !IsDirectory(resolved)) {
          found = resolved;
          break;
        }
      }
      if (!found.empty()) {
        texts[i] = found;
        ++filled;
        break;
      }
    }
  }
  return filled;
}

}  // namespace ebf
