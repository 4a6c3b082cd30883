// CHD and ECM inputs through RunConversion and the real converter, read back as the
// emulator readers that inflate every block read them. chdman is the witness: its CHDs of
// BIN/CUE sets built here (chdman's default codecs and each CD codec it has; the chdman of
// Debian 12 has no cdzs) give the same package disc, tracks and length as the BIN/CUE set
// itself. ECM files made by the tests' encoder do the same, alone or named by a sheet.
// Damaged files, and a cancel, stop the run with nothing left behind.
#include <gtest/gtest.h>

#include <filesystem>

#include "common/cancel.h"
#include "common/files.h"
#include "common/text.h"
#include "engine/conversion.h"
#include "support/cd_sets.h"
#include "support/chd_writer.h"
#include "support/chdman.h"
#include "support/conversion_job.h"
#include "support/ecm_writer.h"
#include "support/inflating_reader.h"
#include "support/program_tree.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

struct Job : test::ConversionJob {
  explicit Job(const std::string& input, int level = 0) {
    job.input = input;
    job.title = job.saveName = "Disc";
    job.level = level;
  }
  // The stages the run went through, one a line.
  std::string Log() const {
    std::string log;
    for (const std::string& stage : host.stages) log += stage + "\n";
    return log;
  }
  // No package, and nothing of the run left in the output or the Temp folder.
  void ExpectNothingLeft() const {
    for (const char* name : {"EBOOT.PBP", "tarnwick.exe", "BASE.PBP", "ISO.TOC"})
      EXPECT_FALSE(FileExists(Out(name))) << name;
    const std::filesystem::path temp = std::filesystem::u8path(progFolder + "Temp");
    if (std::filesystem::exists(temp)) {
      EXPECT_TRUE(std::filesystem::is_empty(temp)) << temp;
    }
  }
};

struct Track {
  int number;
  bool audio;
  int64_t start;
};

struct Package {
  Outcome result = Outcome::Declined();
  std::vector<Track> tracks;
  uint32_t sectors = 0;
  Bytes disc;
};

Package Convert(const std::string& input, int level, std::string* log = nullptr) {
  Job job(input, level);
  Package p;
  p.result = job.Go();
  if (log) *log = job.Log();
  if (!p.result.succeeded()) {
    job.ExpectNothingLeft();
    return p;
  }
  test::InflatingReader reader(job.Out("EBOOT.PBP"));
  EXPECT_EQ(reader.error(), "");
  for (const auto& t : reader.tracks()) {
    p.tracks.push_back({t.number, t.audio, t.start});
    EXPECT_EQ(t.audioPosition, t.start) << t.number;
  }
  p.sectors = reader.discSectors();
  EXPECT_EQ(reader.ReadSectors(0, p.sectors, p.disc), "");
  return p;
}

void ExpectTracks(const Package& p, const std::vector<Track>& want, const std::string& label) {
  ASSERT_EQ(p.tracks.size(), want.size()) << label;
  for (std::size_t i = 0; i < want.size(); ++i) {
    EXPECT_EQ(p.tracks[i].number, want[i].number) << label;
    EXPECT_EQ(p.tracks[i].audio, want[i].audio) << label << " track " << want[i].number;
    EXPECT_EQ(p.tracks[i].start, want[i].start) << label << " track " << want[i].number;
  }
}

// Track 2's INDEX 00 is in its file (the TOC puts the track there); track 3's PREGAP is
// silence in no file, and the track starts with it.
const std::vector<Track> kMixedTracks = {{1, false, 0}, {2, true, 300}, {3, true, 670}};

TEST(ImageFormats, ChdmanChdsGiveTheSameDiscAsTheirBinCueSet) {
  TempDir dir;
  std::filesystem::create_directories(std::filesystem::u8path(dir / "data"));
  std::filesystem::create_directories(std::filesystem::u8path(dir / "mixed"));
  const test::CdSet sets[] = {test::WriteDataOnlySet(dir / "data"),
                              test::WriteMixedSet(dir / "mixed")};
  const uint32_t sectors[] = {419, 875};
  for (int s = 0; s < 2; ++s) {
    const Package reference = Convert(sets[s].cuePath, 9);
    ASSERT_EQ(reference.result, Outcome::Success());
    ASSERT_EQ(reference.sectors, sectors[s]);
    ASSERT_TRUE(reference.disc == sets[s].disc);
    if (s == 1) ExpectTracks(reference, kMixedTracks, "sheet");
    // "" is chdman's default (cdlz, cdzl, cdfl); "none" stores every hunk as it is.
    for (const char* codec : {"", "cdlz", "cdzl", "cdfl", "none"}) {
      const std::string label = std::string(s ? "mixed " : "data ") + (*codec ? codec : "default");
      const std::string chd = dir / (label + ".chd");
      ASSERT_TRUE(test::CreateChd(sets[s].cuePath, chd, codec)) << label;
      const Bytes before = test::ReadFileBytes(chd);
      std::string log;
      const Package p = Convert(chd, *codec ? 0 : 9, &log);
      ASSERT_EQ(p.result, Outcome::Success()) << label;
      EXPECT_NE(log.find("Unpacking CHD image..."), std::string::npos) << label << log;
      EXPECT_EQ(p.sectors, sectors[s]) << label;
      EXPECT_TRUE(p.disc == reference.disc) << label;
      ExpectTracks(p, s ? kMixedTracks : std::vector<Track>{{1, false, 0}}, label);
      EXPECT_TRUE(test::ReadFileBytes(chd) == before) << label;
    }
  }
}

TEST(ImageFormats, EcmFilesAloneAndNamedBySheetsGiveTheOriginalDisc) {
  TempDir dir;
  std::filesystem::create_directories(std::filesystem::u8path(dir / "data"));
  const test::CdSet data = test::WriteDataOnlySet(dir / "data");
  test::EcmCounts counts;
  test::WriteFileBytes(data.binPaths[0] + ".ecm",
                       test::EncodeEcm(test::ReadFileBytes(data.binPaths[0]), &counts));
  // The data track really is modelled, not kept as literals.
  EXPECT_EQ(counts.form1 + counts.form2, 419u);

  {
    SCOPED_TRACE("a lone .bin.ecm");
    std::string log;
    const Package p = Convert(data.binPaths[0] + ".ecm", 9, &log);
    ASSERT_EQ(p.result, Outcome::Success());
    EXPECT_NE(log.find("Decoding ECM image..."), std::string::npos) << log;
    EXPECT_EQ(p.sectors, 419u);
    EXPECT_TRUE(p.disc == data.disc);
  }
  {
    SCOPED_TRACE("a one-file sheet naming the .bin.ecm");
    test::WriteFileText(dir / "data/packed.cue",
                        "FILE \"Data Disc.bin.ecm\" BINARY\r\n  TRACK 01 MODE2/2352\r\n"
                        "    INDEX 01 00:00:00\r\n");
    const Package p = Convert(dir / "data/packed.cue", 0);
    ASSERT_EQ(p.result, Outcome::Success());
    EXPECT_TRUE(p.disc == data.disc);
  }
  DeleteFileIfExists(data.binPaths[0]);
  {
    SCOPED_TRACE("a one-file sheet naming the .bin, with only the .bin.ecm beside it");
    const Package p = Convert(data.cuePath, 0);
    ASSERT_EQ(p.result, Outcome::Success());
    EXPECT_TRUE(p.disc == data.disc);
  }
}

// Damage found part way through unpacking (the readers' own tests hold every other kind).
TEST(ImageFormats, DamagedChdAndEcmFilesStopWithTheirMessageAndLeaveNothing) {
  TempDir dir;
  const test::CdSet set = test::WriteDataOnlySet(dir.path());
  Bytes flipped = test::EncodeEcm(test::ReadFileBytes(set.binPaths[0]));
  flipped[flipped.size() / 2] ^= 0x20;  // inside a sector's stored data
  // The same disc stored again with hunk 5's CRC in the map made wrong.
  ASSERT_TRUE(test::CreateChd(set.cuePath, dir / "good.chd", ""));
  ASSERT_TRUE(test::CreateChd(set.cuePath, dir / "plain.chd", "none"));
  test::RecompressOptions damage;
  damage.wrongCrcHunk = 5;
  damage.digestsFrom = test::ReadFileBytes(dir / "good.chd");
  const std::tuple<std::string, Bytes, std::string> cases[] = {
      {"flipped.bin.ecm", flipped,
       "\"flipped.bin.ecm\" is damaged: the decoded data does not match the checksum the file "
       "carries."},
      {"bad hunk.chd", test::RecompressChd(test::ReadFileBytes(dir / "plain.chd"), damage),
       "\"bad hunk.chd\" is damaged: hunk 5 fails its checksum."}};
  for (const auto& [name, bytes, message] : cases) {
    test::WriteFileBytes(dir / name, bytes);
    EXPECT_EQ(Convert(dir / name, 9).result, Outcome::Failed(message));  // and nothing is left
    EXPECT_TRUE(test::ReadFileBytes(dir / name) == bytes) << name;
  }
}

TEST(ImageFormats, CancelWhileUnpackingLeavesNothing) {
  TempDir dir;
  const test::CdSet set = test::WriteMixedSet(dir.path());
  ASSERT_TRUE(test::CreateChd(set.cuePath, dir / "m.chd", ""));
  test::WriteFileBytes(dir / "m.bin.ecm", test::EncodeEcm(test::ReadFileBytes(set.binPaths[0])));
  for (const char* input : {"m.chd", "m.bin.ecm"}) {
    SCOPED_TRACE(input);
    Job job(dir / input, 9);
    job.host.onAdvance = [&job](int) { job.host.cancel.Request(); };
    EXPECT_EQ(job.Go(), Outcome::Cancelled());
    EXPECT_FALSE(job.host.cancel.Requested());
    EXPECT_EQ(job.host.amounts.size(), 1u);
    job.ExpectNothingLeft();
  }
}

}  // namespace
}  // namespace ebf
