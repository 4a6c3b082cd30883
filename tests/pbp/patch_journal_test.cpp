#include "pbp/patch_journal.h"

#include <gtest/gtest.h>

#include <numeric>

#include "common/files.h"
#include "pbp/package_check.h"
#include "support/pbp_writer.h"
#include "support/temp_dir.h"

namespace ebf::pbp {
namespace {

using namespace test;

void Scribble(const std::string& path, uint64_t at, const Bytes& bytes) {
  File f(path, File::Mode::ReadWrite);
  ASSERT_TRUE(f.Seek(at) && f.Write(bytes) && f.Close());
}

TEST(PatchJournal, FailureAndCrashPutTheOldBytesBackAndTheNewPackageIsChecked) {
  TempDir dir;
  const std::string pkg = dir / "EBOOT.PBP";
  const std::string temp = dir.folder() + "Temp/";
  const Bytes original = NoiseBytes(1000, 7);
  WriteFileBytes(pkg, original);
  auto noJournal = [&] { return !FileExists(pkg + ".undo") && !FileExists(temp + "PATCH.UNDO"); };

  // A failure in the middle: the journal puts back both regions, one of them cut at the
  // old end, and the 60 bytes the patch added go.
  {
    PatchJournal journal(pkg, temp);
    File f(pkg, File::Mode::ReadWrite);
    ASSERT_EQ(journal.Begin(f, {{10, 20}, {950, 500}}), "");
    EXPECT_TRUE(FileExists(pkg + ".undo") && FileExists(temp + "PATCH.UNDO"));
    ASSERT_TRUE(f.Seek(10) && f.Write(Bytes(20, 0xAA)));
    ASSERT_TRUE(f.Seek(950) && f.Write(Bytes(110, 0xBB)));
    f.Close();
    EXPECT_EQ(journal.RollBack(), "");
  }
  EXPECT_EQ(ReadFileBytes(pkg), original);
  EXPECT_TRUE(noJournal());

  // A finished patch keeps its bytes and leaves no journal.
  {
    PatchJournal journal(pkg, temp);
    File f(pkg, File::Mode::ReadWrite);
    ASSERT_EQ(journal.Begin(f, {{0, 4}}), "");
    ASSERT_TRUE(f.Seek(0) && f.Write(Bytes{1, 2, 3, 4}) && f.Close());
    journal.Finish();
  }
  Bytes patched = original;
  std::iota(patched.begin(), patched.begin() + 4, 1);
  EXPECT_EQ(ReadFileBytes(pkg), patched);
  EXPECT_TRUE(noJournal());

  // A crash: the journal and the note outlive the process; the next start puts the
  // package back and says so.
  Bytes keptJournal, keptNote;
  {
    PatchJournal journal(pkg, temp);
    File f(pkg, File::Mode::ReadWrite);
    ASSERT_EQ(journal.Begin(f, {{100, 300}}), "");
    keptJournal = ReadFileBytes(pkg + ".undo");
    keptNote = ReadFileBytes(temp + "PATCH.UNDO");
    f.Close();
  }  // an unfinished journal rolls back here; the crash is staged below
  Scribble(pkg, 100, Bytes(300, 0xCC));
  WriteFileBytes(pkg + ".undo", keptJournal);
  WriteFileBytes(temp + "PATCH.UNDO", keptNote);
  EXPECT_EQ(
      RecoverInterruptedPatch(temp),
      "An interrupted change to " + pkg + " was found and undone; the EBOOT is as it was before.");
  EXPECT_EQ(ReadFileBytes(pkg), patched);
  EXPECT_TRUE(noJournal());
  EXPECT_EQ(RecoverInterruptedPatch(temp), "");

  // Found beside the package when it is opened again (no note needed).
  Scribble(pkg, 100, Bytes(300, 0xDD));
  WriteFileBytes(pkg + ".undo", keptJournal);
  EXPECT_NE(RollBackLeftoverPatch(pkg).find("was found and undone"), std::string::npos);
  EXPECT_EQ(ReadFileBytes(pkg), patched);

  // A journal cut short means the package was never touched.
  const std::string game = dir / "game.pbp";
  const Bytes older = NoiseBytes(500, 3);
  WriteFileBytes(game, older);
  // Magic, length 500, one region of 8 bytes at 0 whose bytes are there, and no end mark.
  Bytes torn = {'E', 'B', 'F', 'U', 'N', 'D', 'O', '1', 0xF4, 1, 0, 0, 0, 0, 0, 0,
                0,   0,   0,   0,   0,   0,   0,   0,   8,    0, 0, 0, 0, 0, 0, 0};
  torn.insert(torn.end(), 8, 0xEE);
  WriteFileBytes(game + ".undo", torn);
  EXPECT_EQ(RollBackLeftoverPatch(game), "");
  EXPECT_EQ(ReadFileBytes(game), older);
  EXPECT_FALSE(FileExists(game + ".undo"));

  // The same journal with its end mark is replayed: 8 bytes of 0xEE at 0, length 500.
  Bytes whole = torn;
  for (uint8_t b : Bytes{'D', 'O', 'N', 'E', 1, 0, 0, 0}) whole.push_back(b);
  WriteFileBytes(game + ".undo", whole);
  EXPECT_NE(RollBackLeftoverPatch(game), "");
  Bytes expected = older;
  std::fill_n(expected.begin(), 8, 0xEE);
  EXPECT_EQ(ReadFileBytes(game), expected);

  // A whole new package passes the check; a cut or foreign one does not.
  const std::string part = dir / "EBOOT.PBP.part";
  PackageRecipe recipe;
  recipe.image = NoiseBytes(5 * kTestBlockSize, 11);
  recipe.level = 0;
  PbpWritten w = WritePbp(part, recipe);
  EXPECT_EQ(CheckWrittenPackage(part), "");

  const Bytes written = ReadFileBytes(part);
  // Cut inside the last block (the index promises more than the file holds), or inside the
  // header area of DATA.PSAR.
  for (uint64_t cut : {w.startData - 100, w.psar + 0x100}) {
    WriteFileBytes(part, Bytes(written.begin(), written.begin() + static_cast<long>(cut)));
    EXPECT_EQ(CheckWrittenPackage(part).rfind("The new package " + part + " is not whole: ", 0),
              0u);
  }
  // Not a package at all, and a section offset past the end.
  Bytes bad = written;
  bad[8 + 4 * 3 + 3] = 0x7F;
  for (auto [bytes, why] : {std::pair{Bytes(4096, 'E'), "it has no PBP header."},
                            {bad, "its section offsets are out of order."}}) {
    WriteFileBytes(part, bytes);
    EXPECT_EQ(CheckWrittenPackage(part), "The new package " + part + " is not whole: " + why);
  }
}

}  // namespace
}  // namespace ebf::pbp
