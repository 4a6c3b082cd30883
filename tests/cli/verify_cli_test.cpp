// A Redump set converted twice gives the same bytes at every level, however the converter's
// threads take the blocks (discs through a package and back, in every layout: the engine's
// disc layout tests). Then `verify` end to end (the rules are the engine's tests'): the
// package's track figures checked with Python's zlib and hashlib as the witness, --against
// its source and --dat in one run, then a DAT that does not match, in the text view.
#include <nlohmann/json.hpp>

#include "cli/cli_run.h"
#include "support/disc_sets.h"
#include "support/realistic_image.h"

namespace ebf {
namespace {

using test::Cli;

TEST(VerifyCli, ConvertingTwiceGivesTheSameBytesAndTheTrackFiguresCheckOut) {
  test::TempDir dir;
  const test::DiscSet set = test::WriteRedumpSet(dir.MakeDir("set"));
  // A disc of some size as well, so that the converter's threads take blocks in varying
  // order.
  const std::string big = dir / "big.bin";
  test::WriteRealisticImage(big, 12u << 20);
  // The image has no game ID of its own.
  const std::vector<std::string> id = {"--id", "SLUS01234", "--save-name", "Same"};
  for (const std::string& input : {big, set.input}) {
    for (int level : {0, 5, 9}) {
      SCOPED_TRACE(input + " level " + std::to_string(level));
      const std::string name = std::to_string(level);
      const Bytes first = test::ReadFileBytes(test::Convert(input, dir / ("a" + name), level, id));
      const Bytes second = test::ReadFileBytes(test::Convert(input, dir / ("b" + name), level, id));
      ASSERT_GT(first.size(), 0x100000u);
      EXPECT_TRUE(first == second);
    }
  }
  const std::string pbp = dir / "a9/EBOOT.PBP";        // the Redump set's
  const uint64_t sizes[] = {705600, 882000, 1058400};  // 300, 375, 450 sectors
  std::vector<std::string> crcs, md5s, sha1s;
  std::string dat =
      "<?xml version=\"1.0\"?>\n<datafile>\n <game name=\"Game (USA)\">\n"
      "  <rom name=\"Game (USA).cue\" size=\"300\" crc=\"deadbeef\"/>\n";
  for (int i = 0; i < 3; ++i) {
    const std::string figures = test::Figures(set.files[i]);
    ASSERT_EQ(figures.size(), 82u) << figures;
    crcs.push_back(figures.substr(0, 8));
    md5s.push_back(figures.substr(9, 32));
    sha1s.push_back(figures.substr(42, 40));
    dat += "  <rom name=\"T" + std::to_string(i) + ".bin\" size=\"" + std::to_string(sizes[i]) +
           "\" crc=\"" + crcs[i] + "\" md5=\"" + md5s[i] + "\" sha1=\"" + sha1s[i] + "\"/>\n";
  }
  test::WriteFileText(dir / "good.dat", dat + " </game>\n</datafile>\n");

  test::Ran r =
      Cli({"--quiet", "--json", "verify", pbp, "--against", set.input, "--dat", dir / "good.dat"});
  ASSERT_EQ(r.exit, 0) << r.out;
  const nlohmann::json j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["ok"], true);
  EXPECT_EQ(j["blocks"], 72);  // 71 blocks of disc and the padding block
  EXPECT_EQ(j["digests"], "checked");
  EXPECT_EQ(j["problems"].size(), 0u);
  ASSERT_EQ(j["tracks"].size(), 3u);
  for (int i = 0; i < 3; ++i) {
    const nlohmann::json& t = j["tracks"][i];
    EXPECT_EQ(std::tuple(t["number"], t["type"], t["size"], t["crc32"], t["md5"], t["sha1"]),
              std::tuple(i + 1, i == 0 ? "data" : "audio", sizes[i], crcs[i], md5s[i], sha1s[i]));
  }
  EXPECT_EQ(j["against"]["equal"], true);
  EXPECT_EQ(j["against"]["text"], "identical");
  EXPECT_EQ(j["dat"]["matched"], true);
  EXPECT_EQ(j["dat"]["game"], "Game (USA)");

  // Track 3's MD5 changed: the track is named, and the text view gives the verdict. (The
  // verdict's rules: the engine's DAT tests.)
  std::string md5 = md5s[2];
  md5[5] = md5[5] == '0' ? '1' : '0';
  dat.replace(dat.find(md5s[2]), 32, md5);
  test::WriteFileText(dir / "bad.dat", dat + " </game>\n</datafile>\n");
  const nlohmann::json bad = nlohmann::json::parse(
      Cli({"--quiet", "--json", "verify", pbp, "--dat", dir / "bad.dat"}).out);
  EXPECT_EQ(bad["dat"]["differingTracks"], nlohmann::json::array({3}));
  r = Cli({"--quiet", "verify", pbp, "--dat", dir / "bad.dat"});
  EXPECT_TRUE(test::Said(r, 1,
                         {"Closest is \"Game (USA)\"; track 3 does not match.",
                          "Blocks: 72 read; every block matches its digest\n", "NOT verified"}));
}

}  // namespace
}  // namespace ebf
