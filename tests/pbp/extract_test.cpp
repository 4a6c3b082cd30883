#include "pbp/extract.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <unistd.h>

#include <filesystem>

#include "common/cancel.h"
#include "common/files.h"
#include "pbp/toc.h"
#include "pbp/track_extract.h"
#include "support/disc_builder.h"
#include "support/pbp_writer.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::pbp {
namespace {

using test::PackageRecipe;
using test::PbpWritten;
using test::ReadFileBytes;
using test::RunRecorder;
using test::TempDir;
using test::WriteFileBytes;

// 737 raw sectors: a game disc's file system and a short audio track; 46 whole blocks and
// one partial block.
Bytes SampleImage() {
  auto iso = test::GameDisc("SLUS_012.34");
  iso.minSectors = 700;
  Bytes image = test::BuildDiscImage(iso, test::SectorLayout::Mode2Raw);
  Bytes audio = test::AudioSectors(37, 5);
  image.insert(image.end(), audio.begin(), audio.end());
  return image;
}

Bytes Padded(Bytes image, uint64_t extraBlocks = 0) {
  uint64_t blocks = (image.size() + kBlockSize - 1) / kBlockSize + extraBlocks;
  image.resize(blocks * kBlockSize, 0);
  return image;
}

void PatchLe32(const std::string& path, uint64_t at, uint32_t value) {
  File f(path, File::Mode::ReadWrite);
  ASSERT_TRUE(f);
  uint8_t raw[4];
  StoreLe32(raw, value);
  ASSERT_TRUE(f.Seek(at) && f.Write(raw));
}

void PatchBytes(const std::string& path, uint64_t at, const Bytes& bytes) {
  File f(path, File::Mode::ReadWrite);
  ASSERT_TRUE(f);
  ASSERT_TRUE(f.Seek(at) && f.Write(bytes));
}

Bytes RawDeflate(const Bytes& data) {
  uLongf size = compressBound(data.size()) + 64;
  Bytes out(size);
  z_stream zs{};
  deflateInit2(&zs, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  zs.next_in = const_cast<Bytef*>(data.data());
  zs.avail_in = static_cast<uInt>(data.size());
  zs.next_out = out.data();
  zs.avail_out = static_cast<uInt>(out.size());
  deflate(&zs, Z_FINISH);
  out.resize(zs.total_out);
  deflateEnd(&zs);
  return out;
}

TEST(ExtractDiscImage, GivesBackTheImageFromMixedBlocks) {
  TempDir dir;
  const Bytes image = SampleImage();
  struct Variant {
    int level;
    bool withHoles;
    bool padding;
  };
  for (Variant v : {Variant{9, true, false}, Variant{0, false, false}, Variant{1, false, true}}) {
    PackageRecipe recipe;
    recipe.image = image;
    recipe.level = v.level;
    recipe.storeBlock = [](uint64_t i) { return i % 7 == 3; };
    if (v.withHoles) recipe.holeBeforeBlock = {0, 5, 46};
    recipe.paddingBlock = v.padding;
    PbpWritten w = test::WritePbp(dir / "EBOOT.PBP", recipe);
    if (v.level == 9) {
      ASSERT_GT(w.compressedBlocks, 20u);
      ASSERT_LT(w.compressedBlocks, w.blockLengths.size());
    }

    RunRecorder host;
    const std::string out = dir / "out.bin";
    ASSERT_EQ(ExtractDiscImage(dir / "EBOOT.PBP", out, false, kTocNone, host, host.cancel),
              Outcome::Success())
        << "level " << v.level;
    EXPECT_EQ(ReadFileBytes(out), Padded(image, v.padding ? 1 : 0)) << "level " << v.level;
    EXPECT_EQ(host.stages, std::vector<std::string>{"Extracting ISO..."});
    EXPECT_EQ(host.completed, std::vector<std::string>{"Extracting ISO..."});
    // Every 32 blocks, then the end.
    EXPECT_EQ(host.amounts.size(), w.blockLengths.size() / 32 + 1);
    EXPECT_TRUE(host.questions.empty());
    EXPECT_FALSE(FileExists(dir / "out.TOC"));
  }
}

TEST(ExtractDiscImage, CancelEvery32BlocksAndTocFiles) {
  TempDir dir;
  PackageRecipe recipe;
  recipe.image = SampleImage();
  recipe.toc = test::MakeToc({{0x41, 0}, {0x01, 700}}, 737);
  test::WritePbp(dir / "EBOOT.PBP", recipe);

  RunRecorder host;
  host.onAdvance = [&](int) { host.cancel.Request(); };
  const std::string out = dir / "Game.iso";
  EXPECT_EQ(CcdOverwriteQuestion(out), "");
  test::WriteFileText(dir / "Game.ccd", "old");
  EXPECT_EQ(CcdOverwriteQuestion(out),
            "The following file will be overwritten if you continue!\r\n" + (dir / "Game.ccd") +
                "\r\nDo you wish to continue?");
  WriteFileBytes(out, Bytes(5, 1));
  EXPECT_EQ(ExtractDiscImage(dir / "EBOOT.PBP", out, false, kTocCcd, host, host.cancel),
            Outcome::Cancelled());
  EXPECT_FALSE(host.cancel.Requested());  // taken by the extraction
  // The check comes before the 32nd block; a cancelled run leaves the user's files as they
  // were and nothing of its own.
  ASSERT_EQ(host.amounts.size(), 1u);
  EXPECT_EQ(host.amounts[0], std::make_pair(uint64_t{31}, uint64_t{47}));
  EXPECT_TRUE(host.completed.empty());
  EXPECT_EQ(test::ReadFileBytes(out), Bytes(5, 1));
  EXPECT_EQ(test::ReadFileText(dir / "Game.ccd"), "old");
  EXPECT_FALSE(FileExists(out + ".ebf-part"));

  // Run to the end, the image and then its CCD replace the old files.
  RunRecorder whole;
  EXPECT_EQ(ExtractDiscImage(dir / "EBOOT.PBP", out, false, kTocCcd, whole, whole.cancel),
            Outcome::Success());
  EXPECT_EQ(FileSize(out), 47 * kBlockSize);
  TocArea area{};
  std::copy(recipe.toc->begin(), recipe.toc->end(), area.begin());
  EXPECT_EQ(test::ReadFileText(dir / "Game.ccd"), FormatCcd(UsedTocEntries(area)));
  EXPECT_FALSE(FileExists(out + ".ebf-part"));

  RunRecorder again;
  EXPECT_EQ(
      ExtractDiscImage(dir / "EBOOT.PBP", dir / "TempISO.iso", true, kTocFile, again, again.cancel),
      Outcome::Success());
  EXPECT_EQ(ReadFileBytes(dir / "ISO.TOC"),
            Bytes(recipe.toc->begin(), recipe.toc->begin() + 5 * 10));
}

TEST(ExtractDiscImage, TocFilesGoWithTheImageOrNotAtAll) {
  TempDir dir;
  PackageRecipe recipe;
  recipe.image = SampleImage();
  recipe.toc = test::MakeToc({{0x41, 0}, {0x01, 700}}, 737);
  test::WritePbp(dir / "EBOOT.PBP", recipe);
  const std::string out = dir / "Game.iso";
  WriteFileBytes(out, Bytes(5, 1));
  test::WriteFileText(dir / "Game.TOC", "old toc");

  // The CCD cannot take its name (a folder has it): the extraction fails before anything is
  // renamed, says why, and the user's image and TOC stay as they were.
  std::filesystem::create_directory(dir / "Game.ccd");
  RunRecorder host;
  EXPECT_EQ(ExtractDiscImage(dir / "EBOOT.PBP", out, false, kTocCcd, host, host.cancel),
            Outcome::Failed("Could not write \"" + (dir / "Game.ccd") +
                            "\": a folder of that name is in the way."));
  EXPECT_EQ(ReadFileBytes(out), Bytes(5, 1));
  EXPECT_EQ(test::ReadFileText(dir / "Game.TOC"), "old toc");
  for (const char* name : {"Game.iso.ebf-part", "Game.ccd.ebf-part", "Game.TOC.ebf-part"})
    EXPECT_FALSE(FileExists(dir / name)) << name;

  // With a note folder the temporary names are noted while the run writes, and the note goes
  // with the run.
  const std::string temp = dir.MakeDir("Temp");
  RunRecorder noted;
  std::string seen;
  noted.onAdvance = [&](int n) {
    if (n > 1) return;  // the first report comes while the image is being written
    for (const auto& e : std::filesystem::directory_iterator(temp))
      seen += e.path().filename().string() + "=" + test::ReadFileText(e.path().string());
  };
  EXPECT_EQ(ExtractDiscImage(dir / "EBOOT.PBP", out, false, kTocFile, noted, noted.cancel, temp),
            Outcome::Success());
  EXPECT_EQ(seen, "STAGED-" + std::to_string(getpid()) + ".NOTE=F " + out + ".ebf-part\nF " +
                      (dir / "Game.TOC") + ".ebf-part\n");
  EXPECT_TRUE(std::filesystem::is_empty(temp));
  EXPECT_EQ(FileSize(out), 47 * kBlockSize);
  EXPECT_EQ(ReadFileBytes(dir / "Game.TOC"),
            Bytes(recipe.toc->begin(), recipe.toc->begin() + 5 * 10));
}

TEST(ExtractDiscImage, IndexRules) {
  TempDir dir;
  const Bytes image = SampleImage();
  const std::string pbp = dir / "EBOOT.PBP";
  const std::string out = dir / "out.bin";
  RunRecorder host;

  // A stored block is recognised by length exactly 37,632: with marker 1 in the high half
  // of the length it is inflated, which fails.
  PackageRecipe recipe;
  recipe.image = image;
  recipe.storeBlock = [](uint64_t i) { return i == 2; };
  PbpWritten w = test::WritePbp(pbp, recipe);
  PatchLe32(pbp, w.SlotPos(2) + 4, 0x00019300);
  const std::string failed = "zlib inflate failed!  (disc image block ";
  std::string result = ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel).text();
  EXPECT_EQ(result.rfind(failed + "2, at byte ", 0), 0u) << result;
  // Nothing of the failed run is left.
  EXPECT_FALSE(FileExists(out));
  EXPECT_FALSE(FileExists(out + ".ebf-part"));

  // Offset 0 with a length is a real block; only 0/0 is skipped. Point slot 10 at block 0.
  w = test::WritePbp(pbp, recipe);
  PatchLe32(pbp, w.SlotPos(10), 0);
  PatchLe32(pbp, w.SlotPos(10) + 4, w.blockLengths[0]);
  ASSERT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel), Outcome::Success());
  Bytes expected = Padded(image);
  std::copy_n(expected.begin(), kBlockSize, expected.begin() + 10 * kBlockSize);
  EXPECT_EQ(ReadFileBytes(out), expected);

  // A phantom entry (an offset with length 0) does not inflate.
  w = test::WritePbp(pbp, recipe);
  PatchLe32(pbp, w.SlotPos(60), 1234);
  EXPECT_EQ(
      ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel),
      Outcome::Failed(failed + "47, at byte " + std::to_string(w.psar + 0x100000 + 1234) + ")"));

  // A deflated block that is not deflate data.
  w = test::WritePbp(pbp, recipe);
  ASSERT_NE(w.blockLengths[4], kBlockSize);
  File probe(pbp, File::Mode::Read);
  uint8_t entry[4];
  ASSERT_TRUE(probe.Seek(w.SlotPos(4)) && probe.ReadExact(entry));
  PatchBytes(pbp, w.psar + kPsarBlockDataPos + LoadLe32(entry), {0xFF, 0xFF, 0xFF});
  EXPECT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel),
            Outcome::Failed(failed + "4, at byte " +
                            std::to_string(w.psar + kPsarBlockDataPos + LoadLe32(entry)) + ")"));
  EXPECT_TRUE(host.questions.empty());
}

TEST(ExtractDiscImage, ShortStreamsAndLengthsPastTheEnd) {
  TempDir dir;
  const Bytes image = SampleImage();
  const std::string pbp = dir / "EBOOT.PBP";
  const std::string out = dir / "out.bin";
  RunRecorder host;

  // Block 6 replaced by a stream of 100 bytes: the rest of its 37,632 repeat block 5.
  PackageRecipe recipe;
  recipe.image = image;
  PbpWritten w = test::WritePbp(pbp, recipe);
  Bytes shortData(100, 'Q');
  Bytes packed = RawDeflate(shortData);
  ASSERT_LT(packed.size(), w.blockLengths[6]);
  uint8_t entry[4];
  {
    File probe(pbp, File::Mode::Read);
    ASSERT_TRUE(probe.Seek(w.SlotPos(6)) && probe.ReadExact(entry));
  }
  PatchBytes(pbp, w.psar + kPsarBlockDataPos + LoadLe32(entry), packed);
  PatchLe32(pbp, w.SlotPos(6) + 4, static_cast<uint32_t>(packed.size()));
  ASSERT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel), Outcome::Success());
  Bytes expected = Padded(image);
  std::copy(expected.begin() + 5 * kBlockSize, expected.begin() + 6 * kBlockSize,
            expected.begin() + 6 * kBlockSize);
  std::copy(shortData.begin(), shortData.end(), expected.begin() + 6 * kBlockSize);
  EXPECT_EQ(ReadFileBytes(out), expected);

  // A stream that would give more than a block: the first 37,632 bytes are kept.
  w = test::WritePbp(pbp, recipe);
  Bytes longData(kBlockSize + 3000, 'L');
  for (std::size_t i = 20000; i < 21000; ++i) longData[i] = static_cast<uint8_t>(i % 7);
  packed = RawDeflate(longData);
  ASSERT_LT(packed.size(), w.blockLengths[6]);
  PatchBytes(pbp, w.psar + kPsarBlockDataPos + LoadLe32(entry), packed);
  PatchLe32(pbp, w.SlotPos(6) + 4, static_cast<uint32_t>(packed.size()));
  ASSERT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel), Outcome::Success());
  expected = Padded(image);
  std::copy_n(longData.begin(), kBlockSize, expected.begin() + 6 * kBlockSize);
  EXPECT_EQ(ReadFileBytes(out), expected);

  // The last block's length runs far past the end of the file: it is read as far as the
  // file goes and inflate stops at its stream's end.
  w = test::WritePbp(pbp, recipe);
  PatchLe32(pbp, w.SlotPos(46) + 4, 0xFFFFFFF0u);
  ASSERT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel), Outcome::Success());
  EXPECT_EQ(ReadFileBytes(out), Padded(image));

  // The same for a stored last block: what the file lacks is zero.
  recipe.storeBlock = [](uint64_t i) { return i == 46; };
  recipe.bootPng.clear();
  recipe.tail.clear();
  w = test::WritePbp(pbp, recipe);
  std::filesystem::resize_file(pbp, w.fileSize - 0x50 - 1000);
  ASSERT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel), Outcome::Success());
  expected = Padded(image);
  std::fill(expected.end() - 1000, expected.end(), 0);
  EXPECT_EQ(ReadFileBytes(out), expected);
}

TEST(ExtractDiscImage, BadPackagesGiveClearResults) {
  TempDir dir;
  const std::string pbp = dir / "EBOOT.PBP";
  const std::string out = dir / "out.bin";
  RunRecorder host;

  EXPECT_EQ(ExtractDiscImage(dir / "missing.pbp", out, false, kTocNone, host, host.cancel),
            Outcome::Failed(kNoSuchFile));
  EXPECT_EQ(ExtractDiscImage(dir.path(), out, false, kTocNone, host, host.cancel),
            Outcome::Failed(kNoSuchFile));

  PackageRecipe recipe;
  recipe.image = SampleImage();
  recipe.magic = 0x12345678;  // the container's magic is never looked at
  PbpWritten w = test::WritePbp(pbp, recipe);
  EXPECT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel), Outcome::Success());

  PatchBytes(pbp, w.psar, Bytes{'P', 'S', 'I', 'S', 'O', 'I', 'M', 'H'});
  EXPECT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel),
            Outcome::Failed(kPsarHeaderNotFound));
  // Only eight characters are compared.
  PatchBytes(pbp, w.psar, Bytes{'P', 'S', 'I', 'S', 'O', 'I', 'M', 'G', 'x', 'y', 'z', 'w'});
  EXPECT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel), Outcome::Success());

  // DATA.PSAR offset past the end, or a file shorter than a header.
  PatchLe32(pbp, 36, 0xFFFFFFF0u);
  EXPECT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel),
            Outcome::Failed(kPsarHeaderNotFound));
  WriteFileBytes(pbp, Bytes(30, 0));
  EXPECT_EQ(ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel),
            Outcome::Failed(kPsarHeaderNotFound));

  // The package itself as the output is refused before anything is deleted.
  w = test::WritePbp(pbp, recipe);
  const Bytes whole = ReadFileBytes(pbp);
  const std::string r0 =
      ExtractDiscImage(pbp, dir.path() + "/./EBOOT.PBP", false, kTocNone, host, host.cancel).text();
  EXPECT_NE(r0.find("cannot be written over the EBOOT"), std::string::npos) << r0;
  EXPECT_EQ(ReadFileBytes(pbp), whole);

  // Cut inside the index: a sentence naming the file; no output is started.
  w = test::WritePbp(pbp, recipe);
  std::filesystem::resize_file(pbp, w.psar + 0x8000);
  DeleteFileIfExists(out);
  std::string r = ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel).text();
  EXPECT_NE(r.find(pbp), std::string::npos) << r;
  EXPECT_NE(r.find("cut short"), std::string::npos) << r;
  EXPECT_FALSE(FileExists(out));

  // An index entry that points past the end of the file.
  w = test::WritePbp(pbp, recipe);
  PatchLe32(pbp, w.SlotPos(3), 0x7FFFFFF0u);
  r = ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel).text();
  EXPECT_NE(r.find(pbp), std::string::npos) << r;
  EXPECT_NE(r.find("block 3 "), std::string::npos) << r;
  EXPECT_FALSE(FileExists(out));

  // A target that cannot be written says so, naming it.
  w = test::WritePbp(pbp, recipe);
  const std::string nowhere = dir / "no such folder/out.bin";
  r = ExtractDiscImage(pbp, nowhere, false, kTocNone, host, host.cancel).text();
  EXPECT_EQ(r.rfind("Could not write \"" + nowhere + "\": ", 0), 0u) << r;
  EXPECT_TRUE(host.questions.empty());
}

// Damage is never passed on: a block that reads well but disagrees with its digest stops
// the extraction, naming it, and nothing is written. Digests of another kind (not one
// agrees) are no damage.
TEST(ExtractDiscImage, ABlockThatDisagreesWithItsDigestIsNeverWritten) {
  struct Row {
    const char* name;
    int level;
    bool split;
    int damaged;  // the block changed (-1: none; the digest fields are then of another kind)
  };
  const Row rows[] = {{"first block", 0, false, 0},
                      {"split into tracks", 0, true, 0},
                      {"digests of another kind", 9, false, -1}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TempDir dir;
    const std::string pbp = dir / "EBOOT.PBP";
    PackageRecipe recipe;
    recipe.image = SampleImage();
    recipe.level = row.level;
    recipe.digests = true;
    PbpWritten w = test::WritePbp(pbp, recipe);
    uint8_t entry[4];
    {
      File probe(pbp, File::Mode::Read);
      ASSERT_TRUE(probe.Seek(w.SlotPos(std::max(row.damaged, 0))) && probe.ReadExact(entry));
    }
    const uint64_t at = w.psar + kPsarBlockDataPos + LoadLe32(entry);
    if (row.damaged < 0) {
      for (uint64_t slot : w.blockSlots) PatchBytes(pbp, w.SlotPos(slot) + 8, Bytes(16, 0xAB));
    } else {  // one bit of a stored block; the later blocks' digests show they are ours
      PatchBytes(pbp, at + 1000, {static_cast<uint8_t>(recipe.image[1000] ^ 0x20)});
    }
    RunRecorder host;
    const Outcome result =
        row.split ? ExtractTracks(pbp, dir / "set/Game", TrackFiles::Split, host, host.cancel)
                  : ExtractDiscImage(pbp, dir / "out.bin", false, kTocNone, host, host.cancel);
    if (row.damaged < 0) {
      ASSERT_EQ(result, Outcome::Success());
      EXPECT_EQ(ReadFileBytes(dir / "out.bin"), Padded(recipe.image));
      continue;
    }
    EXPECT_EQ(result, Outcome::Failed("The EBOOT \"" + pbp + "\" is damaged: disc image block " +
                                      std::to_string(row.damaged) + ", at byte " +
                                      std::to_string(at) + ", does not match its digest."));
    EXPECT_FALSE(FileExists(dir / "out.bin"));
    EXPECT_FALSE(FileExists(dir / "set"));
  }
}

}  // namespace
}  // namespace ebf::pbp
