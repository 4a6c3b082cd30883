// A package's table of contents: the CloneCD sheet made of it, the tracks it gives the disc
// image, and the names and sheets of the tracks taken out.
#include "pbp/toc.h"

#include <gtest/gtest.h>

#include "common/files.h"
#include "pbp/package_tracks.h"
#include "support/pbp_writer.h"

namespace ebf::pbp {
namespace {

using test::MakeToc;

TocArea AreaOf(const test::TestTocArea& a) {
  TocArea out{};
  std::copy(a.begin(), a.end(), out.begin());
  return out;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> out;
  std::size_t at = 0;
  for (std::size_t nl; (nl = text.find("\r\n", at)) != std::string::npos; at = nl + 2)
    out.push_back(text.substr(at, nl - at));
  EXPECT_EQ(at, text.size()) << "every line ends in CR LF";
  return out;
}

DiscImageLayout Layout(const test::TestTocArea& toc, std::size_t blocks) {
  DiscImageLayout l;
  std::copy(toc.begin(), toc.end(), l.toc.begin());
  l.blocks.resize(blocks);
  return l;
}

TEST(Toc, CcdOfATocAndTheTracksItGivesNamedAndListed) {
  // One data track over 1,000 sectors: A2 = 00:13:25.
  TocArea area = AreaOf(MakeToc({{0x41, 0}}, 1000));
  auto entries = UsedTocEntries(area);
  ASSERT_EQ(entries.size(), 4u);
  const std::vector<std::string> expected = {
      "[CloneCD]", "Version=3", "[Disc]", "TocEntries=4", "Sessions=1", "DataTracksScrambled=0",
      "CDTextLength=0", "[Session 1]", "PreGapMode=1", "PreGapSubC=0",
      // A0: first track 01, disc type 0x20 read as BCD 20.
      "[Entry 0]", "Session=1", "Point=0xA0", "ADR=0x01", "Control=0x04", "TrackNo=0", "AMin=0",
      "ASec=0", "AFrame=0", "ALBA=-150", "Zero=0", "PMin=1", "PSec=20", "PFrame=0", "PLBA=5850",
      "[Entry 1]", "Session=1", "Point=0xA1", "ADR=0x01", "Control=0x04", "TrackNo=0", "AMin=0",
      "ASec=0", "AFrame=0", "ALBA=-150", "Zero=0", "PMin=1", "PSec=0", "PFrame=0", "PLBA=4350",
      // A2's control is 0x01: not a data entry.
      "[Entry 2]", "Session=1", "Point=0xA2", "ADR=0x01", "Control=0x00", "TrackNo=0", "AMin=0",
      "ASec=0", "AFrame=0", "ALBA=-150", "Zero=0", "PMin=0", "PSec=13", "PFrame=25", "PLBA=850",
      "[Entry 3]", "Session=1", "Point=0x1", "ADR=0x01", "Control=0x04", "TrackNo=0", "AMin=0",
      "ASec=2", "AFrame=0", "ALBA=-150", "Zero=0", "PMin=0", "PSec=2", "PFrame=0", "PLBA=0",
      "[TRACK 0]", "MODE=1", "INDEX 1=0"};
  EXPECT_EQ(Lines(FormatCcd(entries)), expected);

  // Audio tracks, a negative PLBA and odd bytes.
  // Data track, then two audio tracks; the second audio track lies at 1 minute.
  area = AreaOf(MakeToc({{0x41, 0}, {0x01, 300}, {0x01, 4350}}, 9000));
  // A track entry whose PSec is below 2 gives a negative PLBA, printed with a sign.
  area[4 * 10 + kTocPMin] = 0x00;
  area[4 * 10 + kTocPSec] = 0x01;
  area[4 * 10 + kTocPFrame] = 0x10;
  // Zero byte printed as stored; a control of 0x41 with a track number is not data.
  area[5 * 10 + kTocZero] = 0x12;
  area[5 * 10 + kTocControl] = 0x41;
  area[5 * 10 + kTocTrackNo] = 0x01;
  area[5 * 10 + kTocPoint] = 0x0B;
  entries = UsedTocEntries(area);
  ASSERT_EQ(entries.size(), 6u);
  auto lines = Lines(FormatCcd(entries));
  auto at = [&](const std::string& key, int entry) {
    // The line with this key within entry `entry` (15 lines each after 10 disc lines).
    for (int i = 10 + 15 * entry; i < 10 + 15 * (entry + 1); ++i)
      if (lines[i].rfind(key, 0) == 0) return lines[i];
    return std::string("missing " + key);
  };
  EXPECT_EQ(at("PLBA=", 4), "PLBA=-65");  // (0 * 60 + 1 - 2) * 75 + 10
  EXPECT_EQ(at("Control=", 4), "Control=0x00");
  EXPECT_EQ(at("Zero=", 5), "Zero=18");
  EXPECT_EQ(at("Control=", 5), "Control=0x00");
  EXPECT_EQ(at("Point=", 5), "Point=0xB");
  EXPECT_EQ(at("PLBA=", 5), "PLBA=4350");
  const std::vector<std::string> tracks(lines.end() - 9, lines.end());
  EXPECT_EQ(tracks,
            (std::vector<std::string>{"[TRACK 0]", "MODE=1", "INDEX 1=0", "[TRACK 1]", "MODE=0",
                                      "INDEX 1=-65", "[TRACK 2]", "MODE=0", "INDEX 1=4350"}));
  EXPECT_EQ(lines.size(), 10u + 6 * 15 + 9);

  // A corrupt track count never reads past the 102 entries.
  area[1 * 10 + kTocPMin] = 0xFF;
  EXPECT_EQ(UsedTocEntries(area).size(), kTocEntries);
  area[1 * 10 + kTocPMin] = 0x00;
  EXPECT_EQ(UsedTocEntries(area).size(), 3u);

  // The image layouts' TOC files are each shown by the extraction's own tests; the
  // conversion's layout gives none with no setting, both with the CCD setting.
  area = AreaOf(MakeToc({{0x41, 0}, {0x01, 300}}, 900));
  const std::string dir = std::string("d") + kSep;
  EXPECT_TRUE(TocOutputs(area, dir + "TempISO.iso", true, kTocNone).empty());
  std::vector<TocOutput> out = TocOutputs(area, dir + "TempISO.iso", true, kTocCcd);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(std::tuple(out[0].path, out[0].bytes, out[1].path, out[1].bytes),
            std::tuple(dir + "ISO.TOC", std::string(area.begin(), area.begin() + 50),
                       dir + "TempISO.ccd", FormatCcd(UsedTocEntries(area))));

  // The tracks a package's TOC gives run from their start to the next; their files' names and
  // sheets. The disc's sectors, then each track as number, kind, start + length.
  auto read = [](const PackageDisc& d) {
    std::string text = std::to_string(d.sectors);
    for (const auto& t : d.tracks)
      text += ", " + std::to_string(t.number) + (t.audio ? " audio " : " data ") +
              std::to_string(t.start) + "+" + std::to_string(t.length);
    return text;
  };
  // Data at 0, audio at 300 and 675 of 1,125 sectors; 71 blocks plus the padding block.
  PackageDisc disc;
  ASSERT_EQ(
      ReadPackageDisc(Layout(test::MakeToc({{0x41, 0}, {0x01, 300}, {0x01, 675}}, 1125), 72), disc),
      "");
  EXPECT_EQ(read(disc), "1125, 1 data 0+300, 2 audio 300+375, 3 audio 675+450");
  // A lead-out beyond the blocks (or before the last track) gives way to the blocks' end.
  ASSERT_EQ(ReadPackageDisc(Layout(test::MakeToc({{0x41, 0}, {0x01, 300}}, 5000), 40), disc), "");
  EXPECT_EQ(read(disc), "640, 1 data 0+300, 2 audio 300+340");

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

  // The track files' names and sheets.
  EXPECT_EQ(SplitTrackNames("Solo", 1), std::vector<std::string>{"Solo.bin"});
  EXPECT_EQ(SplitTrackNames("G", 2),
            (std::vector<std::string>{"G (Track 1).bin", "G (Track 2).bin"}));
  const auto twelve = SplitTrackNames("G", 12);
  EXPECT_EQ(twelve[0] + twelve[11], "G (Track 01).binG (Track 12).bin");

  std::vector<SheetTrack> sheet = {{{1, false, 0, 300}, 1, false},
                                   {{2, true, 300, 375}, 2, true},
                                   {{3, true, 675, 4500}, 2, false}};
  EXPECT_EQ(SplitSheet(sheet, {"a.bin", "b.bin", "c.bin"}),
            "FILE \"a.bin\" BINARY\r\n  TRACK 01 MODE1/2352\r\n    INDEX 01 00:00:00\r\n"
            "FILE \"b.bin\" BINARY\r\n  TRACK 02 AUDIO\r\n    INDEX 00 00:00:00\r\n"
            "    INDEX 01 00:02:00\r\n"
            "FILE \"c.bin\" BINARY\r\n  TRACK 03 AUDIO\r\n    INDEX 01 00:00:00\r\n");
  EXPECT_EQ(OneFileSheet(sheet, "one.bin"),
            "FILE \"one.bin\" BINARY\r\n  TRACK 01 MODE1/2352\r\n    INDEX 01 00:00:00\r\n"
            "  TRACK 02 AUDIO\r\n    INDEX 00 00:04:00\r\n    INDEX 01 00:06:00\r\n"
            "  TRACK 03 AUDIO\r\n    INDEX 01 00:09:00\r\n");
}

}  // namespace
}  // namespace ebf::pbp
