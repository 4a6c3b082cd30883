#pragma once
// Where the program reads its runtime tree and where it writes. Decided once at start from
// the executable's place and the environment, then handed down; nothing here is global.
//
// A portable tree (the build folder, a copy unpacked anywhere the user may write) keeps
// everything beside the executables. An installed program (bin/ with share/ebootforge/
// beside it, the converter under libexec/ebootforge/) or a tree the user may not write to
// reads the shipped files there and writes under the user's base folders: the settings file
// in the config folder, Temp/ and "null" in the cache folder; the user's own Data/,
// PSXCust/ and Themes/ in the data folder are looked at before the shipped ones.

#include <functional>
#include <string>
#include <vector>

namespace ebf {

struct ProgramFolders {
  ProgramFolders() = default;
  // One folder that holds everything and is written to, as the build tree is. Implicit on
  // purpose: a program folder given as a single path means exactly this.
  ProgramFolders(const std::string& folder);
  ProgramFolders(const char* folder) : ProgramFolders(std::string(folder)) {}

  std::string tree;          // shipped Data/, PSXCust/, Themes/; ends in the separator
  std::string user;          // the user's own tree, searched first; "" when there is none
  std::string work;          // Temp/ and the "null" file; ends in the separator
  std::string converter;     // the shipped tarnwick.exe
  std::string settingsFile;  // ebootforge.ini
};

// The user's base folders (XDG on POSIX; APPDATA and LOCALAPPDATA on Windows), each ending
// in the separator, with "ebootforge" not yet appended.
struct UserBaseFolders {
  std::string config, cache, data;
};

// From an environment lookup that returns "" for an unset name. An unset, empty or
// relative XDG_*_HOME falls back to its default under HOME.
UserBaseFolders UserBaseFoldersFrom(const std::function<std::string(const char*)>& env);
// The same from this process's environment.
UserBaseFolders UserBaseFoldersFromEnvironment();

// Where an installation puts things, relative to its prefix.
struct InstallLayout {
  std::string binDir = "bin";
  std::string dataDir = "share";
  std::string libexecDir = "libexec";
};

struct LocateInputs {
  std::string executablePath;
  std::string settingsName;  // the settings file's name without ".ini" in a portable tree
  UserBaseFolders base;
  InstallLayout layout;
  std::function<bool(const std::string&)> canWrite;  // may the program create files there?
};

ProgramFolders LocateProgramFolders(const LocateInputs& in);

// The running program's folders, from its own path, the environment and the layout it was
// built with. The settings file is named `settingsName`.ini in a portable tree.
ProgramFolders LocateOwnFolders(const std::string& settingsName);

// The trees to look in for a shipped file, the user's first.
std::vector<std::string> RuntimeRoots(const ProgramFolders& folders);

// The user's copy of `relative` (for example "Data/BASE.PBP") when it exists, else the
// shipped one; both matched case-blind. The shipped path when neither exists.
std::string FindRuntimeFile(const ProgramFolders& folders, const std::string& relative);

}  // namespace ebf
