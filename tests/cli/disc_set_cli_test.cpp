// A game on several discs from the command line: resolve and patch meeting disc 1's patch and
// LibCrypt data, convert with every disc named and each disc's patch, or with a playlist;
// batch putting the "(Disc N)" files of one game into one package. Each package is
// read back disc by disc as the emulators read it.
#include <nlohmann/json.hpp>

#include "cli/cli_run.h"
#include "support/disc_builder.h"
#include "support/inflating_reader.h"

namespace ebf {
namespace {

using test::Cli;

using test::TempDir;

// A data disc of the game whose executable is `exe`, with `padding` sectors of noise after
// its files so that discs differ and blocks do not shrink to nothing.
Bytes DataDisc(const std::string& exe, uint32_t seed, uint32_t sectors = 120) {
  test::IsoOptions options = test::GameDisc(exe, test::NoiseBytes(20000, seed));
  options.minSectors = sectors;
  return test::BuildDiscImage(options, test::SectorLayout::Mode2Raw);
}

// The ID a disc section carries at +0x400, and the title header's shared ID at +0x264.
std::string SectionId(const Bytes& pkg, uint64_t section) {
  return std::string(reinterpret_cast<const char*>(&pkg[section + 0x400]), 11);
}

void ExpectDisc(const std::string& eboot, int number, int discs, const Bytes& disc) {
  SCOPED_TRACE("disc " + std::to_string(number));
  test::InflatingReader reader(eboot, number);
  ASSERT_EQ(reader.error(), "");
  EXPECT_EQ(reader.discCount(), discs);
  const uint32_t sectors = static_cast<uint32_t>(disc.size() / 2352);
  EXPECT_EQ(reader.discSectors(), sectors);
  Bytes back;
  ASSERT_EQ(reader.ReadSectors(0, sectors, back), "");
  EXPECT_TRUE(back == disc);
}

// The whole way: two discs converted by the real converter, each with its own ID, tracks and
// patch. (Header patches of a package of several discs: the pbp disc set tests; the .sbi
// files beside a package and beside extracted images: the engine's patched-conversion tests
// and the window's package dialog tests.)
TEST(DiscSetCli, TheDiscsOfAGameGoIntoOnePackageWithTheirPatches) {
  TempDir dir;
  const std::string one = dir / "Metal Gear (Disc 1).bin", ppf = dir / "Metal Gear (Disc 1).ppf";
  const Bytes disc1 = DataDisc("SLUS_005.94", 1);
  test::WriteFileBytes(one, disc1);
  // Disc 2 as a Redump set of its own: a data track and an audio track, each its own file, the
  // audio with INDEX 00 at its start and INDEX 01 two seconds in.
  const Bytes data2 = DataDisc("SLUS_007.76", 2), audio = test::AudioSectors(200, 7);
  test::WriteFileBytes(dir / "Metal Gear (Disc 2) (Track 1).bin", data2);
  test::WriteFileBytes(dir / "Metal Gear (Disc 2) (Track 2).bin", audio);
  test::WriteFileText(dir / "Metal Gear (Disc 2).cue",
                      R"(FILE "Metal Gear (Disc 2) (Track 1).bin" BINARY
  TRACK 01 MODE2/2352
    INDEX 01 00:00:00
FILE "Metal Gear (Disc 2) (Track 2).bin" BINARY
  TRACK 02 AUDIO
    INDEX 00 00:00:00
    INDEX 01 00:02:00
)");
  // Disc 1: a PPF 1.0 beside it ("FIXED" at 2350, across the edge of sectors 0 and 1) and
  // LibCrypt data (key bit 0: sector 16167, 03:35:42). Disc 2: an IPS named on the line.
  test::WriteFileText(ppf, std::string("PPF10\0", 6) + std::string(50, ' ') +
                               std::string("\x2E\x09\0\0\5FIXED", 10));
  test::WriteFileText(dir / "fix.ips", std::string("PATCH\0\x09\x2E\0\x03ipsEOF", 16));
  test::WriteFileBytes(
      dir / "Metal Gear (Disc 1).sbi",
      Bytes{'S', 'B', 'I', 0, 3, 0x35, 0x42, 1, 0x41, 1, 1, 3, 0x33, 0x43, 0, 3, 0x35, 0x40});
  Bytes fixed1 = disc1, fixed2 = data2;
  fixed2.insert(fixed2.end(), audio.begin(), audio.end());
  std::copy_n("FIXED", 5, fixed1.begin() + 2350);
  std::copy_n("ips", 3, fixed2.begin() + 2350);

  test::Ran r = Cli({"resolve", one});
  EXPECT_TRUE(r.Says("libcrypt key = 0x0001 (Metal Gear (Disc 1).sbi)\n")) << r.out;
  EXPECT_TRUE(r.Says("patch = " + ppf + "\n")) << r.out;
  r = Cli({"patch", one, ppf, "-o", dir / "patched.bin"});
  ASSERT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(test::ReadFileBytes(dir / "patched.bin") == fixed1);

  // Disc 1 takes the patch beside it, disc 2 the one named for it.
  r = test::CliSh(dir, "convert " + test::ShellQuote(one) + " " +
                           test::ShellQuote(dir / "Metal Gear (Disc 2).cue") + " --patch " +
                           test::ShellQuote("2:" + dir / "fix.ips") + " -o " +
                           test::ShellQuote(dir / "out") + " --level 9 --json --yes");
  ASSERT_EQ(r.exit, 0) << r.err;
  EXPECT_NE(r.err.find("A patch lies beside the disc image:\n" + ppf), std::string::npos) << r.err;
  const std::string eboot = dir / "out/EBOOT.PBP";
  ExpectDisc(eboot, 1, 2, fixed1);
  ExpectDisc(eboot, 2, 2, fixed2);
  // Track 2 of disc 2 is audio and starts at its INDEX 00, right after the data track.
  test::InflatingReader second(eboot, 2);
  ASSERT_EQ(second.tracks().size(), 2u);
  EXPECT_EQ(
      std::tuple(second.tracks()[0].audio, second.tracks()[1].audio, second.tracks()[1].start),
      std::tuple(false, true, static_cast<int64_t>(data2.size() / 2352)));
  // Each disc carries its own ID, the title header disc 1's: the package's ID and saves.
  const Bytes pkg = test::ReadFileBytes(eboot);
  const uint64_t psar = LoadLe32(&pkg[0x24]);
  EXPECT_EQ(LoadLe32(&pkg[psar + 0x208]), 0u);  // two discs, no third
  EXPECT_EQ(SectionId(pkg, psar + 0x264 - 0x400) + " " +
                SectionId(pkg, psar + LoadLe32(&pkg[psar + 0x200])) + " " +
                SectionId(pkg, psar + LoadLe32(&pkg[psar + 0x204])),
            "_SLUS_00594 _SLUS_00594 _SLUS_00776");
  // The game is named as the game list names disc 1, without a disc number.
  const nlohmann::json j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["title"].get<std::string>() + " " + j["gameId"].get<std::string>(),
            "Metal Gear Solid [NTSC-U] SLUS00594");
  // The user's files are as they were; nothing of the run is left beside the package.
  EXPECT_TRUE(test::ReadFileBytes(one) == disc1);
  EXPECT_EQ(test::FilesIn(dir / "out"), (std::vector<std::string>{"EBOOT.PBP", "EBOOT_1.sbi"}));
}

// Which discs make a game and when one missing is refused are the library's and the plan's
// tests'; here, the flags that say so, and a playlist.
TEST(DiscSetCli, BatchPutsTheDiscsOfAGameTogetherUnlessToldNotToAndAPlaylistDoes) {
  TempDir dir;
  const std::string in = dir.MakeDir("in");
  const Bytes alpha1 = DataDisc("SLUS_902.01", 11), alpha3 = DataDisc("SLUS_902.03", 13);
  test::WriteFileBytes(in + "/Alpha (Disc 1).bin", alpha1);
  test::WriteFileBytes(in + "/Alpha (Disc 3).bin", alpha3);  // disc 2 is missing
  const Bytes beta = DataDisc("SLUS_903.01", 21);
  test::WriteFileBytes(in + "/Beta.bin", beta);

  // A game with a disc missing is not converted: disc 3 would be the package's disc 2.
  const test::Ran refused = Cli({"batch", in, "-o", dir / "no", "--level", "1"});
  EXPECT_TRUE(test::Said(refused, 1,
                         {"Disc 2 of \"Alpha\" was not found; the game is not converted "
                          "without it.\n(run again with --allow-missing-discs",
                          "1 of 2 converted."}));
  EXPECT_FALSE(FileExists(dir / "no/Alpha/EBOOT.PBP"));

  // Allowed, the discs found go into one package, and the record says what it lacks.
  EXPECT_TRUE(test::Said(
      Cli({"--json", "batch", in, "-o", dir / "out", "--level", "1", "--allow-missing-discs"}), 0,
      {"\"warnings\":[\"Disc 2 of \\\"Alpha\\\" was not found; the package holds the discs "
       "found.\"]"}));
  ExpectDisc(dir / "out/Alpha/EBOOT.PBP", 2, 2, alpha3);
  EXPECT_TRUE(
      test::Said(Cli({"batch", in, "-o", dir / "apart", "--level", "1", "--separate-discs"}), 0,
                 {"3 of 3 converted."}));
  ExpectDisc(dir / "apart/Alpha (Disc 3)/EBOOT.PBP", 1, 1, alpha3);

  // A playlist names the discs of a game in order (five at most: the plan's tests); the
  // package is named after its first disc's file, without the disc number.
  test::WriteFileText(dir / "Duo.m3u",
                      "# the discs in order\nin/Alpha (Disc 3).bin\nin/Beta.bin\n");
  const test::Ran r = Cli({"convert", dir / "Duo.m3u", "-o", dir / "duo", "--level", "1", "--id",
                           "SLUS90101", "--json", "--quiet"});
  ASSERT_EQ(r.exit, 0) << r.out;
  ExpectDisc(dir / "duo/EBOOT.PBP", 1, 2, alpha3);
  ExpectDisc(dir / "duo/EBOOT.PBP", 2, 2, beta);
  EXPECT_EQ(nlohmann::json::parse(r.out)["title"], "Alpha") << r.out;
}

}  // namespace
}  // namespace ebf
