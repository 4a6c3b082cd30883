#include "common/program_folders.h"

#include <cstdlib>
#include <filesystem>

#include "common/files.h"
#include "common/text.h"

namespace ebf {
namespace {

constexpr const char* kAppFolder = "ebootforge";
constexpr const char* kConverterFile = "tarnwick.exe";

std::string Native(std::string path) {
  for (char& c : path)
    if (c == '/' || c == '\\') c = kSep;
  return path;
}

bool IsAbsolute(const std::string& path) {
  auto u8 = std::u8string(path.begin(), path.end());
  return !path.empty() && std::filesystem::path(u8).is_absolute();
}

// `value` when it is an absolute path, else `home` + `fallback`.
std::string BaseFolder(const std::string& value, const std::string& home, const char* fallback) {
  if (IsAbsolute(value)) return WithTrailingSep(value);
  return WithTrailingSep(home) + Native(fallback) + kSep;
}

// The prefix above an executable folder that ends in `binDir`, or "" when it does not.
std::string PrefixAbove(const std::string& exeFolder, const std::string& binDir) {
  namespace fs = std::filesystem;
  std::string trimmed = exeFolder;
  while (trimmed.size() > 1 && IsSeparator(trimmed.back())) trimmed.pop_back();
  fs::path folder(std::u8string(trimmed.begin(), trimmed.end()));
  const fs::path bin(std::u8string(binDir.begin(), binDir.end()));
  std::vector<fs::path> parts(bin.begin(), bin.end());
  for (auto it = parts.rbegin(); it != parts.rend(); ++it) {
    if (folder.filename() != *it) return "";
    folder = folder.parent_path();
  }
  const std::u8string u8 = folder.u8string();
  return WithTrailingSep(std::string(u8.begin(), u8.end()));
}

void UseUserFolders(ProgramFolders& f, const UserBaseFolders& base) {
  f.user = base.data + kAppFolder + kSep;
  f.work = base.cache + kAppFolder + kSep;
  f.settingsFile = base.config + kAppFolder + kSep + kAppFolder + ".ini";
}

}  // namespace

ProgramFolders::ProgramFolders(const std::string& folder)
    : tree(WithTrailingSep(folder)),
      work(tree),
      converter(tree + "Data" + kSep + kConverterFile),
      settingsFile(tree + kAppFolder + ".ini") {}

UserBaseFolders UserBaseFoldersFrom(const std::function<std::string(const char*)>& env) {
  UserBaseFolders b;
#ifdef _WIN32
  const std::string roaming = env("APPDATA"), local = env("LOCALAPPDATA");
  const std::string home = env("USERPROFILE");
  b.config = BaseFolder(roaming, home, "AppData/Roaming");
  b.data = b.config;
  b.cache = BaseFolder(local, home, "AppData/Local");
#else
  const std::string home = env("HOME");
  b.config = BaseFolder(env("XDG_CONFIG_HOME"), home, ".config");
  b.cache = BaseFolder(env("XDG_CACHE_HOME"), home, ".cache");
  b.data = BaseFolder(env("XDG_DATA_HOME"), home, ".local/share");
#endif
  return b;
}

UserBaseFolders UserBaseFoldersFromEnvironment() {
  return UserBaseFoldersFrom([](const char* name) {
    const char* value = std::getenv(name);
    return std::string(value ? value : "");
  });
}

ProgramFolders LocateProgramFolders(const LocateInputs& in) {
  const std::string exeFolder = WithTrailingSep(FolderOf(in.executablePath));
  if (!IsDirectory(exeFolder + "Data")) {
    const std::string prefix = PrefixAbove(exeFolder, in.layout.binDir);
    const std::string share = prefix + Native(in.layout.dataDir) + kSep + kAppFolder + kSep;
    if (!prefix.empty() && IsDirectory(share + "Data")) {
      // Installed: the shipped tree belongs to the system, whoever runs the program.
      ProgramFolders f;
      f.tree = share;
      f.converter =
          prefix + Native(in.layout.libexecDir) + kSep + kAppFolder + kSep + kConverterFile;
      UseUserFolders(f, in.base);
      return f;
    }
  }
  ProgramFolders f(exeFolder);
  const std::string name = in.settingsName.empty() ? kAppFolder : in.settingsName;
  f.settingsFile = exeFolder + name + ".ini";
  if (!in.canWrite(exeFolder)) UseUserFolders(f, in.base);
  return f;
}

ProgramFolders LocateOwnFolders(const std::string& settingsName) {
  LocateInputs in;
  in.executablePath = ExecutablePath();
  in.settingsName = settingsName;
  in.base = UserBaseFoldersFromEnvironment();
#ifdef EBF_INSTALL_BINDIR
  in.layout = {EBF_INSTALL_BINDIR, EBF_INSTALL_DATADIR, EBF_INSTALL_LIBEXECDIR};
#endif
  in.canWrite = CanWriteFolder;
  return LocateProgramFolders(in);
}

std::vector<std::string> RuntimeRoots(const ProgramFolders& folders) {
  std::vector<std::string> roots;
  if (!folders.user.empty() && folders.user != folders.tree) roots.push_back(folders.user);
  roots.push_back(folders.tree);
  return roots;
}

std::string FindRuntimeFile(const ProgramFolders& folders, const std::string& relative) {
  const std::string rel = Native(relative);
  std::string shipped;
  for (const std::string& root : RuntimeRoots(folders)) {
    const std::string path = ResolveCaseBlind(WithTrailingSep(root) + rel);
    if (FileExists(path) && !IsDirectory(path)) return path;
    shipped = path;
  }
  return shipped;
}

}  // namespace ebf
