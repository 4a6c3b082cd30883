#include "app/startup.h"

#include "common/files.h"

namespace ebf {

static std::string Under(const std::string& programFolder, const char* folder, const char* name) {
  return ResolveCaseBlind(WithTrailingSep(programFolder) + folder + kSep + name);
}

std::string CheckConverterPresent(const std::string& programFolder) {
  return FileExists(Under(programFolder, "Data", "tarnwick.exe")) ? "" : kMsgConverterMissing;
}

std::string CheckRequiredFiles(const std::string& programFolder) {
  const std::pair<const char*, const char*> required[] = {
      {"Data", "BASE.PBP"},
      {"PSXCust/Default", "Gameboot.png"},
      {"PSXCust/Default", "ICON0.PNG"},
      {"PSXCust/Default", "ICON1.PMF"},
      {"PSXCust/Default", "PIC0.PNG"},
      {"PSXCust/Default", "PIC1.PNG"},
      {"PSXCust/Default", "SND0.AT3"},
      {"Data", "DATA.PSP"},
  };
  for (auto [folder, name] : required) {
    std::string sub = folder;
    for (char& c : sub)
      if (c == '/') c = kSep;
    if (!FileExists(Under(programFolder, sub.c_str(), name))) return kMsgMissingFiles;
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
