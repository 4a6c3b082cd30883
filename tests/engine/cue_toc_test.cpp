#include <gtest/gtest.h>

#include "common/files.h"
#include "engine/cue_toc.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using namespace test;

TEST(CueToc, PrepareFindsTheImageAndWritesIsoTocOfEachSheet) {
  TempDir dir;
  dir.MakeDir("out");
  const std::string out = WithTrailingSep(dir / "out");
  WriteFileBytes(dir / "Game (Track 1).bin", Bytes(2352 * 75, 0));
  WriteFileText(dir / "game.cue",
                "FILE \"Game (Track 1).bin\" BINARY\n TRACK 01 MODE2/2352\n INDEX 01 00:00:00\n");
  CuePreparation p = PrepareCue(dir / "game.cue", out);
  EXPECT_EQ(p.result, "");
  EXPECT_EQ(p.imagePath, dir / "Game (Track 1).bin");  // found case-blind
  // One data track; 75 sectors give the lead-out 00:01:00.
  EXPECT_EQ(ReadFileBytes(out + "ISO.TOC"),
            Bytes({0x41, 0, 0xA0, 0, 0,    0, 0, 0x01, 0x20, 0,     //
                   0x41, 0, 0xA1, 0, 0,    0, 0, 0x01, 0,    0,     //
                   0x01, 0, 0xA2, 0, 0,    0, 0, 0x00, 0x01, 0x00,  //
                   0x41, 0, 0x01, 0, 0x02, 0, 0, 0,    0x02, 0}));

  // A sheet naming a missing .IMG falls back to the .bin beside it.
  WriteFileBytes(dir / "Other.bin", Bytes(2352, 0));
  WriteFileText(dir / "other.cue", "FILE \"OTHER.IMG\" BINARY\nTRACK 01 MODE1/2352\n");
  EXPECT_EQ(PrepareCue(dir / "other.cue", out).imagePath, dir / "Other.bin");

  // Absolute names are used as they stand.
  WriteFileText(dir / "abs.cue", "FILE \"" + (dir / "Other.bin") + "\" BINARY\n");
  EXPECT_EQ(PrepareCue(dir / "abs.cue", out).imagePath, dir / "Other.bin");

  // Nothing to find.
  WriteFileText(dir / "gone.cue", "FILE \"GONE.BIN\" BINARY\nTRACK 01 MODE1/2352\n");
  WriteFileText(dir / "nofile.cue", "TRACK 01 MODE1/2352\n");
  for (const char* cue : {"gone.cue", "nofile.cue", "missing.cue"})
    EXPECT_EQ(PrepareCue(dir / cue, out).result, "The BIN file could not be found!!!") << cue;

  // Sheets, and the TOC each gives.
  // A sheet, the sectors of its image, and the TOC it gives.
  const std::tuple<std::string, uint64_t, Bytes> sheets[] = {
      // An audio disc of one track, lower case, tabs, INDEX 00 first; 74 minutes of image.
      {"file \"audio.bin\" binary\n\ttrack 01 audio\n\tindex 00 00:00:00\n\tindex 01 00:02:00\n",
       333000,
       {0x01, 0, 0xA0, 0, 0,    0, 0, 0x01, 0x20, 0,     //
        0x01, 0, 0xA1, 0, 0,    0, 0, 0x01, 0,    0,     //
        0x01, 0, 0xA2, 0, 0,    0, 0, 0x74, 0x00, 0x00,  //
        0x01, 0, 0x01, 0, 0x02, 0, 0, 0,    0x02, 0}},
      // A data track whose INDEX time is not a time counts from 00:00:00; 5 sectors.
      {"FILE \"GAME.BIN\" BINARY\r\nTRACK 01 MODE1/2352\r\nINDEX 01 xx\r\n",
       5,
       {0x41, 0, 0xA0, 0, 0,    0, 0, 0x01, 0x20, 0,     //
        0x41, 0, 0xA1, 0, 0,    0, 0, 0x01, 0,    0,     //
        0x01, 0, 0xA2, 0, 0,    0, 0, 0x00, 0x00, 0x05,  //
        0x41, 0, 0x01, 0, 0x02, 0, 0, 0,    0x02, 0}},
      // A data track and two audio tracks in one file; 22:13:25 of image.
      {"FILE \"GAME.BIN\" BINARY\n TRACK 01 MODE2/2352\n  INDEX 01 00:00:00\n"
       " TRACK 02 AUDIO\n  INDEX 01 03:20:10\n TRACK 03 AUDIO\n  INDEX 01 09:58:74\n",
       100000,
       {0x41, 0, 0xA0, 0,    0,    0,    0, 0x01, 0x20, 0,     //
        0x01, 0, 0xA1, 0,    0,    0,    0, 0x03, 0,    0,     //
        0x01, 0, 0xA2, 0,    0,    0,    0, 0x22, 0x13, 0x25,  //
        0x41, 0, 0x01, 0,    0x02, 0,    0, 0,    0x02, 0,     //
        0x01, 0, 0x02, 0x03, 0x22, 0x10, 0, 0x03, 0x22, 0x10,  //
        0x01, 0, 0x03, 0x10, 0x00, 0x74, 0, 0x10, 0x00, 0x74}},
      // Several files, blank lines, lower case and remarks; INDEX 00 comes first: its time
      // counts. 10:59:74 + 00:02:00 carries the frame at 75; 20:58:70 + 2 s the minute.
      {"FILE \"Game (Track 1).bin\" BINARY\r\n  TRACK 01 MODE2/2352\r\n    INDEX 01 00:00:00\r\n"
       "\r\n  track 02 audio\r\n    INDEX 00 10:59:74\r\n    INDEX 01 11:01:00\r\n"
       "  TRACK 03 AUDIO\r\n    REM anything\r\n    INDEX 01 20:58:70\r\n",
       100000,
       {0x41, 0, 0xA0, 0,    0,    0,    0, 0x01, 0x20, 0,     //
        0x01, 0, 0xA1, 0,    0,    0,    0, 0x03, 0,    0,     //
        0x01, 0, 0xA2, 0,    0,    0,    0, 0x22, 0x13, 0x25,  //
        0x41, 0, 0x01, 0x00, 0x02, 0x00, 0, 0x00, 0x02, 0x00,  //
        0x01, 0, 0x02, 0x11, 0x01, 0x74, 0, 0x11, 0x01, 0x74,  //
        0x01, 0, 0x03, 0x21, 0x00, 0x70, 0, 0x21, 0x00, 0x70}},
  };
  for (const auto& [text, sectors, toc] : sheets)
    EXPECT_EQ(BuildCueToc(text, sectors * 2352).toc, toc) << text;
  const CueToc last = BuildCueToc(std::get<0>(sheets[3]), 100000 * 2352);
  EXPECT_EQ(last.imageName, "GAME (TRACK 1).BIN");
  EXPECT_EQ(last.lastTrack, 3);

  // Junk never breaks it.
  // No usable track: three empty lead entries.
  const Bytes empty(30, 0);
  for (std::string junk : {std::string("TRACK"), std::string("TRACK 999 AUDIO\nINDEX 01 xx"),
                           std::string("INDEX 01 00:00:00"), std::string("FILE \"unbalanced"),
                           std::string("\0\xff\x01 TRACK 02", 12), std::string(5000, '"')}) {
    CueToc t = BuildCueToc(junk, 12345);
    EXPECT_EQ(t.lastTrack, 0) << junk;
    EXPECT_EQ(t.toc, empty) << junk;
  }
}

}  // namespace
}  // namespace ebf
