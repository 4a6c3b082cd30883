#include <gtest/gtest.h>

#include "common/cancel.h"
#include "common/files.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"
#include "transfer/psp_copy.h"
#include "transfer/volumes.h"

namespace ebf {
namespace {

using test::RecordingHost;
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
  // The real list never fails, whatever the machine has.
  EXPECT_NO_THROW(SystemVolumes()->List());
}

TEST(CopyToPsp, CreatesFoldersAsksBeforeReplacingAndKeepsOldOnCancel) {
  TempDir out, psp;
  const Bytes pkg = test::NoiseBytes(3 << 20, 5);
  test::WriteFileBytes(out / "EBOOT.PBP", pkg);
  const std::string target = PspGameFolder(psp.path(), "My Game", "SLUS00594", 1);

  RecordingHost host;
  EXPECT_EQ(CopyEbootToPsp(out.path(), target, host), "Success.");
  EXPECT_EQ(test::ReadFileBytes(target + kSep + "EBOOT.PBP"), pkg);
  EXPECT_TRUE(host.questions.empty());

  // Second time: the overwrite question; No keeps the old one and says nothing.
  test::WriteFileBytes(out / "EBOOT.PBP", test::NoiseBytes(1000, 6));
  RecordingHost no;
  no.answers = {false};
  EXPECT_EQ(CopyEbootToPsp(out.path(), target, no), "");
  EXPECT_EQ(no.questions.size(), 1u);
  EXPECT_EQ(test::ReadFileBytes(target + kSep + "EBOOT.PBP"), pkg);

  // Cancel mid-copy: the old package is still whole and no partial file stays.
  test::WriteFileBytes(out / "EBOOT.PBP", test::NoiseBytes(4 << 20, 7));
  RecordingHost cancel;
  cancel.onPump = [](int n) {
    if (n == 2) CancelRequested = true;
  };
  EXPECT_EQ(CopyEbootToPsp(out.path(), target, cancel), "Cancelled.");
  EXPECT_EQ(test::ReadFileBytes(target + kSep + "EBOOT.PBP"), pkg);
  EXPECT_FALSE(FileExists(target + kSep + "EBOOT.PBP.part"));

  // A folder that cannot be made.
  test::WriteFileText(psp / "PSP/GAME/blocker", "file");
  RecordingHost h;
  EXPECT_EQ(CopyEbootToPsp(out.path(), psp / "PSP/GAME/blocker/sub", h),
            "Error: could not create folders!!!");
}

}  // namespace
}  // namespace ebf
