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
  // Each game: its name, then each track's size, CRC and MD5. The game of a sheet alone is no
  // game of tracks, and a sheet is left out.
  std::string read;
  for (const DatGame& g : games) {
    read += (read.empty() ? "" : " | ") + g.name + ":";
    for (const auto& t : g.tracks)
      read += " " + (t.size ? std::to_string(*t.size) : "-") + " " + t.crc + " " + t.md5;
  }
  EXPECT_EQ(read, "A (USA): 2352 abcdef01 aa 4704 00000002  | B (Europe): 2352 abcdef01 ");

  // The game found, whether it matches, and the tracks that differ.
  auto look = [&](const std::vector<TrackFigures>& tracks) {
    const DatLookup found = LookUpTracks(games, tracks);
    std::string text = found.game ? found.game->name : "none";
    if (found.matched) text += " matches";
    for (int t : found.differing) text += " " + std::to_string(t);
    return text;
  };
  const TrackFigures t1{2352, "abcdef01", "aa", "ff"}, t2{4704, "00000002", "bb", "ee"};
  EXPECT_EQ(look({t1, t2}), "A (USA) matches");
  // One track alone is B, whose rom gives no MD5 to compare.
  EXPECT_EQ(look({t1}), "B (Europe) matches");
  // A second track of another size: A is closest, its track 2 differs.
  EXPECT_EQ(look({t1, {4705, "00000002", "bb", "ee"}}), "A (USA) 2");
  EXPECT_EQ(look({{1, "00000000", "", ""}}), "none");  // nothing in common

  WriteFileText(dir / "broken.dat", "<datafile><game name=\"x\">");
  EXPECT_NE(ReadDatFile(dir / "broken.dat", games).find("could not be read"), std::string::npos);
  WriteFileText(dir / "other.xml", "<list/>");
  EXPECT_EQ(
      ReadDatFile(dir / "other.xml", games),
      "The DAT file \"" + (dir / "other.xml") + "\" is not an XML DAT (no <datafile> element).");
}

}  // namespace
}  // namespace ebf
