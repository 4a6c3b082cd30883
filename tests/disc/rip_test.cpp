// Ripping through libcdio, with a BIN/CUE opened as the drive (no machine here has one):
// Redump-style files and sheet, audio through paranoia, nothing left on cancel or failure.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>

#include "disc/rip/rip.h"
#include "support/cd_sets.h"
#include "support/outcome_print.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using ebf::Bytes;

// The mixed set joined into one file, with a one-file sheet that libcdio reads as a disc.
Bytes WriteDriveImage(const test::TempDir& dir, std::string* cue) {
  test::CdSet set = test::WriteMixedSet(dir.MakeDir("set"));
  test::WriteFileBytes(dir / "drive.bin", set.disc);
  *cue = dir / "drive.cue";
  test::WriteFileText(*cue,
                      "FILE \"drive.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n"
                      "  TRACK 02 AUDIO\n    INDEX 00 00:04:00\n    INDEX 01 00:06:00\n"
                      "  TRACK 03 AUDIO\n    INDEX 00 00:08:70\n    INDEX 01 00:09:70\n");
  return set.disc;
}

Bytes Slice(const Bytes& disc, uint32_t from, uint32_t to) {
  return Bytes(disc.begin() + std::size_t{from} * 2352, disc.begin() + std::size_t{to} * 2352);
}

std::vector<std::string> FolderEntries(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(folder))
    names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

TEST(Rip, TrackFilesAreNamedAsRedumpNamesThem) {
  EXPECT_EQ(rip::TrackFileName("Game", 1, 1), "Game.bin");
  EXPECT_EQ(rip::TrackFileName("Game", 2, 3), "Game (Track 2).bin");
  EXPECT_EQ(rip::TrackFileName("Game", 2, 12), "Game (Track 02).bin");
  EXPECT_EQ(rip::TrackFileName("Game", 12, 12), "Game (Track 12).bin");
}

TEST(Rip, ADiscBecomesOneFilePerTrackWithItsPregap) {
  test::TempDir dir;
  std::string cue;
  const Bytes disc = WriteDriveImage(dir, &cue);
  uint64_t last = 0, total = 0;
  int reports = 0;
  DiscJobHooks hooks;
  hooks.progress = [&](uint64_t done, uint64_t all) { last = done, total = all, ++reports; };
  rip::RipRequest request{cue, dir / "out", "Game (USA)"};
  rip::RipResult result;
  ASSERT_EQ(rip::RipToBinCue(request, hooks, &result), Outcome::Success());
  EXPECT_EQ(result.cuePath, dir / "out/Game (USA).cue");
  EXPECT_EQ(FolderEntries(dir / "out"),
            (std::vector<std::string>{"Game (USA) (Track 1).bin", "Game (USA) (Track 2).bin",
                                      "Game (USA) (Track 3).bin", "Game (USA).cue"}));
  EXPECT_TRUE(test::ReadFileBytes(dir / "out/Game (USA) (Track 1).bin") == Slice(disc, 0, 300));
  EXPECT_TRUE(test::ReadFileBytes(dir / "out/Game (USA) (Track 2).bin") == Slice(disc, 300, 670));
  EXPECT_TRUE(test::ReadFileBytes(dir / "out/Game (USA) (Track 3).bin") == Slice(disc, 670, 875));
  EXPECT_EQ(test::ReadFileText(dir / "out/Game (USA).cue"),
            "FILE \"Game (USA) (Track 1).bin\" BINARY\r\n  TRACK 01 MODE2/2352\r\n"
            "    INDEX 01 00:00:00\r\nFILE \"Game (USA) (Track 2).bin\" BINARY\r\n"
            "  TRACK 02 AUDIO\r\n    INDEX 00 00:00:00\r\n    INDEX 01 00:02:00\r\n"
            "FILE \"Game (USA) (Track 3).bin\" BINARY\r\n  TRACK 03 AUDIO\r\n"
            "    INDEX 00 00:00:00\r\n    INDEX 01 00:01:00\r\n");
  EXPECT_EQ(last, 875u);
  EXPECT_EQ(total, 875u);
  EXPECT_GT(reports, 3);

  // The set is there now: a second rip refuses to replace it, and leaves it as it was.
  EXPECT_EQ(rip::RipToBinCue(request, {}),
            Outcome::Failed("\"" + (dir / "out/Game (USA) (Track 1).bin") + "\" already exists."));
  EXPECT_TRUE(test::ReadFileBytes(dir / "out/Game (USA) (Track 3).bin") == Slice(disc, 670, 875));
  request.overwrite = true;
  EXPECT_EQ(rip::RipToBinCue(request, {}), Outcome::Success());
}

TEST(Rip, CancelAndFailureLeaveNothingBehind) {
  test::TempDir dir;
  std::string cue;
  WriteDriveImage(dir, &cue);
  CancelToken cancel;
  DiscJobHooks hooks;
  hooks.cancel = &cancel;
  // Cancelled in the middle of the second track.
  hooks.progress = [&](uint64_t done, uint64_t) {
    if (done > 400) cancel.Request();
  };
  EXPECT_EQ(rip::RipToBinCue({cue, dir / "out", "Game"}, hooks), Outcome::Cancelled());
  EXPECT_TRUE(FolderEntries(dir / "out").empty());

  EXPECT_EQ(rip::RipToBinCue({dir / "missing.cue", dir / "out2", "Game"}, {}),
            Outcome::Failed("No disc could be read in \"" + (dir / "missing.cue") + "\"."));
  EXPECT_FALSE(std::filesystem::exists(dir / "out2"));

  // The image shrinks under the sheet: reading the last track fails part way.
  std::filesystem::resize_file(dir / "drive.bin", 700 * 2352);
  const Outcome ripped = rip::RipToBinCue({cue, dir / "out3", "Game"}, {});
  EXPECT_TRUE(ripped.failed());
  const std::string message = ripped.text();
  EXPECT_TRUE(!std::filesystem::exists(dir / "out3") || FolderEntries(dir / "out3").empty())
      << message;
}

}  // namespace
}  // namespace ebf
