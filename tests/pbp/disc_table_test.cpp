// Finding the disc sections of packages of one and of several discs, and refusing tables
// that point anywhere but at whole sections inside the file.

#include "pbp/disc_table.h"

#include <gtest/gtest.h>

#include <numeric>

#include "common/bytes.h"
#include "support/pbp_writer.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

PackageRecipe DiscRecipe(const std::string& id, std::size_t sectors, uint32_t seed) {
  PackageRecipe r;
  r.discId = id;
  r.image = NoiseBytes(sectors * 2352 / 2, seed);
  r.image.resize(sectors * 2352, 0);  // half noise, half zeros: blocks of both kinds
  r.paddingBlock = true;
  return r;
}

pbp::DiscTable Read(const std::string& path) {
  File file(path, File::Mode::Read);
  EXPECT_TRUE(file);
  return pbp::ReadDiscTable(file, LoadLe32(ReadFileBytes(path).data() + 36));
}

TEST(DiscTable, OneDiscIsItsOwnSectionAndSeveralAreListedByTheTitleHeader) {
  TempDir dir;
  PbpWritten one = WritePbp(dir / "one.pbp", DiscRecipe("SLUS01234", 100, 1));
  pbp::DiscTable table = Read(dir / "one.pbp");
  EXPECT_EQ(table.error, "");
  EXPECT_FALSE(table.titled);
  ASSERT_EQ(table.discs.size(), 1u);
  EXPECT_EQ(table.discs[0].start, one.psar);
  EXPECT_EQ(table.discs[0].discId, "SLUS01234");
  EXPECT_EQ(table.discs[0].dataEnd,
            one.psar + 0x100000 +
                std::accumulate(one.blockLengths.begin(), one.blockLengths.end(), uint64_t{0}));
  EXPECT_EQ(table.startData, one.startData);
  EXPECT_EQ(table.sharedId, "");

  DiscSetWritten set = WriteDiscSetPbp(
      dir / "set.pbp", {DiscRecipe("SCUS94163", 90, 2), DiscRecipe("SCUS94164", 300, 3),
                        DiscRecipe("SCUS94165", 40, 4)});
  table = Read(dir / "set.pbp");
  EXPECT_EQ(table.error, "");
  EXPECT_TRUE(table.titled);
  EXPECT_EQ(table.sharedId, "SCUS94163");
  ASSERT_EQ(table.discs.size(), 3u);
  const char* ids[] = {"SCUS94163", "SCUS94164", "SCUS94165"};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(table.discs[i].start, set.sections[i]) << i;
    EXPECT_EQ(table.discs[i].discId, ids[i]);
    EXPECT_LE(table.discs[i].dataEnd, i < 2 ? set.sections[i + 1] : set.startData);
    EXPECT_GT(table.discs[i].dataEnd, set.sections[i] + 0x100000);
  }
  EXPECT_EQ(table.startData, set.startData);
}

TEST(DiscTable, TablesThatPointAnywhereButAtWholeSectionsAreRefusedByName) {
  TempDir dir;
  DiscSetWritten set = WriteDiscSetPbp(
      dir / "set.pbp", {DiscRecipe("SLES11111", 50, 5), DiscRecipe("SLES11112", 60, 6),
                        DiscRecipe("SLES11113", 70, 7)});
  const Bytes good = ReadFileBytes(dir / "set.pbp");
  const uint64_t table = set.psar + 0x200;
  auto refused = [&](const std::function<void(Bytes&)>& damage) {
    Bytes bad = good;
    damage(bad);
    WriteFileBytes(dir / "bad.pbp", bad);
    return Read(dir / "bad.pbp").error;
  };
  auto slot = [&](Bytes& b, int i, uint32_t value) { StoreLe32(&b[table + 4 * i], value); };

  EXPECT_EQ(refused([&](Bytes& b) {
              for (int i = 3; i < 6; ++i) slot(b, i, LoadLe32(&b[table]));
            }),
            "The disc table lists 6 discs; a package holds at most 5");
  EXPECT_EQ(refused([&](Bytes& b) { slot(b, 0, 0); }), "The disc table lists no disc");
  EXPECT_EQ(refused([&](Bytes& b) { slot(b, 0, 0x100); }),
            "The section of disc 1 overlaps the title header");
  EXPECT_EQ(refused([&](Bytes& b) { slot(b, 1, 0xF0000000u); }),
            "The section of disc 2 lies past the end of the file");
  EXPECT_EQ(refused([&](Bytes& b) { slot(b, 1, LoadLe32(&b[table]) + 0x400); }),
            "The section of disc 2 has no PSISOIMG0000 header");
  EXPECT_EQ(refused([&](Bytes& b) { slot(b, 2, LoadLe32(&b[table + 4])); }),
            "The sections of disc 2 and disc 3 overlap");
  EXPECT_EQ(refused([&](Bytes& b) { StoreLe32(&b[table], 0x44475000); }),
            "The disc table is encrypted (an official package); it cannot be read");
  EXPECT_EQ(refused([&](Bytes& b) { b[set.psar + 1] = 'X'; }),
            "DATA.PSAR starts with neither a disc section nor a title header");
  // An index entry of disc 3 pointing far past the file, and a file cut inside disc 3.
  EXPECT_EQ(refused([&](Bytes& b) { StoreLe32(&b[set.sections[2] + 0x4000 + 32], 0x7FFFFFFF); }),
            "The blocks of disc 3 run past the end of the file");
  EXPECT_EQ(refused([&](Bytes& b) { b.resize(set.sections[2] + 0x100000 + 100); }),
            "The blocks of disc 3 run past the end of the file");
  EXPECT_EQ(refused([&](Bytes& b) { b.resize(set.psar + 0x300); }),
            "The title header is cut short");
}

}  // namespace
}  // namespace ebf::test
