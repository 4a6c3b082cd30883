#pragma once
// Removable volumes with a medium: drive letters on Windows, mounted removable block
// devices elsewhere. The source is an interface so tests can present a folder as a PSP.

#include <memory>
#include <string>
#include <vector>

namespace ebf {

struct RemovableVolume {
  std::string root;   // "E:" on Windows, the mount point elsewhere; no trailing separator
  std::string label;  // volume label, may be empty
};

class VolumeSource {
 public:
  virtual ~VolumeSource() = default;
  virtual std::vector<RemovableVolume> List() = 0;
};

// The system's own list.
std::unique_ptr<VolumeSource> SystemVolumes();

// A fixed list, for tests and for callers that already know the volumes.
class FixedVolumes : public VolumeSource {
 public:
  explicit FixedVolumes(std::vector<RemovableVolume> v) : volumes_(std::move(v)) {}
  std::vector<RemovableVolume> List() override { return volumes_; }

 private:
  std::vector<RemovableVolume> volumes_;
};

// "[" + root + "] " + label with surrounding blanks removed ("[E:] MEMSTICK").
std::string VolumeEntryText(const RemovableVolume& v);
// The root named by a list entry ("[E:] MEMSTICK" -> "E:"), "" when it is not one.
std::string VolumeRootFromEntry(const std::string& entry);

// A mount table (/proc/self/mounts text), one entry per line with octal escapes undone.
struct MountEntry {
  std::string device, mountPoint, fsType;
};
std::vector<MountEntry> ParseMountTable(const std::string& text);

// Elsewhere than Windows: the mounted volumes of `mountTable` that sit on a removable block
// device with a medium in it, as the block-device tree under `sysFolder` (/sys) describes
// them, named by the links in `labelFolder` (/dev/disk/by-label) or else by the mount
// point's last name. SystemVolumes() passes the system's own; tests pass made-up ones.
std::vector<RemovableVolume> RemovableVolumesIn(const std::string& mountTable,
                                                const std::string& sysFolder,
                                                const std::string& labelFolder);

}  // namespace ebf
