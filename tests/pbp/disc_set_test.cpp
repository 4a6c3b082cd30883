// Packages of several discs wherever the program reads or edits a package: each disc taken
// out by its number, the check of a new package, the header patches, the inspection and the
// rebuild. Every disc is read back before and after by the tests' own reader, as the
// emulators read such a package.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

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

using test::InflatingReader;
using test::NoiseBytes;
using test::PackageRecipe;
using test::ReadFileBytes;
using test::RunRecorder;
using test::TempDir;
using test::WriteFileBytes;

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

struct Disc {
  std::string id;
  std::size_t sectors;
  std::vector<std::pair<uint8_t, uint64_t>> tracks = {{0x41, 0}};  // control, start sector
};

// Disc 2 carries CD audio: a data track, then audio at sectors 100 and 150.
std::vector<Disc> TwoDiscs() {
  return {{"SCUS94163", 90}, {"SCUS94164", 200, {{0x41, 0}, {0x01, 100}, {0x01, 150}}}};
}

std::vector<Disc> FiveDiscs() {
  return {{"SLES02080", 40},
          {"SLES12080", 75},
          {"SLES22080", 33},
          {"SLES32080", 64},
          {"SLES42080", 17}};
}

uint64_t BlocksOf(std::size_t sectors) {
  return (sectors + 15) / 16;
}

// A package of several discs on disk, each disc's image and recipe at hand.
struct SetFixture {
  TempDir dir;
  std::string pbp = dir / "EBOOT.PBP";
  std::string program = dir.folder();
  std::string temp = dir.folder() + "Temp/";
  std::vector<Bytes> images;
  std::vector<PackageRecipe> recipes;
  test::DiscSetWritten written;
  RunRecorder host;

  explicit SetFixture(const std::vector<Disc>& discs, int level = 9) {
    for (std::size_t i = 0; i < discs.size(); ++i) {
      PackageRecipe r;
      r.title = "Set Title";
      r.discId = discs[i].id;
      r.saveName = "Old Save";
      r.image = DiscImage(discs[i].sectors, static_cast<uint32_t>(i + 1));
      r.toc = test::MakeToc(discs[i].tracks, discs[i].sectors);
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
      images.push_back(r.image);
      recipes.push_back(r);
    }
    written = test::WriteDiscSetPbp(pbp, recipes);
  }
  // Every disc as the reader serves it equals the image it was made from.
  void ExpectEveryDisc(const std::string& path) const {
    for (std::size_t i = 0; i < images.size(); ++i) {
      SCOPED_TRACE("disc " + std::to_string(i + 1));
      InflatingReader reader(path, static_cast<int>(i) + 1);
      ASSERT_EQ(reader.error(), "");
      EXPECT_EQ(reader.discCount(), static_cast<int>(images.size()));
      Bytes back;
      ASSERT_EQ(reader.ReadSectors(0, static_cast<uint32_t>(images[i].size() / kSector), back), "");
      EXPECT_TRUE(back == images[i]);
    }
  }
  std::string Asset(const std::string& name, std::size_t size, uint32_t seed) const {
    std::string p = dir.MakeDir("assets") + "/" + name;
    WriteFileBytes(p, NoiseBytes(size, seed));
    return p;
  }
  EbootJob Job() const { return test::NewAssetsJob(dir.MakeDir("assets")); }
};

void Put(Bytes& b, uint64_t at, const std::string& text) {
  std::copy(text.begin(), text.end(), b.begin() + static_cast<std::ptrdiff_t>(at));
}

// What the header patches write into a package of several discs with the job of SetFixture:
// the save name in each section, the ID in disc 1's and the title header's.
void PutNewFields(Bytes& b, uint64_t psar, const std::vector<uint64_t>& sections) {
  for (uint64_t s : sections) {
    Put(b, s + 0x122C, std::string("New Save") + std::string(120, '\0'));
  }
  Put(b, sections[0] + 0x400, "_SCES_98765");
  Put(b, psar + 0x264, "_SCES_98765");
}

TEST(DiscSet, EveryDiscComesOutByItsNumberWithItsOwnToc) {
  for (const std::vector<Disc>& discs : {TwoDiscs(), FiveDiscs()}) {
    SCOPED_TRACE(std::to_string(discs.size()) + " discs");
    SetFixture fx(discs);
    fx.ExpectEveryDisc(fx.pbp);
    EXPECT_EQ(PackageDiscCount(fx.pbp), static_cast<int>(discs.size()));
    const std::string conv = fx.dir.MakeDir("conv") + "/";
    for (std::size_t i = 0; i < discs.size(); ++i) {
      const int disc = static_cast<int>(i) + 1;
      SCOPED_TRACE("disc " + std::to_string(disc));
      const std::string out = fx.dir / ("disc" + std::to_string(disc) + ".bin");
      ASSERT_EQ(ExtractDiscImage(fx.pbp, out, false, kTocFile, fx.host, fx.host.cancel, {}, disc),
                Outcome::Success());
      // The image, its last block filled with zeros, then the padding block.
      Bytes expected = fx.images[i];
      expected.resize((BlocksOf(discs[i].sectors) + 1) * kBlock, 0);
      EXPECT_TRUE(ReadFileBytes(out) == expected);
      // Its own table: the lead entries and its tracks.
      const test::TestTocArea toc = test::MakeToc(discs[i].tracks, discs[i].sectors);
      const Bytes used(toc.begin(), toc.begin() + 10 * (3 + discs[i].tracks.size()));
      EXPECT_EQ(ReadFileBytes(fx.dir / ("disc" + std::to_string(disc) + ".TOC")), used);
      // The conversion's names: ISO.TOC, then ISO2.TOC ...
      ASSERT_EQ(ExtractDiscImage(fx.pbp, conv + "TempISO.iso", true, kTocFile, fx.host,
                                 fx.host.cancel, {}, disc),
                Outcome::Success());
      const std::string tocName = disc == 1 ? "ISO.TOC" : "ISO" + std::to_string(disc) + ".TOC";
      EXPECT_EQ(ReadFileBytes(conv + tocName), used);
    }
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(conv))
      names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    const std::vector<std::string> five = {"ISO.TOC",  "ISO2.TOC", "ISO3.TOC",
                                           "ISO4.TOC", "ISO5.TOC", "TempISO.iso"};
    const std::vector<std::string> two = {"ISO.TOC", "ISO2.TOC", "TempISO.iso"};
    EXPECT_EQ(names, discs.size() == 5 ? five : two);
  }
  EXPECT_EQ(DiscTocFileName(1), "ISO.TOC");
  EXPECT_EQ(DiscTocFileName(4), "ISO4.TOC");
}

TEST(DiscSet, EveryDiscIsWrittenUnderTheChosenNameWithItsNumber) {
  EXPECT_EQ(DiscOutputPath("dir/Game.iso", 2), "dir/Game (Disc 2).iso");
  EXPECT_EQ(DiscOutputPath("Game", 1), "Game (Disc 1)");
  EXPECT_EQ(DiscOutputPath("a.b/Game", 5), "a.b/Game (Disc 5)");

  SetFixture fx(TwoDiscs());
  const std::string out = fx.dir.MakeDir("out") + "/";
  ASSERT_EQ(ExtractEveryDisc(fx.pbp, out + "Game.iso", kTocCcd, fx.host, fx.host.cancel),
            Outcome::Success());
  std::vector<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(out))
    names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"Game (Disc 1).ccd", "Game (Disc 1).iso",
                                             "Game (Disc 2).ccd", "Game (Disc 2).iso"}));
  for (int disc = 1; disc <= 2; ++disc) {
    const std::string name = out + "Game (Disc " + std::to_string(disc) + ")";
    Bytes expected = fx.images[disc - 1];
    expected.resize((BlocksOf(expected.size() / kSector) + 1) * kBlock, 0);
    EXPECT_TRUE(ReadFileBytes(name + ".iso") == expected) << disc;
    // Disc 2's sheet lists its three tracks (A0, A1, A2 and them).
    const std::string ccd = test::ReadFileText(name + ".ccd");
    EXPECT_NE(ccd.find(disc == 1 ? "TocEntries=4\r\n" : "TocEntries=6\r\n"), std::string::npos);
  }

  // One track file a track of disc 2, cut where its table says, and the sheet naming them.
  const std::string split = fx.dir.MakeDir("split") + "/";
  ASSERT_EQ(ExtractTracks(fx.pbp, DiscOutputPath(split + "Set.cue", 2), TrackFiles::Split, fx.host,
                          fx.host.cancel, {}, 2),
            Outcome::Success());
  InflatingReader reader(fx.pbp, 2);
  const std::pair<uint32_t, uint32_t> spans[] = {{0, 100}, {100, 50}, {150, 50}};
  for (int t = 0; t < 3; ++t) {
    Bytes sectors;
    ASSERT_EQ(reader.ReadSectors(spans[t].first, spans[t].second, sectors), "");
    EXPECT_TRUE(ReadFileBytes(split + "Set (Disc 2) (Track " + std::to_string(t + 1) + ").bin") ==
                sectors)
        << t;
  }
  EXPECT_EQ(test::ReadFileText(split + "Set (Disc 2).cue"),
            "FILE \"Set (Disc 2) (Track 1).bin\" BINARY\r\n"
            "  TRACK 01 MODE2/2352\r\n"
            "    INDEX 01 00:00:00\r\n"
            "FILE \"Set (Disc 2) (Track 2).bin\" BINARY\r\n"
            "  TRACK 02 AUDIO\r\n"
            "    INDEX 01 00:00:00\r\n"
            "FILE \"Set (Disc 2) (Track 3).bin\" BINARY\r\n"
            "  TRACK 03 AUDIO\r\n"
            "    INDEX 01 00:00:00\r\n");

  // A package of one disc is written under the name as given.
  PackageRecipe one;
  one.image = DiscImage(20, 9);
  test::WritePbp(fx.dir / "one.pbp", one);
  const std::string single = fx.dir.MakeDir("single") + "/";
  ASSERT_EQ(
      ExtractEveryDisc(fx.dir / "one.pbp", single + "Game.iso", kTocNone, fx.host, fx.host.cancel),
      Outcome::Success());
  EXPECT_TRUE(FileExists(single + "Game.iso"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(single),
                          std::filesystem::directory_iterator()),
            1);
}

TEST(DiscSet, ADiscThePackageDoesNotHoldIsRefusedByNumber) {
  SetFixture fx(TwoDiscs());
  const std::string out = fx.dir / "x.bin";
  for (int disc : {0, 3}) {
    EXPECT_EQ(ExtractDiscImage(fx.pbp, out, false, kTocFile, fx.host, fx.host.cancel, {}, disc),
              Outcome::Failed("The EBOOT \"" + fx.pbp + "\" holds 2 discs; there is no disc " +
                              std::to_string(disc) + "."));
    EXPECT_EQ(
        ExtractTracks(fx.pbp, fx.dir / "x", TrackFiles::Split, fx.host, fx.host.cancel, {}, disc),
        Outcome::Failed("The EBOOT \"" + fx.pbp + "\" holds 2 discs; there is no disc " +
                        std::to_string(disc) + "."));
  }
  PackageRecipe one;
  one.image = DiscImage(20, 9);
  test::WritePbp(fx.dir / "one.pbp", one);
  EXPECT_EQ(PackageDiscCount(fx.dir / "one.pbp"), 1);
  EXPECT_EQ(
      ExtractDiscImage(fx.dir / "one.pbp", out, false, kTocFile, fx.host, fx.host.cancel, {}, 2),
      Outcome::Failed("The EBOOT \"" + (fx.dir / "one.pbp") +
                      "\" holds one disc; there is no disc 2."));
  EXPECT_FALSE(FileExists(out));
  EXPECT_FALSE(FileExists(fx.dir / "x.TOC"));
}

TEST(DiscSet, DamagedTablesAreRefusedInTheirOwnWordsEverywhere) {
  SetFixture fx(TwoDiscs());
  const Bytes good = ReadFileBytes(fx.pbp);
  const uint64_t table = fx.written.psar + 0x200;
  struct Damage {
    std::function<void(Bytes&)> apply;
    std::string what;
  };
  const std::vector<Damage> damages = {
      {[&](Bytes& b) {
         for (int i = 2; i < 6; ++i) StoreLe32(&b[table + 4 * i], LoadLe32(&b[table]));
       },
       "the disc table lists 6 discs; a package holds at most 5"},
      {[&](Bytes& b) { StoreLe32(&b[table + 4], LoadLe32(&b[table]) + 0x800); },
       "the section of disc 2 has no PSISOIMG0000 header"},
      {[&](Bytes& b) { StoreLe32(&b[table + 4], LoadLe32(&b[table])); },
       "the sections of disc 1 and disc 2 overlap"},
      {[&](Bytes& b) { StoreLe32(&b[table + 4], 0xFFFFF000u); },
       "the section of disc 2 lies past the end of the file"},
      {[&](Bytes& b) { StoreLe32(&b[table], 0x44475000); },
       "the disc table is encrypted (an official package); it cannot be read"},
  };
  const EbootJob job = fx.Job();
  for (const Damage& d : damages) {
    SCOPED_TRACE(d.what);
    Bytes bad = good;
    d.apply(bad);
    WriteFileBytes(fx.pbp, bad);
    const std::string said =
        "The discs of the EBOOT \"" + fx.pbp + "\" cannot be read: " + d.what + ".";
    EbootInfo info;
    EXPECT_EQ(ReadEbootInfo(fx.pbp, info), said);
    EXPECT_EQ(ExtractDiscImage(fx.pbp, fx.dir / "x.bin", false, kTocFile, fx.host, fx.host.cancel),
              Outcome::Failed(said));
    EXPECT_EQ(ExtractEveryDisc(fx.pbp, fx.dir / "x.bin", kTocFile, fx.host, fx.host.cancel),
              Outcome::Failed(said));
    EXPECT_EQ(ExtractTracks(fx.pbp, fx.dir / "x", TrackFiles::OneFile, fx.host, fx.host.cancel),
              Outcome::Failed(said));
    EXPECT_EQ(InspectEboot(fx.pbp, fx.temp, fx.host).message, said);
    EXPECT_FALSE(FileExists(fx.temp));
    EXPECT_EQ(CheckEbootForJob(fx.pbp), said);
    EXPECT_EQ(PatchEbootInPlace(fx.pbp, fx.temp, job, fx.host.cancel), Outcome::Failed(said));
    EXPECT_EQ(PatchConvertedEboot(fx.pbp, fx.temp, job, fx.host, fx.host.cancel),
              Outcome::Failed(said));
    EXPECT_EQ(ReconstructEboot(fx.pbp, fx.dir / "new.pbp", fx.temp, fx.program, job, fx.host,
                               fx.host.cancel),
              Outcome::Failed(said));
    EXPECT_EQ(CheckWrittenPackage(fx.pbp),
              "The new package " + fx.pbp + " is not whole: " + d.what + ".");
    File f(fx.pbp, File::Mode::Read);
    EXPECT_FALSE(PalFixSpans(f).has_value());
    EXPECT_EQ(PackageDiscCount(fx.pbp), 1);
    EXPECT_TRUE(ReadFileBytes(fx.pbp) == bad);
    EXPECT_FALSE(FileExists(fx.dir / "x.bin"));
    EXPECT_FALSE(FileExists(fx.dir / "new.pbp"));
  }
}

TEST(DiscSet, ANewPackageIsCheckedDiscByDisc) {
  SetFixture fx(TwoDiscs());
  EXPECT_EQ(CheckWrittenPackage(fx.pbp), "");
  const Bytes good = ReadFileBytes(fx.pbp);
  auto said = [&](const std::function<void(Bytes&)>& damage) {
    Bytes bad = good;
    damage(bad);
    WriteFileBytes(fx.pbp, bad);
    return CheckWrittenPackage(fx.pbp);
  };
  const std::string head = "The new package " + fx.pbp + " is not whole: ";
  const uint64_t s1 = fx.written.sections[0], s2 = fx.written.sections[1];
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
                        static_cast<uint32_t>(fx.written.startData - s2 - 0x100000 - 10));
              StoreLe16(&b[s2 + 0x4000 + 32 * 20 + 4], 20);
            }),
            head + "the index of disc 2 runs past the end of its section.");
  EXPECT_EQ(said([&](Bytes& b) { b[fx.written.startData] = 'X'; }),
            head + "its start data block cannot be found after its last disc.");
  // A start data header inside disc 2's blocks, pointed at by its section size, is no start
  // data block.
  EXPECT_EQ(said([&](Bytes& b) {
              Put(b, s2 + 0x100000 + 64, "STARTDAT");
              StoreLe32(&b[s2 + 12], 0x100000 + 64);
            }),
            head + "its start data block cannot be found after its last disc.");
  EXPECT_EQ(said([&](Bytes& b) { b.resize(s2 + 0x100000 + 1000); }),
            head + "the blocks of disc 2 run past the end of the file.");
}

TEST(DiscSet, PalFixSpansCoverEveryDiscInOrder) {
  // Stored blocks: the spans are every block of disc 1, then of disc 2.
  SetFixture fx(TwoDiscs(), 0);
  File f(fx.pbp, File::Mode::Read);
  auto spans = PalFixSpans(f);
  ASSERT_TRUE(spans.has_value());
  std::vector<FileSpan> expected;
  const uint64_t blocks[] = {7, 14};  // 6 and 13 image blocks, each with its padding block
  for (int d = 0; d < 2; ++d)
    for (uint64_t i = 0; i < blocks[d]; ++i)
      expected.push_back({fx.written.sections[d] + 0x100000 + i * kBlock, kBlock});
  ASSERT_EQ(spans->size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ((*spans)[i].offset, expected[i].offset) << i;
    EXPECT_EQ((*spans)[i].length, expected[i].length) << i;
  }
}

TEST(DiscSet, InfoListsEveryDisc) {
  SetFixture fx(TwoDiscs());
  EbootInfo info;
  ASSERT_EQ(ReadEbootInfo(fx.pbp, info), "");
  EXPECT_EQ(info.title, "Set Title");
  EXPECT_EQ(info.gameId, "SCUS94163");
  EXPECT_EQ(info.saveName, "Old Save");
  EXPECT_EQ(info.startData, fx.written.startData);
  EXPECT_EQ(info.bootPngSize, 900u);
  ASSERT_EQ(info.discs.size(), 2u);
  struct Expected {
    const char* id;
    uint32_t sectors;
    uint64_t blocks;
    std::vector<TrackInfo> tracks;
  };
  const Expected expected[] = {
      {"SCUS94163", 90, 7, {{1, true, 0, 2, 0}}},
      {"SCUS94164", 200, 14, {{1, true, 0, 2, 0}, {2, false, 0, 3, 25}, {3, false, 0, 4, 0}}}};
  for (int i = 0; i < 2; ++i) {
    SCOPED_TRACE(i + 1);
    const DiscInfo& d = info.discs[i];
    EXPECT_EQ(d.number, i + 1);
    EXPECT_EQ(d.gameId, expected[i].id);
    EXPECT_EQ(d.sectors, expected[i].sectors);
    EXPECT_EQ(d.blocks, expected[i].blocks);
    EXPECT_EQ(d.compressedBlocks, expected[i].blocks);
    uint64_t size = 0;
    for (uint32_t n : fx.written.discs[i].blockLengths) size += n;
    EXPECT_EQ(d.compressedSize, size);
    EXPECT_EQ(d.problem, "");
    ASSERT_EQ(d.tracks.size(), expected[i].tracks.size());
    for (std::size_t t = 0; t < d.tracks.size(); ++t) {
      EXPECT_EQ(d.tracks[t].number, expected[i].tracks[t].number);
      EXPECT_EQ(d.tracks[t].data, expected[i].tracks[t].data);
      EXPECT_EQ(FormatMsf(d.tracks[t].minute, d.tracks[t].second, d.tracks[t].frame),
                FormatMsf(expected[i].tracks[t].minute, expected[i].tracks[t].second,
                          expected[i].tracks[t].frame));
    }
  }
  // Disc 1 stands for the package where one disc is described.
  EXPECT_EQ(info.blocks, 7u);
  EXPECT_EQ(info.tracks.size(), 1u);

  PackageRecipe one;
  one.image = DiscImage(20, 9);
  test::WritePbp(fx.dir / "one.pbp", one);
  ASSERT_EQ(ReadEbootInfo(fx.dir / "one.pbp", info), "");
  EXPECT_TRUE(info.discs.empty());
}

void ANewPackageTakesTheJobsNameAndIdAndKeepsEveryDiscsToc(const std::vector<Disc>& discs) {
  SetFixture fx(discs);
  const Bytes before = ReadFileBytes(fx.pbp);
  EbootJob job = fx.Job();
  // A table in the job (the sheet of disc 1): a package of several discs keeps its own.
  TocArea toc{};
  toc.fill(0x77);
  job.toc = toc;
  ASSERT_EQ(PatchConvertedEboot(fx.pbp, fx.temp, job, fx.host, fx.host.cancel), Outcome::Success());
  EXPECT_EQ(ReadFileBytes(fx.temp + "START.DAT"), fx.recipes[0].tail);

  // The new picture and the start data over the old ones; the file keeps its length.
  Bytes expected = before;
  PutNewFields(expected, fx.written.psar, fx.written.sections);
  const uint64_t sd = fx.written.startData;
  StoreLe32(&expected[sd + 20], 600);
  const Bytes boot = ReadFileBytes(job.gameboot);
  std::copy(boot.begin(), boot.end(), expected.begin() + sd + 0x50);
  std::copy(fx.recipes[0].tail.begin(), fx.recipes[0].tail.end(),
            expected.begin() + sd + 0x50 + 600);
  const Bytes after = ReadFileBytes(fx.pbp);
  ASSERT_EQ(after.size(), expected.size());
  for (uint64_t at = 0; at < after.size(); ++at)
    if (after[at] != expected[at]) {
      ADD_FAILURE() << "first difference at byte " << at;
      break;
    }
  // Later discs keep their own IDs.
  for (std::size_t i = 1; i < discs.size(); ++i)
    EXPECT_EQ(std::string(after.begin() + fx.written.sections[i] + 0x400,
                          after.begin() + fx.written.sections[i] + 0x40B),
              "_" + discs[i].id.substr(0, 4) + "_" + discs[i].id.substr(4));
  fx.ExpectEveryDisc(fx.pbp);
}

void TheInspectionAndThePatchInPlaceReachEveryDisc(const std::vector<Disc>& discs) {
  SetFixture fx(discs);
  const Bytes before = ReadFileBytes(fx.pbp);
  Inspection seen = InspectEboot(fx.pbp, fx.temp, fx.host);
  ASSERT_EQ(seen.message, "");
  EXPECT_EQ(seen.title, "Set Title");
  EXPECT_EQ(seen.gameId, discs[0].id);
  EXPECT_EQ(seen.saveName, "Old Save");
  EXPECT_EQ(seen.discCount, static_cast<int>(discs.size()));
  EXPECT_EQ(seen.startData, fx.written.startData);
  EXPECT_EQ(ReadFileBytes(fx.temp + "PARAM.SFO"), test::MakeSfo("Set Title", discs[0].id));
  EXPECT_EQ(ReadFileBytes(fx.temp + "ICON0.PNG"), fx.recipes[0].icon0);
  EXPECT_EQ(ReadFileBytes(fx.temp + "BASE.PSP"), fx.recipes[0].dataPsp);
  EXPECT_EQ(ReadFileBytes(fx.temp + "Gameboot.png"), fx.recipes[0].bootPng);
  const Bytes& tail = fx.recipes[0].tail;
  const Bytes startDat(tail.begin(), tail.end() - 1);  // all but the file's last byte
  EXPECT_EQ(ReadFileBytes(fx.temp + "START.DAT"), startDat);

  // The new assets take exactly the old ones' room: the patch goes in place.
  const EbootJob job = fx.Job();
  const PackageUpdate done =
      UpdateEboot(fx.pbp, fx.temp, fx.program, job, fx.host, fx.host, fx.host.cancel);
  ASSERT_EQ(done.outcome, Outcome::Success());
  EXPECT_EQ(done.rebuiltTo, "");
  EXPECT_TRUE(fx.host.questions.empty());
  EXPECT_FALSE(FileExists(fx.pbp + ".undo"));

  // DATA.PSAR stays where it is with the new fields; after the start data header the new
  // picture, the start data and zeros to one byte past the old end.
  const uint64_t psar = fx.written.psar, sd = fx.written.startData;
  Bytes expected(before.begin() + psar, before.end());
  std::vector<uint64_t> sections;
  for (uint64_t s : fx.written.sections) sections.push_back(s - psar);
  PutNewFields(expected, 0, sections);
  StoreLe32(&expected[sd - psar + 20], 600);
  expected.resize(sd - psar + 0x50);
  const Bytes boot = ReadFileBytes(job.gameboot);
  expected.insert(expected.end(), boot.begin(), boot.end());
  expected.insert(expected.end(), startDat.begin(), startDat.end());
  expected.resize(before.size() + 1 - psar, 0);
  const Bytes after = ReadFileBytes(fx.pbp);
  EXPECT_EQ(LoadLe32(&after[36]), psar);
  EXPECT_TRUE(Bytes(after.begin() + psar, after.end()) == expected);
  fx.ExpectEveryDisc(fx.pbp);

  seen = InspectEboot(fx.pbp, fx.temp, fx.host);
  ASSERT_EQ(seen.message, "");
  EXPECT_EQ(seen.title, "New Title");
  EXPECT_EQ(seen.gameId, "SCES98765");
  EXPECT_EQ(seen.saveName, "New Save");
  EXPECT_EQ(ReadFileBytes(fx.temp + "ICON0.PNG"), ReadFileBytes(job.icon0));
  EXPECT_EQ(ReadFileBytes(fx.temp + "Gameboot.png"), boot);
}

void ARebuildCarriesTheTitleHeaderAndEveryDiscOver(const std::vector<Disc>& discs) {
  SetFixture fx(discs);
  const Bytes source = ReadFileBytes(fx.pbp);
  ASSERT_EQ(InspectEboot(fx.pbp, fx.temp, fx.host).message, "");
  EbootJob job = fx.Job();
  job.pic1 = fx.Asset("pic1.png", 1001, 14);  // one byte more than the room
  const std::string dest = fx.dir / "NEW.PBP";
  fx.host.destination = dest;
  const PackageUpdate done =
      UpdateEboot(fx.pbp, fx.temp, fx.program, job, fx.host, fx.host, fx.host.cancel);
  ASSERT_EQ(done.outcome, Outcome::Success());
  EXPECT_EQ(done.rebuiltTo, dest);
  EXPECT_TRUE(ReadFileBytes(fx.pbp) == source);

  // The new DATA.PSAR is the old one up to the start data header, fields patched where
  // each section now lies; then the new picture and the start data.
  const Bytes rebuilt = ReadFileBytes(dest);
  const uint64_t psar = fx.written.psar, sd = fx.written.startData;
  const uint64_t newPsar = LoadLe32(&rebuilt[36]);
  EXPECT_EQ(newPsar, 40u + 944 + 2500 + 0 + 1500 + 1001 + 1000 + 700);
  Bytes expected(source.begin() + psar, source.begin() + sd + 0x50);
  std::vector<uint64_t> sections;
  for (uint64_t s : fx.written.sections) sections.push_back(s - psar);
  PutNewFields(expected, 0, sections);
  StoreLe32(&expected[sd - psar + 20], 600);
  const Bytes boot = ReadFileBytes(job.gameboot);
  expected.insert(expected.end(), boot.begin(), boot.end());
  const Bytes& tail = fx.recipes[0].tail;
  expected.insert(expected.end(), tail.begin(), tail.end() - 1);
  EXPECT_TRUE(Bytes(rebuilt.begin() + static_cast<std::ptrdiff_t>(newPsar), rebuilt.end()) ==
              expected);
  fx.ExpectEveryDisc(dest);
  EXPECT_EQ(CheckWrittenPackage(dest), "");

  Inspection seen = InspectEboot(dest, fx.temp, fx.host);
  ASSERT_EQ(seen.message, "");
  EXPECT_EQ(seen.title, "New Title");
  EXPECT_EQ(seen.gameId, "SCES98765");
  EXPECT_EQ(seen.saveName, "New Save");
  EXPECT_EQ(seen.startData, newPsar + (sd - psar));
}

// Each header patch on a package of two discs and on one of five.
TEST(DiscSetPatch, ANewPackageTakesTheJobsNameAndIdAndKeepsEveryDiscsToc) {
  for (const std::vector<Disc>& discs : {TwoDiscs(), FiveDiscs()}) {
    SCOPED_TRACE(std::to_string(discs.size()) + " discs");
    ANewPackageTakesTheJobsNameAndIdAndKeepsEveryDiscsToc(discs);
  }
}

TEST(DiscSetPatch, TheInspectionAndThePatchInPlaceReachEveryDisc) {
  for (const std::vector<Disc>& discs : {TwoDiscs(), FiveDiscs()}) {
    SCOPED_TRACE(std::to_string(discs.size()) + " discs");
    TheInspectionAndThePatchInPlaceReachEveryDisc(discs);
  }
}

TEST(DiscSetPatch, ARebuildCarriesTheTitleHeaderAndEveryDiscOver) {
  for (const std::vector<Disc>& discs : {TwoDiscs(), FiveDiscs()}) {
    SCOPED_TRACE(std::to_string(discs.size()) + " discs");
    ARebuildCarriesTheTitleHeaderAndEveryDiscOver(discs);
  }
}

}  // namespace
}  // namespace ebf::pbp
