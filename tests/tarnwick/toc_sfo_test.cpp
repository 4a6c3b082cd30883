#include <gtest/gtest.h>

#include "pbp/sfo.h"
#include "support/temp_dir.h"
#include "tarnwick/disc_toc.h"
#include "tarnwick/ps1_sfo.h"

namespace ebf::tarnwick {
namespace {

Bytes Entry(const TocArea& toc, int i) {
  return Bytes(&toc[i * 10], &toc[i * 10 + 10]);
}

TEST(DefaultToc, OneDataTrackWithLeadOutAtTheImageLength) {
  // 33:21:44 = 33*4500 + 21*75 + 44 sectors: every BCD digit pair differs.
  const uint32_t n = 33 * 4500 + 21 * 75 + 44;
  TocArea toc = DefaultToc(n);
  EXPECT_EQ(Entry(toc, 0), (Bytes{0x41, 0, 0xA0, 0, 0, 0, 0, 0x01, 0x20, 0}));
  EXPECT_EQ(Entry(toc, 1), (Bytes{0x41, 0, 0xA1, 0, 0, 0, 0, 0x01, 0, 0}));
  EXPECT_EQ(Entry(toc, 2), (Bytes{0x41, 0, 0xA2, 0, 0, 0, 0, 0x33, 0x21, 0x44}));
  EXPECT_EQ(Entry(toc, 3), (Bytes{0x41, 0, 0x01, 0, 0, 0, 0, 0x00, 0x02, 0x00}));
  for (size_t i = 40; i < toc.size(); ++i) ASSERT_EQ(toc[i], 0) << i;

  EXPECT_EQ(Entry(DefaultToc(74), 2), (Bytes{0x41, 0, 0xA2, 0, 0, 0, 0, 0, 0, 0x74}));
  EXPECT_EQ(Entry(DefaultToc(4500 * 79 + 75 * 59 + 74), 2),
            (Bytes{0x41, 0, 0xA2, 0, 0, 0, 0, 0x79, 0x59, 0x74}));
}

TEST(TocFile, CopiedByteForByteUpToTheAreaSize) {
  test::TempDir dir;
  Bytes bytes = test::NoiseBytes(60, 3);
  test::WriteFileBytes(dir / "ISO.TOC", bytes);
  TocArea toc;
  toc.fill(0xEE);
  std::string error;
  ASSERT_TRUE(LoadTocFile(dir / "ISO.TOC", toc, error)) << error;
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), toc.begin()));
  for (size_t i = bytes.size(); i < toc.size(); ++i) ASSERT_EQ(toc[i], 0);

  test::WriteFileBytes(dir / "FULL.TOC", test::NoiseBytes(kTocSize, 4));
  EXPECT_TRUE(LoadTocFile(dir / "FULL.TOC", toc, error)) << error;
  test::WriteFileBytes(dir / "BIG.TOC", test::NoiseBytes(kTocSize + 1, 4));
  for (const auto& [name, message] :
       {std::pair{"BIG.TOC", "BIG.TOC is too large"}, {"NONE.TOC", "Cannot read NONE.TOC"}}) {
    EXPECT_FALSE(LoadTocFile(dir / name, toc, error));
    EXPECT_NE(error.find(message), std::string::npos) << error;
  }
}

TEST(Ps1Sfo, NineKeyLayoutPutsTheFixedFieldsWhereThePackageCodeReadsThem) {
  Ps1SfoValues v;
  v.title = "Example Title";
  v.discId = "SLUS00594";
  v.license = std::string(53, 'L');  // 54 with its NUL, as in the reference dump
  Bytes sfo = BuildPs1Sfo(v);
  ASSERT_EQ(sfo.size(), kPs1SfoSize);

  // The header, index and key table of the PS1-classic layout, byte for byte.
  const std::pair<std::size_t, Bytes> rows[] = {
      {0x00, {0, 0x50, 0x53, 0x46, 1, 1, 0, 0, 0xA4, 0, 0, 0, 0, 1, 0, 0}},
      {0x10, {9, 0, 0, 0, 0, 0, 4, 4, 4, 0, 0, 0, 4, 0, 0, 0}},
      {0x30, {4, 0, 0, 0, 0x12, 0, 4, 2, 0x0A, 0, 0, 0, 0x10, 0, 0, 0}},
      {0x50, {0x18, 0, 0, 0, 0x27, 0, 4, 2, 0x36, 0, 0, 0, 0, 2, 0, 0}},
      {0x90, {0x2C, 2, 0, 0, 0x54, 0, 4, 2, 0x0E, 0, 0, 0, 0x80, 0, 0, 0}},
      {0xA0, {0x30, 2, 0, 0}},
      {152, {14}},                    // the title's length
      {256, {1, 0, 0, 0, 'M', 'E'}},  // BOOTABLE, CATEGORY
      {812, {0, 0x80, 0, 0}},
  };
  for (const auto& [at, bytes] : rows)
    EXPECT_EQ(Bytes(sfo.begin() + at, sfo.begin() + at + bytes.size()), bytes) << at;
  const std::string keys(reinterpret_cast<const char*>(&sfo[0xA4]), 0x100 - 0xA4);
  EXPECT_EQ(keys, std::string("BOOTABLE\0CATEGORY\0DISC_ID\0DISC_VERSION\0LICENSE\0"
                              "PARENTAL_LEVEL\0PSP_SYSTEM_VER\0REGION\0TITLE\0\0\0",
                              0x100 - 0xA4));

  // The package code reads it back (its patching is the package code's own test).
  pbp::SfoFields f = pbp::ReadSfoFields(sfo);
  EXPECT_EQ(f.title + "|" + f.discId, "Example Title|SLUS00594");

  // Over-long values are cut to their slots, leaving a NUL.
  v.title = std::string(200, 'T');
  v.discId = std::string(20, 'D');
  sfo = BuildPs1Sfo(v);
  ASSERT_EQ(sfo.size(), kPs1SfoSize);
  EXPECT_EQ(std::make_tuple(sfo[152], sfo[816 + 126], sfo[816 + 127], sfo[264 + 15]),
            std::make_tuple(128, 'T', 0, 0));
}

}  // namespace
}  // namespace ebf::tarnwick
