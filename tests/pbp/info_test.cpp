#include "pbp/info.h"

#include <gtest/gtest.h>

#include "common/bytes.h"
#include "pbp/extract.h"
#include "pbp/inspect.h"
#include "support/pbp_writer.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::pbp {
namespace {

using test::NoiseBytes;
using test::PackageRecipe;
using test::TempDir;

TEST(ReadEbootInfo, DescribesSectionsBlocksAndTracks) {
  TempDir dir;
  PackageRecipe recipe;
  recipe.title = "Info Game";
  recipe.discId = "SLPS01111";
  recipe.saveName = "Info Save";
  recipe.icon0 = NoiseBytes(321, 1);
  recipe.dataPsp = NoiseBytes(77, 2);
  Bytes image(kBlockSize * 5, 0x11);
  Bytes noise = NoiseBytes(kBlockSize, 3);
  std::copy(noise.begin(), noise.end(), image.begin() + 2 * kBlockSize);  // stays stored
  recipe.image = image;
  recipe.holeBeforeBlock = {2};
  // A data track and two audio tracks, the last at 01:02:03 absolute.
  recipe.toc = test::MakeToc({{0x41, 0}, {0x01, 40}, {0x01, 4653 - 150}}, 80);
  test::PbpWritten w = test::WritePbp(dir / "EBOOT.PBP", recipe);

  EbootInfo info;
  ASSERT_EQ(ReadEbootInfo(dir / "EBOOT.PBP", info), "");
  EXPECT_EQ(info.title, "Info Game");
  EXPECT_EQ(info.gameId, "SLPS01111");
  EXPECT_EQ(info.saveName, "Info Save");
  EXPECT_EQ(info.fileSize, w.fileSize);
  for (int i = 0; i < kSectionCount; ++i) EXPECT_EQ(info.header.offsets[i], w.offsets[i]);
  EXPECT_EQ(info.sectionSizes[kParamSfo], 944u);
  EXPECT_EQ(info.sectionSizes[kIcon0], 321u);
  EXPECT_EQ(info.sectionSizes[kIcon1], 0u);
  EXPECT_EQ(info.sectionSizes[kDataPsp], 77u);
  EXPECT_EQ(info.sectionSizes[kDataPsar], w.fileSize - w.psar);
  EXPECT_EQ(info.blocks, 5u);
  EXPECT_EQ(info.compressedBlocks, 4u);
  EXPECT_EQ(info.bootPngSize, recipe.bootPng.size());
  std::vector<std::string> tracks;  // number, data or audio, start
  for (const TrackInfo& t : info.tracks)
    tracks.push_back(std::to_string(t.number) + (t.data ? " data " : " audio ") +
                     FormatMsf(t.minute, t.second, t.frame));
  EXPECT_EQ(tracks,
            (std::vector<std::string>{"1 data 00:02:00", "2 audio 00:02:40", "3 audio 01:02:03"}));

  EXPECT_EQ(ReadEbootInfo(dir / "none.pbp", info), kNoSuchFile);
  test::WriteFileBytes(dir / "small.pbp", Bytes(20495, 0));
  EXPECT_EQ(ReadEbootInfo(dir / "small.pbp", info), kEbootTooSmall);
  test::WriteFileBytes(dir / "zero.pbp", Bytes(20496, 0));
  EXPECT_EQ(ReadEbootInfo(dir / "zero.pbp", info), kEbootNotValid);
}

TEST(ReadEbootInfo, OpensWhatTheInspectionOpensAndRefusesInItsWords) {
  TempDir dir;
  PackageRecipe recipe;
  recipe.title = "Cut Game";
  recipe.image = Bytes(kBlockSize * 3, 0x5A);
  test::PbpWritten w = test::WritePbp(dir / "full.pbp", recipe);
  const Bytes full = test::ReadFileBytes(dir / "full.pbp");
  // Cut after the disc-image header, the start-data block moved up behind it.
  Bytes cut(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(w.psar + 0x6000));
  cut.insert(cut.end(), full.begin() + static_cast<std::ptrdiff_t>(w.startData), full.end());
  StoreLe32(&cut[w.psar + 12], 0x6000);
  test::WriteFileBytes(dir / "cut.pbp", cut);
  test::RunRecorder host;
  ASSERT_EQ(InspectEboot(dir / "cut.pbp", dir.MakeDir("t") + "/", host).message, "");

  EbootInfo info;
  ASSERT_EQ(ReadEbootInfo(dir / "cut.pbp", info), "");
  EXPECT_EQ(info.title, "Cut Game");
  EXPECT_EQ(info.bootPngSize, recipe.bootPng.size());
  EXPECT_EQ(info.startData, w.psar + 0x6000);
  EXPECT_EQ(info.blocks, 0u);
  EXPECT_TRUE(info.tracks.empty());
  EXPECT_EQ(info.discImageProblem, "The EBOOT \"" + (dir / "cut.pbp") +
                                       "\" is cut short: its disc image index ends at byte " +
                                       std::to_string(w.psar + 0x100000) +
                                       ", beyond the end of the file (" +
                                       std::to_string(cut.size()) + " bytes).");

  // A section offset past the end: refused by both, in the same words.
  Bytes bad = full;
  StoreLe32(&bad[8 + 4 * 3], 0x7FFFFFF0);  // PIC0
  test::WriteFileBytes(dir / "bad.pbp", bad);
  const std::string refusal = "The EBOOT \"" + (dir / "bad.pbp") +
                              "\" is damaged: the offset of PIC0.PNG (2147483632) lies beyond the "
                              "end of the file (" +
                              std::to_string(bad.size()) + " bytes).";
  EXPECT_EQ(ReadEbootInfo(dir / "bad.pbp", info), refusal);
  EXPECT_EQ(InspectEboot(dir / "bad.pbp", dir / "t/", host).message, refusal);
  // A whole package reads its disc image with no problem noted.
  ASSERT_EQ(ReadEbootInfo(dir / "full.pbp", info), "");
  EXPECT_EQ(info.discImageProblem, "");
  EXPECT_EQ(info.blocks, 3u);
}

}  // namespace
}  // namespace ebf::pbp
