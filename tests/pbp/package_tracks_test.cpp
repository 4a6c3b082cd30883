#include "pbp/package_tracks.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/pbp_writer.h"

namespace ebf::pbp {
namespace {

DiscImageLayout Layout(const test::TestTocArea& toc, std::size_t blocks) {
  DiscImageLayout l;
  std::copy(toc.begin(), toc.end(), l.toc.begin());
  l.blocks.resize(blocks);
  return l;
}

TEST(PackageTracks, TracksRunFromTheirStartToTheNext) {
  // Data at 0, audio at 300 and 675 of 1,125 sectors; 71 blocks plus the padding block.
  PackageDisc disc;
  ASSERT_EQ(
      ReadPackageDisc(Layout(test::MakeToc({{0x41, 0}, {0x01, 300}, {0x01, 675}}, 1125), 72), disc),
      "");
  EXPECT_EQ(disc.sectors, 1125u);
  ASSERT_EQ(disc.tracks.size(), 3u);
  EXPECT_FALSE(disc.tracks[0].audio);
  EXPECT_TRUE(disc.tracks[2].audio);
  EXPECT_EQ(disc.tracks[1].number, 2);
  EXPECT_EQ(disc.tracks[0].length, 300u);
  EXPECT_EQ(disc.tracks[1].start, 300u);
  EXPECT_EQ(disc.tracks[1].length, 375u);
  EXPECT_EQ(disc.tracks[2].length, 450u);

  // A lead-out beyond the blocks (or before the last track) gives way to the blocks' end.
  ASSERT_EQ(ReadPackageDisc(Layout(test::MakeToc({{0x41, 0}, {0x01, 300}}, 5000), 40), disc), "");
  EXPECT_EQ(disc.sectors, 640u);
  EXPECT_EQ(disc.tracks[1].length, 340u);

  // Tables that cannot be used say why.
  EXPECT_EQ(ReadPackageDisc(Layout(test::MakeToc({{0x41, 0}, {0x01, 700}}, 1125), 40), disc),
            "The package's table of contents puts track 2 outside the disc image (640 sectors).");
  EXPECT_EQ(
      ReadPackageDisc(Layout(test::MakeToc({{0x41, 0}, {0x01, 300}, {0x01, 200}}, 600), 40), disc),
      "The package's table of contents puts track 3 before the end of track 2.");
  test::TestTocArea bad = test::MakeToc({{0x41, 0}}, 600);
  bad[3 * 10 + 8] = 0x0A;  // track 1's seconds are not BCD
  EXPECT_EQ(ReadPackageDisc(Layout(bad, 40), disc),
            "The package's table of contents puts track 1 outside the disc image (640 sectors).");
}

TEST(PackageTracks, NamesAndSheets) {
  EXPECT_EQ(SplitTrackNames("Solo", 1), std::vector<std::string>{"Solo.bin"});
  EXPECT_EQ(SplitTrackNames("G", 2),
            (std::vector<std::string>{"G (Track 1).bin", "G (Track 2).bin"}));
  const auto twelve = SplitTrackNames("G", 12);
  EXPECT_EQ(twelve[0], "G (Track 01).bin");
  EXPECT_EQ(twelve[11], "G (Track 12).bin");

  std::vector<SheetTrack> tracks = {{{1, false, 0, 300}, 1, false},
                                    {{2, true, 300, 375}, 2, true},
                                    {{3, true, 675, 4500}, 2, false}};
  EXPECT_EQ(SplitSheet(tracks, {"a.bin", "b.bin", "c.bin"}),
            "FILE \"a.bin\" BINARY\r\n  TRACK 01 MODE1/2352\r\n    INDEX 01 00:00:00\r\n"
            "FILE \"b.bin\" BINARY\r\n  TRACK 02 AUDIO\r\n    INDEX 00 00:00:00\r\n"
            "    INDEX 01 00:02:00\r\n"
            "FILE \"c.bin\" BINARY\r\n  TRACK 03 AUDIO\r\n    INDEX 01 00:00:00\r\n");
  EXPECT_EQ(OneFileSheet(tracks, "one.bin"),
            "FILE \"one.bin\" BINARY\r\n  TRACK 01 MODE1/2352\r\n    INDEX 01 00:00:00\r\n"
            "  TRACK 02 AUDIO\r\n    INDEX 00 00:04:00\r\n    INDEX 01 00:06:00\r\n"
            "  TRACK 03 AUDIO\r\n    INDEX 01 00:09:00\r\n");
}

}  // namespace
}  // namespace ebf::pbp
