// Real discs through RunConversion and the real converter, read back as the emulator readers
// that inflate every block read them: the whole disc sector for sector, every track where
// its file and INDEX put it, the disc's full length. Bad sheets stop before any work is
// left behind.
#include <gtest/gtest.h>

#include <algorithm>

#include <openssl/sha.h>

#include "common/files.h"
#include "common/text.h"
#include "engine/image_prep.h"
#include "engine/verify.h"
#include "engine_job.h"
#include "pbp/track_extract.h"
#include "support/disc_sets.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using namespace test;
using Job = test::EngineJob;

std::string Sha1(const Bytes& bytes) {
  uint8_t sha[SHA_DIGEST_LENGTH];
  SHA1(bytes.data(), bytes.size(), sha);
  std::string hex;
  for (uint8_t b : sha) hex += "0123456789abcdef"[b >> 4], hex += "0123456789abcdef"[b & 15];
  return hex;
}

// The sheets' rules and words are the disc reader's; here a refused sheet ends the run with
// nothing made, whether its files are joined or its one file is used as it is.
TEST(DiscLayouts, EveryLayoutGivesTheSamePackageAndBadSheetsNothing) {
  const std::string one =
      "FILE \"One File.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n"
      "  TRACK 02 AUDIO\n    INDEX 00 00:04:00\n    INDEX 01 00:06:00\n"
      "  TRACK 03 AUDIO\n    INDEX 00 00:09:00\n    INDEX 01 00:11:00\n";
  const std::pair<std::string, std::string> cases[] = {
      {RedumpSheet({"Game (USA) (Track 1).bin", "Game (USA) (Track 2).bin", "Gone.bin"}),
       "The BIN file could not be found!!!\r\n(Gone.bin, named by game.cue)"},
      {ReplaceAll(one, "TRACK 02 AUDIO", "TRACK 02 CDG"),
       "Track 02 of game.cue is CDG, which cannot be converted: the converter takes 2,352-byte "
       "sectors (AUDIO, MODE1/2352 or MODE2/2352)."},
      {ReplaceAll(ReplaceAll(one, "00:09:00", "00:20:00"), "00:11:00", "00:22:00"),
       "Track 3 of game.cue starts at sector 1500, beyond the end of One File.bin (1125 sectors)."},
  };
  for (int level : {9, 0}) {
    for (const auto& [sheet, message] : cases) {
      SCOPED_TRACE(message);
      Job r(level);
      WriteRedumpSet(r.work.path());
      const DiscSet set = WriteOneFileSheet(r.work.path());
      const Bytes image = ReadFileBytes(set.files[0]);
      WriteFileText(r.work / "game.cue", sheet);
      r.job.input = r.work / "game.cue";
      EXPECT_EQ(r.Go(), Outcome::Failed(message));
      r.ExpectCleanedUp();
      EXPECT_TRUE(Entries(r.work / "out").empty());
      EXPECT_TRUE(ReadFileBytes(set.files[0]) == image);
    }
  }

  // A track file that vanishes between opening the sheet and reading it stops the joining
  // (a cancel of it is the packed images' test).
  TempDir dir;
  const DiscSet set = WriteRedumpSet(dir.path());
  const std::string temp = dir / "TempBIN.bin";
  DiscOpenResult disc = OpenDiscImage(set.input);
  ASSERT_TRUE(disc.disc) << disc.message;
  DeleteFileIfExists(set.files[2]);
  RunRecorder host;
  EXPECT_EQ(WriteDiscImage(*disc.disc, temp, "Joining tracks...", host, host.cancel),
            Outcome::Failed("Cannot read " + set.files[2] + ": No such file or directory"));
  EXPECT_FALSE(FileExists(temp));
  EXPECT_EQ(host.stages, std::vector<std::string>{"Joining tracks..."});
  EXPECT_TRUE(host.completed.empty());

  // One disc in every layout: the same DATA.PSAR byte for byte, each track where its pregap
  // starts (the track files taken back out are the Redump files), and the Redump sheet.
  using L = SameDiscLayout;
  // clang-format off
  const char* names[] = {"one-file sheet", "Redump set", "PREGAP sheet", "IMG+CCD", "CCD of a BIN",
                         "ISO with a CCD", "MDF+MDS", "CHD of the Redump set",
                         "CHD of the PREGAP sheet", "ECM Redump set"};
  // clang-format on
  TempDir redump;
  const DiscSet reference = WriteSameDisc(L::RedumpSet, redump.path());
  std::string dat = "<datafile><game name=\"Game (USA)\">";
  for (int i = 0; i < 3; ++i)
    dat += "<rom name=\"" + FileNameOf(reference.files[i]) + "\" sha1=\"" +
           Sha1(ReadFileBytes(reference.files[i])) + "\"/>";
  WriteFileText(redump / "redump.dat", dat + "</game></datafile>");

  Bytes first;
  for (int i = 0; i <= static_cast<int>(L::EcmRedumpSet); ++i) {
    const L layout = static_cast<L>(i);
    SCOPED_TRACE(names[i]);
    Job r(9);
    const DiscSet set = WriteSameDisc(layout, r.work.MakeDir("in"));
    r.job.input = set.input;
    ASSERT_EQ(r.Go(), Outcome::Success());
    const Bytes pbp = ReadFileBytes(r.Out("EBOOT.PBP"));
    const Bytes psar(pbp.begin() + LoadLe32(&pbp[36]), pbp.end());
    if (first.empty()) first = psar;
    EXPECT_TRUE(psar == first);

    ASSERT_EQ(pbp::ExtractTracks(r.Out("EBOOT.PBP"), r.work / "back/Game (USA)",
                                 pbp::TrackFiles::Split, r.host, r.host.cancel),
              Outcome::Success());
    for (int t = 0; t < 3; ++t)
      EXPECT_TRUE(ReadFileBytes(r.work / ("back/" + FileNameOf(reference.files[t]))) ==
                  ReadFileBytes(reference.files[t]))
          << t;
    EXPECT_EQ(ReadFileText(r.work / "back/Game (USA).cue"),
              RedumpSheet({"Game (USA) (Track 1).bin", "Game (USA) (Track 2).bin",
                           "Game (USA) (Track 3).bin"}));
    if (layout == L::RedumpSet) {
      // Only the joining ran, and the user's files are as they were.
      for (const char* step :
           {"Joining tracks...", "Adding RAW padding...", "Extracting RAW Image..."})
        EXPECT_EQ(std::count(r.host.stages.begin(), r.host.stages.end(), step), step[0] == 'J')
            << step;
      for (int t = 0; t < 3; ++t)
        EXPECT_TRUE(ReadFileBytes(set.files[t]) == ReadFileBytes(reference.files[t])) << t;
    }
    if (layout == L::CloneCd) {
      VerifyOptions options;
      options.dat = redump / "redump.dat";
      const VerifyReport report = VerifyPackage(r.Out("EBOOT.PBP"), options, r.host, r.host.cancel);
      EXPECT_TRUE(report.datMatched) << report.datText;
    }
  }
}

}  // namespace
}  // namespace ebf
