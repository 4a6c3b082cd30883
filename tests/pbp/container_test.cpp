// The PBP container: its header, the copy of a section to a file, and the PARAM.SFO fields.
#include "pbp/container.h"

#include <gtest/gtest.h>

#include "common/bytes.h"
#include "common/files.h"
#include "pbp/sfo.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::pbp {
namespace {

using namespace test;

Bytes Slice(const Bytes& b, std::size_t from, std::size_t n) {
  return Bytes(b.begin() + from, b.begin() + from + n);
}

std::string Field(const Bytes& b, std::size_t at, std::size_t n) {
  return std::string(b.begin() + at, b.begin() + at + n);
}

TEST(PbpContainer, SectionCopiesTheHeaderAndParamSfo) {
  TempDir dir;
  const Bytes src = NoiseBytes(200000, 7);
  WriteFileBytes(dir / "src.bin", src);
  File in(dir / "src.bin", File::Mode::Read);
  ASSERT_TRUE(in);
  RunRecorder host;
  const std::string out = dir / "out.bin";

  // Start, end, and the bytes from `start` the copy holds.
  // Lengths around the 32 KB buffer: only a remainder of exactly 32,767 takes one more byte,
  // and only when the file has one more.
  const std::tuple<uint64_t, uint64_t, uint64_t> cases[] = {
      {1000, 1001, 1},
      {1000, 1000 + 32766, 32766},
      {1000, 1000 + 32767, 32768},
      {1000, 1000 + 32768, 32768},
      {0, 32768 + 32767, 32768 * 2},
      {5, 5 + 32768 * 2 + 100, 32768 * 2 + 100},
      {3, 40003, 40000},
      {200000 - 32767, 200000, 32767},
      {400, 400, 0},  // empty
      {400, 100, 0},  // backwards
      // A range that runs past the end stops where the file stops.
      {195000, 900000, 5000},
      {0xFFFFFFF0ull, 0x1FFFFFFFFull, 0},
  };
  for (const auto& [start, end, copied] : cases) {
    WriteFileBytes(out, NoiseBytes(70000, 1));  // a longer leftover must be replaced
    EXPECT_EQ(ReadSectionToFile(start, end, out, in, host), CopyOutcome::Done);
    EXPECT_EQ(ReadFileBytes(out), copied ? Slice(src, start, copied) : Bytes())
        << "start " << start << " end " << end;
  }
  EXPECT_TRUE(host.questions.empty());

  // The source stays open and usable for the caller.
  uint8_t b[1];
  ASSERT_TRUE(in.Seek(10));
  ASSERT_TRUE(in.ReadExact(b));
  EXPECT_EQ(b[0], src[10]);

  // A destination that cannot be written asks through the host.
  host.answers = {false};
  EXPECT_EQ(ReadSectionToFile(0, 100, dir / "missing/folder/out.bin", in, host),
            CopyOutcome::Stopped);
  ASSERT_EQ(host.questions.size(), 1u);
  const auto& q = host.questions[0];
  EXPECT_EQ(q.text.rfind("The following unexpected error occurred!!!\r\n", 0), 0u);
  EXPECT_NE(q.text.find("\r\n\r\nContinue regardless?"), std::string::npos);
  EXPECT_EQ(std::tuple(q.defaultNo, q.icon), std::tuple(true, MsgIcon::Critical));

  // The header: sections laid end to end and read back.
  // ICON1, PIC0, PIC1 and SND0 absent: their offsets equal their neighbours'.
  const std::array<uint64_t, kLeadingSectionCount> lengths = {944, 1234, 0, 0, 0, 0, 5000};
  auto h = HeaderForLengths(lengths);
  ASSERT_TRUE(h);
  const std::array<uint32_t, 8> expected = {
      40, 40 + 944, 40 + 944 + 1234, 40 + 2178, 40 + 2178, 40 + 2178, 40 + 2178, 40 + 2178 + 5000};
  EXPECT_EQ(h->offsets, expected);

  {
    File out(dir / "h.pbp", File::Mode::Write);
    ASSERT_TRUE(WritePbpHeader(out, lengths));
  }
  Bytes raw = ReadFileBytes(dir / "h.pbp");
  ASSERT_EQ(raw.size(), kPbpHeaderSize);
  EXPECT_EQ(Slice(raw, 0, 8), (Bytes{0x00, 0x50, 0x42, 0x50, 0x00, 0x00, 0x01, 0x00}));
  EXPECT_EQ(LoadLe32(raw.data() + 36), 40u + 2178 + 5000);

  // The magic is never checked: a header with another magic still gives its offsets.
  raw[1] = 'X';
  raw.resize(100, 0);
  WriteFileBytes(dir / "h.pbp", raw);
  File hin(dir / "h.pbp", File::Mode::Read);
  auto back = ReadPbpHeader(hin);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->offsets, expected);
  EXPECT_NE(back->magic, kPbpMagic);
  // DATA.PSAR runs to the end of the file; a file that ends before it leaves it empty.
  EXPECT_EQ(std::tuple(back->SectionSize(kIcon0, 100), back->SectionSize(kPic0, 100),
                       back->SectionSize(kDataPsar, 90000), back->SectionSize(kDataPsar, 100)),
            std::tuple(1234u, 0u, 90000u - (40 + 2178 + 5000), 0u));
  // What cannot be held: sections past 4 GB, a header cut short.
  EXPECT_FALSE(HeaderForLengths({0xFFFFFFF0ull, 100, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(HeaderForLengths({0xFFFFFFFFull - 40, 0, 0, 0, 0, 0, 0}));
  WriteFileBytes(dir / "short.pbp", Bytes(39, 0));
  File cut(dir / "short.pbp", File::Mode::Read);
  EXPECT_FALSE(ReadPbpHeader(cut));

  // The start data: DATA.PSAR's offset added to the stored offset.
  raw.assign(2000, 0);
  auto found = [&](uint32_t psar, uint32_t stored) {
    StoreLe32(raw.data() + 36, psar);
    if (psar + 16 <= raw.size()) StoreLe32(raw.data() + psar + 12, stored);
    WriteFileBytes(dir / "a.pbp", raw);
    File in(dir / "a.pbp", File::Mode::Read);
    return FindStartData(in);
  };
  EXPECT_EQ(found(1000, 0xFFFFFF00u), 1000u + 0xFFFFFF00ull);  // no wrap-around
  EXPECT_EQ(found(1000, 500), 1500u);
  EXPECT_FALSE(found(1990, 0));  // DATA.PSAR offset beyond the file: nothing to read

  // PARAM.SFO: the patch sets the three fields, the title in UTF-8; read as far as the file goes.
  Bytes sfo = NoiseBytes(kSfoMinPatchSize, 11);
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
  EXPECT_EQ(ReadSfoFields(sfo).title + "|" + ReadSfoFields(sfo).discId, "Example Title|SLUS00594");

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

  // The title is UTF-8 of at most 127 bytes, cut at a character.
  const std::string star = "\xE2\x98\x86", e = "\xC3\xA9";  // U+2606, U+00E9
  const std::string final = "\xE3\x83\x95\xE3\x82\xA1\xE3\x82\xA4\xE3\x83\x8A\xE3\x83\xAB";
  const std::string unicode =
      "\xC3\x9Cn\xC3\xAF"
      "c\xC3\xB6"
      "d\xC3\xA9";
  // The title as given, and the field's bytes up to the zero.
  const std::pair<std::string, std::string> rows[] = {
      {"Example Title", "Example Title"},  // ASCII: the bytes the ANSI rule gave
      {final + " " + star + " " + unicode, final + " " + star + " " + unicode},  // 31 bytes
      {std::string(127, 'x'), std::string(127, 'x')},
      {std::string(300, 'y'), std::string(127, 'y')},
      {std::string(126, 'x') + e, std::string(126, 'x')},
      {std::string(125, 'x') + star, std::string(125, 'x')},
      {"Pok\xE9mon", "Pok" + e + "mon"},  // ANSI bytes (not UTF-8) are taken as ANSI
  };
  sfo.assign(kSfoMinPatchSize, 0);
  for (const auto& [title, stored] : rows) {
    SCOPED_TRACE(stored);
    ASSERT_EQ(PatchSfo(sfo, title, "SLES12345"), "");
    EXPECT_EQ(sfo[152], stored.size() + 1);
    EXPECT_EQ(Field(sfo, 816, 128), stored + std::string(128 - stored.size(), '\0'));
    EXPECT_EQ(ReadSfoFields(sfo).title, stored);
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

  // Read from a package as far as the file goes.
  sfo.assign(kSfoMinPatchSize, 0);
  ASSERT_EQ(PatchSfo(sfo, "Some Game", "SLUS01234"), "");
  Bytes pkg(40 + sfo.size(), 0xAA);
  std::copy(sfo.begin(), sfo.end(), pkg.begin() + 40);
  WriteFileBytes(dir / "p.pbp", pkg);
  {
    File f(dir / "p.pbp", File::Mode::Read);
    const SfoFields got = ReadSfoFields(f, 40);
    EXPECT_EQ(got.title + "|" + got.discId, "Some Game|SLUS01234");
  }
  // Cut inside the title: what is there is read.
  pkg.resize(40 + 816 + 4);
  WriteFileBytes(dir / "p.pbp", pkg);
  {
    File f(dir / "p.pbp", File::Mode::Read);
    EXPECT_EQ(ReadSfoFields(f, 40).title, "Some");
    // An SFO offset outside the file gives empty fields.
    const SfoFields none = ReadSfoFields(f, 0xFFFFFFF0ull);
    EXPECT_EQ(none.title + none.discId, "");
  }
}

}  // namespace
}  // namespace ebf::pbp
