#include "engine/image_prep.h"

#include <array>
#include <optional>
#include <vector>

#include "common/async_writer.h"
#include "common/bytes.h"
#include "common/cd_sector.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/cue_sheet.h"
#include "disc/disc_openers.h"
#include "engine/cue_toc.h"

namespace ebf {
namespace {

constexpr uint32_t kProgressEvery = 512;
// Sectors are copied in runs of this many; progress and cancel come every 512.
constexpr uint32_t kBatch = 512;
constexpr uint64_t kMaxOneFileSheet = 1 << 20;

constexpr const char* kCaptionPadding = "Adding RAW padding...";
constexpr const char* kCaptionStrip = "Extracting RAW Image...";
constexpr const char* kCaptionJoin = "Joining tracks...";
constexpr const char* kCaptionChd = "Unpacking CHD image...";
constexpr const char* kCaptionEcm = "Decoding ECM image...";

bool IsOneFileSheet(const std::string& cuePath) {
  Bytes bytes;
  if (!ReadWholeFile(cuePath, bytes, kMaxOneFileSheet)) return true;  // read as it always was
  return IsOneFileCueSheet(
      std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

Outcome PrepareAs(const std::string& path, SectorFormat format, const std::string& outPath,
                  const char* caption, Progress& progress, CancelToken& cancel) {
  DeleteFileIfExists(outPath);
  DiscOpenResult opened = OpenParts(PlainImagePartsAs(path, format));
  if (!opened.disc) return Outcome::Failed(opened.message);
  return WriteDiscImage(*opened.disc, outPath, caption, progress, cancel);
}

}  // namespace

Outcome WriteDiscImage(DiscImage& disc, const std::string& outPath, const char* caption,
                       Progress& progress, CancelToken& cancel) {
  DeleteFileIfExists(outPath);
  Stage stage(progress, caption);
  const uint32_t count = disc.info().sectorCount;
  stage.Advance(0, count);
  File out(outPath, File::Mode::Write);
  if (!out)
    return Outcome::Failed("The prepared image could not be written: " + outPath + " (" +
                           out.LastError() + ")");
  // Writing runs on a second thread, so the file system's copying overlaps our reading.
  std::optional<AsyncWriter> writer(std::in_place, out, std::size_t{kBatch} * kRawSectorSize);
  auto fail = [&](Outcome why) {
    writer.reset();
    out.Close();
    DeleteFileIfExists(outPath);
    return why;
  };

  disc.ExpectReadInOrder();
  std::vector<uint8_t> buf(std::size_t{kBatch} * kRawSectorSize);
  uint32_t done = 0;
  while (done < count) {
    const uint32_t n = std::min(kBatch, count - done);
    const std::span<uint8_t> part(buf.data(), std::size_t{n} * kRawSectorSize);
    if (std::string error = disc.Read(done, n, part); !error.empty())
      return fail(Outcome::Failed(error));
    if (!writer->Write(part))
      return fail(Outcome::Failed("The prepared image could not be written: " + outPath + " (" +
                                  writer->TakeError() + ")"));
    const uint32_t before = done;
    done += n;
    if (done / kProgressEvery != before / kProgressEvery || done == count) {
      if (cancel.Take()) return fail(Outcome::Cancelled());
      stage.Advance(done, count);
    }
  }
  if (std::string error = disc.CheckWholeRead(); !error.empty())
    return fail(Outcome::Failed(error));
  const bool flushed = writer->Flush();
  const std::string writeError = writer->TakeError();
  writer.reset();
  if (!flushed || !out.Close()) {
    DeleteFileIfExists(outPath);
    return Outcome::Failed("The prepared image could not be written: " + outPath + " (" +
                           (writeError.empty() ? out.LastError() : writeError) + ")");
  }
  stage.Done();
  return Outcome::Success();
}

ImagePrep ChooseImagePrep(const std::string& imagePath, bool addIsoPadding) {
  switch (PlainImageFormat(imagePath, addIsoPadding)) {
    case SectorFormat::Iso2048:
      return ImagePrep::IsoPadding;
    case SectorFormat::Raw2448:
      return ImagePrep::StripSubchannel;
    default:
      return ImagePrep::AsIs;
  }
}

Outcome PadIsoToRaw(const std::string& isoPath, const std::string& outPath, Progress& progress,
                    CancelToken& cancel) {
  return PrepareAs(isoPath, SectorFormat::Iso2048, outPath, kCaptionPadding, progress, cancel);
}

Outcome StripSubchannel(const std::string& imagePath, const std::string& outPath,
                        Progress& progress, CancelToken& cancel) {
  return PrepareAs(imagePath, SectorFormat::Raw2448, outPath, kCaptionStrip, progress, cancel);
}

DiscPreparation PrepareDiscImage(const std::string& inputPath, const std::string& outputFolder,
                                 const std::string& tempBin, bool addIsoPadding, bool plainImage,
                                 Progress& progress, CancelToken& cancel,
                                 const std::string& tocName) {
  const DiscOpenOptions options{addIsoPadding};
  DiscOpenResult opened;
  std::string warning;
  if (plainImage) {
    opened = OpenPlainDisc(inputPath, options);
  } else if (Extension4(inputPath) == ".CUE" && IsOneFileSheet(inputPath)) {
    // A sheet of one file keeps the program's first reading: the TOC as the sheet's text
    // gives it, the file it names prepared like any image; but a sheet that would make a
    // broken disc is refused as any sheet is.
    CuePreparation cue = PrepareCue(inputPath, outputFolder, options, tocName);
    if (!cue.result.empty()) return {Outcome::Failed(cue.result), {}, {}};
    opened = OpenPlainDisc(cue.imagePath, options);
  } else {
    opened = OpenDiscImage(inputPath, options);
    if (opened.disc && !opened.disc->info().sheet.empty()) {
      std::string error = WriteIsoToc(BuildDiscToc(opened.disc->info()), outputFolder, tocName);
      if (!error.empty()) return {Outcome::Failed(error), {}, {}};
    } else if (opened.disc && !addIsoPadding &&
               PlainImageFormat(inputPath, true) == SectorFormat::Iso2048) {
      // The settings keep the ISO's bytes as they are; the TOC still tells the disc's length
      // in its own sectors, not in the 2,352-byte sectors the converter cuts the bytes into.
      DiscInfo iso = opened.disc->info();
      iso.sectorCount = PlainImagePartsAs(inputPath, SectorFormat::Iso2048).info.tracks[0].length;
      std::string error = WriteIsoToc(BuildDiscToc(iso), outputFolder, tocName);
      if (!error.empty()) return {Outcome::Failed(error), {}, {}};
      warning = ReplaceAll(kMsgUnpaddedIso, "%s", FileNameOf(inputPath));
      progress.Log(warning + "\r\n");
    }
  }
  if (!opened.disc) return {Outcome::Failed(opened.message), {}, {}};
  DiscImage& disc = *opened.disc;
  const char* caption = kCaptionJoin;
  switch (disc.info().assembly) {
    case DiscAssembly::File:
      return {Outcome::Success(), disc.info().wholeFile, warning};
    case DiscAssembly::IsoPadding:
      caption = kCaptionPadding;
      break;
    case DiscAssembly::StripSubchannel:
      caption = kCaptionStrip;
      break;
    case DiscAssembly::Joined:
      break;
    case DiscAssembly::Decoded:
      caption = Extension4(disc.info().tracks.front().file) == ".CHD" ? kCaptionChd : kCaptionEcm;
      break;
  }
  Outcome written = WriteDiscImage(disc, tempBin, caption, progress, cancel);
  return {written, written.succeeded() ? tempBin : std::string(), warning};
}

uint64_t ExpectedEbootSize(const std::string& imagePath, const std::string assetPaths[5],
                           const std::string& basePbpPath, const std::string& gamebootPath) {
  uint64_t total = FileSize(imagePath).value_or(0);
  for (int i = 0; i < 5; ++i) total += FileSize(assetPaths[i]).value_or(0);
  total += FileSize(basePbpPath).value_or(0);
  total += FileSize(gamebootPath).value_or(0);
  return total + 28;
}

std::string CheckFreeSpace(const std::string& outputFolder, uint64_t expectedSize,
                           const FreeSpaceSource& freeSpace) {
  auto available = freeSpace ? freeSpace(outputFolder) : FreeSpace(outputFolder);
  if (available && expectedSize > *available) return kMsgNotEnoughSpace;
  return "";
}

}  // namespace ebf
