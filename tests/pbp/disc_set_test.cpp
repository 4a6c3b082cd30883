// Packages of several discs wherever the program reads or edits a package: the disc table
// that finds their sections, each disc taken out by its number, the check of a new package, the
// header patches, the inspection and the rebuild. Every disc is read back before and after by the
// tests' own reader, as the emulators read such a package.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <numeric>

#include "common/files.h"
#include "pbp/disc_table.h"
#include "pbp/extract.h"
#include "pbp/info.h"
#include "pbp/inspect.h"
#include "pbp/package_check.h"
#include "pbp/patch.h"
#include "pbp/rebuild.h"
#include "pbp/toc.h"
#include "pbp/track_extract.h"
#include "support/eboot_jobs.h"
#include "support/inflating_reader.h"
#include "support/pbp_writer.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::pbp {
namespace {

using namespace test;
using namespace std::string_literals;

constexpr uint64_t kSector = 2352;
constexpr uint64_t kBlock = 16 * kSector;

// Sectors that deflate well (three bits of noise a byte) in the first half, zeros after;
// sector 0 says mode 2 at byte 15.
Bytes DiscImage(std::size_t sectors, uint32_t seed) {
  Bytes image = NoiseBytes(sectors * kSector / 2, seed);
  for (uint8_t& b : image) b &= 0x07;
  image.resize(sectors * kSector, 0);
  image[15] = 2;
  return image;
}

// The image as extracted: its last block filled with zeros, then the padding block.
Bytes Extracted(Bytes image) {
  image.resize(((image.size() / kSector + 15) / 16 + 1) * kBlock, 0);
  return image;
}

std::vector<std::string> Names(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(folder))
    names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

struct Disc {
  std::string id;
  std::size_t sectors;
  std::vector<std::pair<uint8_t, uint64_t>> tracks = {{0x41, 0}};  // control, start sector
};

// Disc 2 carries CD audio: a data track, then audio at sectors 100 and 150.
const std::vector<Disc> kTwoDiscs = {{"SCUS94163", 90},
                                     {"SCUS94164", 200, {{0x41, 0}, {0x01, 100}, {0x01, 150}}}};
const std::vector<Disc> kFiveDiscs = {
    {"SLES02080", 40}, {"SLES12080", 75}, {"SLES22080", 33}, {"SLES32080", 64}, {"SLES42080", 17}};

// A package of several discs on disk, each disc's image and recipe at hand.
struct SetFixture {
  TempDir dir;
  std::string pbp = dir / "EBOOT.PBP";
  std::string program = dir.folder();
  std::string temp = dir.folder() + "Temp/";
  std::vector<PackageRecipe> recipes;
  DiscSetWritten written;
  RunRecorder host;

  explicit SetFixture(const std::vector<Disc>& discs, int level = 9) {
    for (std::size_t i = 0; i < discs.size(); ++i) {
      PackageRecipe r;
      r.title = "Set Title";
      r.discId = discs[i].id;
      r.saveName = "Old Save";
      r.image = DiscImage(discs[i].sectors, static_cast<uint32_t>(i + 1));
      r.toc = MakeToc(discs[i].tracks, discs[i].sectors);
      r.paddingBlock = true;
      r.level = level;
      if (i == 0) {
        r.icon0 = NoiseBytes(3000, 31);
        r.pic0 = NoiseBytes(2000, 32);
        r.snd0 = NoiseBytes(1000, 33);
        r.dataPsp = NoiseBytes(700, 34);
        r.bootPng = NoiseBytes(900, 35);
        r.tail = NoiseBytes(300, 36);
      }
      recipes.push_back(r);
    }
    written = WriteDiscSetPbp(pbp, recipes);
  }
  PackageUpdate Update(const EbootJob& job) {
    return UpdateEboot(pbp, temp, program, job, host, host, host.cancel);
  }
  Outcome Extract(const std::string& out, bool conversion, int toc, int disc) {
    return ExtractDiscImage(pbp, out, conversion, toc, host, host.cancel, {}, disc);
  }
  // Every disc as the reader serves it equals the image it was made from.
  void ExpectEveryDisc(const std::string& path) const {
    for (std::size_t i = 0; i < recipes.size(); ++i) {
      SCOPED_TRACE("disc " + std::to_string(i + 1));
      InflatingReader reader(path, static_cast<int>(i) + 1);
      ASSERT_EQ(reader.error() + std::to_string(reader.discCount()),
                std::to_string(recipes.size()));
      const Bytes& image = recipes[i].image;
      Bytes back;
      ASSERT_EQ(reader.ReadSectors(0, static_cast<uint32_t>(image.size() / kSector), back), "");
      EXPECT_TRUE(back == image);
    }
  }
  // DATA.PSAR of `before` up to the picture after the header patches with NewAssetsJob: the
  // save name in each section, the ID in disc 1's and the title header's, the picture's new
  // length; then the new picture and `tail`.
  Bytes PatchedPsar(const Bytes& before, const Bytes& boot, const Bytes& tail) const {
    const uint64_t psar = written.psar, sd = written.startData;
    Bytes b(before.begin() + psar, before.begin() + sd + 0x50);
    auto put = [&](uint64_t at, const std::string& text) {
      std::copy(text.begin(), text.end(), b.begin() + static_cast<std::ptrdiff_t>(at - psar));
    };
    for (uint64_t s : written.sections) put(s + 0x122C, "New Save" + std::string(120, '\0'));
    put(written.sections[0] + 0x400, "_SCES_98765");
    put(psar + 0x264, "_SCES_98765");
    StoreLe32(&b[sd - psar + 20], 600);
    Append(b, boot);
    Append(b, tail);
    return b;
  }
};

// The disc table of the package at `path`.
DiscTable ReadTable(const std::string& path) {
  File file(path, File::Mode::Read);
  EXPECT_TRUE(file);
  return ReadDiscTable(file, LoadLe32(ReadFileBytes(path).data() + 36));
}

const std::vector<Disc> kThreeDiscs = {{"SCUS94163", 90}, {"SCUS94164", 300}, {"SCUS94165", 40}};

TEST(DiscSet, TheTableEveryDiscItsChecksAndItsHeaderPatches) {
  for (const std::vector<Disc>& discs : {kTwoDiscs, kFiveDiscs}) {
    SCOPED_TRACE(std::to_string(discs.size()) + " discs");
    SetFixture fx(discs);
    fx.ExpectEveryDisc(fx.pbp);
    EXPECT_EQ(PackageDiscCount(fx.pbp), static_cast<int>(discs.size()));
    const std::string conv = fx.dir.MakeDir("conv") + "/";
    for (std::size_t i = 0; i < discs.size(); ++i) {
      const int disc = static_cast<int>(i) + 1;
      SCOPED_TRACE("disc " + std::to_string(disc));
      const std::string out = fx.dir / ("disc" + std::to_string(disc) + ".bin");
      ASSERT_EQ(fx.Extract(out, false, kTocFile, disc), Outcome::Success());
      EXPECT_TRUE(ReadFileBytes(out) == Extracted(fx.recipes[i].image));
      // Its own table: the lead entries and its tracks.
      const TestTocArea toc = MakeToc(discs[i].tracks, discs[i].sectors);
      const Bytes used(toc.begin(), toc.begin() + 10 * (3 + discs[i].tracks.size()));
      EXPECT_EQ(ReadFileBytes(fx.dir / ("disc" + std::to_string(disc) + ".TOC")), used);
      // The conversion's names: ISO.TOC, then ISO2.TOC ...
      ASSERT_EQ(fx.Extract(conv + "TempISO.iso", true, kTocFile, disc), Outcome::Success());
      EXPECT_EQ(ReadFileBytes(conv + DiscTocFileName(disc)), used);
    }
    std::vector<std::string> names = {"ISO.TOC", "ISO2.TOC", "ISO3.TOC", "ISO4.TOC", "ISO5.TOC"};
    names.resize(discs.size());
    names.push_back("TempISO.iso");
    EXPECT_EQ(Names(conv), names);
  }

  // Every disc is written under the chosen name with its number, and listed.
  EXPECT_EQ(DiscOutputPath("dir/Game.iso", 2), "dir/Game (Disc 2).iso");
  EXPECT_EQ(DiscOutputPath("Game", 1), "Game (Disc 1)");
  EXPECT_EQ(DiscOutputPath("a.b/Game", 5), "a.b/Game (Disc 5)");

  SetFixture fx(kTwoDiscs);
  const std::string out = fx.dir.MakeDir("out") + "/";
  ASSERT_EQ(ExtractEveryDisc(fx.pbp, out + "Game.iso", kTocCcd, fx.host, fx.host.cancel),
            Outcome::Success());
  EXPECT_EQ(Names(out), (std::vector<std::string>{"Game (Disc 1).ccd", "Game (Disc 1).iso",
                                                  "Game (Disc 2).ccd", "Game (Disc 2).iso"}));
  for (int disc = 1; disc <= 2; ++disc) {
    const std::string name = out + "Game (Disc " + std::to_string(disc) + ")";
    EXPECT_TRUE(ReadFileBytes(name + ".iso") == Extracted(fx.recipes[disc - 1].image)) << disc;
    // Disc 2's sheet lists its three tracks (A0, A1, A2 and them).
    const std::string ccd = ReadFileText(name + ".ccd");
    EXPECT_NE(ccd.find(disc == 1 ? "TocEntries=4\r\n" : "TocEntries=6\r\n"), std::string::npos);
  }

  // One track file a track of disc 2, cut where its table says, and the sheet naming them.
  const std::string split = fx.dir.MakeDir("split") + "/";
  ASSERT_EQ(ExtractTracks(fx.pbp, DiscOutputPath(split + "Set.cue", 2), TrackFiles::Split, fx.host,
                          fx.host.cancel, {}, 2),
            Outcome::Success());
  const Bytes& two = fx.recipes[1].image;
  for (auto [t, from, to] : {std::tuple{1, 0, 100}, {2, 100, 150}, {3, 150, 200}})
    EXPECT_TRUE(ReadFileBytes(split + "Set (Disc 2) (Track " + std::to_string(t) + ").bin") ==
                Bytes(two.begin() + from * kSector, two.begin() + to * kSector))
        << t;
  EXPECT_EQ(ReadFileText(split + "Set (Disc 2).cue"),
            "FILE \"Set (Disc 2) (Track 1).bin\" BINARY\r\n  TRACK 01 MODE2/2352\r\n"
            "    INDEX 01 00:00:00\r\n"
            "FILE \"Set (Disc 2) (Track 2).bin\" BINARY\r\n  TRACK 02 AUDIO\r\n"
            "    INDEX 01 00:00:00\r\n"
            "FILE \"Set (Disc 2) (Track 3).bin\" BINARY\r\n  TRACK 03 AUDIO\r\n"
            "    INDEX 01 00:00:00\r\n");

  // A package of one disc is written under the name as given; it has no disc 2.
  PackageRecipe one;
  one.image = DiscImage(20, 9);
  WritePbp(fx.dir / "one.pbp", one);
  const std::string single = fx.dir.MakeDir("single") + "/";
  ASSERT_EQ(
      ExtractEveryDisc(fx.dir / "one.pbp", single + "Game.iso", kTocNone, fx.host, fx.host.cancel),
      Outcome::Success());
  EXPECT_EQ(Names(single), std::vector<std::string>{"Game.iso"});
  EXPECT_EQ(PackageDiscCount(fx.dir / "one.pbp"), 1);
  EXPECT_EQ(ExtractDiscImage(fx.dir / "one.pbp", fx.dir / "x.bin", false, kTocFile, fx.host,
                             fx.host.cancel, {}, 2),
            Outcome::Failed("The EBOOT \"" + (fx.dir / "one.pbp") +
                            "\" holds one disc; there is no disc 2."));
  EbootInfo info;
  ASSERT_EQ(ReadEbootInfo(fx.dir / "one.pbp", info), "");
  EXPECT_TRUE(info.discs.empty());

  // Nor has the set a disc 0 or 3; nothing is written for them.
  for (int disc : {0, 3}) {
    const Outcome refused =
        Outcome::Failed("The EBOOT \"" + fx.pbp + "\" holds 2 discs; there is no disc " +
                        std::to_string(disc) + ".");
    EXPECT_EQ(fx.Extract(fx.dir / "x.bin", false, kTocFile, disc), refused);
    EXPECT_EQ(
        ExtractTracks(fx.pbp, fx.dir / "x", TrackFiles::Split, fx.host, fx.host.cancel, {}, disc),
        refused);
  }
  EXPECT_FALSE(FileExists(fx.dir / "x.bin") || FileExists(fx.dir / "x.TOC"));

  // The information lists every disc.
  ASSERT_EQ(ReadEbootInfo(fx.pbp, info), "");
  // Disc 1 stands for the package where one disc is described.
  EXPECT_EQ(std::tuple(info.gameId, info.startData, info.blocks, info.tracks.size()),
            std::tuple("SCUS94163", fx.written.startData, 7u, 1u));
  ASSERT_EQ(info.discs.size(), 2u);
  // Each disc: number, ID, sectors, blocks (all deflated), problem, then its tracks as
  // number, data and start.
  const std::vector<std::string> expected[] = {
      {"1 SCUS94163 90 7 7 ", "1 data 00:02:00"},
      {"2 SCUS94164 200 14 14 ", "1 data 00:02:00", "2 audio 00:03:25", "3 audio 00:04:00"}};
  for (int i = 0; i < 2; ++i) {
    const DiscInfo& d = info.discs[i];
    std::vector<std::string> got = {std::to_string(d.number) + " " + d.gameId + " " +
                                    std::to_string(d.sectors) + " " + std::to_string(d.blocks) +
                                    " " + std::to_string(d.compressedBlocks) + " " + d.problem};
    for (const TrackInfo& t : d.tracks)
      got.push_back(std::to_string(t.number) + (t.data ? " data " : " audio ") +
                    FormatMsf(t.minute, t.second, t.frame));
    EXPECT_EQ(got, expected[i]);
    const auto& lengths = fx.written.discs[i].blockLengths;
    EXPECT_EQ(d.compressedSize, std::accumulate(lengths.begin(), lengths.end(), uint64_t{0}));
  }

  // The disc table: one disc is its own section, several are listed by the title header.
  TempDir dir;
  PackageRecipe r;
  r.discId = "SLUS01234";
  r.image = DiscImage(100, 1);
  const PbpWritten solo = WritePbp(dir / "one.pbp", r);
  DiscTable read = ReadTable(dir / "one.pbp");
  EXPECT_EQ(std::tuple(read.error, read.titled, read.startData, read.sharedId),
            std::tuple("", false, solo.startData, ""));
  ASSERT_EQ(read.discs.size(), 1u);
  EXPECT_EQ(std::tuple(read.discs[0].start, read.discs[0].discId, read.discs[0].dataEnd),
            std::tuple(solo.psar, "SLUS01234",
                       solo.psar + 0x100000 +
                           std::accumulate(solo.blockLengths.begin(), solo.blockLengths.end(),
                                           uint64_t{0})));

  SetFixture three(kThreeDiscs);
  const DiscSetWritten& set = three.written;
  read = ReadTable(three.pbp);
  EXPECT_EQ(std::tuple(read.error, read.titled, read.startData, read.sharedId),
            std::tuple("", true, set.startData, "SCUS94163"));
  ASSERT_EQ(read.discs.size(), 3u);
  const char* ids[] = {"SCUS94163", "SCUS94164", "SCUS94165"};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(read.discs[i].start, set.sections[i]) << i;
    EXPECT_EQ(read.discs[i].discId, ids[i]);
    EXPECT_LE(read.discs[i].dataEnd, i < 2 ? set.sections[i + 1] : set.startData);
    EXPECT_GT(read.discs[i].dataEnd, set.sections[i] + 0x100000);
  }

  // Tables that point anywhere but at whole sections are refused by name.
  const Bytes good = ReadFileBytes(three.pbp);
  const uint64_t at = set.psar + 0x200;
  auto refused = [&](const std::function<void(Bytes&)>& damage) {
    Bytes bad = good;
    damage(bad);
    WriteFileBytes(three.dir / "bad.pbp", bad);
    return ReadTable(three.dir / "bad.pbp").error;
  };
  auto slot = [&](Bytes& b, int i, uint32_t value) { StoreLe32(&b[at + 4 * i], value); };

  EXPECT_EQ(refused([&](Bytes& b) {
              for (int i = 3; i < 6; ++i) slot(b, i, LoadLe32(&b[at]));
            }),
            "The disc table lists 6 discs; a package holds at most 5");
  EXPECT_EQ(refused([&](Bytes& b) { slot(b, 0, 0); }), "The disc table lists no disc");
  EXPECT_EQ(refused([&](Bytes& b) { slot(b, 0, 0x100); }),
            "The section of disc 1 overlaps the title header");
  EXPECT_EQ(refused([&](Bytes& b) { slot(b, 1, 0xF0000000u); }),
            "The section of disc 2 lies past the end of the file");
  EXPECT_EQ(refused([&](Bytes& b) { slot(b, 1, LoadLe32(&b[at]) + 0x400); }),
            "The section of disc 2 has no PSISOIMG0000 header");
  EXPECT_EQ(refused([&](Bytes& b) { slot(b, 2, LoadLe32(&b[at + 4])); }),
            "The sections of disc 2 and disc 3 overlap");
  EXPECT_EQ(refused([&](Bytes& b) { StoreLe32(&b[at], 0x44475000); }),
            "The disc table is encrypted (an official package); it cannot be read");
  EXPECT_EQ(refused([&](Bytes& b) { b[set.psar + 1] = 'X'; }),
            "DATA.PSAR starts with neither a disc section nor a title header");
  // An index entry of disc 3 pointing far past the file, and a file cut inside disc 3.
  EXPECT_EQ(refused([&](Bytes& b) { StoreLe32(&b[set.sections[2] + 0x4000 + 32], 0x7FFFFFFF); }),
            "The blocks of disc 3 run past the end of the file");
  EXPECT_EQ(refused([&](Bytes& b) { b.resize(set.sections[2] + 0x100000 + 100); }),
            "The blocks of disc 3 run past the end of the file");
  EXPECT_EQ(refused([&](Bytes& b) { b.resize(set.psar + 0x300); }),
            "The title header is cut short");

  // Each header patch on a package of two discs and on one of five.
  for (const std::vector<Disc>& discs : {kTwoDiscs, kFiveDiscs}) {
    SCOPED_TRACE(std::to_string(discs.size()) + " discs");
    {
      SCOPED_TRACE("a new package takes the job's name and ID and keeps every disc's TOC");
      SetFixture fx(discs);
      const Bytes before = ReadFileBytes(fx.pbp);
      EbootJob job = NewAssetsJob(fx.dir.MakeDir("assets"));
      // A table in the job (the sheet of disc 1): a package of several discs keeps its own.
      job.toc.emplace().fill(0x77);
      ASSERT_EQ(PatchConvertedEboot(fx.pbp, fx.temp, job, fx.host, fx.host.cancel),
                Outcome::Success());
      EXPECT_EQ(ReadFileBytes(fx.temp + "START.DAT"), fx.recipes[0].tail);
      // The new picture and the start data over the old ones; the file keeps its length.
      Bytes expected = before;
      const Bytes psar = fx.PatchedPsar(before, ReadFileBytes(job.gameboot), fx.recipes[0].tail);
      std::copy(psar.begin(), psar.end(), expected.begin() + fx.written.psar);
      EXPECT_TRUE(ReadFileBytes(fx.pbp) == expected);
      fx.ExpectEveryDisc(fx.pbp);
    }
    {
      SCOPED_TRACE("the inspection and the patch in place reach every disc");
      SetFixture fx(discs);
      const Bytes before = ReadFileBytes(fx.pbp);
      Inspection seen = InspectEboot(fx.pbp, fx.temp, fx.host);
      EXPECT_EQ(
          std::tuple(seen.message + "|" + seen.title + "|" + seen.gameId + "|" + seen.saveName,
                     seen.discCount, seen.startData),
          std::tuple("|Set Title|" + discs[0].id + "|Old Save", static_cast<int>(discs.size()),
                     fx.written.startData));
      EXPECT_EQ(ReadFileBytes(fx.temp + "Gameboot.png"), fx.recipes[0].bootPng);
      const Bytes& tail = fx.recipes[0].tail;
      const Bytes startDat(tail.begin(), tail.end() - 1);  // all but the file's last byte
      EXPECT_EQ(ReadFileBytes(fx.temp + "START.DAT"), startDat);

      // The new assets take exactly the old ones' room: the patch goes in place.
      const EbootJob job = NewAssetsJob(fx.dir.MakeDir("assets"));
      const PackageUpdate done = fx.Update(job);
      ASSERT_EQ(std::tuple(done.outcome, done.rebuiltTo),
                std::tuple(Outcome::Success(), std::string()));
      EXPECT_FALSE(!fx.host.questions.empty() || FileExists(fx.pbp + ".undo"));
      // DATA.PSAR stays where it is, patched, then zeros to one byte past the old end.
      Bytes expected = fx.PatchedPsar(before, ReadFileBytes(job.gameboot), startDat);
      expected.resize(before.size() + 1 - fx.written.psar, 0);
      const Bytes after = ReadFileBytes(fx.pbp);
      EXPECT_EQ(LoadLe32(&after[36]), fx.written.psar);
      EXPECT_TRUE(Bytes(after.begin() + fx.written.psar, after.end()) == expected);
      fx.ExpectEveryDisc(fx.pbp);
      seen = InspectEboot(fx.pbp, fx.temp, fx.host);
      EXPECT_EQ(seen.message + "|" + seen.title + "|" + seen.gameId, "|New Title|SCES98765");
      EXPECT_EQ(ReadFileBytes(fx.temp + "ICON0.PNG"), ReadFileBytes(job.icon0));
    }
    {
      SCOPED_TRACE("a rebuild carries the title header and every disc over");
      SetFixture fx(discs);
      const Bytes source = ReadFileBytes(fx.pbp);
      ASSERT_EQ(InspectEboot(fx.pbp, fx.temp, fx.host).message, "");
      EbootJob job = NewAssetsJob(fx.dir.MakeDir("assets"));
      job.pic1 = fx.dir / "assets/big.png";
      WriteFileBytes(job.pic1, NoiseBytes(1001, 14));  // one byte more than the room
      const std::string dest = fx.dir / "NEW.PBP";
      fx.host.destination = dest;
      const PackageUpdate done = fx.Update(job);
      ASSERT_EQ(std::tuple(done.outcome, done.rebuiltTo), std::tuple(Outcome::Success(), dest));
      EXPECT_TRUE(ReadFileBytes(fx.pbp) == source);
      // The old DATA.PSAR, fields patched where each section now lies, then the new picture
      // and the start data.
      const Bytes rebuilt = ReadFileBytes(dest);
      const uint64_t newPsar = LoadLe32(&rebuilt[36]);
      EXPECT_EQ(newPsar, 40u + 944 + 2500 + 0 + 1500 + 1001 + 1000 + 700);
      const Bytes& tail = fx.recipes[0].tail;
      EXPECT_TRUE(
          Bytes(rebuilt.begin() + static_cast<std::ptrdiff_t>(newPsar), rebuilt.end()) ==
          fx.PatchedPsar(source, ReadFileBytes(job.gameboot), Bytes(tail.begin(), tail.end() - 1)));
      fx.ExpectEveryDisc(dest);
      EXPECT_EQ(CheckWrittenPackage(dest), "");
      Inspection seen = InspectEboot(dest, fx.temp, fx.host);
      EXPECT_EQ(
          std::tuple(seen.message + "|" + seen.title + "|" + seen.gameId, seen.startData),
          std::tuple("|New Title|SCES98765"s, newPsar + (fx.written.startData - fx.written.psar)));
    }
  }

  // A new package is checked disc by disc; PAL fix spans cover every disc; damaged tables are
  //   // refused in their own words everywhere.
  SetFixture checked(kTwoDiscs);
  EXPECT_EQ(CheckWrittenPackage(checked.pbp), "");
  const Bytes whole = ReadFileBytes(checked.pbp);
  auto said = [&](const std::function<void(Bytes&)>& damage) {
    Bytes bad = whole;
    damage(bad);
    WriteFileBytes(checked.pbp, bad);
    return CheckWrittenPackage(checked.pbp);
  };
  const std::string head = "The new package " + checked.pbp + " is not whole: ";
  const uint64_t s1 = checked.written.sections[0], s2 = checked.written.sections[1];
  // An entry behind a hole in disc 1's index (the table stops at the hole) that runs into
  // disc 2's section.
  const uint64_t hidden = s1 + 0x4000 + 32 * 20;
  EXPECT_EQ(said([&](Bytes& b) {
              StoreLe32(&b[hidden], static_cast<uint32_t>(s2 - s1 - 0x100000 - 100));
              StoreLe16(&b[hidden + 4], 200);
            }),
            head + "the index of disc 1 runs past the end of its section.");
  // The same for the last disc, into the start data.
  EXPECT_EQ(said([&](Bytes& b) {
              StoreLe32(&b[s2 + 0x4000 + 32 * 20],
                        static_cast<uint32_t>(checked.written.startData - s2 - 0x100000 - 10));
              StoreLe16(&b[s2 + 0x4000 + 32 * 20 + 4], 20);
            }),
            head + "the index of disc 2 runs past the end of its section.");
  EXPECT_EQ(said([&](Bytes& b) { b[checked.written.startData] = 'X'; }),
            head + "its start data block cannot be found after its last disc.");
  // A start data header inside disc 2's blocks, pointed at by its section size, is no start
  // data block.
  EXPECT_EQ(said([&](Bytes& b) {
              const std::string magic = "STARTDAT";
              std::copy(magic.begin(), magic.end(), b.begin() + s2 + 0x100000 + 64);
              StoreLe32(&b[s2 + 12], 0x100000 + 64);
            }),
            head + "its start data block cannot be found after its last disc.");
  EXPECT_EQ(said([&](Bytes& b) { b.resize(s2 + 0x100000 + 1000); }),
            head + "the blocks of disc 2 run past the end of the file.");

  //
  // Stored blocks: the spans are every block of disc 1, then of disc 2.
  SetFixture stored(kTwoDiscs, 0);
  File f(stored.pbp, File::Mode::Read);
  auto spans = PalFixSpans(f);
  ASSERT_TRUE(spans.has_value());
  std::vector<std::pair<uint64_t, uint64_t>> got, wanted;
  for (const FileSpan& s : *spans) got.emplace_back(s.offset, s.length);
  const uint64_t blocks[] = {7, 14};  // 6 and 13 image blocks, each with its padding block
  for (int d = 0; d < 2; ++d)
    for (uint64_t i = 0; i < blocks[d]; ++i)
      wanted.emplace_back(stored.written.sections[d] + 0x100000 + i * kBlock, kBlock);
  EXPECT_EQ(got, wanted);

  // Damaged tables are refused in their own words everywhere.
  SetFixture broken(kTwoDiscs);
  const uint64_t table = broken.written.psar + 0x200;
  // The refusal's words are the table reader's (its own test has them all); here every entry
  // point passes them on.
  const EbootJob job = NewAssetsJob(broken.dir.MakeDir("assets"));
  Bytes bad = ReadFileBytes(broken.pbp);
  for (int i = 2; i < 6; ++i) StoreLe32(&bad[table + 4 * i], LoadLe32(&bad[table]));
  WriteFileBytes(broken.pbp, bad);
  const std::string what = "the disc table lists 6 discs; a package holds at most 5";
  const std::string words =
      "The discs of the EBOOT \"" + broken.pbp + "\" cannot be read: " + what + ".";
  EbootInfo damagedInfo;
  EXPECT_EQ(ReadEbootInfo(broken.pbp, damagedInfo), words);
  EXPECT_EQ(ExtractDiscImage(broken.pbp, broken.dir / "x.bin", false, kTocFile, broken.host,
                             broken.host.cancel),
            Outcome::Failed(words));
  EXPECT_EQ(
      ExtractEveryDisc(broken.pbp, broken.dir / "x.bin", kTocFile, broken.host, broken.host.cancel),
      Outcome::Failed(words));
  EXPECT_EQ(ExtractTracks(broken.pbp, broken.dir / "x", TrackFiles::OneFile, broken.host,
                          broken.host.cancel),
            Outcome::Failed(words));
  EXPECT_EQ(InspectEboot(broken.pbp, broken.temp, broken.host).message, words);
  EXPECT_FALSE(FileExists(broken.temp));
  EXPECT_EQ(CheckEbootForJob(broken.pbp), words);
  EXPECT_EQ(PatchEbootInPlace(broken.pbp, broken.temp, job, broken.host.cancel),
            Outcome::Failed(words));
  EXPECT_EQ(PatchConvertedEboot(broken.pbp, broken.temp, job, broken.host, broken.host.cancel),
            Outcome::Failed(words));
  EXPECT_EQ(ReconstructEboot(broken.pbp, broken.dir / "new.pbp", broken.temp, broken.program, job,
                             broken.host, broken.host.cancel),
            Outcome::Failed(words));
  EXPECT_EQ(CheckWrittenPackage(broken.pbp),
            "The new package " + broken.pbp + " is not whole: " + what + ".");
  File damaged(broken.pbp, File::Mode::Read);
  EXPECT_FALSE(PalFixSpans(damaged).has_value());
  EXPECT_EQ(PackageDiscCount(broken.pbp), 1);
  EXPECT_TRUE(ReadFileBytes(broken.pbp) == bad);
  EXPECT_FALSE(FileExists(broken.dir / "x.bin") || FileExists(broken.dir / "new.pbp"));
}

}  // namespace
}  // namespace ebf::pbp
