#include "pbp/info.h"

#include <gtest/gtest.h>

#include "pbp/extract.h"
#include "pbp/inspect.h"
#include "support/pbp_writer.h"
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
  ASSERT_EQ(info.tracks.size(), 3u);
  EXPECT_EQ(info.tracks[0].number, 1);
  EXPECT_TRUE(info.tracks[0].data);
  EXPECT_EQ(FormatMsf(info.tracks[0].minute, info.tracks[0].second, info.tracks[0].frame),
            "00:02:00");
  EXPECT_EQ(info.tracks[1].number, 2);
  EXPECT_FALSE(info.tracks[1].data);
  EXPECT_EQ(FormatMsf(info.tracks[2].minute, info.tracks[2].second, info.tracks[2].frame),
            "01:02:03");

  EXPECT_EQ(ReadEbootInfo(dir / "none.pbp", info), kNoSuchFile);
  test::WriteFileBytes(dir / "small.pbp", Bytes(20495, 0));
  EXPECT_EQ(ReadEbootInfo(dir / "small.pbp", info), kEbootTooSmall);
  test::WriteFileBytes(dir / "zero.pbp", Bytes(20496, 0));
  EXPECT_EQ(ReadEbootInfo(dir / "zero.pbp", info), kEbootNotValid);
}

}  // namespace
}  // namespace ebf::pbp
