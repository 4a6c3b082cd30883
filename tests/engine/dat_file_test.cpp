#include "engine/dat_file.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace ebf {
namespace {

using namespace test;

TEST(DatFile, ReadsGamesAndLooksTracksUp) {
  TempDir dir;
  WriteFileText(
      dir / "set.dat",
      "<?xml version=\"1.0\"?>\n<!DOCTYPE datafile>\n<datafile>\n <header><name>Sony - "
      "PlayStation</name></header>\n <game name=\"A (USA)\">\n  <rom name=\"A (USA).cue\" "
      "size=\"99\" crc=\"11111111\"/>\n  <rom name=\"A (USA) (Track 1).bin\" size=\"2352\" "
      "crc=\"ABCDEF01\" md5=\"AA\"/>\n  <rom name=\"A (USA) (Track 2).bin\" size=\"4704\" "
      "crc=\"00000002\"/>\n </game>\n <machine name=\"B (Europe)\">\n  <rom name=\"B "
      "(Europe).bin\" size=\"2352\" crc=\"abcdef01\"/>\n </machine>\n <game name=\"Empty\">"
      "<rom name=\"Empty.cue\" size=\"1\"/></game>\n</datafile>\n");
  std::vector<DatGame> games;
  ASSERT_EQ(ReadDatFile(dir / "set.dat", games), "");
  ASSERT_EQ(games.size(), 2u);  // the game of a sheet alone is no game of tracks
  EXPECT_EQ(games[0].name, "A (USA)");
  ASSERT_EQ(games[0].tracks.size(), 2u);  // the sheet is left out
  EXPECT_EQ(games[0].tracks[0].crc, "abcdef01");
  EXPECT_EQ(games[0].tracks[0].md5, "aa");
  EXPECT_EQ(*games[0].tracks[1].size, 4704u);
  EXPECT_EQ(games[1].name, "B (Europe)");

  const TrackFigures t1{2352, "abcdef01", "aa", "ff"}, t2{4704, "00000002", "bb", "ee"};
  DatLookup found = LookUpTracks(games, {t1, t2});
  ASSERT_NE(found.game, nullptr);
  EXPECT_TRUE(found.matched);
  EXPECT_EQ(found.game->name, "A (USA)");
  // One track alone is B, whose rom gives no MD5 to compare.
  found = LookUpTracks(games, {t1});
  EXPECT_TRUE(found.matched);
  EXPECT_EQ(found.game->name, "B (Europe)");
  // A second track of another size: A is closest, its track 2 differs.
  found = LookUpTracks(games, {t1, TrackFigures{4705, "00000002", "bb", "ee"}});
  EXPECT_FALSE(found.matched);
  EXPECT_EQ(found.game->name, "A (USA)");
  EXPECT_EQ(found.differing, std::vector<int>{2});
  // Nothing in common.
  found = LookUpTracks(games, {TrackFigures{1, "00000000", "", ""}});
  EXPECT_EQ(found.game, nullptr);

  WriteFileText(dir / "broken.dat", "<datafile><game name=\"x\">");
  EXPECT_NE(ReadDatFile(dir / "broken.dat", games).find("could not be read"), std::string::npos);
  WriteFileText(dir / "other.xml", "<list/>");
  EXPECT_EQ(
      ReadDatFile(dir / "other.xml", games),
      "The DAT file \"" + (dir / "other.xml") + "\" is not an XML DAT (no <datafile> element).");
}

}  // namespace
}  // namespace ebf
