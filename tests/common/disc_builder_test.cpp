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
  // Sync, then the header address: the BCD MSF of sector + 150 (two seconds of lead-in).
  for (auto [s, second, frame] :
       {std::array<uint8_t, 3>{0, 0x02, 0x00}, {16, 0x02, 0x16}, {39, 0x02, 0x39}}) {
    const uint8_t* a = m1.data() + s * 2352;
    const uint8_t* b = m2.data() + s * 2352;
    const uint8_t* c = r2448.data() + s * 2448;
    const Bytes syncAndMinute = {0,    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                 0xFF, 0xFF, 0xFF, 0xFF, 0,    0};
    Bytes header = syncAndMinute;
    header.insert(header.end(), {second, frame, 1});
    EXPECT_EQ(Bytes(a, a + 16), header);
    header.back() = 2;
    EXPECT_EQ(Bytes(b, b + 16), header);
    EXPECT_TRUE(std::equal(a + 16, a + 16 + 2048, user.begin() + s * 2048));
    EXPECT_TRUE(std::equal(b + 24, b + 24 + 2048, user.begin() + s * 2048));
    EXPECT_TRUE(std::equal(c, c + 2352, b));
    const Bytes sub = SubchannelFor(s);
    EXPECT_TRUE(std::equal(sub.begin(), sub.end(), c + 2352));
  }
}

}  // namespace
}  // namespace ebf::test
