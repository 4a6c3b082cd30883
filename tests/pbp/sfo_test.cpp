#include "pbp/sfo.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/temp_dir.h"

namespace ebf::pbp {
namespace {

using test::TempDir;
using test::WriteFileBytes;

std::string Field(const Bytes& b, std::size_t at, std::size_t n) {
  return std::string(b.begin() + at, b.begin() + at + n);
}

TEST(Sfo, PatchSetsTheThreeFieldsAndNothingElse) {
  Bytes sfo = test::NoiseBytes(kSfoMinPatchSize, 11);
  const Bytes before = sfo;
  ASSERT_EQ(PatchSfo(sfo, "Example Title", "SLUS00594"), "");
  ASSERT_EQ(sfo.size(), before.size());
  EXPECT_EQ(sfo[152], 14);
  EXPECT_EQ(Field(sfo, 264, 9), "SLUS00594");
  EXPECT_EQ(Field(sfo, 816, 14), std::string("Example Title") + '\0');
  for (std::size_t i = 0; i < sfo.size(); ++i) {
    bool patched = i == 152 || (i >= 264 && i < 273) || i >= 816;
    if (!patched) {
      ASSERT_EQ(sfo[i], before[i]) << "byte " << i;
    }
  }
  SfoFields f = ReadSfoFields(sfo);
  EXPECT_EQ(f.title, "Example Title");
  EXPECT_EQ(f.discId, "SLUS00594");

  // A shorter title and ID leave no remnant of the longer ones.
  ASSERT_EQ(PatchSfo(sfo, "Ab", "AB12"), "");
  EXPECT_EQ(sfo[152], 3);
  EXPECT_EQ(Field(sfo, 264, 9), std::string("AB12\0\0\0\0\0", 9));
  EXPECT_EQ(Field(sfo, 816, 128), "Ab" + std::string(126, '\0'));
  EXPECT_EQ(ReadSfoFields(sfo).discId, "AB12");

  // A long ID is cut to nine bytes; the byte after it keeps its value.
  uint8_t after = sfo[273];
  ASSERT_EQ(PatchSfo(sfo, "Ab", "SCES0123456"), "");
  EXPECT_EQ(Field(sfo, 264, 9), "SCES01234");
  EXPECT_EQ(sfo[273], after);
}

TEST(Sfo, TitleLengthByteCountsCharactersAndTextIsAnsiInTheFile) {
  Bytes sfo(kSfoMinPatchSize, 0);
  ASSERT_EQ(PatchSfo(sfo, "Pok\xC3\xA9mon", "SLES12345"), "");
  EXPECT_EQ(sfo[152], 8);  // seven characters + 1, though UTF-8 needs eight bytes
  EXPECT_EQ(sfo[816 + 3], 0xE9);
  EXPECT_EQ(ReadSfoFields(sfo).title, "Pok\xC3\xA9mon");

  const std::string t127(127, 'x');
  ASSERT_EQ(PatchSfo(sfo, t127, "SLES12345"), "");
  EXPECT_EQ(sfo[152], 128);
  EXPECT_EQ(ReadSfoFields(sfo).title, t127);

  // Longer titles cannot come from the title box; the byte keeps only its low 8 bits and
  // the field is cut.
  ASSERT_EQ(PatchSfo(sfo, std::string(300, 'y'), "SLES12345"), "");
  EXPECT_EQ(sfo[152], 301 & 0xFF);
  EXPECT_EQ(Field(sfo, 816, 128), std::string(128, 'y'));

  // Byte 152 = 0 reads as an empty title.
  sfo[152] = 0;
  EXPECT_EQ(ReadSfoFields(sfo).title, "");

  Bytes tiny(100, 0);
  EXPECT_NE(PatchSfo(tiny, "A", "SLES12345"), "");
  EXPECT_EQ(tiny, Bytes(100, 0));
  EXPECT_EQ(ReadSfoFields(tiny).title, "");
}

TEST(Sfo, ReadsFromAPackageAsFarAsTheFileGoes) {
  TempDir dir;
  Bytes sfo(kSfoMinPatchSize, 0);
  ASSERT_EQ(PatchSfo(sfo, "Some Game", "SLUS01234"), "");
  Bytes pkg(40 + sfo.size(), 0xAA);
  std::copy(sfo.begin(), sfo.end(), pkg.begin() + 40);
  WriteFileBytes(dir / "p.pbp", pkg);
  {
    File f(dir / "p.pbp", File::Mode::Read);
    SfoFields got = ReadSfoFields(f, 40);
    EXPECT_EQ(got.title, "Some Game");
    EXPECT_EQ(got.discId, "SLUS01234");
  }
  // Cut inside the title: what is there is read.
  pkg.resize(40 + 816 + 4);
  WriteFileBytes(dir / "p.pbp", pkg);
  {
    File f(dir / "p.pbp", File::Mode::Read);
    EXPECT_EQ(ReadSfoFields(f, 40).title, "Some");
    // An SFO offset outside the file gives empty fields.
    SfoFields none = ReadSfoFields(f, 0xFFFFFFF0ull);
    EXPECT_EQ(none.title, "");
    EXPECT_EQ(none.discId, "");
  }
}

}  // namespace
}  // namespace ebf::pbp
