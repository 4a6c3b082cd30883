// CHD and ECM files as discs: a chdman CHD of a BIN/CUE set opens with the track list the
// joined sheet gives and the same sectors; an ECM file reads as the file it was made from,
// alone or named by a sheet; the game ID and the resolver know both, and
// the ID is read from a handful of sectors, not the whole disc.
#include <gtest/gtest.h>

#include <filesystem>

#include "common/files.h"
#include "disc/disc_image.h"
#include "disc/game_id.h"
#include "disc/resolver.h"
#include "support/cd_sets.h"
#include "support/chdman.h"
#include "support/ecm_writer.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"
#include "track_rows.h"

namespace ebf {
namespace {

using test::TempDir;

using test::ReadAll;

// A ByteSource that counts what is asked of it.
class CountingSource : public ByteSource {
 public:
  explicit CountingSource(ByteSource& inner) : inner_(inner) {}
  uint64_t Size() override { return inner_.Size(); }
  std::size_t ReadAt(uint64_t offset, std::span<uint8_t> out) override {
    bytes += out.size();
    return inner_.ReadAt(offset, out);
  }
  uint64_t bytes = 0;

 private:
  ByteSource& inner_;
};

TEST(PackedDisc, ChdOpensWithTheJoinedSheetsTracksAndSectors) {
  TempDir dir;
  const test::CdSet set = test::WriteMixedSet(dir.path());
  ASSERT_TRUE(test::CreateChd(set.cuePath, dir / "Mixed.chd", ""));
  DiscOpenResult chd = OpenDiscImage(dir / "Mixed.chd");
  ASSERT_TRUE(chd.disc) << chd.message;
  const DiscInfo& info = chd.disc->info();
  EXPECT_EQ(info.assembly, DiscAssembly::Decoded);
  EXPECT_EQ(info.sheet, dir / "Mixed.chd");
  EXPECT_EQ(info.sectorCount, 875u);
  // Written out by hand from the sheet: track 2's INDEX 00 (150 sectors) is in its file,
  // track 3's PREGAP of 75 sectors is in no file and starts the track. Opened through the
  // sheet, the set gives the same list.
  EXPECT_EQ(test::TrackRows(info),
            (test::Rows{"1 MODE2/2352 0 0 300 0 0 Mixed.chd", "2 AUDIO 300 450 370 0 0 Mixed.chd",
                        "3 AUDIO 670 745 205 75 0 Mixed.chd"}));
  DiscOpenResult cue = OpenDiscImage(set.cuePath);
  ASSERT_TRUE(cue.disc) << cue.message;
  EXPECT_EQ(test::TrackRows(cue.disc->info(), false), test::TrackRows(info, false));
  chd.disc->ExpectReadInOrder();
  EXPECT_TRUE(ReadAll(*chd.disc, 29) == set.disc);
  EXPECT_EQ(chd.disc->CheckWholeRead(), "");

  // Past the end, and a file that is no CHD.
  Bytes sector(2352);
  EXPECT_NE(chd.disc->Read(875, 1, sector), "");
  test::WriteFileText(dir / "fake.chd", "MComprHD and nothing more");
  DiscOpenResult fake = OpenDiscImage(dir / "fake.chd");
  EXPECT_FALSE(fake.disc);
  EXPECT_NE(fake.message.find("\"fake.chd\""), std::string::npos) << fake.message;
}

TEST(PackedDisc, EcmReadsAsItsOriginalAndItsChecksumIsTestedAfterAWholeRead) {
  TempDir dir;
  const test::CdSet set = test::WriteMixedSet(dir.path());
  for (const std::string& bin : set.binPaths) {
    test::WriteFileBytes(bin + ".ecm", test::EncodeEcm(test::ReadFileBytes(bin)));
    DeleteFileIfExists(bin);
  }
  // The sheet names the .bin files; the .bin.ecm beside them stand in.
  DiscOpenResult disc = OpenDiscImage(set.cuePath);
  ASSERT_TRUE(disc.disc) << disc.message;
  EXPECT_EQ(disc.disc->info().sectorCount, 875u);
  EXPECT_EQ(FileNameOf(disc.disc->info().tracks[1].file), "Mixed (Track 2).bin.ecm");
  EXPECT_TRUE(ReadAll(*disc.disc) == set.disc);
  EXPECT_EQ(disc.disc->CheckWholeRead(), "");

  // A lone ECM file of a data track: a plain image that must be decoded.
  DiscOpenResult one = OpenDiscImage(set.binPaths[0] + ".ecm");
  ASSERT_TRUE(one.disc) << one.message;
  EXPECT_EQ(one.disc->info().assembly, DiscAssembly::Decoded);
  EXPECT_EQ(one.disc->info().wholeFile, "");
  EXPECT_EQ(one.disc->info().sectorCount, 300u);
  // Read out of order, backwards: the checksum is still tested, reading on where needed.
  Bytes back(300 * 2352);
  for (int s = 299; s >= 0; --s)
    ASSERT_EQ(one.disc->Read(s, 1, std::span<uint8_t>(back.data() + s * 2352, 2352)), "");
  EXPECT_TRUE(back == Bytes(set.disc.begin(), set.disc.begin() + 300 * 2352));
  EXPECT_EQ(one.disc->CheckWholeRead(), "");

  // One byte of stored data changed: the reads go through, the checksum does not.
  Bytes ecm = test::ReadFileBytes(set.binPaths[0] + ".ecm");
  ecm[ecm.size() - 3000] ^= 0x04;
  test::WriteFileBytes(dir / "bad.bin.ecm", ecm);
  DiscOpenResult bad = OpenDiscImage(dir / "bad.bin.ecm");
  ASSERT_TRUE(bad.disc) << bad.message;
  ReadAll(*bad.disc);
  EXPECT_EQ(bad.disc->CheckWholeRead(),
            "\"bad.bin.ecm\" is damaged: the decoded data does not match the checksum the file "
            "carries.");
}

TEST(PackedDisc, GameIdAndResolverKnowChdAndEcm) {
  TempDir dir, program;
  const test::CdSet set = test::WriteDataOnlySet(dir.path());
  ASSERT_TRUE(test::CreateChd(set.cuePath, dir / "Data Disc.chd", ""));
  test::WriteFileBytes(set.binPaths[0] + ".ecm",
                       test::EncodeEcm(test::ReadFileBytes(set.binPaths[0])));

  for (const std::string name : {"Data Disc.chd", "Data Disc.bin.ecm"}) {
    SCOPED_TRACE(name);
    DiscOpenResult disc = OpenDiscImage(dir / name);
    ASSERT_TRUE(disc.disc) << disc.message;
    auto bytes = DiscBytes(*disc.disc);
    CountingSource counted(*bytes);
    EXPECT_EQ(DetectGameId(counted), "SLUS01234");
    // The volume descriptor and the root directory: a few sectors of the 419.
    EXPECT_LT(counted.bytes, 8u * 2352);

    ResolveContext context;
    context.programFolder = program.path();
    test::RunRecorder host;
    ResolvedInput r = ResolveInput(dir / name, context, host);
    EXPECT_EQ(r.message, "");
    EXPECT_EQ(r.gameId, "SLUS01234");
    EXPECT_EQ(r.title, "Data Disc");
  }
}

}  // namespace
}  // namespace ebf
