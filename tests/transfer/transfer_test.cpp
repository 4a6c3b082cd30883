#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "common/cancel.h"
#include "common/files.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"
#include "transfer/psp_copy.h"
#include "transfer/volumes.h"

namespace ebf {
namespace {

using test::RunRecorder;
using test::TempDir;

TEST(PspGameFolder, ExactlyOneLevelBelowGameOnARemovableVolumeNamedByTitleCutTo31OrById) {
  TempDir psp, fixed;
  FixedVolumes volumes({{psp.path(), "MEMSTICK"}}), none({});
  const std::string game = psp / "PSP/GAME/SLUS00594";
  EXPECT_TRUE(IsOnPspGameFolder(game, volumes));
  // Not with a trailing separator, deeper or higher, nor on a volume that is not removable.
  for (const std::string& path : {game + kSep, game + kSep + "deeper", psp / "PSP/GAME",
                                  psp / "PSP/SAVEDATA/X", fixed / "PSP/GAME/SLUS00594"})
    EXPECT_FALSE(IsOnPspGameFolder(path, volumes)) << path;
  EXPECT_FALSE(IsOnPspGameFolder(game, none));

  const std::string title = "A Title That Is Exactly Forty Characters";
  const std::string base = std::string("/media/psp") + kSep + "PSP" + kSep + "GAME" + kSep;
  EXPECT_EQ(PspGameFolder("/media/psp", title, "SLUS00594", 1),
            base + "A Title That Is Exactly Forty C");
  EXPECT_EQ(PspGameFolder("/media/psp/", title, "SLUS00594", 2), base + "SLUS00594");
  EXPECT_EQ(PspGameFolder("/media/psp", title, "SLUS00594", 7), base + "SLUS00594");
}

TEST(VolumeList, EntriesAndMountTable) {
  EXPECT_EQ(VolumeEntryText({"E:", "  MEMSTICK "}), "[E:] MEMSTICK");
  EXPECT_EQ(VolumeEntryText({"/media/u/PSP", "PSP"}), "[/media/u/PSP] PSP");
  EXPECT_EQ(VolumeRootFromEntry("[/media/u/My Stick] My Stick"), "/media/u/My Stick");
  EXPECT_EQ(VolumeRootFromEntry("E: x"), "");
  const auto mounts = ParseMountTable("garbage\n/dev/sdb1 /media/u/My\\040Stick vfat rw 0 0\n");
  ASSERT_EQ(mounts.size(), 1u);
  EXPECT_EQ(mounts[0].device + "|" + mounts[0].mountPoint + "|" + mounts[0].fsType,
            "/dev/sdb1|/media/u/My Stick|vfat");
}

#ifndef _WIN32
// A block-device tree as sysfs lays it out: <sys>/devices/.../block/<disk>[/<partition>] with
// the disk's "removable" flag and each one's "size" in sectors, and <sys>/class/block/<name>
// linking to each; label links as udev makes them.
struct FakeSystem {
  TempDir root;
  std::string sys = root.MakeDir("sys");
  std::string labels = root.MakeDir("by-label");
  std::string media = root.MakeDir("media");

  std::string blocks = root.MakeDir("sys/class/block");

  // A block device's folder with its "size", linked to from class/block.
  std::string Device(const std::string& name, const std::string& folder, const std::string& size) {
    test::WriteFileText(root.MakeDir("sys/" + folder) + "/size", size + "\n");
    std::filesystem::create_directory_symlink("../../" + folder, blocks + "/" + name);
    return sys + "/" + folder;
  }
  void Disk(const std::string& bus, const std::string& disk, const char* removable,
            const char* size, const std::vector<std::string>& partitions = {}) {
    const std::string folder = "devices/" + bus + "/block/" + disk;
    test::WriteFileText(Device(disk, folder, size) + "/removable", std::string(removable) + "\n");
    for (const std::string& part : partitions) Device(part, folder + "/" + part, "2048");
  }
};

TEST(VolumeList, RemovableVolumesWithAMediumFromTheMountTableAndSysfs) {
  FakeSystem fs;
  fs.Disk("pci0/ata1", "sda", "0", "976773168", {"sda1"});  // the fixed system disk
  fs.Disk("pci0/usb1", "sdb", "1", "3911680", {"sdb1"});    // the PSP's memory stick
  fs.Disk("pci0/usb2", "sdc", "1", "1953792");              // a stick without partitions
  fs.Disk("pci0/usb3", "sdd", "1", "0");                    // a card reader, slot empty
  fs.Disk("pci0/usb4", "sde", "1", "15663104", {"sde1"});
  fs.Disk("virtual", "loop0", "0", "131072");  // a mounted image file
  std::filesystem::create_symlink("../../sdb1", fs.labels + "/MEMORY\\x20STICK");
  std::filesystem::create_symlink("../../sda1", fs.labels + "/ROOT");
  for (const char* name : {"PSP Stick", "CARD", "EMPTY", "LOOP"})
    fs.root.MakeDir(std::string("media/") + name);
  const std::string m = fs.media + "/";
  std::string table =
      "/dev/sda1 / ext4 rw,relatime 0 0\nproc /proc proc rw 0 0\nsysfs /sys sysfs rw 0 0\n"
      "tmpfs @CARD tmpfs rw 0 0\n/dev/sdb1 @PSP\\040Stick vfat rw,nosuid 0 0\n"
      "/dev/sdc @CARD vfat rw 0 0\n/dev/sdd @EMPTY vfat rw 0 0\n/dev/loop0 @LOOP squashfs ro 0 0\n"
      "/dev/sde1 @GONE vfat rw 0 0\n/dev/sdz1 @CARD vfat rw 0 0\n";
  for (std::size_t at; (at = table.find('@')) != std::string::npos;) table.replace(at, 1, m);
  // The stick by its label, the unpartitioned one by its mount point's name; not the fixed
  // disk, the pseudo file systems, the empty slot, the loop device, the mount point that is
  // gone or the device sysfs does not know.
  const std::vector<RemovableVolume> found = RemovableVolumesIn(table, fs.sys, fs.labels);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].root + "|" + found[0].label + "|" + found[1].root + "|" + found[1].label,
            m + "PSP Stick|MEMORY STICK|" + m + "CARD|CARD");
  // Nothing to read: nothing listed.
  EXPECT_TRUE(RemovableVolumesIn("", fs.sys, fs.labels).empty());
  EXPECT_TRUE(RemovableVolumesIn(table, fs.root / "nowhere", fs.labels).empty());
}
#endif

TEST(CopyToPsp, CreatesFoldersAsksBeforeReplacingAndKeepsOldOnCancel) {
  TempDir out, psp;
  const Bytes pkg = test::NoiseBytes(3 << 20, 5);
  test::WriteFileBytes(out / "EBOOT.PBP", pkg);
  const std::string target = PspGameFolder(psp.path(), "My Game", "SLUS00594", 1);
  const std::string installed = target + kSep + "EBOOT.PBP";
  RunRecorder host, no, cancel;
  auto copy = [&](RunRecorder& r, const std::string& to) {
    return CopyEbootToPsp(out.path(), to, r, r, r.cancel);
  };
  EXPECT_EQ(copy(host, target), Outcome::Success());
  EXPECT_EQ(test::ReadFileBytes(installed), pkg);
  EXPECT_TRUE(host.questions.empty());

  // Second time: the overwrite question; No keeps the old one and says nothing.
  test::WriteFileBytes(out / "EBOOT.PBP", test::NoiseBytes(1000, 6));
  no.answers = {false};
  EXPECT_EQ(copy(no, target), Outcome::Declined());
  EXPECT_EQ(no.questions.size(), 1u);
  EXPECT_EQ(test::ReadFileBytes(installed), pkg);

  // Cancel mid-copy: the old package is still whole and no partial file stays.
  test::WriteFileBytes(out / "EBOOT.PBP", test::NoiseBytes(4 << 20, 7));
  cancel.onAdvance = [&cancel](int n) {
    if (n == 2) cancel.cancel.Request();
  };
  EXPECT_EQ(copy(cancel, target), Outcome::Cancelled());
  EXPECT_TRUE(test::ReadFileBytes(installed) == pkg && !FileExists(installed + ".part"));

  // A folder that cannot be made.
  test::WriteFileText(psp / "PSP/GAME/blocker", "file");
  EXPECT_EQ(copy(host, psp / "PSP/GAME/blocker/sub"),
            Outcome::Failed("Error: could not create folders!!!"));
}

}  // namespace
}  // namespace ebf
