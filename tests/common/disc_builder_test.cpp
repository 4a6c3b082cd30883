// The test disc builder is checked against an independent ISO 9660 reader (isoinfo from
// genisoimage) so that the tests built on it stand on real images.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>

#include "common/files.h"
#include "support/disc_builder.h"
#include "support/picture_tools.h"
#include "support/process_run.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

TEST(DiscBuilder, PlainImageReadsWithIsoinfo) {
  ASSERT_TRUE(Installed("isoinfo"));
  TempDir dir;
  IsoOptions opts = GameDisc("SLUS_012.34");
  for (int i = 0; i < 60; ++i)  // enough entries to spill the root over two sectors
    opts.files.push_back({"FILE" + std::to_string(100 + i) + ".DAT;1", NoiseBytes(100, i)});
  WriteFileBytes(dir / "game.iso", BuildIsoSectors(opts));
  std::string listing = Shell("isoinfo -l -i '" + (dir / "game.iso") + "' 2>&1");
  EXPECT_NE(listing.find("SLUS_012.34;1"), std::string::npos) << listing;
  EXPECT_NE(listing.find("SYSTEM.CNF;1"), std::string::npos);
  EXPECT_NE(listing.find("FILE159.DAT;1"), std::string::npos);
  std::string cnf = Shell("isoinfo -i '" + (dir / "game.iso") + "' -x '/SYSTEM.CNF;1' 2>/dev/null");
  EXPECT_EQ(cnf.rfind("BOOT = cdrom:\\SLUS_012.34;1", 0), 0u) << cnf;
}

TEST(DiscBuilder, RawLayoutsCarryTheSameUserData) {
  IsoOptions opts = GameDisc("SCES_003.44");
  opts.minSectors = 40;
  const Bytes user = BuildIsoSectors(opts);
  ASSERT_EQ(user.size(), 40u * 2048);
  const Bytes m1 = EncodeSectors(user, SectorLayout::Mode1Raw);
  const Bytes m2 = EncodeSectors(user, SectorLayout::Mode2Raw);
  const Bytes r2448 = EncodeSectors(user, SectorLayout::Raw2448);
  ASSERT_EQ(m1.size(), 40u * 2352);
  ASSERT_EQ(r2448.size(), 40u * 2448);
  for (uint32_t s : {0u, 16u, 39u}) {
    const uint8_t* a = m1.data() + s * 2352;
    const uint8_t* b = m2.data() + s * 2352;
    const uint8_t* c = r2448.data() + s * 2448;
    EXPECT_EQ(a[0], 0x00);
    EXPECT_EQ(a[1], 0xFF);
    EXPECT_EQ(a[11], 0x00);
    EXPECT_EQ(a[15], 1);
    EXPECT_EQ(b[15], 2);
    // Header address is the BCD MSF of sector + 150 (two seconds of lead-in).
    uint32_t lba = s + 150;
    EXPECT_EQ(a[12], ToBcd(static_cast<uint16_t>(lba / 4500)));
    EXPECT_EQ(a[13], ToBcd(static_cast<uint16_t>(lba / 75 % 60)));
    EXPECT_EQ(a[14], ToBcd(static_cast<uint16_t>(lba % 75)));
    EXPECT_TRUE(std::equal(a + 16, a + 16 + 2048, user.begin() + s * 2048));
    EXPECT_TRUE(std::equal(b + 24, b + 24 + 2048, user.begin() + s * 2048));
    EXPECT_TRUE(std::equal(c, c + 2352, b));
    Bytes sub = SubchannelFor(s);
    EXPECT_TRUE(std::equal(sub.begin(), sub.end(), c + 2352));
  }
}

}  // namespace
}  // namespace ebf::test
