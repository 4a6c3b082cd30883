#include "transfer/volumes.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "common/text.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace fs = std::filesystem;

namespace ebf {

std::string VolumeEntryText(const RemovableVolume& v) {
  return "[" + v.root + "] " + Trim(v.label);
}

std::string VolumeRootFromEntry(const std::string& entry) {
  if (entry.size() < 3 || entry[0] != '[') return "";
  auto close = entry.find("] ");
  if (close == std::string::npos) return "";
  return entry.substr(1, close - 1);
}

static bool IsOctal(char c) {
  return c >= '0' && c <= '7';
}

// Mount tables escape blanks and a few other characters as octal (\040).
static std::string Unescape(const std::string& s) {
  std::string out;
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 3 < s.size() && IsOctal(s[i + 1]) && IsOctal(s[i + 2]) &&
        IsOctal(s[i + 3])) {
      int v = (s[i + 1] - '0') * 64 + (s[i + 2] - '0') * 8 + (s[i + 3] - '0');
      out.push_back(static_cast<char>(v));
      i += 3;
    } else {
      out.push_back(s[i]);
    }
  }
  return out;
}

std::vector<MountEntry> ParseMountTable(const std::string& text) {
  std::vector<MountEntry> entries;
  for (const std::string& line : SplitLines(text)) {
    std::istringstream in(line);
    MountEntry e;
    if (!(in >> e.device >> e.mountPoint >> e.fsType)) continue;
    e.device = Unescape(e.device);
    e.mountPoint = Unescape(e.mountPoint);
    entries.push_back(e);
  }
  return entries;
}

namespace {

#ifdef _WIN32

class WindowsVolumes : public VolumeSource {
 public:
  std::vector<RemovableVolume> List() override {
    std::vector<RemovableVolume> out;
    DWORD mask = GetLogicalDrives();
    for (int i = 0; i < 26; ++i) {
      if (!(mask & (1u << i))) continue;
      std::string root = std::string(1, static_cast<char>('A' + i)) + ":\\";
      if (GetDriveTypeA(root.c_str()) != DRIVE_REMOVABLE) continue;
      char label[MAX_PATH + 1] = {};
      if (!GetVolumeInformationA(root.c_str(), label, sizeof(label), nullptr, nullptr, nullptr,
                                 nullptr, 0))
        continue;  // no medium
      out.push_back({root.substr(0, 2), label});
    }
    return out;
  }
};

#else

std::string ReadFirstLine(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);
  return Trim(line);
}

// /dev/sdb1 -> removable flag of sdb; follows /dev/disk/... symlinks first.
bool DeviceIsRemovable(const std::string& device) {
  std::error_code ec;
  fs::path dev = fs::weakly_canonical(device, ec);
  if (ec || dev.parent_path() != "/dev") return false;
  fs::path sys = fs::path("/sys/class/block") / dev.filename();
  fs::path real = fs::canonical(sys, ec);
  if (ec) return false;
  // A partition's own folder has no "removable"; its disk is the parent folder.
  for (fs::path p = real; p.has_relative_path() && p != p.parent_path(); p = p.parent_path()) {
    if (fs::exists(p / "removable", ec)) return ReadFirstLine((p / "removable").string()) == "1";
    if (p.filename() == "block") break;
  }
  return false;
}

std::string LabelOf(const std::string& device, const std::string& mountPoint) {
  std::error_code ec;
  fs::path dev = fs::weakly_canonical(device, ec);
  for (auto it = fs::directory_iterator("/dev/disk/by-label", ec);
       !ec && it != fs::directory_iterator(); it.increment(ec)) {
    std::error_code ec2;
    if (fs::weakly_canonical(it->path(), ec2) == dev)
      return Unescape(it->path().filename().string());
  }
  return fs::path(mountPoint).filename().string();
}

class LinuxVolumes : public VolumeSource {
 public:
  std::vector<RemovableVolume> List() override {
    std::ifstream in("/proc/self/mounts");
    std::stringstream text;
    text << in.rdbuf();
    std::vector<RemovableVolume> out;
    for (const MountEntry& e : ParseMountTable(text.str())) {
      if (e.device.rfind("/dev/", 0) != 0 || !DeviceIsRemovable(e.device)) continue;
      std::error_code ec;
      if (!fs::is_directory(e.mountPoint, ec)) continue;
      out.push_back({e.mountPoint, LabelOf(e.device, e.mountPoint)});
    }
    return out;
  }
};

#endif

}  // namespace

std::unique_ptr<VolumeSource> SystemVolumes() {
#ifdef _WIN32
  return std::make_unique<WindowsVolumes>();
#else
  return std::make_unique<LinuxVolumes>();
#endif
}

}  // namespace ebf
