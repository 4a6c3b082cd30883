#include "pbp/container.h"

#include <gtest/gtest.h>

#include "common/bytes.h"
#include "common/files.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::pbp {
namespace {

using test::NoiseBytes;
using test::ReadFileBytes;
using test::RunRecorder;
using test::TempDir;
using test::WriteFileBytes;

Bytes Slice(const Bytes& b, std::size_t from, std::size_t n) {
  return Bytes(b.begin() + from, b.begin() + from + n);
}

TEST(ReadSectionToFile, CopiesRangesWithTheOneByteOvershoot) {
  TempDir dir;
  const Bytes src = NoiseBytes(200000, 7);
  WriteFileBytes(dir / "src.bin", src);
  File in(dir / "src.bin", File::Mode::Read);
  ASSERT_TRUE(in);
  RunRecorder host;
  const std::string out = dir / "out.bin";

  struct Case {
    uint64_t start, end, copied;  // the bytes from `start` the copy holds
  };
  // Lengths around the 32 KB buffer: only a remainder of exactly 32,767 takes one more byte,
  // and only when the file has one more.
  const Case cases[] = {
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
  for (const Case& c : cases) {
    WriteFileBytes(out, NoiseBytes(70000, 1));  // a longer leftover must be replaced
    EXPECT_EQ(ReadSectionToFile(c.start, c.end, out, in, host), CopyOutcome::Done);
    EXPECT_EQ(ReadFileBytes(out), c.copied ? Slice(src, c.start, c.copied) : Bytes())
        << "start " << c.start << " end " << c.end;
  }
  EXPECT_TRUE(host.questions.empty());

  // The source stays open and usable for the caller.
  uint8_t b[1];
  ASSERT_TRUE(in.Seek(10));
  ASSERT_TRUE(in.ReadExact(b));
  EXPECT_EQ(b[0], src[10]);
}

TEST(ReadSectionToFile, UnwritableDestinationAsksThroughTheHost) {
  TempDir dir;
  WriteFileBytes(dir / "src.bin", NoiseBytes(1000, 3));
  File in(dir / "src.bin", File::Mode::Read);
  RunRecorder host;
  host.answers = {false};
  EXPECT_EQ(ReadSectionToFile(0, 100, dir / "missing/folder/out.bin", in, host),
            CopyOutcome::Stopped);
  ASSERT_EQ(host.questions.size(), 1u);
  EXPECT_EQ(host.questions[0].text.rfind("The following unexpected error occurred!!!\r\n", 0), 0u);
  EXPECT_NE(host.questions[0].text.find("\r\n\r\nContinue regardless?"), std::string::npos);
  EXPECT_TRUE(host.questions[0].defaultNo);
  EXPECT_EQ(host.questions[0].icon, MsgIcon::Critical);
}

TEST(PbpHeader, WriterLaysSectionsEndToEndAndReadsBack) {
  // ICON1, PIC0, PIC1 and SND0 absent: their offsets equal their neighbours'.
  const std::array<uint64_t, kLeadingSectionCount> lengths = {944, 1234, 0, 0, 0, 0, 5000};
  auto h = HeaderForLengths(lengths);
  ASSERT_TRUE(h);
  const std::array<uint32_t, 8> expected = {
      40, 40 + 944, 40 + 944 + 1234, 40 + 2178, 40 + 2178, 40 + 2178, 40 + 2178, 40 + 2178 + 5000};
  EXPECT_EQ(h->offsets, expected);

  TempDir dir;
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
  File in(dir / "h.pbp", File::Mode::Read);
  auto back = ReadPbpHeader(in);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->offsets, expected);
  EXPECT_NE(back->magic, kPbpMagic);
  EXPECT_EQ(back->SectionSize(kIcon0, 100), 1234u);
  EXPECT_EQ(back->SectionSize(kPic0, 100), 0u);
  // DATA.PSAR runs to the end of the file; a file that ends before it leaves it empty.
  EXPECT_EQ(back->SectionSize(kDataPsar, 90000), 90000u - (40 + 2178 + 5000));
  EXPECT_EQ(back->SectionSize(kDataPsar, 100), 0u);
}

TEST(PbpHeader, RefusesWhatCannotBeHeld) {
  EXPECT_FALSE(HeaderForLengths({0xFFFFFFF0ull, 100, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(HeaderForLengths({0xFFFFFFFFull - 40, 0, 0, 0, 0, 0, 0}));

  TempDir dir;
  WriteFileBytes(dir / "short.pbp", Bytes(39, 0));
  File in(dir / "short.pbp", File::Mode::Read);
  EXPECT_FALSE(ReadPbpHeader(in));
}

TEST(FindStartData, AddsThePsarOffsetToTheStoredOffset) {
  TempDir dir;
  Bytes raw(2000, 0);
  StoreLe32(raw.data() + 36, 1000);
  StoreLe32(raw.data() + 1000 + 12, 0xFFFFFF00u);  // no wrap-around into a small offset
  WriteFileBytes(dir / "a.pbp", raw);
  {
    File in(dir / "a.pbp", File::Mode::Read);
    EXPECT_EQ(FindStartData(in), 1000u + 0xFFFFFF00ull);
  }
  StoreLe32(raw.data() + 1000 + 12, 500);
  WriteFileBytes(dir / "a.pbp", raw);
  {
    File in(dir / "a.pbp", File::Mode::Read);
    EXPECT_EQ(FindStartData(in), 1500u);
  }
  // DATA.PSAR offset beyond the file: nothing to read.
  StoreLe32(raw.data() + 36, 1990);
  WriteFileBytes(dir / "a.pbp", raw);
  File in(dir / "a.pbp", File::Mode::Read);
  EXPECT_FALSE(FindStartData(in));
}

}  // namespace
}  // namespace ebf::pbp
