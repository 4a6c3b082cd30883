// Finding the other discs of a game beside the one the user chose, and reading playlists.

#include "disc/disc_set.h"

#include <gtest/gtest.h>

#include "common/files.h"
#include "common/text.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

bool Images(const std::string& path) {
  const std::string ext = Extension4(path);
  return ext == ".CUE" || ext == ".BIN" || ext == ".ISO" || ext == ".CHD";
}

std::vector<std::string> Names(const DiscSet& set) {
  std::vector<std::string> names;
  for (const SetMember& m : set.discs)
    names.push_back(std::to_string(m.number) + ":" + FileNameOf(m.path));
  return names;
}

TEST(DiscNumbers, AreReadFromTheNameAndTakenOutOfTheTitle) {
  // The word alone is not a number; nor is 0, 12, a letter or an open bracket.
  // clang-format off
  for (const auto& [name, number] : std::vector<std::pair<std::string, int>>{
           {"Final Fantasy VII (USA) (Disc 2)", 2}, {"metal gear solid (disc 1).cue", 1},
           {"Game (Disc 3) (Track 02)", 3}, {"Disc Jockey (USA)", 0}, {"Game (Disc 0)", 0},
           {"Game (Disc 12)", 0}, {"Game (Disc A)", 0}, {"Game (Disc 4", 0}})
    EXPECT_EQ(DiscNumberOf(name), number) << name;
  for (const auto& [name, title] : std::vector<std::pair<std::string, std::string>>{
           {"Final Fantasy VII (Disc 1)", "Final Fantasy VII"},
           {"Parasite Eve (USA) (Disc 2)", "Parasite Eve (USA)"},
           {"Xenogears (Disc 2) (USA)", "Xenogears (USA)"},
           {"Xenogears (Disc 2)(v1.1)", "Xenogears (v1.1)"}, {"Crash Bandicoot", "Crash Bandicoot"}})
    EXPECT_EQ(WithoutDiscNumber(name), title);
  // clang-format on
}

TEST(DiscSetBeside, HoldsTheSameNameWithEveryDiscNumberOnceInOrder) {
  TempDir dir;
  for (const char* name :
       {"Game (USA) (Disc 1).cue", "Game (USA) (Disc 1).bin", "Game (USA) (Disc 2).bin",
        "game (usa) (DISC 3).CUE", "Game (USA) (Disc 3).bin", "Game (USA) (Disc 3).sub",
        "Game (USA) (Disc 4) (Track 2).bin", "Game (Europe) (Disc 2).cue",
        "Game (USA) (Disc 5).txt", "Other (USA) (Disc 2).cue"})
    WriteFileText(dir / name, "x");
  dir.MakeDir("Game (USA) (Disc 5).cue");  // a folder is no disc

  DiscSet set = FindDiscSet(dir / "Game (USA) (Disc 1).cue", Images);
  // A sheet beside a sheet; disc 2 has only its BIN; case does not matter; the Track file,
  // the other region, the text file and the folder are not discs of this set.
  EXPECT_EQ(Names(set),
            (std::vector<std::string>{"1:Game (USA) (Disc 1).cue", "2:Game (USA) (Disc 2).bin",
                                      "3:game (usa) (DISC 3).CUE"}));
  EXPECT_TRUE(set.missing.empty());
  EXPECT_EQ(set.discs[0].path, dir / "Game (USA) (Disc 1).cue");

  // Chosen from disc 2's BIN, that file stands for disc 2; the others prefer BINs too.
  set = FindDiscSet(dir / "Game (USA) (Disc 2).bin", Images);
  EXPECT_EQ(Names(set),
            (std::vector<std::string>{"1:Game (USA) (Disc 1).bin", "2:Game (USA) (Disc 2).bin",
                                      "3:Game (USA) (Disc 3).bin"}));

  // A gap is reported; the discs found still make the set.
  TempDir gap;
  for (const char* name : {"RPG (Disc 1).iso", "RPG (Disc 3).iso", "RPG (Disc 4).iso"})
    WriteFileText(gap / name, "x");
  set = FindDiscSet(gap / "RPG (Disc 3).iso", Images);
  EXPECT_EQ(Names(set), (std::vector<std::string>{"1:RPG (Disc 1).iso", "3:RPG (Disc 3).iso",
                                                  "4:RPG (Disc 4).iso"}));
  EXPECT_EQ(set.missing, std::vector<int>{2});

  // Without a disc number a file is a set of itself.
  WriteFileText(dir / "Solo.iso", "x");
  set = FindDiscSet(dir / "Solo.iso", Images);
  EXPECT_EQ(Names(set), std::vector<std::string>{"0:Solo.iso"});
}

TEST(Playlists, NameTheDiscsInOrderFromThePlaylistsFolder) {
  EXPECT_EQ(ParseM3u("\xEF\xBB\xBF# a set\r\nGame (Disc 1).cue\r\n\r\n  Game (Disc 2).cue  \n#x\n"
                     "sub/Game (Disc 3).chd"),
            (std::vector<std::string>{"Game (Disc 1).cue", "Game (Disc 2).cue",
                                      "sub/Game (Disc 3).chd"}));
  EXPECT_TRUE(ParseM3u("").empty());

  TempDir dir;
  WriteFileText(dir / "Game (Disc 1).cue", "x");
  dir.MakeDir("sub");
  WriteFileText(dir / "sub/Game (Disc 2).cue", "x");
  WriteFileText(dir / "elsewhere.iso", "x");
  WriteFileText(dir / "set.m3u",
                "Game (Disc 1).cue\nsub/Game (Disc 2).cue\n" + (dir / "elsewhere.iso") + "\n");
  PlaylistDiscs discs = ReadM3u(dir / "set.m3u");
  EXPECT_EQ(discs.error, "");
  EXPECT_EQ(discs.paths,
            (std::vector<std::string>{dir / "Game (Disc 1).cue", dir / "sub/Game (Disc 2).cue",
                                      dir / "elsewhere.iso"}));

  WriteFileText(dir / "gone.m3u", "Game (Disc 1).cue\nGame (Disc 2).cue\n");
  discs = ReadM3u(dir / "gone.m3u");
  EXPECT_EQ(discs.error, "The playlist " + (dir / "gone.m3u") +
                             " names Game (Disc 2).cue, which does not exist");
  EXPECT_TRUE(discs.paths.empty());
  WriteFileText(dir / "six.m3u", "a\nb\nc\nd\ne\nf\n");
  EXPECT_EQ(ReadM3u(dir / "six.m3u").error,
            "The playlist " + (dir / "six.m3u") + " names 6 discs; a package holds at most 5");
  WriteFileText(dir / "empty.m3u", "");
  EXPECT_EQ(ReadM3u(dir / "empty.m3u").error,
            "The playlist " + (dir / "empty.m3u") + " names no disc");
  EXPECT_EQ(ReadM3u(dir / "none.m3u").error, "Cannot read the playlist " + (dir / "none.m3u"));
  WriteFileBytes(dir / "huge.m3u", Bytes(100000, 'a'));
  EXPECT_EQ(ReadM3u(dir / "huge.m3u").error, "Cannot read the playlist " + (dir / "huge.m3u"));
  // A playlist names disc images: not itself, not another playlist.
  WriteFileText(dir / "self.m3u", "Game (Disc 1).cue\n./self.m3u\n");
  EXPECT_EQ(ReadM3u(dir / "self.m3u").error,
            "The playlist " + (dir / "self.m3u") + " names ./self.m3u: itself, not a disc");
  WriteFileText(dir / "outer.m3u", "Game (Disc 1).cue\nset.m3u\n");
  EXPECT_EQ(ReadM3u(dir / "outer.m3u").error,
            "The playlist " + (dir / "outer.m3u") +
                " names set.m3u, another playlist: a playlist names disc images");
}

}  // namespace
}  // namespace ebf::test
