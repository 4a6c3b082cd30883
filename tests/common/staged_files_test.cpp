// What a start removes of a killed run's staged files: only the names a run gives its
// temporary files, and the folders it made once they are empty; then the notes themselves.
#include "common/staged_files.h"

#include <gtest/gtest.h>

#include "common/files.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

TEST(RemoveNotedStagedFiles, OnlyTemporaryNamesAndEmptyMadeFolders) {
  test::TempDir temp, user;
  const std::string made = user.MakeDir("set"), full = user.MakeDir("full");
  const std::string staged = made + "/Game.bin.ebf-part", image = user / "game.bin";
  const std::string other = full + "/Other.toc.ebf-part";
  for (const std::string& f : {staged, image, other, full + "/mine.txt"})
    test::WriteFileText(f, "x");
  // The note names the user's image too, and a folder that still holds a file of theirs.
  test::WriteFileText(temp / "STAGED-4242.NOTE", "F " + staged + "\r\nF " + image + "\nD " + made +
                                                     "\nD " + full + "\nX " + other + "\nF\n");
  test::WriteFileText(temp / "STAGED-1.TXT", "F " + other + "\n");  // no note
  RemoveNotedStagedFiles(temp.path());
  EXPECT_FALSE(FileExists(staged));
  EXPECT_FALSE(FileExists(made));
  EXPECT_FALSE(FileExists(temp / "STAGED-4242.NOTE"));
  for (const std::string& kept : {image, other, full + "/mine.txt", temp / "STAGED-1.TXT"})
    EXPECT_TRUE(FileExists(kept)) << kept;
}

}  // namespace
}  // namespace ebf
