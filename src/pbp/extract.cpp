#include "pbp/extract.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <memory>
#include <span>
#include <thread>

#include "common/async_writer.h"
#include "common/bytes.h"
#include "common/files.h"
#include "common/staged_files.h"
#include "pbp/block_reader.h"
#include "pbp/block_rounds.h"
#include "pbp/container.h"
#include "pbp/disc_table.h"
#include "pbp/toc.h"

namespace ebf::pbp {
namespace {

constexpr uint64_t kProgressEvery = 32;
// Output goes to the file in pieces of this many blocks, written while the next ones
// inflate.
constexpr uint64_t kWriteChunkBlocks = 16;
// Threads that inflate and digest blocks, at most: more would only wait for the disk.
constexpr unsigned kExtractionThreads = 4;

std::string CannotWrite(const std::string& path, const std::string& why) {
  return "Could not write \"" + path + "\": " + why;
}

}  // namespace

std::string OutOfSpaceText(uint64_t bytesRequired) {
  return "It appears that you're out of space!  (" + std::to_string(bytesRequired) +
         " bytes are required)  [Note, I'm too lazy to code some things, so if you're "
         "replacing a file and getting this message, try deleting the file first]";
}

std::string CcdOverwriteQuestion(const std::string& outputPath) {
  const std::string ccd = CcdFilePath(outputPath);
  if (!FileExists(ccd)) return {};
  return "The following file will be overwritten if you continue!\r\n" + ccd +
         "\r\nDo you wish to continue?";
}

std::string ReadDiscImageLayout(File& package, const std::string& displayPath, DiscImageLayout& out,
                                bool keepBlocksPastEnd, int disc) {
  out = DiscImageLayout{};
  out.fileSize = package.Size();
  auto psar = ReadLe32At(package, kPsarOffsetPos);
  if (!psar) return kPsarHeaderNotFound;
  out.psar = *psar;
  out.section = out.psar;
  out.disc = disc;
  if (HasTitleHeader(package, out.psar)) {
    const DiscTable table = ReadDiscTable(package, out.psar);
    if (!table.error.empty()) return DiscTableMessage(displayPath, table.error);
    out.discCount = static_cast<int>(table.discs.size());
    if (disc < 1 || disc > out.discCount)
      return NoSuchDiscMessage(displayPath, out.discCount, disc);
    out.section = table.discs[static_cast<std::size_t>(disc - 1)].start;
  } else {
    std::array<uint8_t, kPsarMagicSize> magic{};
    if (!package.Seek(out.psar) || !package.ReadExact(magic) ||
        std::memcmp(magic.data(), kPsarMagic.data(), kPsarMagicSize) != 0)
      return kPsarHeaderNotFound;
    if (disc != 1) return NoSuchDiscMessage(displayPath, 1, disc);
  }

  const uint64_t dataStart = out.section + kPsarBlockDataPos;
  if (dataStart > out.fileSize)
    return "The EBOOT \"" + displayPath + "\" is cut short: its disc image index ends at byte " +
           std::to_string(dataStart) + ", beyond the end of the file (" +
           std::to_string(out.fileSize) + " bytes).";

  if (!package.Seek(out.section + kPsarTocPos) || !package.ReadExact(out.toc))
    return kPsarHeaderNotFound;

  Bytes index(kPsarBlockDataPos - kPsarIndexPos);
  if (!package.Seek(out.section + kPsarIndexPos) || !package.ReadExact(index))
    return "The EBOOT \"" + displayPath + "\" could not be read: " + package.LastError();
  for (uint64_t slot = 0; slot < kIndexSlots; ++slot) {
    const uint8_t* e = index.data() + slot * kIndexEntrySize;
    BlockRef b{LoadLe32(e), LoadLe32(e + 4), {}};
    std::copy_n(e + kIndexDigestPos, kIndexDigestSize, b.digest.begin());
    if (b.offset == 0 && b.length == 0) continue;
    if (!keepBlocksPastEnd && dataStart + b.offset >= out.fileSize)
      return "The EBOOT \"" + displayPath + "\" is damaged: disc image block " +
             std::to_string(out.blocks.size()) + " (index slot " + std::to_string(slot) +
             ") starts at byte " + std::to_string(dataStart + b.offset) +
             ", beyond the end of the file (" + std::to_string(out.fileSize) + " bytes).";
    out.blocks.push_back(b);
  }
  return {};
}

std::string NoSuchDiscMessage(const std::string& ebootPath, int discCount, int disc) {
  return "The EBOOT \"" + ebootPath + "\" holds " +
         (discCount == 1 ? std::string("one disc") : std::to_string(discCount) + " discs") +
         "; there is no disc " + std::to_string(disc) + ".";
}

std::string DiscOutputPath(const std::string& outputPath, int disc) {
  const std::string stem = WithoutExtension(outputPath);
  return stem + " (Disc " + std::to_string(disc) + ")" + outputPath.substr(stem.size());
}

std::string BlockFailureText(BlockStatus status, uint64_t block, uint64_t fileOffset,
                             const std::string& why) {
  const std::string where =
      "disc image block " + std::to_string(block) + ", at byte " + std::to_string(fileOffset);
  if (status == BlockStatus::InflateFailed)
    return std::string(kInflateFailed) + "  (" + where + ")";
  return "The EBOOT could not be read at " + where + ": " + why;
}

Outcome WriteSectors(const std::string& packagePath, const DiscImageLayout& layout,
                     const std::vector<SectorTarget>& targets, Progress& progress,
                     CancelToken& cancel) {
  if (targets.empty()) return Outcome::Success();
  const uint64_t endSector = targets.back().first + targets.back().count;
  const uint64_t n = std::min<uint64_t>(layout.blocks.size(),
                                        (endSector + kSectorsPerBlock - 1) / kSectorsPerBlock);
  const uint64_t dataStart = layout.section + kPsarBlockDataPos;
  std::size_t target = 0;
  auto out = std::make_unique<File>();
  std::unique_ptr<AsyncWriter> writer;
  auto openTarget = [&]() -> std::string {
    writer.reset();
    out = std::make_unique<File>(targets[target].path, File::Mode::Write);
    if (!*out) return CannotWrite(targets[target].shownAs, out->LastError());
    writer = std::make_unique<AsyncWriter>(*out, kWriteChunkBlocks * kBlockSize);
    return {};
  };
  auto closeTarget = [&]() -> std::string {
    const bool flushed = writer->Flush();
    std::string err = writer->TakeError();
    writer.reset();
    if (!out->Close() && err.empty()) err = out->LastError();
    if (!flushed || !err.empty()) return CannotWrite(targets[target].shownAs, err);
    return {};
  };
  if (std::string err = openTarget(); !err.empty()) return Outcome::Failed(err);
  // Blocks are inflated and their digests checked on other threads, ahead of the writing.
  BlockRounds rounds(packagePath, layout, n,
                     std::clamp(std::thread::hardware_concurrency(), 1u, kExtractionThreads));
  DigestTally digests(layout);
  // A block that inflates short keeps the previous block's bytes in its tail.
  Bytes previous(kBlockSize, 0);
  for (BlockRound round = rounds.Next(); round.count > 0; round = rounds.Next()) {
    for (uint64_t k = 0; k < round.count; ++k) {
      const uint64_t i = round.first + k;
      if ((i + 1) % kProgressEvery == 0) {
        progress.Advance(i, n);
        if (cancel.Take()) return Outcome::Cancelled();
      }
      const DecodedBlock& decoded = round.blocks[k];
      const uint64_t at = dataStart + layout.blocks[i].offset;
      if (decoded.status != BlockStatus::Ok)
        return Outcome::Failed(BlockFailureText(decoded.status, i, at, decoded.why));
      digests.Add(i, decoded);
      if (digests.Known() && !digests.mismatches().empty()) {
        const uint64_t bad = digests.mismatches().front();
        return Outcome::Failed("The EBOOT \"" + packagePath + "\" is damaged: disc image block " +
                               std::to_string(bad) + ", at byte " +
                               std::to_string(dataStart + layout.blocks[bad].offset) +
                               ", does not match its digest.");
      }
      uint8_t* block = round.bytes + k * kBlockSize;
      const uint8_t* before = k > 0 ? block - kBlockSize : previous.data();
      if (decoded.made < kBlockSize)
        std::memcpy(block + decoded.made, before + decoded.made, kBlockSize - decoded.made);
      if (k + 1 == round.count) std::memcpy(previous.data(), block, kBlockSize);
      // The block's sectors go to the targets that cover them, in order.
      uint64_t sector = i * kSectorsPerBlock;
      const uint64_t blockEnd = sector + kSectorsPerBlock;
      while (sector < blockEnd && target < targets.size()) {
        const SectorTarget& t = targets[target];
        const uint64_t tEnd = t.first + t.count;
        if (sector >= tEnd) {
          if (std::string err = closeTarget(); !err.empty()) return Outcome::Failed(err);
          if (++target == targets.size()) break;
          if (std::string err = openTarget(); !err.empty()) return Outcome::Failed(err);
          continue;
        }
        const uint64_t upTo = std::min(blockEnd, tEnd);
        const std::size_t from =
            static_cast<std::size_t>((sector - i * kSectorsPerBlock) * kSectorSize);
        const std::size_t len = static_cast<std::size_t>((upTo - sector) * kSectorSize);
        if (!writer->Write(std::span<const uint8_t>(block + from, len)))
          return Outcome::Failed(CannotWrite(t.shownAs, writer->TakeError()));
        sector = upTo;
      }
    }
  }
  if (target < targets.size()) {
    if (std::string err = closeTarget(); !err.empty()) return Outcome::Failed(err);
  }
  progress.Advance(n, n);
  return Outcome::Success();
}

Outcome ExtractDiscImage(const std::string& ebootPath, const std::string& outputPath,
                         bool conversionLayout, int tocSetting, Progress& progress,
                         CancelToken& cancel, const std::string& noteFolder, int disc,
                         const ReplaceCheck& replace) {
  if (!FileExists(ebootPath) || IsDirectory(ebootPath)) return Outcome::Failed(kNoSuchFile);
  File in(ebootPath, File::Mode::Read);
  if (!in) return Outcome::Failed(kNoSuchFile);

  DiscImageLayout layout;
  if (std::string err = ReadDiscImageLayout(in, ebootPath, layout, false, disc); !err.empty())
    return Outcome::Failed(err);
  // The output replaces what is there; it must never be the package itself.
  std::error_code ec;
  if (std::filesystem::equivalent(std::filesystem::u8path(ebootPath),
                                  std::filesystem::u8path(outputPath), ec))
    return Outcome::Failed("The disc image cannot be written over the EBOOT it comes from (\"" +
                           outputPath + "\").");

  const uint64_t n = layout.blocks.size();
  const uint64_t required = n * kBlockSize;
  if (auto free = FreeSpace(outputPath); free && required > *free)
    return Outcome::Failed(OutOfSpaceText(required));

  // The TOC files are staged with the image and renamed with it, so that a failed
  // extraction touches none of the user's files.
  StagedFiles staged(noteFolder);
  const std::string temp = staged.Add(outputPath);
  std::vector<TocOutput> tocs =
      TocOutputs(layout.toc, outputPath, conversionLayout, tocSetting, disc);
  std::vector<std::string> tocTemps;
  for (const TocOutput& t : tocs) tocTemps.push_back(staged.Add(t.path));
  if (!staged.ConfirmReplacing(replace.questions)) return Outcome::Declined();
  if (replace.onlyAsk) return Outcome::Success();
  if (std::string err = staged.Note(); !err.empty()) return Outcome::Failed(err);
  Stage stage(progress, "Extracting ISO...");
  Outcome result = WriteSectors(ebootPath, layout, {{temp, 0, n * kSectorsPerBlock, outputPath}},
                                progress, cancel);
  if (!result.succeeded()) return result;
  for (std::size_t i = 0; i < tocs.size(); ++i) {
    File f(tocTemps[i], File::Mode::Write);
    if (!f || !f.Write(std::string_view(tocs[i].bytes)) || !f.Close())
      return Outcome::Failed(CannotWrite(tocs[i].path, f.LastError()));
  }
  if (std::string err = staged.Commit(); !err.empty()) return Outcome::Failed(err);
  stage.Done();
  return Outcome::Success();
}

Outcome ExtractEveryDisc(const std::string& ebootPath, const std::string& outputPath,
                         int tocSetting, Progress& progress, CancelToken& cancel,
                         const std::string& noteFolder, Questions* askBeforeReplacing) {
  const int discs = PackageDiscCount(ebootPath);
  if (discs == 1)
    return ExtractDiscImage(ebootPath, outputPath, false, tocSetting, progress, cancel, noteFolder,
                            1, {askBeforeReplacing});
  for (int disc = 1; askBeforeReplacing && disc <= discs; ++disc) {
    Outcome asked =
        ExtractDiscImage(ebootPath, DiscOutputPath(outputPath, disc), false, tocSetting, progress,
                         cancel, noteFolder, disc, {askBeforeReplacing, true});
    if (!asked.succeeded()) return asked.Within("Disc " + std::to_string(disc));
  }
  for (int disc = 1; disc <= discs; ++disc) {
    Stage stage(progress, "", 1.0 / discs);
    Outcome done = ExtractDiscImage(ebootPath, DiscOutputPath(outputPath, disc), false, tocSetting,
                                    progress, cancel, noteFolder, disc);
    if (!done.succeeded()) return done.Within("Disc " + std::to_string(disc));
    stage.Done();
  }
  return Outcome::Success();
}

}  // namespace ebf::pbp
