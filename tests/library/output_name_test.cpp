// Output folders named by a template: FAT-safe, and never another game's folder.
#include <gtest/gtest.h>

#include "common/files.h"
#include "common/text.h"
#include "library/output_name.h"
#include "support/pbp_writer.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using namespace test;

TEST(OutputName, TemplatesGiveFatSafeFoldersNeverAnotherGames) {
  // The pattern, the game's names, the folder under "/out".
  const std::tuple<const char*, GameNames, const char*> rows[] = {
      {"%GAMEID%", {"/i/Game.bin", "Game", {"SLUS00594"}, "NTSC"}, "SLUS00594"},
      {"%title% [%GAMEID%]",
       {"/i/g.bin", "Tom & Jerry: Fists?", {"SLES00001"}, ""},
       "Tom & Jerry_ Fists_ [SLES00001]"},
      {"%REGION%/%TITLE%", {"/i/g.bin", "AC/DC <Live>", {}, "PAL"}, "PAL/AC_DC _Live_"},
      {"%TITLE%. ", {"/i/g.bin", "con", {}, ""}, "_con"},
      // Nothing left of the name: the file's name, without disc or track.
      {"%GAMEID%", {"/i/Game (Disc 2).bin", "Game", {}, ""}, "Game"},
      {"%FILENAME% %X%", {"/i/Game (Track 01).bin.ecm", "Game", {}, ""}, "Game %X%"},
      {"%REGION%/%GAMEID%", {"/i/g.bin", "g", {"SCUS94476"}, ""}, "SCUS94476"},
  };
  for (const auto& [pattern, names, folder] : rows)
    EXPECT_EQ(NamedOutputFolder("/out", pattern, names),
              std::string("/out") + kSep + ReplaceAll(folder, "/", std::string(1, kSep)))
        << pattern;

  // Another game's folder is told apart.
  TempDir dir;
  const std::string folder = dir / "SLUS00594";
  PackageRecipe other;
  other.discId = "SLES00001";
  dir.MakeDir("SLUS00594");
  WritePbp(dir / "SLUS00594/EBOOT.PBP", other);
  EXPECT_EQ(FolderForGame(folder, "SLUS00594"), folder + " (2)");
  EXPECT_EQ(FolderForGame(folder, "SLES-00001"), folder);  // the same game: its own folder
  dir.MakeDir("SLUS00594 (2)");
  WritePbp(dir / "SLUS00594 (2)/eboot.pbp", other);
  EXPECT_EQ(FolderForGame(folder, "SLUS00594"), folder + " (3)");
  EXPECT_EQ(FolderForGame(dir / "new", "SLUS00594"), dir / "new");
}

}  // namespace
}  // namespace ebf
