// The package commands. `info`, `extract` and `verify` on a package of several discs, built by
// the tests' own writer: every disc listed, written and checked under its number. (A damaged
// disc table refused in its words by every entry point: the pbp disc set tests.)
#include <nlohmann/json.hpp>

#include <numeric>

#include "cli/cli_run.h"
#include "common/text.h"
#include "support/disc_builder.h"
#include "support/disc_sets.h"
#include "support/inflating_reader.h"
#include "support/pbp_writer.h"
#include "support/realistic_image.h"
#include "support/runtime.h"

namespace ebf {
namespace {

using test::Cli;
using test::Ran;
using test::ReadFileBytes;
using test::TempDir;

constexpr uint64_t kSector = 2352;

// "crc32 md5 sha1" of a file, from Python's zlib and hashlib.
std::string Figures(const std::string& path) {
  const std::string out = test::Shell(
      "python3 -c \"import sys,zlib,hashlib; d=open(sys.argv[1],'rb').read(); "
      "print('%08x %s %s' % (zlib.crc32(d), hashlib.md5(d).hexdigest(), "
      "hashlib.sha1(d).hexdigest()))\" " +
      test::ShellQuote(path));
  return out.substr(0, out.find('\n'));
}
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
  std::string BlockData(int disc) const {
    const std::vector<uint32_t>& l = written.discs[disc - 1].blockLengths;
    return std::to_string(std::accumulate(l.begin(), l.end(), uint64_t{0}));
  }
};

// `info` lists every disc with its ID, size and tracks; `extract` writes every disc under its
// number or the one asked for, a file in the way of any disc stopping them all, and a disc's
// sheet; `verify` lists each disc's tracks under it and names a problem with its disc (what is
// checked: the engine's tests).
TEST(DiscPackageCli, InfoExtractAndVerifyGoDiscByDisc) {
  TwoDiscPackage pkg;
  test::Ran r = Cli({"info", pkg.pbp});
  ASSERT_TRUE(test::Said(r, 0, {"Title:     Two Discs\nGame ID:   SCUS94163\n"}));
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
                                                  "@1", pkg.BlockData(1)),
                                       "@2", pkg.BlockData(2));
  EXPECT_TRUE(r.out.ends_with(discs)) << r.out;

  const nlohmann::json j = nlohmann::json::parse(Cli({"info", pkg.pbp, "--json"}).out);
  EXPECT_EQ(j["discs"][1]["gameId"].get<std::string>() + " " +
                j["discs"][1]["tracks"][1]["start"].get<std::string>(),
            "SCUS94164 00:03:25");

  auto padded = [&](int disc) {
    Bytes b = pkg.images[disc - 1];
    b.resize((b.size() / kSector + 15) / 16 * kBlock + kBlock, 0);  // and the padding block
    return b;
  };
  const std::string all = pkg.dir.MakeDir("all") + "/";
  ASSERT_TRUE(
      test::Said(Cli({"--quiet", "extract", pkg.pbp, all + "Game.bin", "--toc", "toc"}), 0));
  EXPECT_EQ(test::FilesIn(all),
            (std::vector<std::string>{"Game (Disc 1).TOC", "Game (Disc 1).bin", "Game (Disc 2).TOC",
                                      "Game (Disc 2).bin"}));
  EXPECT_TRUE(ReadFileBytes(all + "Game (Disc 1).bin") == padded(1));

  // A CCD in the way of disc 2 is not replaced without --yes, and nothing is written.
  const std::string asked = pkg.dir.MakeDir("asked") + "/";
  test::WriteFileText(asked + "Game (Disc 2).ccd", "mine");
  EXPECT_TRUE(test::Said(Cli({"--quiet", "extract", pkg.pbp, asked + "Game.iso", "--toc", "ccd"}),
                         2,
                         {asked + "Game (Disc 2).ccd\nDo you wish to continue?\n(not answered: "
                                  "run again with --yes to answer Yes)"}));
  EXPECT_EQ(test::FilesIn(asked), std::vector<std::string>{"Game (Disc 2).ccd"});

  const std::string one = pkg.dir.MakeDir("one") + "/";
  ASSERT_TRUE(test::Said(
      Cli({"--quiet", "extract", pkg.pbp, one + "Second.iso", "--disc", "2", "--toc", "none"}), 0));
  EXPECT_EQ(test::FilesIn(one), std::vector<std::string>{"Second.iso"});
  EXPECT_TRUE(ReadFileBytes(one + "Second.iso") == padded(2));

  // The sheet of disc 2 names its audio tracks in the one file.
  const std::string sheet = pkg.dir.MakeDir("sheet") + "/";
  ASSERT_TRUE(
      test::Said(Cli({"--quiet", "extract", pkg.pbp, sheet + "Set.cue", "--toc", "cue"}), 0));
  EXPECT_EQ(test::FilesIn(sheet),
            (std::vector<std::string>{"Set (Disc 1).bin", "Set (Disc 1).cue", "Set (Disc 2).bin",
                                      "Set (Disc 2).cue"}));
  EXPECT_TRUE(ReadFileBytes(sheet + "Set (Disc 2).bin") == pkg.images[1]);
  EXPECT_EQ(test::ReadFileText(sheet + "Set (Disc 2).cue"),
            "FILE \"Set (Disc 2).bin\" BINARY\r\n"
            "  TRACK 01 MODE2/2352\r\n    INDEX 01 00:00:00\r\n"
            "  TRACK 02 AUDIO\r\n    INDEX 01 00:01:25\r\n"
            "  TRACK 03 AUDIO\r\n    INDEX 01 00:02:00\r\n");

  const nlohmann::json v = nlohmann::json::parse(Cli({"--quiet", "--json", "verify", pkg.pbp}).out);
  std::string said = v["ok"].dump() + " " + v["discs"].dump() + " " + v["blocks"].dump();
  for (const auto& t : v["tracks"]) said += " " + t["disc"].dump() + "." + t["number"].dump();
  EXPECT_EQ(said, "true 2 21 1.1 2.1 2.2 2.3");
  Bytes bad = ReadFileBytes(pkg.pbp);
  const std::vector<uint32_t>& lengths = pkg.written.discs[1].blockLengths;
  const uint64_t at = pkg.written.sections[1] + 0x100000 + lengths[0] + lengths[1] + lengths[2];
  bad[at] = 0xFF;  // a deflate block of the reserved type
  test::WriteFileBytes(pkg.dir / "bad.pbp", bad);
  r = Cli({"--quiet", "verify", pkg.dir / "bad.pbp"});
  EXPECT_TRUE(test::Said(r, 1,
                         {"Problems:\n  Disc 2: Block 3 (track 1, at byte " + std::to_string(at) +
                          ") does not inflate.\n"}));
  const std::size_t first = r.out.find("\nDisc 1\nTrack  Type");
  const std::size_t second = r.out.find("\nDisc 2\nTrack  Type");
  EXPECT_LT(first, second) << r.out;
  EXPECT_NE(second, std::string::npos) << r.out;
  // A damaged disc table: refused in the table reader's words (by every other entry point: the
  // pbp disc set tests).
  for (int i = 2; i < 7; ++i)
    StoreLe32(&bad[pkg.written.psar + 0x200 + 4 * i], LoadLe32(&bad[pkg.written.psar + 0x200]));
  test::WriteFileBytes(pkg.dir / "bad.pbp", bad);
  EXPECT_TRUE(test::Said(Cli({"--quiet", "verify", pkg.dir / "bad.pbp"}), 1,
                         {"the disc table lists 7 discs; a package holds at most 5."}));
}

// The command line says and does what the windows do: `info` prints what the inspection
// notes, `palfix` on a package patches its disc image only, and a package run that needs a
// file to rebuild into says so. (Which pictures a rebuild refuses: the engine's package job
// tests; the words of the inspection: the pbp tests.)

constexpr uint8_t kScreenPattern[8] = {0x13, 0x00, 0x91, 0x24, 0x10, 0x00, 0x91, 0x24};
constexpr uint8_t kScreenPatched[8] = {0x00, 0x00, 0x91, 0x24, 0x00, 0x00, 0x91, 0x24};

// What the command prints of a package whose disc image is cut short.
TEST(CliAgreesWithTheWindow, InfoPrintsWhatTheInspectionNotesAndARebuildSaysWhereItMustGo) {
  TempDir dir;
  test::PackageRecipe recipe;
  recipe.title = "Short Game";
  recipe.saveName = "Short Save";
  recipe.image = Bytes(test::kTestBlockSize * 2, 0x22);
  test::PbpWritten w = test::WritePbp(dir / "full.pbp", recipe);
  const Bytes full = test::ReadFileBytes(dir / "full.pbp");
  // Cut after the disc-image header, the start-data block moved up behind it.
  Bytes cut(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(w.psar + 0x5000));
  cut.insert(cut.end(), full.begin() + static_cast<std::ptrdiff_t>(w.startData), full.end());
  StoreLe32(&cut[w.psar + 12], 0x5000);
  test::WriteFileBytes(dir / "cut.pbp", cut);
  Ran info = Cli({"info", dir / "cut.pbp"});
  EXPECT_TRUE(test::Said(info, 0,
                         {"Title:     Short Game\nGame ID:   ", "Save name: Short Save",
                          "Disc image: The EBOOT \"" + (dir / "cut.pbp") +
                              "\" is cut short: its disc image index ends at byte " +
                              std::to_string(w.psar + 0x100000) + ", beyond the end of the file (" +
                              std::to_string(cut.size()) + " bytes)."}));
  EXPECT_FALSE(info.Says("Discs:")) << info.out;  // one disc: nothing said of discs

  // A new picture that does not fit the whole package: the question and the missing file are
  // named.
  const std::string pkg = dir / "full.pbp";
  ASSERT_TRUE(test::DrawWithImageMagick("-size 480x272 gradient:red-blue", dir / "pic1.png"));
  EXPECT_TRUE(test::Said(Cli({"convert", pkg, "--pic1", dir / "pic1.png"}), 2,
                         {"the EBOOT needs to be reconstructed",
                          "(not answered: run again with --yes -o NEW.PBP to rebuild into a new "
                          "file)"}));
  Ran yes = Cli({"--yes", "convert", pkg, "--pic1", dir / "pic1.png"});
  EXPECT_TRUE(test::Said(
      yes, 1, {"the new pictures do not fit: give -o NEW.PBP to rebuild into a new file"}));
  EXPECT_FALSE(yes.Says("not answered")) << yes.out;
  EXPECT_EQ(test::ReadFileBytes(pkg), full);
  EXPECT_TRUE(test::Said(
      Cli({"--yes", "convert", pkg, "--pic1", dir / "pic1.png", "-o", dir / "new.pbp"}), 0));
  EXPECT_TRUE(FileExists(dir / "new.pbp"));
}

TEST(CliAgreesWithTheWindow, PalFixOnAPackageScansItsDiscImageOnly) {
  TempDir dir;
  test::PackageRecipe recipe;
  recipe.level = 0;  // stored blocks: the game's code lies in the file as it is
  recipe.icon0 = test::NoiseBytes(600, 4);
  std::copy(kScreenPattern, kScreenPattern + 8, recipe.icon0.begin() + 100);  // not game code
  recipe.image = test::NoiseBytes(test::kTestBlockSize, 5);
  std::copy(kScreenPattern, kScreenPattern + 8, recipe.image.begin() + 4001);
  // Nor is the start-data block after the disc image.
  recipe.tail = Bytes(kScreenPattern, kScreenPattern + 8);
  test::PbpWritten w = test::WritePbp(dir / "EBOOT.PBP", recipe);
  const uint64_t inIcon = w.offsets[1] + 100, inImage = w.psar + 0x100000 + 4001;
  const auto hex = [](uint64_t at) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%08llX", static_cast<unsigned long long>(at));
    return std::string(text);
  };

  Ran listed = Cli({"palfix", dir / "EBOOT.PBP", "--screen"});
  EXPECT_TRUE(test::Said(listed, 0, {hex(inImage) + " screen height", "1 found (file unchanged)"}));
  EXPECT_FALSE(listed.Says(hex(inIcon))) << listed.out;

  // Patched by the command and by a conversion's own fix of a package: the disc image only.
  const auto imageOnlyFixed = [&](const std::string& file) {
    const Bytes b = test::ReadFileBytes(file);
    return std::equal(kScreenPattern, kScreenPattern + 8, b.begin() + inIcon) &&
           std::equal(kScreenPatched, kScreenPatched + 8, b.begin() + inImage);
  };
  std::filesystem::copy_file(dir / "EBOOT.PBP", dir / "applied.pbp");
  ASSERT_EQ(Cli({"palfix", dir / "applied.pbp", "--screen", "--apply"}).exit, 0);
  EXPECT_TRUE(imageOnlyFixed(dir / "applied.pbp"));
  EXPECT_TRUE(test::Said(Cli({"--yes", "convert", dir / "EBOOT.PBP", "--pal-screen"}), 0,
                         {"PAL -> NTSC fix: 1 change(s)"}));
  EXPECT_TRUE(imageOnlyFixed(dir / "EBOOT.PBP"));

  // A package without its disc-image header is refused as a package job refuses it.
  Bytes bad = test::ReadFileBytes(dir / "applied.pbp");
  bad[w.psar] = 'X';
  test::WriteFileBytes(dir / "bad.pbp", bad);
  Ran refused = Cli({"palfix", dir / "bad.pbp", "--screen"});
  EXPECT_TRUE(test::Said(
      refused, 1, {"The selected EBOOT doesn't appear to be valid!  (PSAR header not found)"}));
}

// A Redump set converted twice gives the same bytes at every level, however the converter's
// threads take the blocks (discs through a package and back, in every layout: the engine's
// disc layout tests). Then `verify` end to end (the rules are the engine's tests'): the
// package's track figures checked with Python's zlib and hashlib as the witness, --against
// its source and --dat in one run, then a DAT that does not match, in the text view.
TEST(VerifyCli, ConvertingTwiceGivesTheSameBytesAndTheTrackFiguresCheckOut) {
  test::TempDir dir;
  const test::DiscSet set = test::WriteRedumpSet(dir.MakeDir("set"));
  // A disc of some size as well, so that the converter's threads take blocks in varying
  // order.
  const std::string big = dir / "big.bin";
  test::WriteRealisticImage(big, 12u << 20);
  for (const std::string& input : {big, set.input}) {
    for (const std::string level : {"0", "5", "9"}) {
      SCOPED_TRACE(input + " level " + level);
      Bytes made[2];
      for (int i = 0; i < 2; ++i) {
        // The image has no game ID of its own.
        const std::string out = dir / (std::string(i ? "b" : "a") + level);
        ASSERT_TRUE(test::Said(Cli({"--yes", "--quiet", "convert", input, "-o", out, "--level",
                                    level, "--id", "SLUS01234", "--save-name", "Same"}),
                               0));
        made[i] = test::ReadFileBytes(out + "/EBOOT.PBP");
      }
      ASSERT_GT(made[0].size(), 0x100000u);
      EXPECT_TRUE(made[0] == made[1]);
    }
  }
  const std::string pbp = dir / "a9/EBOOT.PBP";        // the Redump set's
  const uint64_t sizes[] = {705600, 882000, 1058400};  // 300, 375, 450 sectors
  std::vector<std::string> crcs, md5s, sha1s;
  std::string dat =
      "<?xml version=\"1.0\"?>\n<datafile>\n <game name=\"Game (USA)\">\n"
      "  <rom name=\"Game (USA).cue\" size=\"300\" crc=\"deadbeef\"/>\n";
  for (int i = 0; i < 3; ++i) {
    const std::string figures = Figures(set.files[i]);
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
  EXPECT_TRUE(test::Said(Cli({"--quiet", "verify", pbp, "--dat", dir / "bad.dat"}), 1,
                         {"Closest is \"Game (USA)\"; track 3 does not match.",
                          "Blocks: 72 read; every block matches its digest\n", "NOT verified"}));
}

// A game on several discs from the command line: resolve and patch meeting disc 1's patch and
// LibCrypt data, convert with every disc named and each disc's patch, or with a playlist;
// batch putting the "(Disc N)" files of one game into one package. Each package is
// read back disc by disc as the emulators read it.
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
  ASSERT_TRUE(test::Said(Cli({"patch", one, ppf, "-o", dir / "patched.bin"}), 0));
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
  // Taken apart again, disc 1's image gets its LibCrypt data beside it, disc 2's none.
  EXPECT_TRUE(test::Said(Cli({"extract", eboot, dir / "back.bin", "--toc", "none"}), 0));
  EXPECT_EQ(test::ReadFileText(dir / "back (Disc 1).sbi"),
            test::ReadFileText(dir / "Metal Gear (Disc 1).sbi"));
  EXPECT_FALSE(FileExists(dir / "back (Disc 2).sbi"));
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
