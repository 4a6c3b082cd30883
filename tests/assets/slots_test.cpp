// Resolving slots to files and filling them from the custom folders.

#include <gtest/gtest.h>

#include "assets/slots.h"
#include "common/files.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

// Writes `text` at dir/name, making the folders on the way.
void Put(const TempDir& dir, const std::string& name, const std::string& text) {
  dir.MakeDir(name.substr(0, name.rfind('/')));
  test::WriteFileText(dir / name, text);
}

TEST(ResolveSlotFile, UntickedBlankAndUserFiles) {
  TempDir dir;
  const std::string program = dir.folder();
  const std::string null = program + "null";
  ASSERT_FALSE(FileExists(null));
  // Unticked: the zero-length "null" file, created when missing, whatever the text says.
  EXPECT_EQ(ResolveSlotFile(program, false, "", "ICON1.PMF", false), null);
  EXPECT_TRUE(FileExists(null));
  EXPECT_EQ(FileSize(null).value_or(99), 0u);
  const std::string user = dir / "mine.png";
  test::WriteFileText(user, "x");
  EXPECT_EQ(ResolveSlotFile(program, false, user, "PIC1.PNG", true), null);

  EXPECT_EQ(ResolveSlotFile(program, true, user, "PIC1.PNG", false), user);
  const std::string def = program + "PSXCust" + kSep + "Default" + kSep + "PIC1.PNG";
  const std::string temp = program + "Temp" + kSep + "PIC1.PNG";
  EXPECT_EQ(ResolveSlotFile(program, true, "", "PIC1.PNG", false), def);
  EXPECT_EQ(ResolveSlotFile(program, true, "", "PIC1.PNG", true), temp);
  EXPECT_EQ(ResolveSlotFile(program, true, dir / "gone.png", "PIC1.PNG", true), temp);
  // A default stored under another case is found.
  Put(dir, "PSXCust/Default/pic1.png", "d");
  EXPECT_EQ(ResolveSlotFile(program, true, "", "PIC1.PNG", false),
            dir / "PSXCust/Default/pic1.png");
}

TEST(SlotFileMissingMessage, OnlyForNamedFilesThatAreNotThere) {
  TempDir dir;
  EXPECT_EQ(SlotFileMissingMessage("", "ICON0.PNG"), "");
  EXPECT_EQ(SlotFileMissingMessage("   ", "ICON0.PNG"), "");
  EXPECT_EQ(SlotFileMissingMessage(dir / "none.png", "ICON0.PNG"),
            "The ICON0.PNG file doesn't exist!");
  EXPECT_EQ(SlotFileMissingMessage(dir.path(), "SND0.AT3"), "The SND0.AT3 file doesn't exist!");
  test::WriteFileText(dir / "a.at3", "x");
  EXPECT_EQ(SlotFileMissingMessage(dir / "a.at3", "SND0.AT3"), "");
}

TEST(FillSlotsFromCustomFolder, CandidateOrder) {
  TempDir dir;
  const std::string program = dir.MakeDir("prog");
  const std::string custom = dir.MakeDir("custom");
  const std::string source = dir.MakeDir("games");
  const std::string input = dir / "games/Game.bin";
  test::WriteFileText(input, "disc");
  // ICON0: per-game sub-folder of the custom folder beats its loose file.
  Put(dir, "custom/Game/icon0.png", "a");
  Put(dir, "custom/ICON0.PNG", "b");
  // PIC1: loose in the custom folder beats the source folder.
  Put(dir, "custom/PIC1.PNG", "c");
  Put(dir, "games/PIC1.PNG", "d");
  // SND0: "<base>_" file in the source folder.
  Put(dir, "games/Game_SND0.AT3", "e");
  // Gameboot: only in the program's per-game folder.
  Put(dir, "prog/PSXCust/Game/Gameboot.PNG", "f");

  std::array<std::string, kSlotCount> texts;
  texts[kSlotIcon1] = "kept";
  CustomFolderSearch search{program, custom, true, input, ""};
  EXPECT_EQ(FillSlotsFromCustomFolder(texts, search), 4);
  EXPECT_EQ(texts[kSlotIcon0], dir / "custom/Game/icon0.png");
  EXPECT_EQ(texts[kSlotIcon1], "kept");
  EXPECT_EQ(texts[kSlotPic0], "");
  EXPECT_EQ(texts[kSlotPic1], dir / "custom/PIC1.PNG");
  EXPECT_EQ(texts[kSlotSnd0], dir / "games/Game_SND0.AT3");
  EXPECT_EQ(texts[kSlotGameboot], dir / "prog/PSXCust/Game/Gameboot.PNG");

  // Without the source folder setting its files are not looked at.
  std::array<std::string, kSlotCount> again;
  search.useSourceFolder = false;
  FillSlotsFromCustomFolder(again, search);
  EXPECT_EQ(again[kSlotSnd0], "");
  EXPECT_EQ(again[kSlotPic1], dir / "custom/PIC1.PNG");

  // A folder named by the game ID comes first, in the program's PSXCust too.
  Put(dir, "prog/PSXCust/SLUS00594/PIC0.PNG", "g");
  Put(dir, "custom/SLUS00594/ICON0.PNG", "h");
  std::array<std::string, kSlotCount> byId;
  search.gameId = "SLUS00594";
  FillSlotsFromCustomFolder(byId, search);
  EXPECT_EQ(byId[kSlotIcon0], dir / "custom/SLUS00594/ICON0.PNG");
  EXPECT_EQ(byId[kSlotPic0], dir / "prog/PSXCust/SLUS00594/PIC0.PNG");
  EXPECT_EQ(byId[kSlotGameboot], dir / "prog/PSXCust/Game/Gameboot.PNG");
}

TEST(SlotsWithUserFolders, DefaultsAndPerGameArtFromTheUserFirstNullInTheWorkFolder) {
  TempDir dir;
  ProgramFolders f;
  f.tree = dir.MakeDir("share") + "/";
  f.user = dir.MakeDir("user") + "/";
  f.work = dir / "cache/ebootforge/";  // not made yet
  Put(dir, "share/PSXCust/Default/PIC1.PNG", "s");
  Put(dir, "share/PSXCust/Default/ICON0.PNG", "s");
  Put(dir, "user/PSXCust/Default/PIC1.PNG", "u");
  Put(dir, "share/PSXCust/SLUS00594/PIC0.PNG", "s");
  Put(dir, "share/PSXCust/SLUS00594/ICON0.PNG", "s");
  Put(dir, "user/PSXCust/SLUS00594/ICON0.PNG", "u");

  EXPECT_EQ(ResolveSlotFile(f, true, "", "PIC1.PNG", false), dir / "user/PSXCust/Default/PIC1.PNG");
  EXPECT_EQ(ResolveSlotFile(f, true, "", "ICON0.PNG", false),
            dir / "share/PSXCust/Default/ICON0.PNG");
  EXPECT_EQ(ResolveSlotFile(f, true, "", "PIC1.PNG", true), dir / "cache/ebootforge/Temp/PIC1.PNG");
  EXPECT_EQ(ResolveSlotFile(f, false, "", "PIC1.PNG", false), dir / "cache/ebootforge/null");
  EXPECT_TRUE(FileExists(dir / "cache/ebootforge/null"));
  EXPECT_FALSE(FileExists(dir / "share/null"));

  std::array<std::string, kSlotCount> texts;
  CustomFolderSearch search{f, "", false, dir / "games/Game.bin", "SLUS00594"};
  EXPECT_EQ(FillSlotsFromCustomFolder(texts, search), 2);
  EXPECT_EQ(texts[kSlotIcon0], dir / "user/PSXCust/SLUS00594/ICON0.PNG");
  EXPECT_EQ(texts[kSlotPic0], dir / "share/PSXCust/SLUS00594/PIC0.PNG");
}

}  // namespace
}  // namespace ebf
