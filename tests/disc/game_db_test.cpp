// The game database: line shape, tags, lookup, the dialog's list, the shipped file and the
// generator that writes it.
#include "disc/game_db.h"

#include <gtest/gtest.h>

#include <tuple>

#include "common/files.h"
#include "common/pattern.h"
#include "common/text.h"
#include "disc/line_reader.h"
#include "support/process_run.h"
#include "support/runtime.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

const char* const kMetal = "SLUS-00594;SLUS00594;Metal Game;Metal Game [NTSC-U];NTSC;SLUS00594";

// An entry's fields in the order of its line: package ID, save name, title, region, disc ID.
std::string Fields(const std::optional<GameDbEntry>& e) {
  return e ? e->packageId + ";" + e->saveName + ";" + e->title + ";" + e->region + ";" + e->discId
           : "none";
}

TEST(GameDbLine, FieldsAndShape) {
  // Disc 2 of a game carries disc 1's package ID; empty names are allowed by the shape; with
  // a ";" too many, save name and title are cut from the front, the region from the back;
  // fixed fields count characters, not bytes.
  // clang-format off
  for (const auto& [line, fields] : std::vector<std::pair<std::string, std::string>>{
           {kMetal, "SLUS00594;Metal Game;Metal Game [NTSC-U];NTSC;SLUS00594"},
           {"SLES-12081;SLES02081;Save;Title [PAL-E];PAL;SLES12081", "SLES02081;Save;Title [PAL-E];PAL;SLES12081"},
           {"SLES-12081;SLES02081;;;;SLES12081", "SLES02081;;;;SLES12081"},
           {"SLES-12081;SLES02081;A;B;C;PAL;SLES12081", "SLES02081;A;B;PAL;SLES12081"},
           {"SLÜS-00594;SLÜS00594;Sävé;Tïtle;NTSC;SLÜS00594", "SLÜS00594;Sävé;Tïtle;NTSC;SLÜS00594"}})
    EXPECT_EQ(Fields(ParseGameDbLine(line)), fields) << line;
  // clang-format on
  for (const char* bad :
       {"SLUS00594;SLUS00594;A;B;NTSC;SLUS00594",  // no dash
        "SLUS-0059;SLUS00594;A;B;NTSC;SLUS00594", "SLUS-00594;SLUS0059;A;B;NTSC;SLUS00594",
        "SLUS-00594;SLUS00594;A;B;NTSC;SLUS0059",
        "SLUS-00594;SLUS00594;A;B;SLUS00594",  // a field short
        "SLUS-00594;SLUS00594;A;B;NTSC;SLUS00594 ", "", ";;;;;"})
    EXPECT_FALSE(ParseGameDbLine(bad)) << bad;
}

TEST(GameDbLine, ShapeIsThePatternsShape) {
  // Lines made of the pieces the pattern cares about, checked against the matcher itself.
  const std::vector<std::string> pieces = {"S", "1",  "-",  ";",           "SLUS",      "00594",
                                           "é", "x;", ";;", "SLUS-00594;", "SLUS00594", " "};
  uint32_t x = 4242;
  auto next = [&] { return x = x * 1664525u + 1013904223u; };
  int valid = 0;
  for (int n = 0; n < 50000; ++n) {
    std::string line;
    if (n % 2) line = "SLUS-00594;SLUS00594;";
    for (int k = static_cast<int>(next() >> 28); k >= 0; --k)
      line += pieces[(next() >> 8) % pieces.size()];
    if (n % 3) line += ";SLUS00594";
    bool matches = Matches(line, kGameDbLinePattern);
    valid += matches;
    ASSERT_EQ(ParseGameDbLine(line).has_value(), matches) << line;
  }
  EXPECT_GT(valid, 1000);
}

TEST(GameDbLine, TagsAreRemovedOnce) {
  // NTSC tags go first; a name without a whole tag stays as it is.
  // clang-format off
  for (const auto& [name, without] : std::vector<std::pair<std::string, std::string>>{
           {"Metal Game [NTSC-U]", "Metal Game"}, {"Game [PAL-E] Disc 2", "Game Disc 2"},
           {"  [NTSC-J]  Game  ", "Game"}, {"A [PAL-G] B [NTSC-U] C", "A [PAL-G] B C"},
           {"A [NTSC-U] B [NTSC-J]", "A B [NTSC-J]"}, {"Game [NTSC]", "Game [NTSC]"},
           {"Game [NTSC-U", "Game [NTSC-U"}, {"Game (PAL-E)", "Game (PAL-E)"}, {"", ""}})
    EXPECT_EQ(RemoveNameTag(name), without);
  // clang-format on

  // Whether a tag is removed is exactly what matching the tag patterns decides.
  const std::string alphabet = "[]NTSCPAL- x";
  uint32_t x = 12345;
  for (int n = 0; n < 20000; ++n) {
    std::string name;
    for (int len = n % 14; len > 0; --len) {
      x = x * 1103515245u + 12345u;
      name.push_back(alphabet[(x >> 16) % alphabet.size()]);
    }
    bool tagged = Matches(name, "*[[]NTSC-*]*") || Matches(name, "*[[]PAL-*]*");
    EXPECT_EQ(RemoveNameTag(name) != name, tagged) << name;
  }
}

TEST(GameDbFile, LookupTakesTheFirstMatchingValidLineTheListTheLast) {
  TempDir dir;
  const std::string path = dir / "TarnwickPS1ID.db";
  // Passed over: junk, a line far longer than a line may be, one cut short, one without "-".
  WriteFileText(path, std::string("junk line\r\n") + std::string(100000, 'x') + ";SLUS00594\n" +
                          std::string(kMetal).substr(0, 40) + "\n" +
                          "SLUS00594;SLUS00594;No Dash;No Dash;NTSC;SLUS00594\r\n" + kMetal +
                          "\r\n" + "SLUS-00594;SLUS00594;Second;Second;NTSC;SLUS00594\n" +
                          "SCES-12345;SCES02345;Euro Save [PAL-E];Euro [PAL-E];PAL;SCES12345\r" +
                          "SCUS-94476;SCUS94476;Golf;Golf [NTSC-U];NTSC;SCUS94476");
  EXPECT_EQ(Fields(LookupGame(path, "SLUS00594", false)),
            "SLUS00594;Metal Game;Metal Game [NTSC-U];NTSC;SLUS00594");
  EXPECT_EQ(Fields(LookupGame(path, "SLUS00594", true)),
            "SLUS00594;Metal Game;Metal Game;NTSC;SLUS00594");
  EXPECT_EQ(Fields(LookupGame(path, "SCES12345", true)), "SCES02345;Euro Save;Euro;PAL;SCES12345");
  EXPECT_TRUE(LookupGame(path, "SCUS94476", false));     // last line, no line end
  for (const char* id : {"slus00594", "SLUS00595", ""})  // exact case
    EXPECT_FALSE(LookupGame(path, id, false)) << id;
  // The key is the line's tail, as long as the ID: a shorter ID matches a tail.
  EXPECT_EQ(Fields(LookupGame(path, "94476", false)),
            "SCUS94476;Golf;Golf [NTSC-U];NTSC;SCUS94476");
  EXPECT_FALSE(LookupGame(dir / "missing.db", "SLUS00594", false));

  WriteFileText(path, std::string(kMetal) + "\n" + std::string(100000, 'x') + ";SLUS00594\n" +
                          "SCUS-94476;SCUS94476;Golf;Golf [NTSC-U];NTSC;SCUS94476\n" + "bad\n" +
                          "SLUS-00594;SLUS00594;Metal Again;Metal Again [NTSC-U];NTSC;SLUS00594\n" +
                          "SCUS-94476;SCUS94476;Golf 2;Golf 2;NTSC;SCUS94476\n" +
                          "SLES-00001;SLES00001;Other;Other [PAL-E];PAL;SLES00001\n");
  GameList list = LoadGameList(path, true, "SLUS00594");
  ASSERT_EQ(list.entries.size(), 5u);
  // The list's last match wins; without one, the fallback SCUS94476 (its last line, too).
  EXPECT_EQ(std::tie(list.entries[0].title, list.entries[4].region, list.selected),
            std::make_tuple("Metal Game", "PAL", 2));
  const GameList tagged = LoadGameList(path, false, "");
  EXPECT_EQ(std::tie(tagged.selected, tagged.entries[0].title),
            std::make_tuple(3, "Metal Game [NTSC-U]"));
  EXPECT_EQ(LoadGameList(path, false, "XXXX00000").selected, 3);
  WriteFileText(path, std::string(kMetal) + "\n");
  EXPECT_EQ(LoadGameList(path, false, "SLES00001").selected, -1);
  WriteFileText(path, "nothing valid\n");
  EXPECT_TRUE(LoadGameList(path, false, "").entries.empty() &&
              LoadGameList(dir / "missing.db", false, "").entries.empty());
}

TEST(ShippedGameDb, EveryLineIsReadAndKnownGamesAreFound) {
  std::string db = GameDbPath(RuntimeFolder());
  ASSERT_TRUE(FileExists(db)) << db;
  GameList list = LoadGameList(db, false, "");
  EXPECT_GT(list.entries.size(), 10000u);
  // A final line end may add an empty line.
  EXPECT_GE(list.entries.size() + 1, SplitLines(ReadFileText(db)).size());
  ASSERT_GE(list.selected, 0);
  EXPECT_EQ(list.entries[static_cast<std::size_t>(list.selected)].discId, "SCUS94476");
  for (const auto& e : list.entries) {
    ASSERT_TRUE(e.region == "NTSC" || e.region == "PAL") << e.discId;
    ASSERT_TRUE(Matches(e.title, "*[[]" + e.region + "-*]")) << e.title;
    ASSERT_EQ(RemoveNameTag(e.title), e.saveName) << e.title;
  }
  // A second disc shares its first disc's package ID.
  EXPECT_EQ(Fields(LookupGame(db, "SLUS00776", false)),
            "SLUS00594;Metal Gear Solid;Metal Gear Solid [NTSC-U];NTSC;SLUS00776");
}

TEST(GameDbGenerator, WritesGoodRowsAndCountsTheRest) {
  TempDir dir;
  const std::string tsv = dir / "games.tsv", out = dir / "out.db";
  // clang-format off
  WriteFileText(tsv,
                "disc_serial\tpackage_serial\ttitle\tregion\tdisc\tsource_name\n"
                "SLUS00594\tSLUS00594\tMetal Gear Solid\tNTSC\t1\tMetal Gear Solid (USA) (Disc 1)\n"
                "SLES12081\tSLES02081\tGame, The\tPAL\t2\tGame, The (Germany) (Disc 2)\r\n"
                "SLPS01548\tSLPS01548\tBattle (Grand Trial)\tNTSC\t1\tBattle (Grand Trial) (Japan, Asia)\n"
                "SCES00120\tSCES00120\tDemo\tPAL\t1\tDemo (Version 2) (Europe, Australia)\n"
                "SLUS0059\tSLUS00594\tShort Code\tNTSC\t1\tShort Code (USA)\n"
                "slus00595\tSLUS00595\tLower\tNTSC\t1\tLower (USA)\n"
                "SLUS00596\tSLUS00596\tSemi;colon\tNTSC\t1\tSemi;colon (USA)\n"
                "SLUS00597\tSLUS00597\tNo Area\tNTSC\t1\tNo Area (Demo)\n"
                "SLUS00598\tSLUS00598\tOdd Region\tSECAM\t1\tOdd Region (USA)\n"
                "only\ttwo\n"
                "\n");
  const std::string report = Shell(std::string(EBF_GAMEDB_GEN) + " '" + tsv + "' '" + out + "'");
  EXPECT_NE(report.find("4 games written, 6 lines skipped"), std::string::npos) << report;
  std::vector<std::string> lines = SplitLines(ReadFileText(out));
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "SLUS-00594;SLUS00594;Metal Gear Solid;Metal Gear Solid [NTSC-U];NTSC;SLUS00594",
                       "SLES-12081;SLES02081;Game, The;Game, The [PAL-G];PAL;SLES12081",
                       "SLPS-01548;SLPS01548;Battle (Grand Trial);Battle (Grand Trial) [NTSC-J];NTSC;SLPS01548",
                       "SCES-00120;SCES00120;Demo;Demo [PAL-E];PAL;SCES00120"}));
  // clang-format on

  // An unreadable catalogue or one without a single good row writes nothing.
  WriteFileText(tsv, "only\ttwo\n");
  DeleteFileIfExists(out);
  Shell(std::string(EBF_GAMEDB_GEN) + " '" + tsv + "' '" + out + "' 2>/dev/null");
  EXPECT_FALSE(FileExists(out) || FileExists(out + ".part"));
}

// Line splitting through the fixed buffer: every kind of line end, ends that straddle a
// buffer refill, and lines longer than the limit, cut and flagged.
TEST(LineReader, SplitsAsTheTextHelperDoesAndCutsLongLines) {
  TempDir dir;
  const std::string path = dir / "t.txt";
  auto readAll = [&](std::size_t maxLine, std::vector<bool>* cut = nullptr) {
    File f(path, File::Mode::Read);
    LineReader reader(f, maxLine);
    std::vector<std::string> lines;
    for (std::string line; reader.Next(line);) {
      lines.push_back(line);
      if (cut) cut->push_back(reader.lastTooLong());
    }
    return lines;
  };
  const char* ends[] = {"\r\n", "\n", "\r", "\r\n\r\n", "\n\r"};
  // Line lengths chosen so that line ends fall on and around the 64 KB refill.
  for (std::size_t shift = 65530; shift < 65540; ++shift) {
    std::string text(shift, 'a');
    for (int i = 0; i < 40; ++i)
      text += ends[i % 5] + std::string(static_cast<std::size_t>(i), 'b');
    WriteFileText(path, text);
    std::vector<std::string> expected = SplitLines(text);
    while (!expected.empty() && expected.back().empty()) expected.pop_back();
    EXPECT_EQ(readAll(1 << 20), expected) << shift;
  }
  WriteFileText(path, "");
  EXPECT_TRUE(readAll(10).empty());
  WriteFileText(path, "\r\n");
  EXPECT_EQ(readAll(10), std::vector<std::string>{""});

  WriteFileText(path, std::string(200000, 'x') + "\nshort\n" + std::string(11, 'y'));
  std::vector<bool> cut;
  EXPECT_EQ(readAll(10, &cut),
            (std::vector<std::string>{std::string(10, 'x'), "short", std::string(10, 'y')}));
  EXPECT_EQ(cut, (std::vector<bool>{true, false, true}));
}

}  // namespace
}  // namespace ebf::test
