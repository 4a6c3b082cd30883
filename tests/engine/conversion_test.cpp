// RunConversion end to end: the real converter for the happy paths, the stand-in for every
// way a converter can fail, and the promise that the user's image is never left changed.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "assets/slots.h"
#include "common/bytes.h"
#include "common/cancel.h"
#include "common/files.h"
#include "engine/conversion.h"
#include "engine/recovery.h"
#include "engine/verify.h"
#include "engine_job.h"
#include "pbp/inspect.h"
#include "support/disc_builder.h"
#include "support/fake_program.h"
#include "support/inflating_reader.h"
#include "support/messages.h"
#include "support/program_tree.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using namespace test;
using Job = test::EngineJob;

// The PAL screen-height pattern, and what the fix makes of it: both additions of 0x13 and
// 0x10 become additions of 0.
const Bytes kPattern = {0x13, 0x00, 0x91, 0x24, 0x10, 0x00, 0x91, 0x24};
const Bytes kFixed = {0x00, 0x00, 0x91, 0x24, 0x00, 0x00, 0x91, 0x24};

// The pattern twice in the game's code, once at an odd offset. In the raw image the
// executable (first in name order) starts at sector 21, right after the root directory at
// 20, and a mode 2 form 1 sector's data starts 24 bytes in: 1001 -> 21 * 2352 + 24 + 1001;
// 5000 = 2 * 2048 + 904 -> sector 23.
constexpr std::size_t kPalAt[2] = {50417, 55024};

TEST(Conversion, RefusalsQuestionsPlainImagesPalFixesAndRecompression) {
  using Change = std::function<void(Job&)>;
  const std::pair<Change, Outcome> rows[] = {
      {[](Job& r) { std::filesystem::remove(r.progFolder + "Data" + kSep + "tarnwick.exe"); },
       Outcome::Failed(ConverterMissingMessage())},
      // A shipped default that has gone.
      {[](Job& r) {
         std::filesystem::remove(r.progFolder + "PSXCust" + kSep + "Default" + kSep + "PIC1.PNG");
       },
       Outcome::Failed(MissingFilesMessage())},
      {[](Job& r) {
         r.tuning.freeSpace = [](const std::string&) { return std::optional<uint64_t>(1000); };
       },
       Outcome::Failed("It appears that you may not have enough disk space!")},
  };
  // (An output folder that cannot be written is the command line's case.)
  for (const auto& [change, expected] : rows) {
    Job r;
    r.Input("g.bin", Bytes(2352 * 20, 0));
    change(r);
    EXPECT_EQ(r.Go(), expected);
    r.ExpectCleanedUp();
    EXPECT_FALSE(IsDirectory(r.work / "out") && !std::filesystem::is_empty(r.work / "out"));
  }

  // The overwrite question, and the user's own asset in the output folder.
  Job r;
  r.job.confirm = true;
  r.Input("g.bin", Bytes(2352 * 20, 0));
  std::filesystem::create_directories(r.work / "out");
  WriteFileText(r.Out("EBOOT.PBP"), "old");
  // The user's ICON0 already sits in the output folder: no question for it, and it stays.
  std::filesystem::copy_file(r.progFolder + "PSXCust" + kSep + "Default" + kSep + "ICON0.PNG",
                             r.Out("ICON0.PNG"));
  r.job.assets[kSlotIcon0] = {true, r.Out("ICON0.PNG")};
  r.host.answers = {false};
  EXPECT_EQ(r.Go(), Outcome::Declined());  // nothing more to say
  ASSERT_EQ(r.host.questions.size(), 1u);
  EXPECT_NE(r.host.questions[0].text.find("EBOOT.PBP"), std::string::npos);
  EXPECT_EQ(ReadFileText(r.Out("EBOOT.PBP")), "old");

  r.host.answers = {true};
  EXPECT_EQ(r.Go(), Outcome::Success());
  EXPECT_TRUE(FileExists(r.Out("ICON0.PNG")));

  // The PAL fix on a compressed run leaves the user's image as it was, whatever the converter does.
  Bytes exe = NoiseBytes(8192, 3);
  for (long at : {1001, 5000}) std::copy(kPattern.begin(), kPattern.end(), exe.begin() + at);
  const Bytes image = BuildDiscImage(GameDisc("SLES_012.34", exe), SectorLayout::Mode2Raw);
  const std::string failed =
      "Error occurred during conversion!  Tarnwick returned the following:\r\n\r\n";
  // The stand-in's package is no real one, so even a run that ends in "Done." fails the
  // check a new package passes before it is named EBOOT.PBP.
  const std::string notAPackage = "not whole";
  // clang-format off
  const std::pair<const char*, std::string> modes[] = {
      {"done", notAPackage}, {"done-bare", notAPackage}, {"huge", notAPackage},
      {"done-lower", failed + "Writing...\r\ndone.\r\n"}, {"done-no-dot", failed + "Done\r\n"},
      {"silent", failed}, {"error", failed + "Cannot read the image\n"},
      {"crash", failed + "about to crash\n"}, {"slow", "cancelled"},
  };
  // clang-format on
  for (const auto& [mode, message] : modes) {
    SCOPED_TRACE(mode);
    Job pal(9, true);
    FakeMode fake(mode);
    pal.Input("game.bin", image);
    pal.job.palFixScreen = true;
    if (std::string(mode) == "slow")
      pal.host.onAdvance = [&pal](int n) {
        if (n == 3) pal.host.cancel.Request();
      };
    // The user's older package in the folder stays as it was whatever the run does.
    std::filesystem::create_directories(pal.work / "out");
    WriteFileText(pal.Out("EBOOT.PBP"), "an older package");
    const std::string whole =
        "The new package " + pal.Out("EBOOT.PBP.part") + " is not whole: it has no PBP header.";
    EXPECT_EQ(pal.Go(), message == "cancelled"
                            ? Outcome::Cancelled()
                            : Outcome::Failed(message == notAPackage ? whole : message));
    EXPECT_EQ(ReadFileBytes(pal.work / "game.bin"), image);
    EXPECT_EQ(ReadFileText(pal.Out("EBOOT.PBP")), "an older package");
    pal.ExpectCleanedUp();  // no EBOOT.PBP.part
    EXPECT_FALSE(pal.host.cancel.Requested());
  }
  // The real converter: the package carries the fix, the image does not.
  Job pal;
  pal.Input("game.bin", image);
  pal.job.palFixScreen = true;
  const ConversionResult result = pal.Run();
  ASSERT_EQ(std::tuple(result.outcome, result.palPatches), std::tuple(Outcome::Success(), 2u));
  EXPECT_EQ(ReadFileBytes(pal.work / "game.bin"), image);
  // The fix where the pattern lies: the whole disc compared proves both places.
  Bytes fixed = image;
  for (std::size_t at : kPalAt) {
    ASSERT_EQ(Bytes(fixed.begin() + at, fixed.begin() + at + 8), kPattern) << at;
    std::copy(kFixed.begin(), kFixed.end(), fixed.begin() + at);
  }
  EXPECT_TRUE(ReadPackage(pal.Out("EBOOT.PBP")).disc == fixed);

  // Plain images padded or not, the PAL fix of an uncompressed package, and a package of two
  //   // discs recompressed.
  const Bytes user = BuildIsoSectors(GameDisc("SCES_003.44"));
  for (const std::string name : {"game.iso", "game.img", "game.mdf"}) {
    SCOPED_TRACE(name);
    const bool iso = name == "game.iso";
    Job plain(iso ? 9 : 0);
    plain.settings.addIsoPadding = iso;
    plain.Input(name, iso ? user : EncodeSectors(user, SectorLayout::Raw2448));
    ASSERT_EQ(plain.Go(), Outcome::Success());
    plain.ExpectCleanedUp();
    const Bytes back = ReadPackage(plain.Out("EBOOT.PBP")).disc;
    if (!iso) {
      EXPECT_TRUE(back == EncodeSectors(user, SectorLayout::Mode2Raw));
      continue;
    }
    // Padded to raw sectors (their bytes are the padding's own test): the data 16 bytes in.
    ASSERT_EQ(back.size(), user.size() / 2048 * 2352);
    EXPECT_TRUE(std::equal(user.end() - 2048, user.end(), back.end() - 2352 + 16));
  }

  // A pattern that begins in one block and ends in the next is found across the head that lies
  // between them in the package, and written in two pieces around it; the user's image stays.
  Job plain;
  const Bytes noise = NoiseBytes(40 * 2352, 9);
  Bytes patterned = noise, expected = noise;
  for (long at : {37632 - 3, 60001}) {
    std::copy(kPattern.begin(), kPattern.end(), patterned.begin() + at);
    std::copy(kFixed.begin(), kFixed.end(), expected.begin() + at);
  }
  plain.Input("noise.bin", patterned);
  plain.job.level = 0;
  plain.job.palFixScreen = true;
  const ConversionResult plainResult = plain.Run();
  ASSERT_EQ(std::tuple(plainResult.outcome, plainResult.palPatches),
            std::tuple(Outcome::Success(), 2u));
  EXPECT_TRUE(ReadFileBytes(plain.work / "noise.bin") == patterned);
  // Read back as the emulators inflate it: a head written over would break the stream.
  EXPECT_TRUE(ReadPackage(plain.Out("EBOOT.PBP")).disc == expected);

  // Padding off: the ISO is stored as it is, as the settings say, but the TOC gives the
  // disc's 1,731 sectors (not the 1,508 its bytes make as raw sectors), the run says the
  // package will not start in emulators, and --against finds it is not the disc.
  Job u;
  IsoOptions disc = GameDisc("SCES_003.44");
  disc.minSectors = 1731;
  u.Input("game.iso", BuildIsoSectors(disc));
  const ConversionResult unpadded = u.Run();
  ASSERT_EQ(unpadded.outcome, Outcome::Success());
  const std::string warning =
      "ISO padding is off, so the 2,048-byte sectors of game.iso are stored without raw "
      "headers: the package will not start in emulators.";
  EXPECT_EQ(unpadded.warnings, std::vector<std::string>{warning});
  EXPECT_EQ(std::count(u.host.logLines.begin(), u.host.logLines.end(), warning + "\r\n"), 1);
  const Bytes pbp = ReadFileBytes(u.Out("EBOOT.PBP"));
  const std::size_t a2 = LoadLe32(&pbp[36]) + 0x800 + 2 * 10;
  EXPECT_EQ(Bytes(pbp.begin() + a2 + 7, pbp.begin() + a2 + 10), (Bytes{0x00, 0x23, 0x06}));

  VerifyOptions against;
  against.against = u.work / "game.iso";
  const VerifyReport report = VerifyPackage(u.Out("EBOOT.PBP"), against, u.host, u.host.cancel);
  EXPECT_FALSE(report.againstEqual);
  EXPECT_EQ(report.againstText, "sector 0 (track 1) differs first");

  // A game on two discs, the second with two audio tracks, recompressed from its package:
  // every disc comes back out, keeps its own ID and tracks, and nothing of the run is left.
  Job first(0);
  const Bytes one = BuildDiscImage(GameDisc("SLUS_009.06"), SectorLayout::Mode2Raw);
  IsoOptions second = GameDisc("SLUS_009.07", NoiseBytes(30000, 9));
  second.minSectors = 300;
  Bytes two = BuildDiscImage(second, SectorLayout::Mode2Raw);
  Append(two, AudioSectors(250, 4));
  WriteFileBytes(first.work / "Quest (Disc 1).bin", one);
  WriteFileBytes(first.work / "Quest (Disc 2).bin", two);
  WriteFileText(first.work / "Quest (Disc 2).cue",
                "FILE \"Quest (Disc 2).bin\" BINARY\n TRACK 01 MODE2/2352\n  INDEX 01 00:00:00\n"
                " TRACK 02 AUDIO\n  INDEX 01 00:04:00\n TRACK 03 AUDIO\n  INDEX 01 00:05:25\n");
  first.job.input = first.work / "Quest (Disc 1).bin";
  first.job.laterDiscs = {first.work / "Quest (Disc 2).cue"};
  ASSERT_EQ(first.Go(), Outcome::Success());

  Job re(9);
  RunRecorder ih;
  ASSERT_EQ(pbp::InspectEboot(first.Out("EBOOT.PBP"), re.progFolder + "Temp" + kSep, ih).message,
            "");
  // The inspection's parts stay in Temp, but for the START.DAT a run removes.
  re.tempBefore = Entries(re.progFolder + "Temp");
  re.tempBefore.erase("START.DAT");
  re.job.input = first.Out("EBOOT.PBP");
  re.job.packageInspected = true;
  re.job.recompress = true;
  ASSERT_EQ(re.Go(), Outcome::Success());
  re.ExpectCleanedUp();  // no TempISO2.iso, ISO.TOC or ISO2.TOC

  const std::string eboot = re.Out("EBOOT.PBP");
  const Bytes package = ReadFileBytes(eboot);
  // Disc 1 carries the package's ID (the job's), disc 2 the one read from it, each at +0x400
  // in its section's header.
  for (auto [number, disc, id] : {std::tuple{1, &one, "_SLUS_01234"}, {2, &two, "_SLUS_00907"}}) {
    InflatingReader reader(eboot, number);
    EXPECT_EQ(reader.discCount(), 2);
    EXPECT_TRUE(ReadPackage(eboot, number).disc == *disc) << number;
    const long at = static_cast<long>(reader.sectionStart() + 0x400);
    ASSERT_LT(at + 11, static_cast<long>(package.size()));
    EXPECT_EQ(std::string(package.begin() + at, package.begin() + at + 11), id) << number;
  }
  EXPECT_EQ(ReadPackage(eboot, 2).tracks, "1 data 0, 2 audio 300, 3 audio 400");
}

// What a killed run leaves is put right at the next start (the command line's recovery test
// has the PAL fix and the patch); with nothing left, the start makes no Temp folder just to
// look. A run note naming a file no run makes there deletes nothing.
TEST(Conversion, TheNextStartRemovesOnlyWhatARunMakes) {
  TempDir prog, work;
  const ProgramFolders folders(prog.folder());
  EXPECT_TRUE(RecoverInterruptedWork(folders).empty());
  EXPECT_FALSE(IsDirectory(prog / "Temp"));

  const std::string temp = TempFolder(prog.folder());
  const std::string partial = work / "EBOOT.PBP.part";
  const std::vector<std::string> users = {work / "tarnwick.exe", work / "keep.pbp"};
  test::WriteFileText(partial, "half a package");
  for (const std::string& f : users) test::WriteFileText(f, "mine");
  test::WriteFileText(temp + "RUN.NOTE", users[0] + "\n" + partial + "\n" + users[1] + "\n");
  test::WriteFileText(temp + "TempBIN.bin", "work");
  EXPECT_TRUE(RecoverInterruptedWork(folders).empty());
  EXPECT_FALSE(FileExists(partial));
  for (const std::string& f : users) EXPECT_EQ(test::ReadFileText(f), "mine") << f;
  EXPECT_TRUE(std::filesystem::is_empty(prog / "Temp"));
}

}  // namespace
}  // namespace ebf
