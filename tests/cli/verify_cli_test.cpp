// `verify`: the track figures of a package made from a Redump set (checked with Python's
// zlib and hashlib as the independent witness), --against the source and a changed source,
// --dat with a matching and a changed entry, and damage: a flipped byte in block data, a
// package cut short, digests missing.
#include <nlohmann/json.hpp>

#include "cli/cli_run.h"
#include "support/disc_builder.h"
#include "support/disc_sets.h"

namespace ebf {
namespace {

using test::Cli;
using test::TempDir;

using test::Convert;

struct Witness {
  std::string crc, md5, sha1;
};

Witness FiguresOf(const std::string& path) {
  const std::string out = test::Figures(path);
  EXPECT_EQ(out.size(), 82u) << out;
  return {out.substr(0, 8), out.substr(9, 32), out.substr(42, 40)};
}

nlohmann::json VerifyJson(const std::vector<std::string>& more, int expectedExit) {
  std::vector<std::string> args = {"--quiet", "--json", "verify"};
  args.insert(args.end(), more.begin(), more.end());
  test::Ran r = Cli(args);
  EXPECT_EQ(r.exit, expectedExit) << r.out;
  try {
    return nlohmann::json::parse(r.out);
  } catch (const std::exception&) {
    ADD_FAILURE() << r.out;
    return {};
  }
}

std::string Dat(const std::string& game, const std::vector<std::string>& names,
                const std::vector<uint64_t>& sizes, const std::vector<Witness>& w) {
  std::string xml =
      "<?xml version=\"1.0\"?>\n<datafile>\n <header><name>Test</name></header>\n"
      " <game name=\"Other Game (Japan)\">\n  <rom name=\"Other.bin\" size=\"1234\" "
      "crc=\"01234567\"/>\n </game>\n <game name=\"" +
      game +
      "\">\n"
      "  <rom name=\"" +
      game + ".cue\" size=\"300\" crc=\"deadbeef\"/>\n";
  for (std::size_t i = 0; i < names.size(); ++i)
    xml += "  <rom name=\"" + names[i] + "\" size=\"" + std::to_string(sizes[i]) + "\" crc=\"" +
           w[i].crc + "\" md5=\"" + w[i].md5 + "\" sha1=\"" + w[i].sha1 + "\"/>\n";
  return xml + " </game>\n</datafile>\n";
}

TEST(VerifyCli, TrackFiguresAgainstTheSourceAndADat) {
  TempDir dir;
  const test::DiscSet set = test::WriteRedumpSet(dir.MakeDir("set"));
  const std::string pbp = Convert(set.input, dir / "pkg", 9);
  const std::vector<std::string> names = {"Game (USA) (Track 1).bin", "Game (USA) (Track 2).bin",
                                          "Game (USA) (Track 3).bin"};
  const std::vector<uint64_t> sizes = {705600, 882000, 1058400};  // 300, 375, 450 sectors
  std::vector<Witness> w;
  for (int i = 0; i < 3; ++i) w.push_back(FiguresOf(set.files[i]));

  nlohmann::json j = VerifyJson({pbp, "--against", set.input}, 0);
  EXPECT_EQ(j["ok"], true);
  EXPECT_EQ(j["blocks"], 72);  // 71 blocks of disc and the padding block
  EXPECT_EQ(j["digests"], "checked");
  EXPECT_EQ(j["problems"].size(), 0u);
  ASSERT_EQ(j["tracks"].size(), 3u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(j["tracks"][i]["number"], i + 1);
    EXPECT_EQ(j["tracks"][i]["type"], i == 0 ? "data" : "audio");
    EXPECT_EQ(j["tracks"][i]["size"], sizes[i]);
    EXPECT_EQ(j["tracks"][i]["crc32"], w[i].crc);
    EXPECT_EQ(j["tracks"][i]["md5"], w[i].md5);
    EXPECT_EQ(j["tracks"][i]["sha1"], w[i].sha1);
  }
  EXPECT_EQ(j["against"]["equal"], true);
  EXPECT_EQ(j["against"]["text"], "identical");

  // A source with its second and third tracks swapped: each file holds the other's track.
  const std::string other = dir.MakeDir("other");
  test::WriteFileBytes(other + "/" + names[0], test::ReadFileBytes(set.files[0]));
  test::WriteFileBytes(other + "/" + names[1], test::ReadFileBytes(set.files[2]));
  test::WriteFileBytes(other + "/" + names[2], test::ReadFileBytes(set.files[1]));
  test::WriteFileText(other + "/Game (USA).cue", test::RedumpSheet(names));
  j = VerifyJson({pbp, "--against", other + "/Game (USA).cue"}, 1);
  EXPECT_EQ(j["ok"], false);
  EXPECT_EQ(j["against"]["equal"], false);
  EXPECT_EQ(j["against"]["text"], "sector 300 (track 2) differs first");
  // The text view says the same, and the verdict.
  test::Ran r = Cli({"--quiet", "verify", pbp, "--against", other + "/Game (USA).cue"});
  EXPECT_EQ(r.exit, 1);
  EXPECT_TRUE(r.Says("sector 300 (track 2) differs first")) << r.out;
  EXPECT_TRUE(r.Says("NOT verified")) << r.out;

  // A DAT that lists the set finds it; one with track 3's MD5 changed names track 3.
  test::WriteFileText(dir / "good.dat", Dat("Game (USA)", names, sizes, w));
  j = VerifyJson({pbp, "--dat", dir / "good.dat"}, 0);
  EXPECT_EQ(j["dat"]["matched"], true);
  EXPECT_EQ(j["dat"]["game"], "Game (USA)");
  std::vector<Witness> changed = w;
  changed[2].md5[5] = changed[2].md5[5] == '0' ? '1' : '0';
  test::WriteFileText(dir / "bad.dat", Dat("Game (USA)", names, sizes, changed));
  j = VerifyJson({pbp, "--dat", dir / "bad.dat"}, 1);
  EXPECT_EQ(j["dat"]["matched"], false);
  EXPECT_EQ(j["dat"]["differingTracks"], nlohmann::json::array({3}));
  EXPECT_EQ(j["dat"]["text"], "Closest is \"Game (USA)\"; track 3 does not match.");
}

// The absolute offset of block `i` and of its index slot, read the way formats.md lays the
// package out.
struct BlockPlace {
  uint64_t slot = 0, data = 0;
};
BlockPlace PlaceOf(const Bytes& pkg, uint64_t i) {
  const uint64_t psar = LoadLe32(pkg.data() + 36);
  BlockPlace p;
  p.slot = psar + 0x4000 + i * 32;
  p.data = psar + 0x100000 + LoadLe32(pkg.data() + p.slot);
  return p;
}

TEST(VerifyCli, DamageIsFoundAndNamed) {
  TempDir dir;
  const test::DiscSet set = test::WriteRedumpSet(dir.MakeDir("set"));
  const std::string stored = Convert(set.input, dir / "level0", 0);
  const Bytes good = test::ReadFileBytes(stored);

  // One byte flipped inside block 5's stored data (sectors 80-95, track 1).
  Bytes bad = good;
  const BlockPlace b5 = PlaceOf(good, 5);
  bad[b5.data + 5 + 1000] ^= 0x20;
  test::WriteFileBytes(dir / "flipped.pbp", bad);
  nlohmann::json j = VerifyJson({dir / "flipped.pbp"}, 1);
  EXPECT_EQ(j["digests"], "checked");
  ASSERT_EQ(j["problems"].size(), 1u);
  EXPECT_EQ(j["problems"][0], "Block 5 (track 1, at byte " + std::to_string(b5.data) +
                                  ") does not match its digest.");
  // In a compressed package, a byte flipped in block 30 (sectors 480-495, track 2) breaks the
  // stream or the digest; either way the block and its track are named.
  const std::string packed = Convert(set.input, dir / "level9", 9);
  bad = test::ReadFileBytes(packed);
  const BlockPlace b30 = PlaceOf(bad, 30);
  bad[b30.data + 200] ^= 0x01;
  test::WriteFileBytes(dir / "flipped9.pbp", bad);
  j = VerifyJson({dir / "flipped9.pbp"}, 1);
  ASSERT_GE(j["problems"].size(), 1u);
  EXPECT_EQ(j["problems"][0].get<std::string>().rfind(
                "Block 30 (track 2, at byte " + std::to_string(b30.data) + ")", 0),
            0u)
      << j["problems"];

  // Cut short in the middle of block 40: that block and every later one are named.
  Bytes cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(PlaceOf(good, 40).data + 100));
  test::WriteFileBytes(dir / "cut.pbp", cut);
  j = VerifyJson({dir / "cut.pbp"}, 1);
  ASSERT_GE(j["problems"].size(), 1u);
  EXPECT_EQ(j["problems"][0].get<std::string>().rfind("Block 40 (track 2, at byte", 0), 0u)
      << j["problems"];
  EXPECT_NE(j["problems"][0].get<std::string>().find("the package is cut short"),
            std::string::npos);

  // Without digests, verify says they could not be checked and still reads every block.
  bad = good;
  for (uint64_t i = 0; i < 72; ++i)
    std::fill_n(bad.begin() + static_cast<std::ptrdiff_t>(PlaceOf(good, i).slot + 8), 16, 0);
  test::WriteFileBytes(dir / "nodigest.pbp", bad);
  test::Ran r = Cli({"--quiet", "verify", dir / "nodigest.pbp"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(
      r.Says("the package carries no block digests: blocks could not be checked "
             "against them"))
      << r.out;
  // Digest fields of another kind (none agrees with ours) cannot be checked either.
  for (uint64_t i = 0; i < 72; ++i)
    std::fill_n(bad.begin() + static_cast<std::ptrdiff_t>(PlaceOf(good, i).slot + 8), 16, 0xAB);
  test::WriteFileBytes(dir / "foreign.pbp", bad);
  r = Cli({"--quiet", "verify", dir / "foreign.pbp"});
  EXPECT_EQ(r.exit, 0) << r.out;
  EXPECT_TRUE(r.Says("the package's block digests are of another kind and cannot be checked"))
      << r.out;
}

// One of our packages is known by its index, not by its digests agreeing: a package of one
// block whose every block is damaged is reported damaged, not "cannot be checked".
TEST(VerifyCli, OurPackageWithEveryBlockDamaged) {
  TempDir dir;
  test::WriteFileBytes(dir / "one.bin", test::AudioSectors(16, 3));
  test::Ran made = Cli({"--yes", "--quiet", "convert", dir / "one.bin", "-o", dir / "pkg",
                        "--title", "One", "--id", "SLUS00001", "--level", "0"});
  ASSERT_EQ(made.exit, 0) << made.out;
  Bytes pkg = test::ReadFileBytes(dir / "pkg/EBOOT.PBP");
  const BlockPlace b0 = PlaceOf(pkg, 0), b1 = PlaceOf(pkg, 1);
  // A stored-mode stream: 5 bytes of head, then the block as it is.
  pkg[b0.data + 5 + 100] ^= 0x40;
  pkg[b1.data + 5 + 100] ^= 0x40;
  test::WriteFileBytes(dir / "damaged.pbp", pkg);
  nlohmann::json j = VerifyJson({dir / "damaged.pbp"}, 1);
  EXPECT_EQ(j["ok"], false);
  EXPECT_EQ(j["blocks"], 2);  // the disc's block and the padding block
  EXPECT_EQ(j["digests"], "checked");
  ASSERT_EQ(j["problems"].size(), 2u);
  EXPECT_EQ(j["problems"][0], "Block 0 (track 1, at byte " + std::to_string(b0.data) +
                                  ") does not match its digest.");
  EXPECT_EQ(j["problems"][1], "Block 1 (after the last track, at byte " + std::to_string(b1.data) +
                                  ") does not match its digest.");
}

// --against a CloneCD set and an ISO image: identical, then one changed sector named.
TEST(VerifyCli, AgainstCloneCdAndIsoSources) {
  TempDir dir;
  const test::DiscSet ccd = test::WriteCloneCdSet(dir.MakeDir("ccd"));
  const std::string fromCcd = Convert(ccd.input, dir / "pkg-ccd", 5);
  nlohmann::json j = VerifyJson({fromCcd, "--against", ccd.input}, 0);
  EXPECT_EQ(j["against"]["text"], "identical");
  // Sector 500 lies in track 2 (its INDEX 01 is at 450).
  const std::string img = dir / "ccd/game.img";
  Bytes changed = test::ReadFileBytes(img);
  changed[500 * 2352 + 7] ^= 0x01;
  test::WriteFileBytes(img, changed);
  j = VerifyJson({fromCcd, "--against", ccd.input}, 1);
  EXPECT_EQ(j["against"]["text"], "sector 500 (track 2) differs first");

  // An ISO is read as the disc it stands for, raw sectors with headers: with AddISOPadding
  // the package is the disc (unpadded, it is not; the conversion tests pin that).
  const Bytes isoBytes = test::BuildIsoSectors(test::GameDisc("SLUS_012.34"));
  const std::string iso = dir / "game.iso";
  test::WriteFileBytes(iso, isoBytes);
  Bytes other = isoBytes;
  other[20 * 2048 + 3] ^= 0x10;
  const std::string ini = FolderOf(test::PrivateCli()) + "ebootforge.ini";
  test::WriteFileText(ini, "AddISOPadding = 1\r\n");
  const std::string padded = Convert(iso, dir / "pkg-padded", 9);
  j = VerifyJson({padded, "--against", iso}, 0);
  EXPECT_EQ(j["against"]["text"], "identical");
  test::WriteFileBytes(iso, other);
  j = VerifyJson({padded, "--against", iso}, 1);
  EXPECT_EQ(j["against"]["text"], "sector 20 (track 1) differs first");
  DeleteFileIfExists(ini);
}

}  // namespace
}  // namespace ebf
