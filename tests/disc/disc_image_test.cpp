// The disc model: each layout opened through the one factory gives the track list its sheet
// describes and reads back, sector for sector, the disc its files stand for.
#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "common/files.h"
#include "common/text.h"
#include "disc/ccd_sheet.h"
#include "disc/cue_sheet.h"
#include "disc/disc_image.h"
#include "disc/game_id.h"
#include "disc/mds_sheet.h"
#include "support/disc_builder.h"
#include "support/disc_sets.h"
#include "support/temp_dir.h"
#include "track_rows.h"

namespace ebf {
namespace {

using test::TempDir;

using test::ReadAll;

// The Redump set, the one-file sheet, the CloneCD set and the Alcohol sets (sectors of 2,352
// or 2,448 bytes, offsets at INDEX 01 or at the pregap) are one disc: the tracks start at
// the first INDEX of their file or CCD track section, or at the MDS pregap before INDEX 01.
TEST(DiscImage, EveryLayoutGivesTheTracksAndSectorsOfItsDisc) {
  TempDir dir;
  // `file` holds the sectors of every track ("#" for the track's number).
  const struct Layout {
    test::DiscSet set;
    DiscAssembly assembly;
    std::string sheet, wholeFile, file;
  } layouts[] = {
      // clang-format off
      {test::WriteRedumpSet(dir.MakeDir("redump")), DiscAssembly::Joined, "Game (USA).cue", "", "Game (USA) (Track #).bin"},
      {test::WriteOneFileSheet(dir.MakeDir("one")), DiscAssembly::File, "One File.cue", "One File.bin", "One File.bin"},
      // GAME.CCD beside game.img, found case-blind.
      {test::WriteCloneCdSet(dir.MakeDir("ccd")), DiscAssembly::File, "GAME.CCD", "game.img", "game.img"},
      {test::WriteAlcoholSet(dir.MakeDir("mdf"), 2352, false), DiscAssembly::File, "Game.MDS", "game.mdf", "game.mdf"},
      {test::WriteAlcoholSet(dir.MakeDir("mdf-pregap"), 2352, true), DiscAssembly::File, "Game.MDS", "game.mdf", "game.mdf"},
      {test::WriteAlcoholSet(dir.MakeDir("sub"), 2448, false), DiscAssembly::StripSubchannel, "Game.MDS", "", "game.mdf"},
      {test::WriteAlcoholSet(dir.MakeDir("sub-pregap"), 2448, true), DiscAssembly::StripSubchannel, "Game.MDS", "", "game.mdf"},
      // clang-format on
  };
  for (const Layout& l : layouts) {
    SCOPED_TRACE(l.set.input);
    DiscOpenResult r = OpenDiscImage(l.set.input);
    ASSERT_TRUE(r.disc) << r.message;
    const DiscInfo& info = r.disc->info();
    EXPECT_EQ(std::make_tuple(info.sectorCount, info.assembly, FileNameOf(info.sheet),
                              FileNameOf(info.wholeFile)),
              std::make_tuple(1125u, l.assembly, l.sheet, l.wholeFile));
    EXPECT_EQ(test::TrackRows(info),
              (test::Rows{"1 MODE2/2352 0 0 300 0 0 " + ReplaceAll(l.file, "#", "1"),
                          "2 AUDIO 300 450 375 0 0 " + ReplaceAll(l.file, "#", "2"),
                          "3 AUDIO 675 825 450 0 0 " + ReplaceAll(l.file, "#", "3")}));
    EXPECT_TRUE(ReadAll(*r.disc) == l.set.disc);
    EXPECT_EQ(DetectGameId(*DiscBytes(*r.disc)), "SLUS01234");
    // Reads past the end are refused, an empty read is fine.
    Bytes one(2352), two(4704);
    EXPECT_NE(r.disc->Read(1125, 1, one), "");
    EXPECT_NE(r.disc->Read(1124, 2, two), "");
    EXPECT_EQ(r.disc->Read(1125, 0, one), "");
  }
  // Without its sheet an image is a plain image of one track.
  DeleteFileIfExists(dir / "sub/Game.MDS");
  DiscOpenResult r = OpenDiscImage(dir / "sub/game.mdf");
  ASSERT_TRUE(r.disc) << r.message;
  EXPECT_EQ(r.disc->info().sheet, "");
  EXPECT_EQ(test::TrackRows(r.disc->info()), test::Rows{"1 MODE2/2352 0 0 1125 0 0 game.mdf"});
}

TEST(DiscImage, GapsAreInsertedAsZeroSectors) {
  TempDir dir;
  const test::DiscSet set = test::WritePregapSheet(dir.path());
  DiscOpenResult r = OpenDiscImage(set.input);
  ASSERT_TRUE(r.disc) << r.message;
  EXPECT_EQ(std::tie(r.disc->info().sectorCount, r.disc->info().assembly),
            std::make_tuple(1200u, DiscAssembly::Joined));
  // Each track starts with the zeros its PREGAP inserts, after the POSTGAP before it.
  EXPECT_EQ(test::TrackRows(r.disc->info()),
            (test::Rows{"1 MODE2/2352 0 0 375 0 75 gap.bin", "2 AUDIO 375 525 375 150 0 gap.bin",
                        "3 AUDIO 750 900 450 150 0 gap.bin"}));
  EXPECT_TRUE(ReadAll(*r.disc) == set.disc);

  // A POSTGAP on the last track comes after all data; a PREGAP on track 1 inserts nothing,
  // since no image holds the two seconds before track 1.
  test::WriteFileText(dir / "end.cue",
                      "FILE \"gap.bin\" BINARY\nTRACK 01 MODE2/2352\nPREGAP 00:02:00\n"
                      "INDEX 01 00:00:00\nPOSTGAP 00:00:10\n");
  r = OpenDiscImage(dir / "end.cue");
  ASSERT_TRUE(r.disc) << r.message;
  EXPECT_EQ(r.disc->info().sectorCount, 835u);
  EXPECT_EQ(test::TrackRows(r.disc->info()), (test::Rows{"1 MODE2/2352 0 0 835 0 10 gap.bin"}));
  const Bytes all = ReadAll(*r.disc);
  EXPECT_TRUE(Bytes(all.begin() + 825 * 2352, all.end()) == Bytes(10 * 2352, 0));
}

TEST(DiscImage, AnIsoIsPaddedToRawSectorsButNotThroughASheet) {
  TempDir dir;
  // An ISO named by a one-file sheet of 2,048-byte sectors: the sheet's TOC would count
  // the ISO in 2,352-byte sectors, so the sheet is refused and the ISO itself is offered;
  // dropped on its own, the ISO is padded to raw sectors.
  const Bytes iso = test::BuildIsoSectors(test::GameDisc("SCES_003.44"));
  test::WriteFileBytes(dir / "iso.iso", iso);
  test::WriteFileText(dir / "iso.cue",
                      "FILE \"iso.iso\" BINARY\nTRACK 01 MODE1/2048\nINDEX 01 00:00:00\n");
  DiscOpenResult r = OpenDiscImage(dir / "iso.cue");
  EXPECT_FALSE(r.disc);
  EXPECT_EQ(r.message,
            "Track 01 of iso.cue is MODE1/2048, which cannot be converted: the converter takes "
            "2,352-byte sectors (AUDIO, MODE1/2352 or MODE2/2352). Choose iso.iso itself to "
            "convert it as an image of 2,048-byte sectors.");
  r = OpenDiscImage(dir / "iso.iso");
  ASSERT_TRUE(r.disc) << r.message;
  EXPECT_EQ(std::make_tuple(r.disc->info().assembly, std::size_t{r.disc->info().sectorCount}),
            std::make_tuple(DiscAssembly::IsoPadding, iso.size() / 2048));
  EXPECT_EQ(DetectGameId(*DiscBytes(*r.disc)), "SCES00344");
}

TEST(DiscImage, SheetsThatDoNotFitTheirFilesAreRefusedByName) {
  TempDir dir, c, a;
  test::WriteRedumpSet(dir.path());
  const std::vector<std::string> names = {"Game (USA) (Track 1).bin", "Game (USA) (Track 2).bin",
                                          "Game (USA) (Track 3).bin"};
  test::WriteFileBytes(dir / "odd.bin", Bytes(2352 * 10 + 1, 0));
  test::WriteFileBytes(dir / "empty.bin", {});
  const std::string sheet = test::RedumpSheet(names), cue = dir / "t.cue";
  auto cueWith = [&](const std::string& second) {
    return test::RedumpSheet({names[0], second, names[2]});
  };
  test::WriteCloneCdSet(c.path());
  const std::string ccd = test::ReadFileText(c / "GAME.CCD"), ccdPath = c / "GAME.CCD";
  test::WriteAlcoholSet(a.path(), 2352, false);
  const Bytes mds = test::ReadFileBytes(a / "Game.MDS");
  const std::string mdsPath = a / "Game.MDS";
  // The MDS with (byte, width, value) changed; track 2's block, track 3's 80 bytes on.
  const std::size_t t2 = 0x58 + 24 + 4 * 80;
  auto mdsWith = [&](std::vector<std::tuple<std::size_t, int, uint32_t>> changes) {
    Bytes b = mds;
    for (auto [at, width, value] : changes) {
      if (width == 4) StoreLe32(&b[at], value);
      if (width == 2) StoreLe16(&b[at], static_cast<uint16_t>(value));
      if (width == 1) b[at] = static_cast<uint8_t>(value);
    }
    return std::string(b.begin(), b.end());
  };
  // The sheet written, the file opened, a part of the message.
  // clang-format off
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {cue, cueWith("Missing (Track 2).bin"), "The BIN file could not be found!!!\r\n(Missing (Track 2).bin, named by t.cue)"},
      {cue, cueWith("odd.bin"), "odd.bin (23521 bytes) is not a whole number of 2,352-byte sectors"},
      {cue, cueWith("empty.bin"), "empty.bin, named by t.cue, is empty."},
      {cue, ReplaceAll(sheet, "MODE2/2352", "MODE1/2048"), "Track 01 of t.cue is MODE1/2048, which cannot be joined"},
      {cue, ReplaceAll(sheet, "TRACK 03 AUDIO", "TRACK 03 MODE2/2336"), "Track 03 of t.cue is MODE2/2336"},
      {cue, ReplaceAll(sheet, "Track 3).bin\" BINARY", "Track 3).bin\" WAVE"), "Game (USA) (Track 3).bin is a WAVE file in t.cue; only BINARY files"},
      {cue, ReplaceAll(sheet, "INDEX 01 00:02:00\r\nFILE", "INDEX 01 00:05:00\r\nFILE"), "INDEX 01 of track 02 (00:05:00) lies past the end of Game (USA) (Track 2).bin (00:05:00)."},
      {cue, sheet + "junk\r\n", "t.cue, line 12: \"junk\" is not a CUE sheet command."},
      {ccdPath, ReplaceAll(ccd, "PLBA=825", "PLBA=2000"), "Track 3 of GAME.CCD starts at sector 2000, beyond the end of game.img (1125 sectors)."},
      {ccdPath, ReplaceAll(ccd, "PLBA=825", "PLBA=400"), "The entry for track 3 in GAME.CCD starts at sector 400, not after the track before it."},
      {ccdPath, ReplaceAll(ccd, "Point=0x02", "Point=0x04"), "The entry for track 4 in GAME.CCD is out of order"},
      {ccdPath, ReplaceAll(ccd, "Sessions=1", "Sessions=2"), "GAME.CCD describes 2 sessions"},
      {ccdPath, ReplaceAll(ccd, "PLBA=450", "PLBA=4x"), "GAME.CCD, line 85: \"PLBA=4x\" does not hold a number."},
      {ccdPath, ReplaceAll(ccd, "PLBA=450\r\n", ""), " has no PLBA or Control."},
      {ccdPath, "[CloneCD]\r\nVersion=3\r\n", "GAME.CCD lists no tracks."},
      {mdsPath, mdsWith({{t2 + 16, 2, 2048}}), "Track 2 in Game.MDS has sectors of 2048 bytes; only 2,352 and 2,448 can be read."},
      {mdsPath, mdsWith({{t2 + 40, 4, 451 * 2352}}), "Track 2 in Game.MDS lies at byte 1060752 of the MDF, which does not follow"},
      {mdsPath, mdsWith({{t2 + 36, 4, 0}}), "Track 2 in Game.MDS starts at sector 0, not after the track before it."},
      {mdsPath, std::string(mds.begin(), mds.begin() + 100), "Game.MDS is cut short: its session blocks run past the end of the file."},
      // Track 3 without its extra block: its length is unknown.
      {mdsPath, mdsWith({{t2 + 92, 4, 0}, {t2 + 116, 4, 1200}, {t2 + 120, 4, 1200 * 2352}}), "game.mdf holds 1125 sectors, fewer than the 1201 that Game.MDS describes."},
      {mdsPath, mdsWith({{0x10, 1, 2}}), "Game.MDS is a version 2.3 descriptor; only version 1 can be read."},
      {mdsPath, mdsWith({{0x12, 2, 0x10}}), "Game.MDS describes a DVD, not a CD."},
  };
  // clang-format on
  for (const auto& [path, text, message] : rows) {
    test::WriteFileText(path, text);
    DiscOpenResult r = OpenDiscImage(path == cue       ? cue
                                     : path == ccdPath ? c / "game.img"
                                                       : a / "game.mdf");
    EXPECT_FALSE(r.disc);
    EXPECT_NE(r.message.find(message), std::string::npos) << r.message;
  }
  // An MDF cut short of the last track's length.
  std::filesystem::resize_file(a / "game.mdf", 1100 * 2352);
  test::WriteFileBytes(a / "Game.MDS", mds);
  const DiscOpenResult cut = OpenDiscImage(a / "game.mdf");
  EXPECT_FALSE(cut.disc);
  EXPECT_EQ(cut.message,
            "game.mdf holds 1100 sectors, fewer than the 1125 that Game.MDS describes.");
}

TEST(MdsSheet, EveryTruncatedDescriptorIsRefusedWithinItsBytes) {
  TempDir dir;
  test::WriteAlcoholSet(dir.path(), 2448, false);
  const Bytes mds = test::ReadFileBytes(dir / "Game.MDS");
  // Header 0x58, one session block, six track blocks, three extra blocks: all that is read.
  const std::size_t needed = 0x58 + 24 + 6 * 80 + 3 * 8;
  for (std::size_t len = 0; len < mds.size(); ++len) {
    MdsParse p = ParseMdsSheet(std::span<const uint8_t>(mds.data(), len), "m.mds");
    EXPECT_EQ(p.error.empty(), len >= needed) << len << ": " << p.error;
  }
  MdsParse p = ParseMdsSheet(mds, "m.mds");
  ASSERT_EQ(p.sheet.sessions.size(), 1u);
  const MdsSession& s = p.sheet.sessions[0];
  EXPECT_EQ(std::tie(s.start, s.lastTrack), std::make_tuple(-150, 3));
  ASSERT_EQ(s.blocks.size(), 6u);
  EXPECT_EQ(std::tie(s.blocks[0].point, s.blocks[0].hasExtra), std::make_tuple(0xA0, false));
  const MdsTrackBlock& t2 = s.blocks[4];
  EXPECT_EQ(std::tie(t2.point, t2.mode, t2.subchannel, t2.sectorSize, t2.startSector,
                     t2.startOffset, t2.hasExtra, t2.pregap, t2.length),
            std::make_tuple(2, 0xA9, 0x08, 2448, 450, 450 * 2448, true, 150, 225));
}

TEST(CcdSheet, KeysCaseBlindNumbersInEitherBaseOtherSectionsPassedOver) {
  CcdParse p = ParseCcdSheet(
      "[CloneCD]\nVersion=3\n[disc]\nsessions = 1\n[CDText]\nEntry 0=80 00 00\n"
      "[Entry 0]\npoint=0xA0\nControl=0x4\nPLBA=-150\n[ENTRY 1]\nPoint=1\nPLBA=0x10\n"
      "[TRACK 1]\nMODE=2\nINDEX 0=-2\nINDEX 1=16\n",
      "x.ccd");
  ASSERT_EQ(p.error, "");
  ASSERT_EQ(p.sheet.entries.size(), 2u);
  const CcdEntry& e0 = p.sheet.entries[0];
  const CcdEntry& e1 = p.sheet.entries[1];
  EXPECT_EQ(std::tie(e0.point, e0.control, e0.plba, e1.point, e1.control, e1.plba),
            std::make_tuple(0xA0, 4, -150, 1, -1, 16));
  ASSERT_EQ(p.sheet.tracks.size(), 1u);
  EXPECT_EQ(std::tie(p.sheet.tracks[0].mode, p.sheet.tracks[0].indexes),
            std::make_tuple(2, std::vector<std::pair<int, int>>{{0, -2}, {1, 16}}));

  // A track keeps indexes 0-99; the lines after them are passed over.
  std::string indexes = "[TRACK 1]\n";
  for (int i = 0; i <= 100; ++i)
    indexes += "INDEX " + std::to_string(i) + "=" + std::to_string(i) + "\n";
  EXPECT_EQ(ParseCcdSheet(indexes, "x.ccd").sheet.tracks.at(0).indexes.size(), 100u);

  std::string many;
  for (int i = 0; i <= 256; ++i) many += "[Entry " + std::to_string(i) + "]\n";
  // clang-format off
  for (const auto& [text, error] : std::vector<std::pair<std::string, std::string>>{
           {"Point=1\n", "line 1: \"Point=1\" is neither a [section] nor a Key=Value line."},
           {"[Entry 0\n", "line 1: \"[Entry 0\" is not a section header."},
           {"[TRACK 100]\n", "line 1: \"[TRACK 100]\" names no track 0-99."},
           {"[Entry 0]\nPLBA=99999999999\n", "line 2: \"PLBA=99999999999\" does not hold a number."},
           {many, "line 257: more than 256 TOC entries."}})
    // clang-format on
    EXPECT_EQ(ParseCcdSheet(text, "x.ccd").error, "x.ccd, " + error);
}

// The full reading of CUE sheets: what a sheet of several files says, and every way a sheet
// can be refused before any file is looked at.
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
}

// Every way a sheet can be refused before any file is looked at: a part of the full
// reading's message and, where the one-file reading refuses it too (what places the tracks
// is held to the same rules), that reading's whole message.
TEST(CueParse, RefusesSheetsWhoseTracksCannotBePlaced) {
  const std::string head = "FILE \"a.bin\" BINARY\nTRACK 01 MODE2/2352\nINDEX 01 00:00:00\n";
  std::string hundred = "FILE \"a.bin\" BINARY\n";
  for (int t = 1; t <= 100; ++t)
    hundred += "TRACK " + std::to_string(t) + " AUDIO\nINDEX 01 " + (t < 10 ? "0" : "") +
               std::to_string(t) + ":00:00\n";
  const std::string order = "; tracks are numbered 1, 2, 3 ... in order.";
  // clang-format off
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {head + "\x01\x02garbage here\n", "s.cue, line 4: \"\x01\x02garbage here\" is not a CUE", ""},
      {head + "TRACK\n", "line 4: \"TRACK\" is not a CUE sheet command.", ""},
      {"TRACK 01 AUDIO\n", "line 1: TRACK comes before any FILE line.", ""},
      {"INDEX 01 00:00:00\n", "line 1: INDEX comes before any TRACK line.", ""},
      {hundred, "line 200: track 100: a disc holds at most 99 tracks.", "s.cue, line 200: track 100: a disc holds at most 99 tracks."},
      {head + "TRACK 100 AUDIO\n", "line 4: track 100: a disc holds at most 99 tracks.", "s.cue, line 4: track 100: a disc holds at most 99 tracks."},
      {head + "TRACK 03 AUDIO\nINDEX 01 00:10:00\n", "TRACK 03 should be track 02", ""},
      {head + "junk\nTRACK 03 AUDIO\nINDEX 01 00:10:00\n", "line 4: \"junk\" is not a CUE", "s.cue, line 5: TRACK 03 should be track 02" + order},
      {head + "TRACK 02\n", "line 4: track 02 has no mode.", ""},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:00\nINDEX 00 00:12:00\n", "line 6: INDEX 00 of track 02 comes after INDEX 01; INDEX numbers must rise.", "s.cue, line 6: INDEX 00 of track 02 comes after INDEX 01; INDEX numbers must rise."},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:00\nTRACK 03 AUDIO\nINDEX 01 00:09:74\n", "line 7: INDEX 01 of track 03 (00:09:74) does not come after INDEX 01 of track 02 (00:10:00) in the same file; INDEX times must rise.", ""},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:00:00\n", "does not come after", "s.cue, line 5: INDEX 01 of track 02 (00:00:00) does not come after INDEX 01 of track 01 (00:00:00) in the same file; INDEX times must rise."},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:60:00\n", "is not an index: INDEX nn mm:ss:ff", ""},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:75\n", "is not an index", ""},
      {head + "TRACK 02 AUDIO\nINDEX 01 0010:00\n", "is not an index", ""},
      {head + "TRACK 02 AUDIO\nINDEX 00 00:10:00\nTRACK 03 AUDIO\nINDEX 01 00:20:00\n", "line 6: track 02 has no INDEX 01.", ""},
      {head + "TRACK 02 AUDIO\nINDEX 00 00:10:00\n", "s.cue: track 02 has no INDEX 01.", "s.cue: track 02 has no INDEX 01."},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:00\nPREGAP 00:02:00\n", "line 6: PREGAP of track 02 comes after its INDEX lines.", ""},
      {head + "TRACK 02 AUDIO\nPOSTGAP 00:02:00\n", "line 5: POSTGAP of track 02 comes before its INDEX lines.", ""},
      {head + "TRACK 02 AUDIO\nINDEX 01 00:10:00\nPOSTGAP 00:02:00\nINDEX 02 00:11:00\n", "line 7: INDEX 02 of track 02 comes after its POSTGAP.", ""},
      {head + "PREGAP 2 seconds\n", "is not a gap: PREGAP mm:ss:ff", ""},
      {"FILE \"unclosed BINARY\n", "the FILE line's name has no closing quote.", ""},
      {"FILE \"\" BINARY\n", "the FILE line names no file.", ""},
      {"REM nothing but a remark\n", "s.cue holds no tracks.", ""},
      {"", "s.cue holds no tracks.", ""},
      {"FILE \"a.bin\" BINARY\n", "s.cue holds no tracks.", "s.cue holds no tracks."},
  };
  // clang-format on
  for (const auto& [sheet, message, oneFile] : cases) {
    CueParse p = ParseCueSheet(sheet, "s.cue");
    EXPECT_NE(p.error.find(message), std::string::npos) << sheet << "\n-> " << p.error;
    EXPECT_TRUE(p.sheet.tracks.empty() && p.sheet.files.empty()) << sheet;
    EXPECT_EQ(oneFile.empty() ? "" : ParseCueSheet(sheet, "s.cue", CueReading::OneFile).error,
              oneFile)
        << sheet;
  }
}

TEST(CueParse, OneFileSheetsAreTheOnesWithoutASecondFileOrGaps) {
  for (const char* one : {"FILE \"a.bin\" BINARY\nTRACK 01 MODE2/2352\nINDEX 01 00:00:00\n"
                          "TRACK 02 AUDIO\nINDEX 00 01:00:00\nINDEX 01 01:02:00\n",
                          "TRACK 01 MODE1/2048\n", "garbage\nfile \"x\"\n"})
    EXPECT_TRUE(IsOneFileCueSheet(one)) << one;
  for (const std::string& more :
       {test::RedumpSheet({"a", "b", "c"}),
        std::string("FILE \"a.bin\" BINARY\nTRACK 01 AUDIO\n  pregap 00:02:00\n"),
        std::string("FILE \"a.bin\" BINARY\nTRACK 01 AUDIO\nPOSTGAP 00:02:00\n")})
    EXPECT_FALSE(IsOneFileCueSheet(more)) << more;
}

}  // namespace
}  // namespace ebf
