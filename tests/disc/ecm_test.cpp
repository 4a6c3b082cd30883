// The ECM reader against files made by the tests' own encoder: decoding gives back the
// original bytes, read in order or from anywhere, and damage gives a clear message.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <tuple>

#include "common/bytes.h"
#include "disc/ecm_reader.h"
#include "support/disc_builder.h"
#include "support/ecm_writer.h"
#include "support/outcome_print.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using ebf::Bytes;

// A raw Mode 2 Form 2 sector: subheader with the form bit, 2324 bytes of data and EDC
// (or EDC 0, which the encoder must keep as literal bytes).
Bytes Form2Sector(uint32_t lba, uint32_t seed, bool withEdc) {
  const Bytes data = test::NoiseBytes(2324, seed);
  Bytes s = test::RawSector(lba, test::SectorLayout::Mode2Raw, data.data());  // sync, header
  const uint8_t sub[8] = {1, 0, 0x20, 0, 1, 0, 0x20, 0};
  std::memcpy(s.data() + 16, sub, 8);
  std::memcpy(s.data() + 24, data.data(), data.size());
  StoreLe32(s.data() + 0x92C, withEdc ? test::SectorEdc(s.data() + 16, 0x91C) : 0);
  return s;
}

// Mode 1 and Mode 2 Form 1 sectors, Form 2 sectors with and without EDC, audio, a data
// sector with one wrong byte (kept literal) and a tail that is not a whole sector.
Bytes MixedImage() {
  Bytes img;
  auto append = [&img](const Bytes& b) { test::Append(img, b); };
  Bytes user = test::NoiseBytes(2048 * 40, 7);
  append(test::EncodeSectors(Bytes(user.begin(), user.begin() + 2048 * 20),
                             test::SectorLayout::Mode1Raw, 0));
  append(test::EncodeSectors(Bytes(user.begin() + 2048 * 20, user.end()),
                             test::SectorLayout::Mode2Raw, 20));
  for (uint32_t i = 0; i < 6; ++i) append(Form2Sector(40 + i, i, i != 3));
  Bytes broken = test::EncodeSectors(Bytes(2048, 0x42), test::SectorLayout::Mode2Raw, 46);
  broken[1000] ^= 1;
  append(broken);
  append(test::AudioSectors(5, 99));
  append(test::NoiseBytes(1001, 3));
  return img;
}

Bytes ReadAllInChunks(EcmReader& r, std::size_t chunk) {
  Bytes out;
  Bytes buf(chunk);
  for (std::size_t n; (n = r.Read(buf)) > 0;)
    out.insert(out.end(), buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(n));
  return out;
}

TEST(EcmReader, DecodesEveryRecordTypeBackToTheOriginal) {
  test::TempDir dir;
  Bytes original = MixedImage();
  test::EcmCounts counts;
  Bytes ecm = test::EncodeEcm(original, &counts);
  // The encoder took every path, so the decoder is tested on every path.
  EXPECT_EQ(std::tie(counts.mode1, counts.form1, counts.form2, counts.literalBytes),
            std::make_tuple(20u, 20u, 5u, (20u + 5u) * 16 + 2 * 2352 + 5 * 2352 + 1001));
  EXPECT_LT(ecm.size(), original.size());
  test::WriteFileBytes(dir / "game.bin.ecm", ecm);

  for (std::size_t chunk : {std::size_t{1} << 20, std::size_t{1000}, std::size_t{2352}}) {
    EcmReader r;
    ASSERT_EQ(r.Open(dir / "game.bin.ecm"), "");
    EXPECT_EQ(r.DecodedSize(), original.size());
    EXPECT_FALSE(r.ReadWholeInOrder());
    EXPECT_TRUE(ReadAllInChunks(r, chunk) == original) << chunk;
    EXPECT_TRUE(r.ReadWholeInOrder());
    EXPECT_EQ(r.CheckChecksum(), "");
  }

  std::vector<std::pair<uint64_t, uint64_t>> progress;
  DiscJobHooks hooks;
  hooks.progress = [&](uint64_t done, uint64_t total) { progress.emplace_back(done, total); };
  ASSERT_EQ(DecodeEcmFile(dir / "game.bin.ecm", dir / "game.bin", hooks), Outcome::Success());
  EXPECT_TRUE(test::ReadFileBytes(dir / "game.bin") == original &&
              !std::filesystem::exists(dir / "game.bin.ebf-part"));
  ASSERT_GE(progress.size(), 2u);
  EXPECT_EQ(progress.front(), std::make_pair(uint64_t{0}, uint64_t{original.size()}));
  EXPECT_EQ(progress.back(), std::make_pair(uint64_t{original.size()}, uint64_t{original.size()}));
}

TEST(EcmReader, ReadsFromAnyPositionWithoutDecodingTheRest) {
  test::TempDir dir;
  // Big enough for several seek points (one per 256 KiB of output).
  Bytes original;
  for (int part = 0; part < 4; ++part) test::Append(original, MixedImage());
  original.resize(original.size() - 1001 * 3);  // a tail not on a record boundary
  test::WriteFileBytes(dir / "d.ecm", test::EncodeEcm(original));
  EcmReader r;
  ASSERT_EQ(r.Open(dir / "d.ecm"), "");
  ASSERT_EQ(r.DecodedSize(), original.size());
  const uint64_t spots[] = {
      0,         17,     2352 * 20 + 5, 2352 * 21 + 16,      2352 * 21 + 15, 2352 * 41,
      2352 * 47, 300000, 400000,        original.size() - 9, 2352 * 3,       1};
  for (uint64_t at : spots) {
    ASSERT_TRUE(r.Seek(at));
    Bytes got(std::min<uint64_t>(5000, original.size() - at));
    ASSERT_EQ(r.Read(got), got.size()) << at;
    EXPECT_TRUE(
        std::equal(got.begin(), got.end(), original.begin() + static_cast<std::ptrdiff_t>(at)))
        << at;
  }
  EXPECT_FALSE(r.Seek(original.size() + 1));
  ASSERT_TRUE(r.Seek(original.size()));
  Bytes none(10);
  EXPECT_EQ(r.Read(none), 0u);
  // Out of order, so the closing checksum cannot vouch for what was read.
  EXPECT_FALSE(r.ReadWholeInOrder());
  EXPECT_NE(r.CheckChecksum().find("not read through in order"), std::string::npos);
}

TEST(EcmReader, ReadsHandWrittenStreams) {
  test::TempDir dir;
  // 100 literal bytes: the count (99) needs a second header byte: 0x8C, 0x03.
  const Bytes text = test::NoiseBytes(100, 9);
  Bytes ecm = {'E', 'C', 'M', 0, 0x8C, 0x03};
  test::Append(ecm, text), test::Append(ecm, {0xFC, 0xFF, 0xFF, 0xFF, 0x3F});  // end mark
  AppendLe32(ecm, test::SectorEdc(text.data(), text.size()));
  test::WriteFileBytes(dir / "t.ecm", ecm);
  EcmReader r;
  ASSERT_EQ(r.Open(dir / "t.ecm"), "");
  EXPECT_EQ(ReadAllInChunks(r, 7), text);
  EXPECT_EQ(r.CheckChecksum(), "");

  // An empty original: magic, end marker, EDC 0.
  test::WriteFileBytes(dir / "e.ecm", {'E', 'C', 'M', 0, 0xFC, 0xFF, 0xFF, 0xFF, 0x3F, 0, 0, 0, 0});
  ASSERT_EQ(r.Open(dir / "e.ecm"), "");
  EXPECT_EQ(r.DecodedSize(), 0u);
  EXPECT_EQ(r.CheckChecksum(), "");
}

TEST(EcmReader, DamagedFilesGiveClearMessagesAndLeaveNothingBehind) {
  test::TempDir dir;
  Bytes original = MixedImage();
  Bytes ecm = test::EncodeEcm(original);
  auto decode = [&](const Bytes& file) {
    test::WriteFileBytes(dir / "x.ecm", file);
    const Outcome decoded = DecodeEcmFile(dir / "x.ecm", dir / "x.bin");
    EXPECT_TRUE(decoded.failed());
    const std::string message = decoded.text();
    EXPECT_FALSE(std::filesystem::exists(dir / "x.bin"));
    EXPECT_FALSE(std::filesystem::exists(dir / "x.bin.ebf-part"));
    return message;
  };
  // One flipped bit in a Mode 1 sector's data (the first record holds the 20 sectors from
  // byte 5 on, 2051 bytes each), in the sixth Form 1 item (each Form 1 sector is a
  // 16-byte literal record and a type 2 record: 2070 bytes), in the closing literal.
  for (std::size_t at :
       {std::size_t{100}, std::size_t{41025 + 2070 * 5 + 18 + 500}, ecm.size() - 600}) {
    Bytes bad = ecm;
    bad[at] ^= 0x10;
    EXPECT_EQ(decode(bad),
              "\"x.ecm\" is damaged: the decoded data does not match the checksum the file "
              "carries.")
        << at;
  }
  auto cut = [&](std::size_t n) { return decode(Bytes(ecm.begin(), ecm.begin() + n)); };
  EXPECT_EQ(cut(ecm.size() - 2), "\"x.ecm\" is cut short: its closing checksum is missing.");
  EXPECT_EQ(
      cut(ecm.size() / 2).rfind("\"x.ecm\" is cut short: it ends inside the record at byte ", 0),
      0u);
  EXPECT_EQ(cut(4), "\"x.ecm\" is cut short: it ends where a record should start.");
  for (const Bytes& notEcm : {Bytes{'E', 'C', 'M', 1, 0, 0}, Bytes{'E', 'C'}})
    EXPECT_EQ(decode(notEcm), "\"x.ecm\" is not an ECM file.");
  EXPECT_EQ(decode({'E', 'C', 'M', 0, 0x80, 0x80, 0x80, 0x80, 0x80, 0}),
            "\"x.ecm\" is damaged: the record header at byte 4 is too long.");
  // A count of 2^31 items.
  EXPECT_EQ(decode({'E', 'C', 'M', 0, 0xFD, 0xFF, 0xFF, 0xFF, 0x1F, 0}),
            "\"x.ecm\" is damaged: the record at byte 4 has an impossible length.");

  // Cancelled before the first chunk.
  CancelToken cancel;
  cancel.Request();
  DiscJobHooks hooks;
  hooks.cancel = &cancel;
  test::WriteFileBytes(dir / "x.ecm", ecm);
  EXPECT_EQ(DecodeEcmFile(dir / "x.ecm", dir / "x.bin", hooks), Outcome::Cancelled());
  EXPECT_FALSE(std::filesystem::exists(dir / "x.bin") ||
               std::filesystem::exists(dir / "x.bin.ebf-part"));
}

}  // namespace
}  // namespace ebf
