// The full reading of CUE sheets: what a sheet of several files says, and every way a sheet
// can be refused before any file is looked at.
#include <gtest/gtest.h>

#include "disc/cue_sheet.h"
#include "support/disc_sets.h"

namespace ebf {
namespace {

// A read sheet, one line a FILE ("name TYPE") and a TRACK ("number MODE pregap postgap",
// then "INDEX@file:frames" for each index).
std::vector<std::string> Lines(const CueSheet& sheet) {
  std::vector<std::string> lines;
  for (const CueFile& f : sheet.files) lines.push_back(f.name + " " + f.type);
  for (const CueTrack& t : sheet.tracks) {
    std::string line = std::to_string(t.number) + " " + t.mode + " " + std::to_string(t.pregap) +
                       " " + std::to_string(t.postgap);
    for (const CueIndex& i : t.indexes)
      line += " " + std::to_string(i.number) + "@" + std::to_string(i.file) + ":" +
              std::to_string(i.frames);
    lines.push_back(line);
  }
  return lines;
}

TEST(CueParse, ReadsASetsSheetAndTheGapsAndNamesOfOthers) {
  CueParse p = ParseCueSheet(test::RedumpSheet({"a (Track 1).bin", "b.bin", "c.bin"}), "s.cue");
  ASSERT_EQ(p.error, "");
  EXPECT_EQ(Lines(p.sheet),
            (std::vector<std::string>{"a (Track 1).bin BINARY", "b.bin BINARY", "c.bin BINARY",
                                      "1 MODE2/2352 0 0 1@0:0", "2 AUDIO 0 0 0@1:0 1@1:150",
                                      "3 AUDIO 0 0 0@2:0 1@2:150"}));

  // Unquoted names, no type, the other commands, a byte order mark, tabs, a track whose
  // INDEX 01 lies in the next file, minutes past 99.
  p = ParseCueSheet(
      "\xEF\xBB\xBFREM GENRE Game\nCATALOG 0000000000000\nPERFORMER \"Someone\"\n"
      "FILE one.bin\n\tTRACK 1 MODE1/2352\n\tFLAGS DCP\n\tINDEX 1 00:00:00\n"
      "  TRACK 02 AUDIO\n  TITLE \"Song\"\n  PREGAP 00:02:00\n  INDEX 00 01:00:00\n"
      "FILE \"two.bin\" MOTOROLA\n  INDEX 01 00:00:10\n  POSTGAP 00:00:74\n"
      "  TRACK 03 AUDIO\n  INDEX 01 100:59:74\n",
      "t.cue");
  ASSERT_EQ(p.error, "");
  EXPECT_EQ(Lines(p.sheet), (std::vector<std::string>{
                                "one.bin BINARY", "two.bin MOTOROLA", "1 MODE1/2352 0 0 1@0:0",
                                "2 AUDIO 150 74 0@0:4500 1@1:10", "3 AUDIO 0 0 1@1:454499"}));
}

TEST(CueParse, RefusesSheetsWhoseTracksCannotBePlaced) {
  const std::string head = "FILE \"a.bin\" BINARY\nTRACK 01 MODE2/2352\nINDEX 01 00:00:00\n";
  struct Case {
    std::string sheet, message;
  };
  std::string hundred = "FILE \"a.bin\" BINARY\n";
  for (int t = 1; t <= 100; ++t)
    hundred += "TRACK " + std::to_string(t) + " AUDIO\nINDEX 01 " + (t < 10 ? "0" : "") +
               std::to_string(t) + ":00:00\n";
  const Case cases[] = {
      {head + "\x01\x02garbage here\n", "s.cue, line 4: \"\x01\x02garbage here\" is not a CUE"},
      {head + "TRACK\n", "line 4: \"TRACK\" is not a CUE sheet command."},
      {"TRACK 01 AUDIO\n", "line 1: TRACK comes before any FILE line."},
      {"INDEX 01 00:00:00\n", "line 1: INDEX comes before any TRACK line."},
      {hundred, "line 200: track 100: a disc holds at most 99 tracks."},
      {head + "TRACK 03 AUDIO\nINDEX 01 00:10:00\n", "TRACK 03 should be track 02"},
      {head + "TRACK 02\n", "line 4: track 02 has no mode."},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:00\nINDEX 00 00:12:00\n",
       "line 6: INDEX 00 of track 02 comes after INDEX 01; INDEX numbers must rise."},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:00\nTRACK 03 AUDIO\nINDEX 01 00:09:74\n",
       "line 7: INDEX 01 of track 03 (00:09:74) does not come after INDEX 01 of track 02 "
       "(00:10:00) in the same file; INDEX times must rise."},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:00:00\n", "does not come after"},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:60:00\n", "is not an index: INDEX nn mm:ss:ff"},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:75\n", "is not an index"},
      {head + "TRACK 02 AUDIO\nINDEX 01 0010:00\n", "is not an index"},
      {head + "TRACK 02 AUDIO\nINDEX 00 00:10:00\nTRACK 03 AUDIO\nINDEX 01 00:20:00\n",
       "line 6: track 02 has no INDEX 01."},
      {head + "TRACK 02 AUDIO\nINDEX 00 00:10:00\n", "s.cue: track 02 has no INDEX 01."},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:00\nPREGAP 00:02:00\n",
       "line 6: PREGAP of track 02 comes after its INDEX lines."},
      {head + "TRACK 02 AUDIO\nPOSTGAP 00:02:00\n",
       "line 5: POSTGAP of track 02 comes before its INDEX lines."},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:00\nPOSTGAP 00:02:00\nINDEX 02 00:11:00\n",
       "line 7: INDEX 02 of track 02 comes after its POSTGAP."},
      {head + "PREGAP 2 seconds\n", "is not a gap: PREGAP mm:ss:ff"},
      {"FILE \"unclosed BINARY\n", "the FILE line's name has no closing quote."},
      {"FILE \"\" BINARY\n", "the FILE line names no file."},
      {"REM nothing but a remark\n", "s.cue holds no tracks."},
      {"", "s.cue holds no tracks."},
  };
  for (const Case& c : cases) {
    CueParse p = ParseCueSheet(c.sheet, "s.cue");
    EXPECT_NE(p.error.find(c.message), std::string::npos) << c.sheet << "\n-> " << p.error;
    EXPECT_TRUE(p.sheet.tracks.empty() && p.sheet.files.empty()) << c.sheet;
  }
}

TEST(CueParse, OneFileReadingPassesOverOnlyWhatTheFirstReadingPassedOver) {
  // Lines that are no command, commands without anything for the disc, an INDEX before any
  // TRACK: passed over by the one-file reading, refused by the full one.
  const std::string noisy =
      "INDEX 01 00:10:00\nFILE \"a.bin\" BINARY\nTRACK 01 MODE2/2352\nripped with care\n"
      "FLAGS\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 00 00:10:00\nINDEX 01 00:12:00\n";
  CueParse p = ParseCueSheet(noisy, "s.cue", CueReading::OneFile);
  ASSERT_EQ(p.error, "");
  EXPECT_EQ(Lines(p.sheet), (std::vector<std::string>{"a.bin BINARY", "1 MODE2/2352 0 0 1@0:0",
                                                      "2 AUDIO 0 0 0@0:750 1@0:900"}));
  EXPECT_EQ(ParseCueSheet(noisy, "s.cue").error,
            "s.cue, line 1: INDEX comes before any TRACK line.");

  // What places the tracks is held to the same rules.
  const std::string head = "FILE \"a.bin\" BINARY\nTRACK 01 MODE2/2352\nINDEX 01 00:00:00\n";
  const std::pair<std::string, std::string> refused[] = {
      {head + "junk\nTRACK 03 AUDIO\nINDEX 01 00:10:00\n",
       "s.cue, line 5: TRACK 03 should be track 02; tracks are numbered 1, 2, 3 ... in order."},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:00\nINDEX 00 00:12:00\n",
       "s.cue, line 6: INDEX 00 of track 02 comes after INDEX 01; INDEX numbers must rise."},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:00:00\n",
       "s.cue, line 5: INDEX 01 of track 02 (00:00:00) does not come after INDEX 01 of track 01 "
       "(00:00:00) in the same file; INDEX times must rise."},
      {head + "TRACK 02 AUDIO\nINDEX 00 00:10:00\n", "s.cue: track 02 has no INDEX 01."},
      {head + "TRACK 100 AUDIO\n", "s.cue, line 4: track 100: a disc holds at most 99 tracks."},
      {"FILE \"a.bin\" BINARY\n", "s.cue holds no tracks."},
  };
  for (const auto& [sheet, message] : refused)
    EXPECT_EQ(ParseCueSheet(sheet, "s.cue", CueReading::OneFile).error, message) << sheet;
}

TEST(CueParse, OneFileSheetsAreTheOnesWithoutASecondFileOrGaps) {
  EXPECT_TRUE(
      IsOneFileCueSheet("FILE \"a.bin\" BINARY\nTRACK 01 MODE2/2352\nINDEX 01 00:00:00\n"
                        "TRACK 02 AUDIO\nINDEX 00 01:00:00\nINDEX 01 01:02:00\n"));
  EXPECT_TRUE(IsOneFileCueSheet("TRACK 01 MODE1/2048\n"));
  EXPECT_TRUE(IsOneFileCueSheet("garbage\nfile \"x\"\n"));
  EXPECT_FALSE(IsOneFileCueSheet(test::RedumpSheet({"a", "b", "c"})));
  EXPECT_FALSE(IsOneFileCueSheet("FILE \"a.bin\" BINARY\nTRACK 01 AUDIO\n  pregap 00:02:00\n"));
  EXPECT_FALSE(IsOneFileCueSheet("FILE \"a.bin\" BINARY\nTRACK 01 AUDIO\nPOSTGAP 00:02:00\n"));
}

}  // namespace
}  // namespace ebf
