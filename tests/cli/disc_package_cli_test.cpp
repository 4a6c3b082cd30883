// `info`, `extract` and `verify` on a package of several discs, built by the tests' own
// writer: every disc listed, written and checked under its number. (A damaged disc table
// refused in its words by every entry point: the pbp disc set tests.)
#include <nlohmann/json.hpp>

#include "cli/cli_run.h"
#include "common/text.h"
#include "support/disc_builder.h"
#include "support/pbp_writer.h"
#include "support/runtime.h"

namespace ebf {
namespace {

using test::Cli;
using test::ReadFileBytes;
using test::TempDir;

constexpr uint64_t kSector = 2352;
constexpr uint64_t kBlock = 16 * kSector;

// Sectors that deflate well in the first half, zeros after; sector 0 says mode 2.
Bytes DiscImage(std::size_t sectors, uint32_t seed) {
  Bytes image = test::NoiseBytes(sectors * kSector / 2, seed);
  for (uint8_t& b : image) b &= 0x07;
  image.resize(sectors * kSector, 0);
  image[15] = 2;
  return image;
}

// Two discs: 90 sectors of one data track, then 200 sectors with CD audio at 100 and 150.
struct TwoDiscPackage {
  TempDir dir;
  std::string pbp = dir / "EBOOT.PBP";
  std::vector<Bytes> images;
  test::DiscSetWritten written;
  TwoDiscPackage() {
    std::vector<test::PackageRecipe> recipes(2);
    recipes[0].discId = "SCUS94163";
    recipes[0].image = DiscImage(90, 1);
    recipes[0].toc = test::MakeToc({{0x41, 0}}, 90);
    recipes[1].discId = "SCUS94164";
    recipes[1].image = DiscImage(200, 2);
    recipes[1].toc = test::MakeToc({{0x41, 0}, {0x01, 100}, {0x01, 150}}, 200);
    for (auto& r : recipes) {
      r.title = "Two Discs";
      r.paddingBlock = true;
      images.push_back(r.image);
    }
    written = test::WriteDiscSetPbp(pbp, recipes);
  }
  uint64_t BlockData(int disc) const {
    uint64_t n = 0;
    for (uint32_t len : written.discs[disc - 1].blockLengths) n += len;
    return n;
  }
};

TEST(DiscPackageCli, InfoListsEveryDiscWithItsIdSizeAndTracks) {
  TwoDiscPackage pkg;
  test::Ran r = Cli({"info", pkg.pbp});
  ASSERT_EQ(r.exit, 0) << r.out;
  const std::string discs = ReplaceAll(ReplaceAll(R"(Discs: 2

Disc 1: SCUS94163, 90 sectors, 7 blocks (7 compressed), @1 bytes of block data
  Tracks:
     1  data   00:02:00

Disc 2: SCUS94164, 200 sectors, 14 blocks (14 compressed), @2 bytes of block data
  Tracks:
     1  data   00:02:00
     2  audio  00:03:25
     3  audio  00:04:00
)",
                                                  "@1", std::to_string(pkg.BlockData(1))),
                                       "@2", std::to_string(pkg.BlockData(2)));
  EXPECT_TRUE(r.Says("Title:     Two Discs\nGame ID:   SCUS94163\n")) << r.out;
  ASSERT_GE(r.out.size(), discs.size());
  EXPECT_EQ(r.out.substr(r.out.size() - discs.size()), discs) << r.out;

  const nlohmann::json j = nlohmann::json::parse(Cli({"info", pkg.pbp, "--json"}).out);
  EXPECT_EQ(j["discs"][1]["gameId"].get<std::string>() + " " +
                j["discs"][1]["tracks"][1]["start"].get<std::string>(),
            "SCUS94164 00:03:25");
}

// Every disc under its number or the one asked for; a file in the way of any disc stops them
// all; a disc's sheet.
TEST(DiscPackageCli, ExtractWritesEveryDiscUnderItsNumberOrTheOneAskedFor) {
  TwoDiscPackage pkg;
  auto padded = [&](int disc) {
    Bytes b = pkg.images[disc - 1];
    b.resize((b.size() / kSector + 15) / 16 * kBlock + kBlock, 0);  // and the padding block
    return b;
  };
  const std::string all = pkg.dir.MakeDir("all") + "/";
  test::Ran r = Cli({"--quiet", "extract", pkg.pbp, all + "Game.bin", "--toc", "toc"});
  ASSERT_EQ(r.exit, 0) << r.out;
  EXPECT_EQ(test::FilesIn(all),
            (std::vector<std::string>{"Game (Disc 1).TOC", "Game (Disc 1).bin", "Game (Disc 2).TOC",
                                      "Game (Disc 2).bin"}));
  EXPECT_TRUE(ReadFileBytes(all + "Game (Disc 1).bin") == padded(1));

  // A CCD in the way of disc 2 is not replaced without --yes, and nothing is written.
  const std::string asked = pkg.dir.MakeDir("asked") + "/";
  test::WriteFileText(asked + "Game (Disc 2).ccd", "mine");
  r = Cli({"--quiet", "extract", pkg.pbp, asked + "Game.iso", "--toc", "ccd"});
  EXPECT_TRUE(test::Said(r, 2,
                         {asked + "Game (Disc 2).ccd\nDo you wish to continue?\n(not answered: "
                                  "run again with --yes to answer Yes)"}));
  EXPECT_EQ(test::FilesIn(asked), std::vector<std::string>{"Game (Disc 2).ccd"});

  const std::string one = pkg.dir.MakeDir("one") + "/";
  r = Cli({"--quiet", "extract", pkg.pbp, one + "Second.iso", "--disc", "2", "--toc", "none"});
  ASSERT_EQ(r.exit, 0) << r.out;
  EXPECT_EQ(test::FilesIn(one), std::vector<std::string>{"Second.iso"});
  EXPECT_TRUE(ReadFileBytes(one + "Second.iso") == padded(2));

  // The sheet of disc 2 names its audio tracks in the one file.
  const std::string sheet = pkg.dir.MakeDir("sheet") + "/";
  r = Cli({"--quiet", "extract", pkg.pbp, sheet + "Set.cue", "--toc", "cue"});
  ASSERT_EQ(r.exit, 0) << r.out;
  EXPECT_EQ(test::FilesIn(sheet),
            (std::vector<std::string>{"Set (Disc 1).bin", "Set (Disc 1).cue", "Set (Disc 2).bin",
                                      "Set (Disc 2).cue"}));
  EXPECT_TRUE(ReadFileBytes(sheet + "Set (Disc 2).bin") == pkg.images[1]);
  EXPECT_EQ(test::ReadFileText(sheet + "Set (Disc 2).cue"),
            "FILE \"Set (Disc 2).bin\" BINARY\r\n"
            "  TRACK 01 MODE2/2352\r\n    INDEX 01 00:00:00\r\n"
            "  TRACK 02 AUDIO\r\n    INDEX 01 00:01:25\r\n"
            "  TRACK 03 AUDIO\r\n    INDEX 01 00:02:00\r\n");
}

// The engine's tests pin what is checked; here, each disc's tracks listed under it, and a
// problem named with its disc.
TEST(DiscPackageCli, VerifyListsEveryDiscsTracksUnderIt) {
  TwoDiscPackage pkg;
  const nlohmann::json j = nlohmann::json::parse(Cli({"--quiet", "--json", "verify", pkg.pbp}).out);
  std::string said = j["ok"].dump() + " " + j["discs"].dump() + " " + j["blocks"].dump();
  for (const auto& t : j["tracks"]) said += " " + t["disc"].dump() + "." + t["number"].dump();
  EXPECT_EQ(said, "true 2 21 1.1 2.1 2.2 2.3");
  Bytes bad = ReadFileBytes(pkg.pbp);
  const std::vector<uint32_t>& lengths = pkg.written.discs[1].blockLengths;
  const uint64_t at = pkg.written.sections[1] + 0x100000 + lengths[0] + lengths[1] + lengths[2];
  bad[at] = 0xFF;  // a deflate block of the reserved type
  test::WriteFileBytes(pkg.dir / "bad.pbp", bad);
  const test::Ran r = Cli({"--quiet", "verify", pkg.dir / "bad.pbp"});
  EXPECT_TRUE(test::Said(r, 1));
  const std::size_t one = r.out.find("\nDisc 1\nTrack  Type");
  const std::size_t two = r.out.find("\nDisc 2\nTrack  Type");
  EXPECT_LT(one, two) << r.out;
  EXPECT_NE(two, std::string::npos) << r.out;
  EXPECT_TRUE(r.Says("Problems:\n  Disc 2: Block 3 (track 1, at byte " + std::to_string(at) +
                     ") does not inflate.\n"))
      << r.out;
}

}  // namespace
}  // namespace ebf
