#include <gtest/gtest.h>

#include <filesystem>

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

TEST(PspGameFolder, ExactlyOneLevelBelowGameOnARemovableVolume) {
  TempDir psp, fixed;
  FixedVolumes volumes({{psp.path(), "MEMSTICK"}});
  const std::string game = psp / "PSP/GAME/SLUS00594";
  EXPECT_TRUE(IsOnPspGameFolder(game, volumes));
  EXPECT_FALSE(IsOnPspGameFolder(game + kSep, volumes));  // trailing separator
  EXPECT_FALSE(IsOnPspGameFolder(game + kSep + "deeper", volumes));
  EXPECT_FALSE(IsOnPspGameFolder(psp / "PSP/GAME", volumes));
  EXPECT_FALSE(IsOnPspGameFolder(psp / "PSP/SAVEDATA/X", volumes));
  // The same layout on a volume that is not removable does not count.
  EXPECT_FALSE(IsOnPspGameFolder(fixed / "PSP/GAME/SLUS00594", volumes));
  FixedVolumes none({});
  EXPECT_FALSE(IsOnPspGameFolder(game, none));
}

TEST(PspGameFolder, NamedByTitleCutTo31OrById) {
  const std::string title = "A Title That Is Exactly Forty Characters";  // 40 characters
  ASSERT_EQ(title.size(), 40u);
  const std::string base = std::string("/media/psp") + kSep + "PSP" + kSep + "GAME" + kSep;
  EXPECT_EQ(PspGameFolder("/media/psp", title, "SLUS00594", 1), base + title.substr(0, 31));
  EXPECT_EQ(PspGameFolder("/media/psp/", title, "SLUS00594", 2), base + "SLUS00594");
  EXPECT_EQ(PspGameFolder("/media/psp", title, "SLUS00594", 7), base + "SLUS00594");
}

TEST(VolumeList, EntriesAndMountTable) {
  EXPECT_EQ(VolumeEntryText({"E:", "  MEMSTICK "}), "[E:] MEMSTICK");
  EXPECT_EQ(VolumeEntryText({"/media/u/PSP", "PSP"}), "[/media/u/PSP] PSP");
  EXPECT_EQ(VolumeRootFromEntry("[/media/u/My Stick] My Stick"), "/media/u/My Stick");
  EXPECT_EQ(VolumeRootFromEntry("E: x"), "");
  auto mounts = ParseMountTable(
      "/dev/sda1 / ext4 rw 0 0\n"
      "/dev/sdb1 /media/u/My\\040Stick vfat rw,nosuid 0 0\n"
      "garbage\n");
  ASSERT_EQ(mounts.size(), 2u);
  EXPECT_EQ(mounts[1].device, "/dev/sdb1");
  EXPECT_EQ(mounts[1].mountPoint, "/media/u/My Stick");
  EXPECT_EQ(mounts[1].fsType, "vfat");
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

  void Disk(const std::string& bus, const std::string& disk, const char* removable,
            const char* size, const std::vector<std::string>& partitions = {}) {
    const std::string folder = "devices/" + bus + "/block/" + disk;
    root.MakeDir("sys/" + folder);
    test::WriteFileText(sys + "/" + folder + "/removable", std::string(removable) + "\n");
    test::WriteFileText(sys + "/" + folder + "/size", std::string(size) + "\n");
    Link(disk, folder);
    for (const std::string& part : partitions) {
      root.MakeDir("sys/" + folder + "/" + part);
      test::WriteFileText(sys + "/" + folder + "/" + part + "/size", "2048\n");
      Link(part, folder + "/" + part);
    }
  }
  void Link(const std::string& name, const std::string& folder) {
    root.MakeDir("sys/class/block");
    std::filesystem::create_directory_symlink("../../" + folder, sys + "/class/block/" + name);
  }
  void Label(const std::string& linkName, const std::string& device) {
    std::filesystem::create_symlink("../../" + device, labels + "/" + linkName);
  }
  std::vector<std::pair<std::string, std::string>> List(const std::string& mountTable) const {
    std::vector<std::pair<std::string, std::string>> out;
    for (const RemovableVolume& v : RemovableVolumesIn(mountTable, sys, labels))
      out.emplace_back(v.root, v.label);
    return out;
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
  fs.Label("MEMORY\\x20STICK", "sdb1");
  fs.Label("ROOT", "sda1");
  for (const char* name : {"PSP Stick", "CARD", "EMPTY", "LOOP"})
    fs.root.MakeDir(std::string("media/") + name);
  const std::string m = fs.media + "/";
  const std::string table =
      "/dev/sda1 / ext4 rw,relatime 0 0\n"
      "proc /proc proc rw,nosuid 0 0\n"
      "sysfs /sys sysfs rw 0 0\n"
      "tmpfs " +
      m +
      "CARD tmpfs rw 0 0\n"
      "/dev/sdb1 " +
      m +
      "PSP\\040Stick vfat rw,nosuid 0 0\n"
      "/dev/sdc " +
      m +
      "CARD vfat rw 0 0\n"
      "/dev/sdd " +
      m +
      "EMPTY vfat rw 0 0\n"
      "/dev/loop0 " +
      m +
      "LOOP squashfs ro 0 0\n"
      "/dev/sde1 " +
      m +
      "GONE vfat rw 0 0\n"
      "/dev/sdz1 " +
      m + "CARD vfat rw 0 0\n";
  // The stick by its label, the unpartitioned one by its mount point's name; not the fixed
  // disk, the pseudo file systems, the empty slot, the loop device, the mount point that is
  // gone or the device sysfs does not know.
  EXPECT_EQ(fs.List(table), (std::vector<std::pair<std::string, std::string>>{
                                {m + "PSP Stick", "MEMORY STICK"}, {m + "CARD", "CARD"}}));
  // Nothing to read: nothing listed.
  EXPECT_TRUE(fs.List("").empty());
  EXPECT_TRUE(RemovableVolumesIn(table, fs.root / "nowhere", fs.labels).empty());
}
#endif

TEST(CopyToPsp, CreatesFoldersAsksBeforeReplacingAndKeepsOldOnCancel) {
  TempDir out, psp;
  const Bytes pkg = test::NoiseBytes(3 << 20, 5);
  test::WriteFileBytes(out / "EBOOT.PBP", pkg);
  const std::string target = PspGameFolder(psp.path(), "My Game", "SLUS00594", 1);

  RunRecorder host;
  EXPECT_EQ(CopyEbootToPsp(out.path(), target, host, host, host.cancel), Outcome::Success());
  EXPECT_EQ(test::ReadFileBytes(target + kSep + "EBOOT.PBP"), pkg);
  EXPECT_TRUE(host.questions.empty());

  // Second time: the overwrite question; No keeps the old one and says nothing.
  test::WriteFileBytes(out / "EBOOT.PBP", test::NoiseBytes(1000, 6));
  RunRecorder no;
  no.answers = {false};
  EXPECT_EQ(CopyEbootToPsp(out.path(), target, no, no, no.cancel), Outcome::Declined());
  EXPECT_EQ(no.questions.size(), 1u);
  EXPECT_EQ(test::ReadFileBytes(target + kSep + "EBOOT.PBP"), pkg);

  // Cancel mid-copy: the old package is still whole and no partial file stays.
  test::WriteFileBytes(out / "EBOOT.PBP", test::NoiseBytes(4 << 20, 7));
  RunRecorder cancel;
  cancel.onAdvance = [&cancel](int n) {
    if (n == 2) cancel.cancel.Request();
  };
  EXPECT_EQ(CopyEbootToPsp(out.path(), target, cancel, cancel, cancel.cancel),
            Outcome::Cancelled());
  EXPECT_EQ(test::ReadFileBytes(target + kSep + "EBOOT.PBP"), pkg);
  EXPECT_FALSE(FileExists(target + kSep + "EBOOT.PBP.part"));

  // A folder that cannot be made.
  test::WriteFileText(psp / "PSP/GAME/blocker", "file");
  RunRecorder h;
  EXPECT_EQ(CopyEbootToPsp(out.path(), psp / "PSP/GAME/blocker/sub", h, h, h.cancel),
            Outcome::Failed("Error: could not create folders!!!"));
}

}  // namespace
}  // namespace ebf
