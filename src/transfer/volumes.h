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

// Linux: the removable volumes described by a mount table (/proc/self/mounts text), with
// `isRemovable(device)` deciding for each mounted device and `labelOf(device, mountPoint)`
// naming it. Split out so that it can be tested with made-up tables.
struct MountEntry {
  std::string device, mountPoint, fsType;
};
std::vector<MountEntry> ParseMountTable(const std::string& text);

}  // namespace ebf
