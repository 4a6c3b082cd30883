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

TEST(Sfo, TitleIsUtf8OfAtMost127BytesCutAtACharacter) {
  const std::string star = "\xE2\x98\x86", e = "\xC3\xA9";  // U+2606, U+00E9
  const std::string final = "\xE3\x83\x95\xE3\x82\xA1\xE3\x82\xA4\xE3\x83\x8A\xE3\x83\xAB";
  const std::string unicode =
      "\xC3\x9Cn\xC3\xAF"
      "c\xC3\xB6"
      "d\xC3\xA9";
  struct Row {
    std::string title, stored;  // as given, and the field's bytes up to the zero
  };
  const Row rows[] = {
      {"Example Title", "Example Title"},  // ASCII: the bytes the ANSI rule gave
      {final + " " + star + " " + unicode, final + " " + star + " " + unicode},  // 31 bytes
      {std::string(127, 'x'), std::string(127, 'x')},
      {std::string(300, 'y'), std::string(127, 'y')},
      {std::string(126, 'x') + e, std::string(126, 'x')},
      {std::string(125, 'x') + star, std::string(125, 'x')},
      {"Pok\xE9mon", "Pok" + e + "mon"},  // ANSI bytes (not UTF-8) are taken as ANSI
  };
  Bytes sfo(kSfoMinPatchSize, 0);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.stored);
    ASSERT_EQ(PatchSfo(sfo, row.title, "SLES12345"), "");
    EXPECT_EQ(sfo[152], row.stored.size() + 1);
    EXPECT_EQ(Field(sfo, 816, 128), row.stored + std::string(128 - row.stored.size(), '\0'));
    EXPECT_EQ(ReadSfoFields(sfo).title, row.stored);
  }
  // A title an older package wrote in ANSI reads back as its characters.
  const std::string ansi = "Caf\xE9";
  std::copy(ansi.begin(), ansi.end(), sfo.begin() + 816);
  sfo[816 + 4] = 0;
  sfo[152] = 5;
  EXPECT_EQ(ReadSfoFields(sfo).title, "Caf" + e);

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
