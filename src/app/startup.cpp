#include "app/startup.h"

#include "common/files.h"

namespace ebf {

std::string CheckConverterPresent(const ProgramFolders& folders) {
  return FileExists(ResolveCaseBlind(folders.converter)) ? "" : kMsgConverterMissing;
}

std::string CheckRequiredFiles(const ProgramFolders& folders) {
  for (const char* file :
       {"Data/BASE.PBP", "PSXCust/Default/Gameboot.png", "PSXCust/Default/ICON0.PNG",
        "PSXCust/Default/ICON1.PMF", "PSXCust/Default/PIC0.PNG", "PSXCust/Default/PIC1.PNG",
        "PSXCust/Default/SND0.AT3", "Data/DATA.PSP"}) {
    if (!FileExists(FindRuntimeFile(folders, file))) return kMsgMissingFiles;
  }
  return "";
}

std::string CommandLineInput(const std::string& commandLine) {
  std::string path;
  for (char c : commandLine)
    if (c != '"') path.push_back(c);
  if (path.empty() || IsDirectory(path) || !FileExists(path)) return "";
  return path;
}

}  // namespace ebf
