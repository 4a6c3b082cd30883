// A game on several discs from the command line: convert with every disc named, or with a
// playlist; batch putting the "(Disc N)" files of one game into one package. Each package is
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

// Disc 2 of a set as a Redump set of its own: a data track and an audio track, each its own
// file, the audio with INDEX 00 at its start and INDEX 01 two seconds in.
Bytes WriteTwoTrackDisc(const std::string& folder, const std::string& name, const Bytes& data) {
  const Bytes audio = test::AudioSectors(200, 7);
  test::WriteFileBytes(folder + "/" + name + " (Track 1).bin", data);
  test::WriteFileBytes(folder + "/" + name + " (Track 2).bin", audio);
  test::WriteFileText(folder + "/" + name + ".cue",
                      "FILE \"" + name +
                          " (Track 1).bin\" BINARY\n  TRACK 01 MODE2/2352\n"
                          "    INDEX 01 00:00:00\nFILE \"" +
                          name +
                          " (Track 2).bin\" BINARY\n"
                          "  TRACK 02 AUDIO\n    INDEX 00 00:00:00\n    INDEX 01 00:02:00\n");
  Bytes disc = data;
  disc.insert(disc.end(), audio.begin(), audio.end());
  return disc;
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

// The whole way: two discs converted by the real converter, each with its own ID and tracks.
// (Header patches of a package of several discs: the pbp disc set tests.)
TEST(DiscSetCli, TheDiscsOfAGameGoIntoOnePackage) {
  TempDir dir;
  const Bytes disc1 = DataDisc("SLUS_005.94", 1);
  test::WriteFileBytes(dir / "Metal Gear (Disc 1).bin", disc1);
  const Bytes data2 = DataDisc("SLUS_007.76", 2);
  const Bytes disc2 = WriteTwoTrackDisc(dir.path(), "Metal Gear (Disc 2)", data2);

  const test::Ran r =
      Cli({"convert", dir / "Metal Gear (Disc 1).bin", dir / "Metal Gear (Disc 2).cue", "-o",
           dir / "out", "--level", "9", "--json", "--quiet"});
  ASSERT_EQ(r.exit, 0) << r.out;
  const std::string eboot = dir / "out/EBOOT.PBP";
  ExpectDisc(eboot, 1, 2, disc1);
  ExpectDisc(eboot, 2, 2, disc2);
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
  EXPECT_TRUE(test::ReadFileBytes(dir / "Metal Gear (Disc 1).bin") == disc1);
  EXPECT_EQ(test::FilesIn(dir / "out"), std::vector<std::string>{"EBOOT.PBP"});
}

// Five discs, the most a package holds (six are refused by the plan).
TEST(DiscSetCli, APlaylistOfFiveDiscs) {
  TempDir dir;
  std::vector<Bytes> discs;
  std::string playlist = "# the discs in order\n";
  for (int n = 1; n <= 5; ++n) {
    discs.push_back(DataDisc("SLUS_901.0" + std::to_string(n), n, 60 + 20 * n));
    const std::string name = "Quintet (Disc " + std::to_string(n) + ").bin";
    test::WriteFileBytes(dir.MakeDir("discs") + "/" + name, discs.back());
    playlist += "discs/" + name + "\n";
  }
  test::WriteFileText(dir / "Quintet.m3u", playlist);
  const test::Ran r = Cli({"convert", dir / "Quintet.m3u", "-o", dir / "out", "--level", "1",
                           "--id", "SLUS90101", "--json", "--quiet"});
  ASSERT_EQ(r.exit, 0) << r.out;
  for (int n = 1; n <= 5; ++n) ExpectDisc(dir / "out/EBOOT.PBP", n, 5, discs[n - 1]);
  // Named after the file, without its disc number.
  EXPECT_EQ(nlohmann::json::parse(r.out)["title"], "Quintet") << r.out;
}

// Which discs make a game and when one missing is refused are the library's and the plan's
// tests'; here, the flags that say so.
TEST(DiscSetCli, BatchPutsTheDiscsOfAGameTogetherUnlessToldNotTo) {
  TempDir dir;
  const std::string in = dir.MakeDir("in");
  const Bytes alpha1 = DataDisc("SLUS_902.01", 11), alpha3 = DataDisc("SLUS_902.03", 13);
  test::WriteFileBytes(in + "/Alpha (Disc 1).bin", alpha1);
  test::WriteFileBytes(in + "/Alpha (Disc 3).bin", alpha3);  // disc 2 is missing
  test::WriteFileBytes(in + "/Beta.bin", DataDisc("SLUS_903.01", 21));

  // A game with a disc missing is not converted: disc 3 would be the package's disc 2.
  const test::Ran refused = Cli({"batch", in, "-o", dir / "no", "--level", "1"});
  EXPECT_EQ(refused.exit, 1) << refused.out;
  EXPECT_TRUE(
      refused.Says("Disc 2 of \"Alpha\" was not found; the game is not converted "
                   "without it.\n(run again with --allow-missing-discs"))
      << refused.out;
  EXPECT_TRUE(refused.Says("1 of 2 converted.")) << refused.out;
  EXPECT_FALSE(FileExists(dir / "no/Alpha/EBOOT.PBP"));

  // Allowed, the discs found go into one package, and the record says what it lacks.
  const test::Ran r =
      Cli({"--json", "batch", in, "-o", dir / "out", "--level", "1", "--allow-missing-discs"});
  ASSERT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(
      r.Says("\"warnings\":[\"Disc 2 of \\\"Alpha\\\" was not found; the package "
             "holds the discs found.\"]"))
      << r.out;
  ExpectDisc(dir / "out/Alpha/EBOOT.PBP", 2, 2, alpha3);

  const test::Ran apart =
      Cli({"batch", in, "-o", dir / "apart", "--level", "1", "--separate-discs"});
  ASSERT_EQ(apart.exit, 0) << apart.out;
  EXPECT_TRUE(apart.Says("3 of 3 converted.")) << apart.out;
  ExpectDisc(dir / "apart/Alpha (Disc 3)/EBOOT.PBP", 1, 1, alpha3);
}

}  // namespace
}  // namespace ebf
