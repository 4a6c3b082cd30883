// CHD and ECM inputs through RunConversion and the real converter, read back as the
// emulator readers that inflate every block read them. Every chdman codec is the CHD reader's
// test, and chdman's CHDs give the same package as the BIN/CUE set in the disc layout test;
// here ECM files alone or named by a one-file sheet are decoded first (a sheet naming the
// .bin with only its .bin.ecm beside it is the disc reader's test), and damage found part
// way through unpacking, or a cancel, stops the run with nothing left behind.
#include <gtest/gtest.h>

#include <filesystem>

#include "common/cancel.h"
#include "common/files.h"
#include "engine/conversion.h"
#include "engine_job.h"
#include "support/cd_sets.h"
#include "support/chd_writer.h"
#include "support/chdman.h"
#include "support/disc_sets.h"
#include "support/ecm_writer.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using namespace test;

struct Package : ReadBack {
  Outcome result = Outcome::Declined();
  std::vector<std::string> stages;
};

// Converts `input`; a run that fails leaves no package and nothing else behind.
Package Convert(const std::string& input, int level) {
  EngineJob job(level);
  job.job.input = input;
  Package p;
  p.result = job.Go();
  p.stages = job.host.stages;
  job.ExpectCleanedUp();
  if (p.result.succeeded())
    static_cast<ReadBack&>(p) = ReadPackage(job.Out("EBOOT.PBP"));
  else
    EXPECT_FALSE(FileExists(job.Out("EBOOT.PBP")));
  return p;
}

TEST(ImageFormats, EcmInputsGiveTheDiscAndDamageOrACancelLeavesNothing) {
  TempDir dir;
  std::filesystem::create_directories(std::filesystem::u8path(dir / "data"));
  const CdSet data = WriteDataOnlySet(dir / "data");
  EcmCounts counts;
  WriteFileBytes(data.binPaths[0] + ".ecm", EncodeEcm(ReadFileBytes(data.binPaths[0]), &counts));
  // The data track really is modelled, not kept as literals.
  EXPECT_EQ(counts.form1 + counts.form2, 419u);

  // A lone .bin.ecm, and a one-file sheet naming it.
  WriteFileText(dir / "data/packed.cue",
                "FILE \"Data Disc.bin.ecm\" BINARY\r\n  TRACK 01 MODE2/2352\r\n"
                "    INDEX 01 00:00:00\r\n");
  for (const std::string& input : {data.binPaths[0] + ".ecm", dir / "data/packed.cue"}) {
    SCOPED_TRACE(input);
    const Package p = Convert(input, input.back() == 'm' ? 9 : 0);
    ASSERT_EQ(p.result, Outcome::Success());
    EXPECT_EQ(std::count(p.stages.begin(), p.stages.end(), "Decoding ECM image..."), 1);
    EXPECT_EQ(p.sectors, 419u);
    EXPECT_TRUE(p.disc == data.disc);
  }

  // Damage found part way through unpacking (the readers' own tests hold every other kind).
  Bytes flipped = EncodeEcm(ReadFileBytes(data.binPaths[0]));
  flipped[flipped.size() / 2] ^= 0x20;  // inside a sector's stored data
  // The same disc stored again with hunk 5's CRC in the map made wrong.
  ASSERT_TRUE(CreateChd(data.cuePath, dir / "good.chd", ""));
  ASSERT_TRUE(CreateChd(data.cuePath, dir / "plain.chd", "none"));
  RecompressOptions damage;
  damage.wrongCrcHunk = 5;
  damage.digestsFrom = ReadFileBytes(dir / "good.chd");
  const std::tuple<std::string, Bytes, std::string> cases[] = {
      {"flipped.bin.ecm", flipped,
       "\"flipped.bin.ecm\" is damaged: the decoded data does not match the checksum the file "
       "carries."},
      {"bad hunk.chd", RecompressChd(ReadFileBytes(dir / "plain.chd"), damage),
       "\"bad hunk.chd\" is damaged: hunk 5 fails its checksum."}};
  for (const auto& [name, bytes, message] : cases) {
    WriteFileBytes(dir / name, bytes);
    EXPECT_EQ(Convert(dir / name, 9).result, Outcome::Failed(message));  // and nothing is left
    EXPECT_TRUE(ReadFileBytes(dir / name) == bytes) << name;
  }

  // A cancel seen at the first service point of the unpacking, or of the joining of a set's
  // files, stops the run with nothing left.
  const CdSet mixed = WriteMixedSet(dir.MakeDir("mixed"));
  ASSERT_TRUE(CreateChd(mixed.cuePath, dir / "m.chd", ""));
  WriteFileBytes(dir / "m.bin.ecm", EncodeEcm(ReadFileBytes(mixed.binPaths[0])));
  const std::string redump = WriteRedumpSet(dir.MakeDir("redump")).input;
  for (const std::string& input : {dir / "m.chd", dir / "m.bin.ecm", redump}) {
    SCOPED_TRACE(input);
    EngineJob job(9);
    job.job.input = input;
    job.host.onAdvance = [&job](int) { job.host.cancel.Request(); };
    EXPECT_EQ(job.Go(), Outcome::Cancelled());
    EXPECT_FALSE(job.host.cancel.Requested() || FileExists(job.Out("EBOOT.PBP")));
    // Asked for as the work began (the set's 1,125 sectors), seen at its first point.
    ASSERT_EQ(job.host.amounts.size(), 1u);
    EXPECT_EQ(job.host.amounts[0].first, 0u);
    EXPECT_EQ(input == redump ? job.host.amounts[0].second : 1125u, 1125u);
    job.ExpectCleanedUp();
  }
}

}  // namespace
}  // namespace ebf
