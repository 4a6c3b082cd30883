#include "transfer/volumes.h"

#include <cctype>
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

std::string ReadFirstLine(const fs::path& path) {
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);
  return Trim(line);
}

// udev writes a blank in a label link's name as \x20.
std::string UnescapeLabel(const std::string& s) {
  std::string out;
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 3 < s.size() && s[i + 1] == 'x' &&
        std::isxdigit(static_cast<unsigned char>(s[i + 2])) &&
        std::isxdigit(static_cast<unsigned char>(s[i + 3]))) {
      out.push_back(static_cast<char>(std::stoi(s.substr(i + 2, 2), nullptr, 16)));
      i += 3;
    } else {
      out.push_back(s[i]);
    }
  }
  return out;
}

// The block device's folder (<sys>/class/block/sdb1 leads to .../block/sdb/sdb1): a partition's
// own folder has no "removable", its disk is the folder above. False for anything that is
// not a removable disk with a medium (size 0 means the slot is empty).
bool IsRemovableWithMedium(const fs::path& sysFolder, const std::string& name) {
  std::error_code ec;
  const fs::path sys = fs::canonical(sysFolder, ec);
  if (ec) return false;
  const fs::path real = fs::canonical(sys / "class" / "block" / name, ec);
  if (ec) return false;
  if (ReadFirstLine(real / "size") == "0") return false;
  for (fs::path p = real; p != sys && p.has_relative_path() && p != p.parent_path();
       p = p.parent_path()) {
    if (fs::exists(p / "removable", ec)) return ReadFirstLine(p / "removable") == "1";
    if (p.filename() == "block") break;
  }
  return false;
}

std::string LabelOf(const fs::path& device, const std::string& mountPoint,
                    const fs::path& labelFolder) {
  std::error_code ec;
  for (auto it = fs::directory_iterator(labelFolder, ec); !ec && it != fs::directory_iterator();
       it.increment(ec)) {
    // udev's links are relative ("../../sdb1"): the target's last name is the device.
    std::error_code ec2;
    const fs::path target = fs::read_symlink(it->path(), ec2);
    if (!ec2 && target.filename() == device.filename())
      return UnescapeLabel(it->path().filename().string());
  }
  return fs::path(mountPoint).filename().string();
}

}  // namespace

std::vector<RemovableVolume> RemovableVolumesIn(const std::string& mountTable,
                                                const std::string& sysFolder,
                                                const std::string& labelFolder) {
  std::vector<RemovableVolume> out;
  for (const MountEntry& e : ParseMountTable(mountTable)) {
    // Pseudo file systems name no device; /dev/disk/... links lead to the device itself.
    if (e.device.rfind("/dev/", 0) != 0) continue;
    std::error_code ec;
    const fs::path dev = fs::weakly_canonical(e.device, ec);
    if (ec || dev.parent_path() != "/dev") continue;
    if (!IsRemovableWithMedium(sysFolder, dev.filename().string())) continue;
    if (!fs::is_directory(e.mountPoint, ec)) continue;
    out.push_back({e.mountPoint, LabelOf(dev, e.mountPoint, labelFolder)});
  }
  return out;
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

class LinuxVolumes : public VolumeSource {
 public:
  std::vector<RemovableVolume> List() override {
    std::ifstream in("/proc/self/mounts");
    std::stringstream text;
    text << in.rdbuf();
    return RemovableVolumesIn(text.str(), "/sys", "/dev/disk/by-label");
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
