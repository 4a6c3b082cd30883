#include <gtest/gtest.h>

#include "common/files.h"
#include "engine/image_prep.h"
#include "support/disc_builder.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using namespace test;

TEST(ImagePrep, ChoiceSubchannelIsoPaddingAndFreeSpace) {
  TempDir dir;
  const Bytes iso = BuildIsoSectors(GameDisc("SLUS_012.34"));
  Bytes notZero = iso;
  notZero[0] = 1;
  // The file (none when empty), the padding setting, and the choice. An odd.img is
  // 2448-aligned, but its second sector does not start with a sync: left alone.
  const std::tuple<const char*, Bytes, bool, ImagePrep> rows[] = {
      {"plain.iso", iso, true, ImagePrep::IsoPadding},
      {"plain.iso", iso, false, ImagePrep::AsIs},
      {"nz.iso", notZero, true, ImagePrep::AsIs},
      {"sub.img", EncodeSectors(iso, SectorLayout::Raw2448), true, ImagePrep::StripSubchannel},
      {"odd.img", Bytes(2448 * 3, 0), true, ImagePrep::AsIs},
      {"raw.bin", EncodeSectors(iso, SectorLayout::Mode2Raw), true, ImagePrep::AsIs},
      {"missing.bin", {}, true, ImagePrep::AsIs}};
  for (const auto& [name, bytes, padding, prep] : rows) {
    if (!bytes.empty()) WriteFileBytes(dir / name, bytes);
    EXPECT_EQ(ChooseImagePrep(dir / name, padding), prep) << name << padding;
  }

  // The subchannel stripped keeps each raw sector (a cancel of the writing is the packed
  // images' conversion test).
  IsoOptions opts = GameDisc("SCES_003.44");
  opts.minSectors = 600;
  const Bytes user = BuildIsoSectors(opts);
  WriteFileBytes(dir / "game.img", EncodeSectors(user, SectorLayout::Raw2448));
  RunRecorder host;
  ASSERT_EQ(StripSubchannel(dir / "game.img", dir / "TempBIN.bin", host, host.cancel),
            Outcome::Success());
  EXPECT_EQ(ReadFileBytes(dir / "TempBIN.bin"), EncodeSectors(user, SectorLayout::Mode2Raw));
  EXPECT_EQ(host.stages, std::vector<std::string>{"Extracting RAW Image..."});

  // The free space: the package's size foreseen, and checked.
  WriteFileBytes(dir / "img", Bytes(1000));
  WriteFileBytes(dir / "a", Bytes(10));
  WriteFileBytes(dir / "base", Bytes(100));
  WriteFileBytes(dir / "boot", Bytes(7));
  const std::string assets[5] = {dir / "a", dir / "a", dir / "missing", dir / "a", dir / "a"};
  const uint64_t expected = ExpectedEbootSize(dir / "img", assets, dir / "base", dir / "boot");
  EXPECT_EQ(expected, 1000u + 40 + 100 + 7 + 28);

  auto room = [](std::optional<uint64_t> n) { return [n](const std::string&) { return n; }; };
  EXPECT_EQ(CheckFreeSpace(dir.folder(), expected, room(expected)), "");
  EXPECT_EQ(CheckFreeSpace(dir.folder(), expected, room(expected - 1)),
            "It appears that you may not have enough disk space!");
  EXPECT_EQ(CheckFreeSpace(dir.folder(), expected, room({})), "");  // unknown: not tested
  EXPECT_EQ(CheckFreeSpace(dir.folder(), expected, nullptr), "");   // the real volume has room

  // ISO padding: the sector layout made deliberately, its progress, and half sectors.
  IsoOptions padOpts = GameDisc("SLUS_012.34");
  padOpts.minSectors = 1030;  // crosses two 512-sector service points
  const Bytes padIso = BuildIsoSectors(padOpts);
  WriteFileBytes(dir / "game.iso", padIso);
  RunRecorder padHost;
  ASSERT_EQ(PadIsoToRaw(dir / "game.iso", dir / "TempBIN.bin", padHost, padHost.cancel),
            Outcome::Success());
  const Bytes padRaw = ReadFileBytes(dir / "TempBIN.bin");
  ASSERT_EQ(padRaw.size(), 1030u * 2352);
  // Sync, the address 150 sectors on as BCD minutes, seconds and frames, mode 2, the data.
  const std::pair<long, Bytes> addresses[] = {
      {0, {0x00, 0x02, 0x00}}, {1, {0x00, 0x02, 0x01}}, {1029, {0x00, 0x15, 0x54}}};
  for (const auto& [i, msf] : addresses) {
    Bytes want = {0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};
    want.insert(want.end(), msf.begin(), msf.end());
    want.push_back(0x02);
    want.insert(want.end(), padIso.begin() + i * 2048, padIso.begin() + (i + 1) * 2048);
    want.resize(2352, 0);
    EXPECT_TRUE(Bytes(padRaw.begin() + i * 2352, padRaw.begin() + (i + 1) * 2352) == want) << i;
  }
  EXPECT_EQ(padHost.stages, std::vector<std::string>{"Adding RAW padding..."});
  EXPECT_EQ(padHost.completed, padHost.stages);
  // At the start, at 512, 1024 and the end.
  EXPECT_EQ(padHost.amounts, (std::vector<std::pair<uint64_t, uint64_t>>{
                                 {0, 1030}, {512, 1030}, {1024, 1030}, {1030, 1030}}));

  // 2 sectors + half: rounds to 2; 3 + half: rounds to 4, the last read as zeros.
  WriteFileBytes(dir / "a.iso", NoiseBytes(2048 * 2 + 1024, 1));
  WriteFileBytes(dir / "b.iso", NoiseBytes(2048 * 3 + 1024, 2));
  ASSERT_EQ(PadIsoToRaw(dir / "a.iso", dir / "a.bin", padHost, padHost.cancel), Outcome::Success());
  ASSERT_EQ(PadIsoToRaw(dir / "b.iso", dir / "b.bin", padHost, padHost.cancel), Outcome::Success());
  EXPECT_EQ(FileSize(dir / "a.bin"), 2u * 2352);
  const Bytes b = ReadFileBytes(dir / "b.bin");
  ASSERT_EQ(b.size(), 4u * 2352);
  const Bytes src = ReadFileBytes(dir / "b.iso");
  EXPECT_TRUE(std::equal(src.begin() + 3 * 2048, src.end(), b.begin() + 3 * 2352 + 16));
  EXPECT_TRUE(std::all_of(b.begin() + 3 * 2352 + 16 + 1024, b.begin() + 3 * 2352 + 2064,
                          [](uint8_t v) { return v == 0; }));
}

}  // namespace
}  // namespace ebf
