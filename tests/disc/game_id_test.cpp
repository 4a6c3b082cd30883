// Game ID detection on images of every layout, a real genisoimage image as a witness, and
// the checks an ID must pass before a conversion.
#include "disc/game_id.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "common/bytes.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"
#include "support/disc_builder.h"
#include "support/picture_tools.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

std::string IdOf(const Bytes& image, GameIdProbe* probe = nullptr) {
  static const TempDir dir;
  static int n = 0;
  std::string path = dir / ("image" + std::to_string(n++) + ".bin");
  WriteFileBytes(path, image);
  return DetectGameId(path, probe);
}

// Offset of the directory record that carries `name` in a plain image.
std::size_t RecordOffset(const Bytes& plain, const std::string& name) {
  auto it = std::search(plain.begin() + 20 * 2048, plain.end(), name.begin(), name.end());
  return static_cast<std::size_t>(it - plain.begin()) - 33;
}

TEST(GameIdDetect, EveryLayoutGivesTheSameId) {
  // clang-format off
  const std::pair<SectorLayout, std::pair<uint32_t, uint32_t>> layouts[] = {
      {SectorLayout::Plain2048, {2048, 0}}, {SectorLayout::Mode1Raw, {2352, 16}},
      {SectorLayout::Mode2Raw, {2352, 24}}, {SectorLayout::Raw2448, {2448, 24}}};
  // clang-format on
  for (const auto& [layout, expect] : layouts) {
    GameIdProbe probe;
    EXPECT_EQ(IdOf(BuildDiscImage(GameDisc("SLUS_012.34"), layout), &probe), "SLUS01234");
    EXPECT_EQ(std::tie(probe.sectorSize, probe.dataOffset, probe.directoryOffset),
              std::make_tuple(expect.first, expect.second, 20ull * expect.first + expect.second));
  }
  EXPECT_EQ(IdOf(BuildDiscImage(GameDisc("SCUS_944.76"), SectorLayout::Mode2Raw)), "SCUS94476");
  // An eight-character name is an ID to detection (validation refuses it later).
  EXPECT_EQ(IdOf(BuildIsoSectors(GameDisc("ABCD_123.4"))), "ABCD1234");
}

TEST(GameIdDetect, GenisoimageDiscIsRead) {
  ASSERT_TRUE(Installed("genisoimage"));
  TempDir dir;
  std::string root = dir.MakeDir("disc");
  WriteFileText(root + "/SYSTEM.CNF", "BOOT = cdrom:\\SLUS_012.34;1\r\n");
  WriteFileBytes(root + "/SLUS_012.34", NoiseBytes(5000, 3));
  WriteFileBytes(root + "/ABC.DAT", NoiseBytes(100, 4));
  dir.MakeDir("disc/DATA");
  for (const char* flags : {"", "-R -J"}) {
    std::string iso = dir / "witness.iso";
    DeleteFileIfExists(iso);
    Shell(std::string("genisoimage -quiet ") + flags + " -o '" + iso + "' '" + root + "' 2>&1");
    ASSERT_TRUE(FileExists(iso)) << flags;
    EXPECT_EQ(DetectGameId(iso), "SLUS01234") << flags;
  }
}

TEST(GameIdDetect, OnlyTheFirstDirectorySectorAndOnlyFilesCount) {
  // Enough entries sorting before the boot file to push it into the second sector.
  IsoOptions spill = GameDisc("SLUS_012.34");
  for (int i = 0; i < 60; ++i)
    spill.files.push_back({"FILE" + std::to_string(100 + i) + ".DAT;1", Bytes(10, 1)});
  EXPECT_EQ(IdOf(BuildIsoSectors(spill)), "");

  // A folder named like an ID is passed over; the file after it is found.
  IsoOptions folder = GameDisc("SLUS_012.34");
  folder.files.push_back({"SCES_000.01", Bytes(10, 1)});
  Bytes plain = BuildIsoSectors(folder);
  EXPECT_EQ(IdOf(plain), "SCES00001");
  plain[RecordOffset(plain, "SCES_000.01") + 25] = 2;
  EXPECT_EQ(IdOf(plain), "SLUS01234");

  // Names that do not have the shape, or are too long, are not IDs.
  IsoOptions noId;
  for (const char* name : {"SYSTEM.CNF;1", "SLUS_0123.45;1", "DATA_AB.123;1"})
    noId.files.push_back({name, Bytes(10, 1)});
  EXPECT_EQ(IdOf(BuildIsoSectors(noId)), "");
}

TEST(GameIdDetect, ZeroNameLengthAndPaddedRecordsAreWalked) {
  Bytes plain = BuildIsoSectors(GameDisc("SLUS_012.34"));
  // The boot file's record gains system-use bytes (the walk must skip by the length), after
  // a record with a zero name length (the walk restarts 33 bytes in).
  const auto boot = static_cast<std::ptrdiff_t>(RecordOffset(plain, "SLUS_012.34;1"));
  const uint8_t len = plain[static_cast<std::size_t>(boot)];
  Bytes record(plain.begin() + boot, plain.begin() + boot + len);
  record[0] = static_cast<uint8_t>(len + 20);
  record.resize(len + 20u, 'X');
  std::fill(plain.begin() + boot, plain.begin() + 21 * 2048, 0);
  plain[static_cast<std::size_t>(boot)] = 33;
  std::copy(record.begin(), record.end(), plain.begin() + boot + 33);
  EXPECT_EQ(IdOf(plain), "SLUS01234");
}

TEST(GameIdDetect, BadImagesGiveNoIdAndNeverCrash) {
  EXPECT_EQ(DetectGameId("/nonexistent/missing.iso"), "");
  // Empty, tiny, and zero sectors all the way (the walk runs out).
  for (const Bytes& b : {Bytes(), Bytes(3, 0), Bytes(40000, 0)}) EXPECT_EQ(IdOf(b), "");
  Bytes good = BuildDiscImage(GameDisc("SLUS_012.34"), SectorLayout::Mode2Raw);
  // Every truncation of a raw image: an ID only when the directory sector is whole enough.
  for (std::size_t len : {4ul, 2352ul, 2356ul, 16 * 2352ul + 20, 20 * 2352ul + 30, 21 * 2352ul}) {
    std::string id = IdOf(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(len)));
    EXPECT_TRUE(id.empty() || id == "SLUS01234") << len;
  }
  // Raw, but the second sync is at neither 2352 nor 2448.
  Bytes odd = good;
  odd[2352] = 0x12;
  EXPECT_EQ(IdOf(odd), "");
  // Raw without a volume descriptor within 129 words.
  Bytes noDesc = good;
  std::fill(noDesc.begin() + 16 * 2352 + 16, noDesc.begin() + 17 * 2352, 0xAA);
  EXPECT_EQ(IdOf(noDesc), "");
  // Garbage of every fill: a made-up "directory" is walked within its sector only.
  for (int seed = 0; seed < 200; ++seed) {
    Bytes junk = NoiseBytes(40000 + seed * 37, seed);
    if (seed % 3 == 0) StoreLe32(junk.data(), 0xFFFFFF00);
    if (seed % 6 == 0) StoreLe32(junk.data() + 2352, 0xFFFFFF00);
    EXPECT_LT(CharCount(IdOf(junk)), 10u);
  }
  EXPECT_EQ(IdOf(Bytes(100000, 0x40)), "");  // every byte looks like a 64-byte record
}

TEST(GameIdDetect, ReadsAHandfulOfBytesOfALargeImage) {
  TempDir dir;
  std::string path = dir / "big.bin";
  WriteFileBytes(path, BuildDiscImage(GameDisc("SLES_123.45"), SectorLayout::Mode2Raw));
  {
    File f(path, File::Mode::ReadWrite);
    ASSERT_TRUE(f.Seek(300ull << 20));  // a sparse 300 MB tail
    ASSERT_TRUE(f.Write(std::string_view("end")));
  }
  GameIdProbe probe;
  EXPECT_EQ(DetectGameId(path, &probe), "SLES12345");
  EXPECT_TRUE(probe.bytesRead < 4096 && probe.reads < 20) << probe.bytesRead << " " << probe.reads;
}

TEST(GameIdCheck, RefusalsComeInOrder) {
  RunRecorder host;
  // ID, title, save name and the message it is refused with ("": it passes).
  // clang-format off
  const std::tuple<const char*, const char*, const char*, std::string> rows[] = {
      {"", "", "", kNoTitleMessage}, {"", "T", "", kNoSaveNameMessage},
      {"ABCD1234", "T", "S", kIdLengthMessage}, {"SLUS012345", "T", "S", kIdLengthMessage},
      {"ABCD12345", "T", "S", kIdShapeMessage}, {"SLUS1234X", "T", "S", kIdShapeMessage},
      {"SLUS-1234", "T", "S", kIdShapeMessage}, {"SCUS94476", "T", "S", ""},
      {"scus94476", "T", "S", ""}, {"SlEs12345", "T", "S", ""}, {"ESPM00001", "T", "S", ""},
      {"SIPS99999", "T", "S", ""}};
  // clang-format on
  for (const auto& [id, title, save, message] : rows) {
    const GameIdCheck r = CheckGameIdForConversion(id, title, save, "", false, false, host);
    EXPECT_EQ(
        std::tie(r.outcome, r.message),
        std::make_tuple(message.empty() ? CheckOutcome::Pass : CheckOutcome::Refused, message))
        << id;
  }
  EXPECT_TRUE(host.questions.empty());
}

TEST(GameIdCheck, RegionQuestionsDefaultToNo) {
  // Region, screen fix, graphics fix and the question asked (none: it passes unasked).
  // clang-format off
  const std::tuple<std::string, bool, bool, std::string> cases[] = {
      {"NTSC", true, false, kPalFixOnNtscQuestion}, {"NTSC", false, true, kPalFixOnNtscQuestion},
      {"PAL", false, false, kPalWithoutFixQuestion}, {"NTSC", false, false, ""},
      {"PAL", true, true, ""}, {"", true, false, ""}};
  // clang-format on
  for (const auto& [region, screen, gfx, question] : cases)
    for (bool answer : {false, true}) {
      RunRecorder host;
      host.answers = {answer};
      const GameIdCheck r =
          CheckGameIdForConversion("SLES12345", "T", "S", region, screen, gfx, host);
      std::string asked;
      for (const auto& q : host.questions) asked += q.text + (q.defaultNo ? " [No]" : " [Yes]");
      EXPECT_EQ(std::tie(asked, r.outcome, r.message),
                std::make_tuple(
                    question.empty() ? "" : question + " [No]",
                    question.empty() || answer ? CheckOutcome::Pass : CheckOutcome::Declined, ""))
          << region << screen << gfx;
    }
}

// The disc subcommands of ebootforge-cli, run as a user would run them: what each prints and
// how it exits.
TEST(DiscCli, QueriesAndThePalFixPrintAndExitAsTheyShould) {
  TempDir dir;
  const std::string bin = dir / "Metal.bin";
  WriteFileBytes(bin, BuildDiscImage(GameDisc("SLUS_005.94"), SectorLayout::Mode2Raw));
  WriteFileText(dir / "Metal.cue",
                "FILE \"METAL.BIN\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n");
  WriteFileBytes(dir / "junk.iso", NoiseBytes(50000, 1));
  WriteFileText(dir / "bad.cue", "FILE \"NOPE.BIN\" BINARY\n");
  WriteFileText(dir / "test.ini", "DefaultOutDirOpt=3\r\n");
  Bytes pal(100000, 0x55);
  StoreLe32(&pal[4097], 0x24910013), StoreLe32(&pal[4101], 0x24910010);    // screen height
  StoreLe32(&pal[70001], 0x3C028007), StoreLe32(&pal[70005], 0x8C42EC90);  // graphics
  const std::string image = dir / "pal.bin";
  WriteFileBytes(image, pal);

  // The arguments, the exit status and what the output holds (a game ID's: all of it).
  // clang-format off
  const std::tuple<std::vector<std::string>, int, std::vector<std::string>> rows[] = {
      {{"gameid", bin}, 0, {"SLUS00594\n"}},
      {{"gameid", dir / "Metal.cue"}, 0, {"SLUS00594\n"}},
      {{"gameid", dir / "junk.iso"}, 1, {"No game ID found in " + (dir / "junk.iso") + "\n"}},
      // The shipped database sits beside the program.
      {{"lookup", "SLUS00776"}, 0, {"save name = Metal Gear Solid\n", "package ID = SLUS00594\n", "region = NTSC\n"}},
      {{"lookup", "NONE00000"}, 1, {}},
      {{"resolve", bin, "--ini", dir / "test.ini"}, 0, {"input = " + bin + "\n", "game ID = SLUS00594\n", "output folder = " + dir.path() + kSep + "SLUS00594\n"}},
      {{"resolve", bin, "--yes", "--ini", dir / "test.ini"}, 0, {"input = " + (dir / "Metal.cue") + "\n", "data file = " + bin + "\n"}},
      {{"resolve", dir / "bad.cue"}, 1, {"inspection = no"}},
      {{"palfix", image}, 1, {}},  // neither fix chosen
      {{"palfix", image, "--screen", "--gfx"}, 0, {"0x00001001 screen height 0x24910013\n0x00011171 graphics 0x3C028007\n"}},
      {{"palfix", dir / "missing.bin", "--screen"}, 1, {}},
  };
  // clang-format on
  for (const auto& [args, exit, says] : rows) {
    const ProcessResult r = RunProcess(PrivateCli(), args, {});
    SCOPED_TRACE(args[0] + " " + args[1] + "\n" + r.output);
    EXPECT_EQ(r.exitCode, exit);
    for (const std::string& text : says) EXPECT_NE(r.output.find(text), std::string::npos);
    EXPECT_TRUE(args[0] != "gameid" || r.output == says[0]);
  }
  EXPECT_EQ(ReadFileBytes(image), pal);  // listed, not changed

  const ProcessResult applied = RunProcess(PrivateCli(), {"palfix", image, "--gfx", "--apply"}, {});
  EXPECT_NE(applied.output.find("0x00011171 graphics 0x3C028007\n"), std::string::npos);
  EXPECT_EQ(applied.output.find("screen"), std::string::npos);
  const Bytes after = ReadFileBytes(image);
  EXPECT_EQ(std::make_pair(LoadLe32(&after[70001]), LoadLe32(&after[4097])),
            std::make_pair(0x20020000u, 0x24910013u));
}

}  // namespace
}  // namespace ebf::test
