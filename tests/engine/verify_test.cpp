// Verifying a package: the track figures (Python's zlib and hashlib as the witness), each kind
// of damage named with its block, track and place, the digest check's three outcomes, a DAT's
// verdicts, a source compared sector for sector, and a package of several discs.
#include "engine/verify.h"

#include <gtest/gtest.h>

#include <functional>

#include "common/file_io.h"
#include "disc/disc_image.h"
#include "support/pbp_writer.h"
#include "support/picture_tools.h"
#include "support/process_run.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;
using Lines = std::vector<std::string>;

constexpr uint64_t kSector = 2352;

VerifyReport Verify(const std::string& pbp, const std::string& against = {},
                    const std::string& dat = {}, int disc = 0) {
  const VerifyOptions options{disc, against, dat};
  test::RunRecorder host;
  return VerifyPackage(pbp, options, host, host.cancel);
}

// "crc32 md5 sha1" of each file, from Python.
Lines Figures(const Lines& paths) {
  std::string args;
  for (const std::string& p : paths) args += " " + test::ShellQuote(p);
  const std::string out = test::Shell(
      "python3 -c \"import sys,zlib,hashlib\nfor f in sys.argv[1:]:\n d=open(f,'rb').read(); "
      "print('%08x %s %s' % (zlib.crc32(d), hashlib.md5(d).hexdigest(), "
      "hashlib.sha1(d).hexdigest()))\"" +
      args);
  Lines lines;
  for (std::size_t at = 0, nl; (nl = out.find('\n', at)) != std::string::npos; at = nl + 1)
    lines.push_back(out.substr(at, nl - at));
  return lines;
}

// A game of three tracks listed in a DAT (after another game), `md5` per track.
std::string Dat(const Lines& sizes, const Lines& crcs, const Lines& md5s) {
  std::string xml =
      "<?xml version=\"1.0\"?>\n<datafile>\n <game name=\"Other (Japan)\">\n"
      "  <rom name=\"Other.bin\" size=\"1234\" crc=\"01234567\"/>\n </game>\n"
      " <game name=\"Game (USA)\">\n  <rom name=\"Game (USA).cue\" size=\"300\" "
      "crc=\"deadbeef\"/>\n";
  for (std::size_t i = 0; i < sizes.size(); ++i)
    xml += "  <rom name=\"T" + std::to_string(i + 1) + ".bin\" size=\"" + sizes[i] + "\" crc=\"" +
           crcs[i] + "\" md5=\"" + md5s[i] + "\"/>\n";
  return xml + " </game>\n</datafile>\n";
}

// 120 sectors: a data track of 40, audio tracks of 30 and 50 (at 40 and 70); eight blocks of
// disc and the padding block, deflated, with our digests.
TEST(Verify, TracksDamageDigestsAndEveryDiscOfAPackage) {
  TempDir dir;
  const std::string pbp = dir / "EBOOT.PBP";
  test::PackageRecipe recipe;
  recipe.image = test::NoiseBytes(120 * kSector, 7);
  for (uint8_t& b : recipe.image) b &= 0x0F;  // deflates, still varied
  recipe.toc = test::MakeToc({{0x41, 0}, {0x01, 40}, {0x01, 70}}, 120);
  recipe.digests = recipe.paddingBlock = true;
  const test::PbpWritten w = test::WritePbp(pbp, recipe);
  const Bytes &image = recipe.image, file = test::ReadFileBytes(pbp);
  const auto At = [&](uint64_t block) {
    uint64_t at = w.psar + 0x100000;
    for (uint64_t i = 0; i < block; ++i) at += w.blockLengths[i];
    return at;
  };
  const auto Name = [&](uint64_t block, const std::string& track) {
    return "Block " + std::to_string(block) + " (" + track + ", at byte " +
           std::to_string(At(block)) + ")";
  };
  const uint32_t starts[] = {0, 40, 70, 120};
  Lines paths;
  for (int t = 0; t < 3; ++t) {
    paths.push_back(dir / ("t" + std::to_string(t + 1)));
    test::WriteFileBytes(paths.back(), Bytes(image.begin() + starts[t] * kSector,
                                             image.begin() + starts[t + 1] * kSector));
  }
  const Lines witness = Figures(paths);
  ASSERT_EQ(witness.size(), 3u);

  VerifyReport r = Verify(pbp);
  EXPECT_EQ(std::tuple(r.ok(), r.blocks, r.digests, DigestCheckText(r)),
            std::tuple(true, 9u, DigestCheck::Checked, "every block matches its digest"));
  // Disc, number, kind, first sector, size, then the figures.
  const Lines tracks = {"1 1 data 0 94080 ", "1 2 audio 40 70560 ", "1 3 audio 70 117600 "};
  ASSERT_EQ(r.tracks.size(), 3u);
  for (int t = 0; t < 3; ++t) {
    const VerifiedTrack& v = r.tracks[t];
    EXPECT_EQ(std::to_string(v.disc) + " " + std::to_string(v.number) +
                  (v.audio ? " audio " : " data ") + std::to_string(v.firstSector) + " " +
                  std::to_string(v.size) + " " + v.crc32 + " " + v.md5 + " " + v.sha1,
              tracks[t] + witness[t]);
  }

  // Each damage, and what is said of it.
  const auto digestOf = [&](Bytes& b, uint64_t block) -> uint8_t* {
    return &b[w.SlotPos(w.blockSlots[block]) + 8];
  };
  // Cut short in block 5: it and every later block are named, and the start-data block.
  const uint64_t cutAt = At(5) + 100;
  const std::string end =
      " the end of the file (" + std::to_string(cutAt) + " bytes): the package is cut short.";
  const std::pair<int, const char*> lost[] = {
      {5, "track 3"}, {6, "track 3"}, {7, "track 3"}, {8, "after the last track"}};
  Lines cut;
  for (auto [b, track] : lost) cut.push_back(Name(b, track) + " runs past" + end);
  cut.push_back("The start-data block at byte " + std::to_string(w.startData) + " lies beyond" +
                end);
  for (auto [b, track] : lost) cut.push_back(Name(b, track) + " does not inflate.");
  for (auto [b, track] : lost)
    if (b < 8) cut.push_back(Name(b, track) + " does not match its digest.");
  const auto fillDigests = [&](uint8_t value) {
    return [&, value](Bytes& b) {
      for (uint64_t i = 0; i < 9; ++i) std::fill_n(digestOf(b, i), 16, value);
    };
  };
  // clang-format off
  // The damage, the digest check, the problems, and what is said of the digests.
  const std::tuple<std::function<void(Bytes&)>, DigestCheck, Lines, std::string> rows[] = {
      {[&](Bytes& b) { digestOf(b, 2)[0] ^= 1, digestOf(b, 3)[15] ^= 0x80; }, DigestCheck::Checked,
       {Name(2, "track 1") + " does not match its digest.", Name(3, "track 2") + " does not match its digest."},
       "2 block(s) do not match their digest"},
      // A deflate block of the reserved type.
      {[&](Bytes& b) { b[At(7)] = 0xFF; }, DigestCheck::Checked,
       {Name(7, "track 3") + " does not inflate.", Name(7, "track 3") + " does not match its digest."},
       "1 block(s) do not match their digest"},
      {[&](Bytes& b) { digestOf(b, 8)[4] ^= 2; }, DigestCheck::Checked,
       {Name(8, "after the last track") + " does not match its digest."}, "1 block(s) do not match their digest"},
      {[&](Bytes& b) { b.resize(cutAt); }, DigestCheck::Checked, cut, "3 block(s) do not match their digest"},
      {fillDigests(0), DigestCheck::Absent, {},
       "the package carries no block digests: blocks could not be checked against them"},
      {fillDigests(0xAB), DigestCheck::Foreign, {},
       "the package's block digests are of another kind and cannot be checked"},
  };
  // clang-format on
  for (const auto& [damage, digests, problems, digestText] : rows) {
    SCOPED_TRACE(digestText);
    Bytes bad = file;
    damage(bad);
    test::WriteFileBytes(dir / "bad.pbp", bad);
    r = Verify(dir / "bad.pbp");
    EXPECT_EQ(r.problems, problems);
    EXPECT_EQ(std::tuple(r.error, r.digests, DigestCheckText(r), r.ok(), r.tracks.size()),
              std::tuple("", digests, digestText, problems.empty(), 3u));
  }

  // A DAT: the game found, one track or two differing, a track more, no game at all, and
  // a file that is no DAT.
  Lines crcs, md5s;
  for (const std::string& line : witness) {
    crcs.push_back(line.substr(0, 8));
    md5s.push_back(line.substr(9, 32));
  }
  const Lines sizeTexts = {"94080", "70560", "117600"};
  auto changed = [](Lines md5, std::initializer_list<int> tracks) {
    for (int t : tracks) md5[t - 1][5] = md5[t - 1][5] == '0' ? '1' : '0';
    return md5;
  };
  auto more = [](Lines l) {
    l.push_back(l[0]);
    return l;
  };
  const std::string notADat = dir / "list.xml";
  test::WriteFileText(notADat, "<list/>");
  // clang-format off
  // The DAT ("" for a file that is no DAT), whether it matches, the game, the tracks that
  // differ, what is said.
  const std::tuple<std::string, bool, std::string, std::vector<int>, std::string> dats[] = {
      {Dat(sizeTexts, crcs, md5s), true, "Game (USA)", {}, "Matches \"Game (USA)\"."},
      {Dat(sizeTexts, crcs, changed(md5s, {3})), false, "Game (USA)", {3},
       "Closest is \"Game (USA)\"; track 3 does not match."},
      {Dat(sizeTexts, crcs, changed(md5s, {1, 3})), false, "Game (USA)", {1, 3},
       "Closest is \"Game (USA)\"; tracks 1, 3 do not match."},
      {Dat({"94080", "70560", "117600", "2352"}, more(crcs), more(md5s)), false, "Game (USA)", {},
       "\"Game (USA)\" lists 4 tracks, the package 3."},
      {Dat({"1", "2", "3"}, {"00000001", "00000002", "00000003"}, md5s), false, "", {},
       "No game in the DAT has any of these tracks."},
      {"", false, "", {}, "The DAT file \"" + notADat + "\" is not an XML DAT (no <datafile> element)."},
  };
  // clang-format on
  for (const auto& [dat, matched, game, differing, text] : dats) {
    SCOPED_TRACE(text);
    const std::string path = dat.empty() ? notADat : dir / "set.dat";
    if (!dat.empty()) test::WriteFileText(path, dat);
    r = Verify(pbp, {}, path);
    EXPECT_EQ(std::tuple(r.datChecked, r.datMatched, r.ok(), r.datGame, r.datDiffering, r.datText),
              std::tuple(true, matched, matched, game, differing, text));
  }

  // The source compared sector for sector: the disc itself, one byte changed in sector 50,
  // a disc 8 sectors short; no source at all is an error.
  Bytes other = image;
  other[50 * kSector + 9] ^= 4;
  const std::pair<Bytes, std::string> sources[] = {
      {image, "identical"},
      {other, "sector 50 (track 2) differs first"},
      {Bytes(image.begin(), image.end() - 8 * kSector),
       "the source has 112 sectors, the package's disc 120"},
  };
  for (const auto& [bytes, text] : sources) {
    test::WriteFileBytes(dir / "source.bin", bytes);
    r = Verify(pbp, dir / "source.bin");
    EXPECT_EQ(std::tuple(r.againstChecked, r.againstEqual, r.ok(), r.againstText),
              std::tuple(true, text == "identical", text == "identical", text));
  }
  r = Verify(pbp, dir / "none.bin");
  EXPECT_EQ(r.error, OpenDiscImage(dir / "none.bin").message);
  EXPECT_FALSE(r.error.empty() || r.ok());

  // Two discs: each checked, its tracks and problems named with it; a source needs a disc.
  std::vector<test::PackageRecipe> recipes(2);
  recipes[0].toc = test::MakeToc({{0x41, 0}}, 40);
  recipes[1].toc = test::MakeToc({{0x41, 0}, {0x01, 50}}, 80);
  for (int d = 0; d < 2; ++d) {
    recipes[d].image = test::NoiseBytes(40 * (d + 1) * kSector, d + 1);
    for (uint8_t& x : recipes[d].image) x &= 0x0F;  // deflates, still varied
    recipes[d].digests = recipes[d].paddingBlock = true;
  }
  const test::DiscSetWritten sw = test::WriteDiscSetPbp(dir / "EBOOT.PBP", recipes);

  r = Verify(dir / "EBOOT.PBP");
  EXPECT_EQ(std::tuple(r.ok(), r.discs, r.blocks, r.digests),
            std::tuple(true, 2, 4u + 6u, DigestCheck::Checked));
  ASSERT_EQ(r.tracks.size(), 3u);
  EXPECT_EQ((std::vector{r.tracks[0].disc, r.tracks[1].disc, r.tracks[2].disc}),
            (std::vector{1, 2, 2}));
  EXPECT_EQ((std::vector{r.tracks[0].size, r.tracks[1].size, r.tracks[2].size}),
            (std::vector<uint64_t>{94080, 117600, 70560}));

  test::WriteFileBytes(dir / "disc2.bin", recipes[1].image);
  r = Verify(dir / "EBOOT.PBP", dir / "disc2.bin");
  EXPECT_EQ(r.error,
            "The package holds 2 discs; a source image is compared with one of them, so name the "
            "disc.");
  r = Verify(dir / "EBOOT.PBP", dir / "disc2.bin", {}, 2);
  EXPECT_EQ(std::tuple(r.againstText, r.tracks.size()), std::tuple("identical", 2u));

  Bytes bad = test::ReadFileBytes(dir / "EBOOT.PBP");
  const std::vector<uint32_t>& lengths = sw.discs[1].blockLengths;
  const uint64_t sat = sw.sections[1] + 0x100000 + lengths[0] + lengths[1] + lengths[2];
  bad[sat] = 0xFF;  // a deflate block of the reserved type
  test::WriteFileBytes(dir / "bad.pbp", bad);
  r = Verify(dir / "bad.pbp");
  EXPECT_EQ(r.problems, (Lines{"Disc 2: Block 3 (track 1, at byte " + std::to_string(sat) +
                                   ") does not inflate.",
                               "Disc 2: Block 3 (track 1, at byte " + std::to_string(sat) +
                                   ") does not match its digest."}));

  // One of our packages is known by its index, not by its digests agreeing: when every
  // block disagrees, that is damage, not digests of another kind.
  test::PackageRecipe one;
  one.image = Bytes(16 * kSector, 0x5A);
  one.digests = one.paddingBlock = true;
  const test::PbpWritten ow = test::WritePbp(dir / "EBOOT.PBP", one);
  Bytes pkg = test::ReadFileBytes(dir / "EBOOT.PBP");
  pkg[ow.SlotPos(0) + 8] ^= 0x40;
  // The padding block made to point sat block 0's data: its digest is still the zero
  // block's.
  StoreLe32(&pkg[ow.SlotPos(1)], 0);
  StoreLe16(&pkg[ow.SlotPos(1) + 4], static_cast<uint16_t>(ow.blockLengths[0]));
  test::WriteFileBytes(dir / "damaged.pbp", pkg);
  const VerifyReport report = Verify(dir / "damaged.pbp");
  const std::string where = std::to_string(ow.psar + 0x100000);
  EXPECT_EQ(report.digests, DigestCheck::Checked);
  EXPECT_EQ(
      report.problems,
      (Lines{"Block 0 (track 1, at byte " + where + ") does not match its digest.",
             "Block 1 (after the last track, at byte " + where + ") does not match its digest."}));
}

}  // namespace
}  // namespace ebf
