#include "pbp/extract.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <unistd.h>

#include <filesystem>
#include <numeric>

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

using namespace test;

// 737 raw sectors: a game disc's file system and a short audio track; 46 whole blocks and
// one partial block.
Bytes SampleImage() {
  auto iso = GameDisc("SLUS_012.34");
  iso.minSectors = 700;
  Bytes image = BuildDiscImage(iso, SectorLayout::Mode2Raw);
  Append(image, AudioSectors(37, 5));
  return image;
}

Bytes Padded(Bytes image, uint64_t extraBlocks = 0) {
  uint64_t blocks = (image.size() + kBlockSize - 1) / kBlockSize + extraBlocks;
  image.resize(blocks * kBlockSize, 0);
  return image;
}

void PatchBytes(const std::string& path, uint64_t at, const Bytes& bytes) {
  File f(path, File::Mode::ReadWrite);
  ASSERT_TRUE(f && f.Seek(at) && f.Write(bytes));
}

void PatchLe32(const std::string& path, uint64_t at, uint32_t v) {
  PatchBytes(path, at, {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)});
}

// The image alone, as the Extract ISO command writes it.
Outcome Extract(const std::string& pbp, const std::string& out, RunRecorder& host) {
  return ExtractDiscImage(pbp, out, false, kTocNone, host, host.cancel);
}

// Where block i's data lies in a package written without index holes.
uint64_t BlockAt(const PbpWritten& w, uint64_t i) {
  return w.psar + kPsarBlockDataPos +
         std::accumulate(w.blockLengths.begin(), w.blockLengths.begin() + i, uint64_t{0});
}

TEST(ExtractDiscImage, MixedBlocksIndexRulesBadPackagesCancelsAndTocFiles) {
  TempDir dir;
  const Bytes image = SampleImage();
  // Level, index holes, padding block.
  for (auto [level, holes, padding] :
       {std::tuple{9, true, false}, {0, false, false}, {1, false, true}}) {
    SCOPED_TRACE(level);
    PackageRecipe recipe;
    recipe.image = image;
    recipe.level = level;
    recipe.storeBlock = [](uint64_t i) { return i % 7 == 3; };
    if (holes) recipe.holeBeforeBlock = {0, 5, 46};
    recipe.paddingBlock = padding;
    PbpWritten w = WritePbp(dir / "EBOOT.PBP", recipe);
    if (level == 9) {
      ASSERT_TRUE(w.compressedBlocks > 20u && w.compressedBlocks < w.blockLengths.size());
    }

    RunRecorder host;
    const std::string out = dir / "out.bin";
    ASSERT_EQ(Extract(dir / "EBOOT.PBP", out, host), Outcome::Success());
    EXPECT_EQ(ReadFileBytes(out), Padded(image, padding ? 1 : 0));
    // One stage, reported every 32 blocks and at the end; no question, no TOC file.
    EXPECT_EQ(std::tuple(host.stages, host.completed, host.amounts.size(), host.questions.size(),
                         FileExists(dir / "out.TOC")),
              std::tuple(std::vector<std::string>{"Extracting ISO..."},
                         std::vector<std::string>{"Extracting ISO..."},
                         w.blockLengths.size() / 32 + 1, 0u, false));
  }

  // Damage is never passed on: a block that reads well but disagrees with its digest stops
  // the extraction, naming it, and nothing is written. Digests of another kind (not one
  // agrees) are no damage.
  // Level, split into tracks, and the block changed (-1: none; the digest fields are then of
  // another kind).
  for (auto [level, split, damaged] : {std::tuple{0, false, 0}, {0, true, 0}, {9, false, -1}}) {
    SCOPED_TRACE(testing::Message() << level << split << damaged);
    TempDir dir;
    const std::string pbp = dir / "EBOOT.PBP";
    PackageRecipe recipe;
    recipe.image = SampleImage();
    recipe.level = level;
    recipe.digests = true;
    PbpWritten w = WritePbp(pbp, recipe);
    const uint64_t at = BlockAt(w, std::max(damaged, 0));
    if (damaged < 0) {
      for (uint64_t slot : w.blockSlots) PatchBytes(pbp, w.SlotPos(slot) + 8, Bytes(16, 0xAB));
    } else {  // one bit of a stored block; the later blocks' digests show they are ours
      PatchBytes(pbp, at + 1000, {static_cast<uint8_t>(recipe.image[1000] ^ 0x20)});
    }
    RunRecorder host;
    const Outcome result =
        split ? ExtractTracks(pbp, dir / "set/Game", TrackFiles::Split, host, host.cancel)
              : Extract(pbp, dir / "out.bin", host);
    if (damaged < 0) {
      ASSERT_EQ(result, Outcome::Success());
      EXPECT_EQ(ReadFileBytes(dir / "out.bin"), Padded(recipe.image));
      continue;
    }
    EXPECT_EQ(result, Outcome::Failed("The EBOOT \"" + pbp + "\" is damaged: disc image block " +
                                      std::to_string(damaged) + ", at byte " + std::to_string(at) +
                                      ", does not match its digest."));
    EXPECT_FALSE(FileExists(dir / "out.bin") || FileExists(dir / "set"));
  }

  // Damaged or odd index entries and block streams, each in a fresh package: what the
  // extraction gives or says.
  const std::string pbp = dir / "EBOOT.PBP", out = dir / "out.bin";
  const std::string failed = "zlib inflate failed!  (disc image block ";
  // Block 6 as a stream of 100 bytes (the rest of its 37,632 repeat block 5), and as one
  // that would give more than a block (the first 37,632 bytes are kept).
  const Bytes shortData(100, 'Q');
  Bytes longData(kBlockSize + 3000, 'L');
  for (std::size_t i = 20000; i < 21000; ++i) longData[i] = static_cast<uint8_t>(i % 7);
  auto replace6 = [&](const PbpWritten& w, const Bytes& data) {
    // A raw deflate stream: zlib's stream without its 2-byte head and 4-byte check.
    uLongf size = compressBound(data.size());
    Bytes z(size);
    ASSERT_EQ(compress2(z.data(), &size, data.data(), data.size(), 9), Z_OK);
    const Bytes packed(z.begin() + 2, z.begin() + static_cast<std::ptrdiff_t>(size) - 4);
    ASSERT_LT(packed.size(), w.blockLengths[6]);
    PatchBytes(pbp, BlockAt(w, 6), packed);
    PatchLe32(pbp, w.SlotPos(6) + 4, static_cast<uint32_t>(packed.size()));
  };
  auto block = [](Bytes& e, long i) { return e.begin() + i * static_cast<long>(kBlockSize); };
  using W = const PbpWritten&;
  // The damage; what changes in the image, or else the block that fails and where (bytes into
  // the block data; BlockAt when 0).
  const std::tuple<const char*, std::function<void(W)>, std::function<void(Bytes&)>, int, uint64_t>
      rows[] = {
          // A stored block is recognised by length exactly 37,632: with marker 1 in the high half
          // of the length it is inflated, which fails.
          {"marked stored block",
           [&](W w) { PatchLe32(pbp, w.SlotPos(2) + 4, 0x00019300); },
           {},
           2,
           0},
          // Offset 0 with a length is a real block; only 0/0 is skipped.
          {"slot 10 at block 0",
           [&](W w) {
             PatchLe32(pbp, w.SlotPos(10), 0), PatchLe32(pbp, w.SlotPos(10) + 4, w.blockLengths[0]);
           },
           [&](Bytes& e) { std::copy_n(e.begin(), kBlockSize, block(e, 10)); }, -1, 0},
          // A phantom entry (an offset with length 0) does not inflate.
          {"phantom entry", [&](W w) { PatchLe32(pbp, w.SlotPos(60), 1234); }, {}, 47, 1234},
          {"not deflate data",
           [&](W w) { PatchBytes(pbp, BlockAt(w, 4), Bytes(3, 0xFF)); },
           {},
           4,
           0},
          {"short stream", [&](W w) { replace6(w, shortData); },
           [&](Bytes& e) {
             std::copy_n(block(e, 5), kBlockSize, block(e, 6));
             std::copy(shortData.begin(), shortData.end(), block(e, 6));
           },
           -1, 0},
          {"long stream", [&](W w) { replace6(w, longData); },
           [&](Bytes& e) { std::copy_n(longData.begin(), kBlockSize, block(e, 6)); }, -1, 0},
          // The last block's length runs far past the end of the file: it is read as far as the
          // file goes and inflate stops at its stream's end.
          {"last length past the end", [&](W w) { PatchLe32(pbp, w.SlotPos(46) + 4, 0xFFFFFFF0u); },
           [](Bytes&) {}, -1, 0},
      };
  PackageRecipe recipe;
  recipe.image = image;
  recipe.storeBlock = [](uint64_t i) { return i == 2; };
  RunRecorder host;
  for (const auto& [name, damage, change, failedBlock, failedAt] : rows) {
    SCOPED_TRACE(name);
    const PbpWritten w = WritePbp(pbp, recipe);
    ASSERT_EQ(w.blockLengths[2], kBlockSize);
    ASSERT_NE(w.blockLengths[4], kBlockSize);
    damage(w);
    DeleteFileIfExists(out);
    const Outcome result = Extract(pbp, out, host);
    if (change) {
      ASSERT_EQ(result, Outcome::Success());
      Bytes expected = Padded(image);
      change(expected);
      EXPECT_TRUE(ReadFileBytes(out) == expected);
    } else {
      const uint64_t at = failedAt ? w.psar + 0x100000 + failedAt : BlockAt(w, failedBlock);
      EXPECT_EQ(result, Outcome::Failed(failed + std::to_string(failedBlock) + ", at byte " +
                                        std::to_string(at) + ")"));
      EXPECT_FALSE(FileExists(out) || FileExists(out + ".ebf-part"));  // nothing is left
    }
  }
  EXPECT_TRUE(host.questions.empty());

  // The same for a stored last block cut short: what the file lacks is zero.
  recipe.storeBlock = [](uint64_t i) { return i == 46; };
  recipe.bootPng.clear();
  recipe.tail.clear();
  const PbpWritten w = WritePbp(pbp, recipe);
  std::filesystem::resize_file(pbp, w.fileSize - 0x50 - 1000);
  ASSERT_EQ(Extract(pbp, out, host), Outcome::Success());
  Bytes expected = Padded(image);
  std::fill(expected.end() - 1000, expected.end(), 0);
  EXPECT_EQ(ReadFileBytes(out), expected);

  // Bad packages give clear results.
  EXPECT_EQ(Extract(dir / "missing.pbp", out, host), Outcome::Failed(kNoSuchFile));
  EXPECT_EQ(Extract(dir.path(), out, host), Outcome::Failed(kNoSuchFile));

  PackageRecipe plain;
  plain.image = SampleImage();
  plain.magic = 0x12345678;  // the container's magic is never looked at
  PbpWritten bw = WritePbp(pbp, plain);
  EXPECT_EQ(Extract(pbp, out, host), Outcome::Success());

  PatchBytes(pbp, bw.psar, Bytes{'P', 'S', 'I', 'S', 'O', 'I', 'M', 'H'});
  EXPECT_EQ(Extract(pbp, out, host), Outcome::Failed(kPsarHeaderNotFound));
  // Only eight characters are compared.
  PatchBytes(pbp, bw.psar, Bytes{'P', 'S', 'I', 'S', 'O', 'I', 'M', 'G', 'x', 'y', 'z', 'w'});
  EXPECT_EQ(Extract(pbp, out, host), Outcome::Success());

  // DATA.PSAR offset past the end, or a file shorter than a header.
  PatchLe32(pbp, 36, 0xFFFFFFF0u);
  EXPECT_EQ(Extract(pbp, out, host), Outcome::Failed(kPsarHeaderNotFound));
  WriteFileBytes(pbp, Bytes(30, 0));
  EXPECT_EQ(Extract(pbp, out, host), Outcome::Failed(kPsarHeaderNotFound));

  // The package itself as the output is refused before anything is deleted.
  bw = WritePbp(pbp, plain);
  const Bytes whole = ReadFileBytes(pbp);
  const std::string r0 = Extract(pbp, dir.path() + "/./EBOOT.PBP", host).text();
  EXPECT_NE(r0.find("cannot be written over the EBOOT"), std::string::npos) << r0;
  EXPECT_EQ(ReadFileBytes(pbp), whole);

  // Cut inside the index, or an index entry past the end of the file: a sentence naming the
  // file; no output is started.
  DeleteFileIfExists(out);
  for (const char* says : {"cut short", "block 3 "}) {
    bw = WritePbp(pbp, plain);
    if (says[0] == 'c')
      std::filesystem::resize_file(pbp, bw.psar + 0x8000);
    else
      PatchLe32(pbp, bw.SlotPos(3), 0x7FFFFFF0u);
    const std::string r = Extract(pbp, out, host).text();
    EXPECT_TRUE(r.find(pbp) != std::string::npos && r.find(says) != std::string::npos) << r;
    EXPECT_FALSE(FileExists(out));
  }

  // A target that cannot be written says so, naming it.
  bw = WritePbp(pbp, plain);
  const std::string nowhere = dir / "no such folder/out.bin";
  const std::string r = Extract(pbp, nowhere, host).text();
  EXPECT_EQ(r.rfind("Could not write \"" + nowhere + "\": ", 0), 0u) << r;
  EXPECT_TRUE(host.questions.empty());

  // A cancel every 32 blocks; TOC files go with the image or not at all.
  PackageRecipe tocced;
  tocced.image = SampleImage();
  tocced.toc = MakeToc({{0x41, 0}, {0x01, 700}}, 737);
  WritePbp(dir / "EBOOT.PBP", tocced);
  const Bytes tocFile(tocced.toc->begin(), tocced.toc->begin() + 5 * 10);
  const std::string game = dir / "Game.iso";
  EXPECT_EQ(CcdOverwriteQuestion(game), "");
  WriteFileText(dir / "Game.ccd", "old");
  EXPECT_EQ(CcdOverwriteQuestion(game),
            "The following file will be overwritten if you continue!\r\n" + (dir / "Game.ccd") +
                "\r\nDo you wish to continue?");
  WriteFileBytes(game, Bytes(5, 1));
  WriteFileText(dir / "Game.TOC", "old toc");

  // The check comes before the 32nd block; a cancelled run leaves the user's files as they
  // were and nothing of its own.
  RunRecorder stopped;
  stopped.onAdvance = [&](int) { stopped.cancel.Request(); };
  EXPECT_EQ(ExtractDiscImage(dir / "EBOOT.PBP", game, false, kTocCcd, stopped, stopped.cancel),
            Outcome::Cancelled());
  EXPECT_FALSE(stopped.cancel.Requested());  // taken by the extraction
  EXPECT_EQ(stopped.amounts, (std::vector<std::pair<uint64_t, uint64_t>>{{31, 47}}));
  EXPECT_TRUE(stopped.completed.empty());
  EXPECT_EQ(ReadFileBytes(game), Bytes(5, 1));
  EXPECT_EQ(ReadFileText(dir / "Game.ccd"), "old");
  EXPECT_FALSE(FileExists(game + ".ebf-part"));

  // The CCD cannot take its name (a folder has it): the extraction fails before anything is
  // renamed, says why, and the user's image and TOC stay as they were.
  std::filesystem::rename(dir / "Game.ccd", dir / "Game.ccd.old");
  std::filesystem::create_directory(dir / "Game.ccd");
  RunRecorder blocked;
  EXPECT_EQ(ExtractDiscImage(dir / "EBOOT.PBP", game, false, kTocCcd, blocked, blocked.cancel),
            Outcome::Failed("Could not write \"" + (dir / "Game.ccd") +
                            "\": a folder of that name is in the way."));
  EXPECT_EQ(ReadFileBytes(game), Bytes(5, 1));
  EXPECT_EQ(ReadFileText(dir / "Game.TOC"), "old toc");
  for (const char* name : {"Game.iso.ebf-part", "Game.ccd.ebf-part", "Game.TOC.ebf-part"})
    EXPECT_FALSE(FileExists(dir / name)) << name;
  std::filesystem::remove(dir / "Game.ccd");
  std::filesystem::rename(dir / "Game.ccd.old", dir / "Game.ccd");

  // Run to the end, the image and then its CCD replace the old files.
  RunRecorder finished;
  EXPECT_EQ(ExtractDiscImage(dir / "EBOOT.PBP", game, false, kTocCcd, finished, finished.cancel),
            Outcome::Success());
  EXPECT_EQ(FileSize(game), 47 * kBlockSize);
  TocArea area{};
  std::copy(tocced.toc->begin(), tocced.toc->end(), area.begin());
  EXPECT_EQ(ReadFileText(dir / "Game.ccd"), FormatCcd(UsedTocEntries(area)));

  // With a note folder the temporary names are noted while the run writes, and the note goes
  // with the run.
  const std::string temp = dir.MakeDir("Temp");
  RunRecorder noted;
  std::string seen;
  noted.onAdvance = [&](int n) {
    if (n > 1) return;  // the first report comes while the image is being written
    for (const auto& e : std::filesystem::directory_iterator(temp))
      seen += e.path().filename().string() + "=" + ReadFileText(e.path().string());
  };
  EXPECT_EQ(ExtractDiscImage(dir / "EBOOT.PBP", game, false, kTocFile, noted, noted.cancel, temp),
            Outcome::Success());
  EXPECT_EQ(seen, "STAGED-" + std::to_string(getpid()) + ".NOTE=F " + game + ".ebf-part\nF " +
                      (dir / "Game.TOC") + ".ebf-part\n");
  EXPECT_TRUE(std::filesystem::is_empty(temp));
  EXPECT_EQ(ReadFileBytes(dir / "Game.TOC"), tocFile);
}

}  // namespace
}  // namespace ebf::pbp
