#include "engine/conversion.h"

#include <cinttypes>
#include <cstdio>
#include <optional>

#include "app/startup.h"
#include "assets/convert.h"
#include "assets/slots.h"
#include "assets/validate.h"
#include "common/cancel.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/game_id.h"
#include "disc/pal_fix.h"
#include "engine/converter_run.h"
#include "engine/go_checks.h"
#include "imaging/dib.h"
#include "pbp/container.h"
#include "pbp/extract.h"
#include "pbp/inspect.h"
#include "pbp/package_check.h"
#include "pbp/patch.h"
#include "pbp/patch_journal.h"
#include "pbp/psar.h"
#include "pbp/rebuild.h"

namespace ebf {
namespace {

constexpr const char* kPalJournal = "PALFIX.UNDO";
constexpr const char* kMsgNewPackageNotWritten =
    "The new package could not be finished; no EBOOT.PBP was written.";

// Every file a disc-image run may leave behind, and the PAL fix made on the user's image,
// are undone here on every way out: success, failure, cancel, a converter that crashed.
class RunCleanup {
 public:
  RunCleanup(std::string workFolder, std::string outputFolder)
      : work_(std::move(workFolder)), out_(std::move(outputFolder)) {}
  ~RunCleanup() {
    if (staged_) RemoveStagedFiles(out_, assets_);
    DeleteFileIfExists(out_ + "ISO.TOC");
    // The new package under its temporary name never outlives the run: by now it either
    // became EBOOT.PBP or is not to be trusted.
    DeleteFileIfExists(out_ + kPartialPackageName);
    const std::string temp = TempFolder(work_);
    DeleteFileIfExists(temp + kRunNote);
    for (const char* name :
         {"TempISO.iso", "TempISO.ccd", "TempBIN.bin", "ISO.TOC", "START.DAT", "null"})
      DeleteFileIfExists(temp + name);
    DeleteFileIfExists(WithTrailingSep(work_) + "null");
    RevertPalFix();
  }
  RunCleanup(const RunCleanup&) = delete;
  RunCleanup& operator=(const RunCleanup&) = delete;

  void Staged(const AssetPaths& assets) {
    staged_ = true;
    assets_ = assets;
  }
  std::vector<PalPatch>& palUndo() { return palUndo_; }
  void PalTarget(const std::string& path) { palTarget_ = path; }

 private:
  void RevertPalFix() {
    if (palUndo_.empty() && palTarget_.empty()) return;
    // The journal stays when the revert fails, so the next start tries again.
    if (palUndo_.empty() || ReplayPalUndo(palTarget_, palUndo_).empty())
      DeleteFileIfExists(TempFolder(work_) + kPalJournal);
    palUndo_.clear();
  }
  std::string work_, out_;
  bool staged_ = false;
  AssetPaths assets_;
  std::vector<PalPatch> palUndo_;
  std::string palTarget_;
};

// The journal lets a fix left on the user's image by a crash of this program be undone
// at the next start: the image's path, then one "offset w0 w1" line per change.
class PalJournal {
 public:
  PalJournal(const std::string& workFolder, const std::string& image)
      : path_(TempFolder(workFolder) + kPalJournal) {
    file_.Open(path_, File::Mode::Write);
    file_.Write(image + "\n");
    file_.Flush();
  }
  void Add(const PalPatch& p) {
    char line[64];
    std::snprintf(line, sizeof line, "%" PRIu64 " %08X %08X\n", p.offset, p.w0, p.w1);
    file_.Write(std::string_view(line));
    file_.Flush();
  }

 private:
  std::string path_;
  File file_;
};

// The fix over a whole image (`package` false) or over the disc image inside a package.
// With `journalTemp`, the fix on the user's own package is all or nothing: a first pass
// finds the changes, their bytes are journalled, and only then are they written.
std::string RunPalFix(const std::string& path, bool package, const ConversionRequest& r,
                      std::vector<PalPatch>* undo, PalJournal* journal, Host& host,
                      uint64_t& patches, const std::string& journalTemp = {}) {
  File f(path, File::Mode::ReadWrite);
  if (!f) return "The PAL -> NTSC fix could not open " + path + " (" + f.LastError() + ")";
  std::vector<FileSpan> spans{{0, f.Size()}};
  if (package) {
    auto image = pbp::PalFixSpans(f);
    if (!image) return pbp::kEbootNotValid;
    spans = std::move(*image);
  }
  PalFixOptions options;
  options.screenHeight = r.PalFixScreen;
  options.graphics = r.PalFixGraphics;
  options.batch = r.LogMode;
  std::optional<pbp::PatchJournal> packageJournal;
  if (!journalTemp.empty()) {
    PalFixOptions dry = options;
    dry.write = false;
    std::vector<PalPatch> found;
    PalFixResult seen = ApplyPalFix(f, spans, dry, &found, host, {});
    if (seen.cancelled) {
      CancelRequested = false;
      return "Cancelled.";
    }
    if (found.empty()) return "";
    // A window may straddle a block's stored-mode head, so each note takes the head too.
    std::vector<FileSpan> regions;
    for (const PalPatch& p : found) regions.push_back({p.offset, 8 + pbp::kStoredHeadSize});
    packageJournal.emplace(path, journalTemp);
    if (std::string e = packageJournal->Begin(f, regions); !e.empty()) {
      packageJournal.reset();
      return e;
    }
  }
  PalFixResult res = ApplyPalFix(f, spans, options, undo, host, [&](const PalPatch& p) {
    if (journal) journal->Add(p);
  });
  if (packageJournal && res.error.empty() && !res.cancelled && !f.Sync()) res.error = f.LastError();
  if (!f.Close() && res.error.empty()) res.error = f.LastError();
  if (packageJournal) {
    if (res.cancelled || !res.error.empty()) {
      std::string undone = packageJournal->RollBack();
      res.patches = 0;
      if (!undone.empty()) res.error += ". " + undone;
    } else {
      packageJournal->Finish();
    }
  }
  patches += res.patches;
  if (res.cancelled) {
    CancelRequested = false;
    return "Cancelled.";
  }
  if (!res.error.empty()) return "The PAL -> NTSC fix failed on " + path + ": " + res.error;
  return "";
}

// Names the files of the output folder that the next start removes should this program
// be killed before its clean-up runs (the clean-up removes the note with them).
void NoteRunFiles(const std::string& temp, const std::vector<std::string>& paths) {
  File note(temp + kRunNote, File::Mode::Write);
  for (const std::string& p : paths) note.Write(p + "\n");
  note.Sync();
}

// ICON0, PIC1 and the gameboot become PNGs of the PSP's sizes when they are other pictures.
void ConvertPictures(ConversionRequest& r, const ConversionContext& ctx) {
  c32bppDIB image;
  const int mode = ctx.settings.imgResMode;
  const bool centre = ctx.settings.imgResCentre;
  ConvertSlotPictureToPng(ctx.folders.work, r.Icon0Path, kIcon0Target.slotWord, image,
                          kIcon0Target.width, kIcon0Target.height, mode, centre);
  ConvertSlotPictureToPng(ctx.folders.work, r.Pic1Path, kPic1Target.slotWord, image,
                          kPic1Target.width, kPic1Target.height, mode, centre);
  ConvertSlotPictureToPng(ctx.folders.work, r.GamebootPath, kGamebootTarget.slotWord, image,
                          kGamebootTarget.width, kGamebootTarget.height, mode, centre);
}

AssetPaths EffectiveAssets(const ConversionRequest& r) {
  return {r.Icon0Path, r.Icon1Path, r.Pic0Path, r.Pic1Path, r.Snd0Path, r.GamebootPath};
}

std::string ValidateAssets(const ConversionRequest& r, const ConversionContext& ctx) {
  const AssetPaths paths = EffectiveAssets(r);
  for (int i = 0; i < kSlotCount; ++i) {
    std::string res = ValidateSlot(kSlots[static_cast<std::size_t>(i)], ctx.slotChoices[i].ticked,
                                   ctx.slotChoices[i].text, paths[static_cast<std::size_t>(i)]);
    if (res != kValidationSuccess) return res;
  }
  return "";
}

pbp::EbootJob JobFor(const ConversionRequest& r) {
  pbp::EbootJob job;
  job.title = r.Title;
  job.gameId = r.GameID;
  job.saveName = r.SaveName;
  job.icon0 = r.Icon0Path;
  job.icon1 = r.Icon1Path;
  job.pic0 = r.Pic0Path;
  job.pic1 = r.Pic1Path;
  job.snd0 = r.Snd0Path;
  job.gameboot = r.GamebootPath;
  return job;
}

std::optional<pbp::TocArea> LoadToc(const std::string& path) {
  Bytes bytes;
  if (!FileExists(path) || !ReadWholeFile(path, bytes, pbp::kTocAreaSize)) return std::nullopt;
  pbp::TocArea toc{};
  if (bytes.size() > 1 || bytes[0] != 0) std::copy(bytes.begin(), bytes.end(), toc.begin());
  return toc;
}

void DeleteNullFile(const std::string& workFolder) {
  DeleteFileIfExists(WithTrailingSep(workFolder) + "null");
}

// A package given as input and not recompressed: patched in place, or rebuilt when the
// new assets do not fit.
std::string PackageJob(ConversionRequest& r, const ConversionContext& ctx,
                       ConversionOutcome& outcome) {
  Host& host = *ctx.host;
  const std::string temp = TempFolder(ctx.folders.work);
  ConvertPictures(r, ctx);
  // The new pictures and files are tested as a new package's are before either way is
  // chosen, so that a rebuild takes nothing a new package would refuse.
  std::string res = ValidateAssets(r, ctx);
  if (!res.empty()) return res;
  const pbp::EbootJob job = JobFor(r);
  pbp::Room room;
  res = pbp::MeasureRoom(r.InputPath, temp, job, room);
  if (!res.empty()) return res;
  if (!room.fits()) {
    if (!host.AskYesNo(pbp::kRebuildQuestion, false, MsgIcon::Exclamation)) return "";
    const std::string dest = ctx.chooseRebuildDestination ? ctx.chooseRebuildDestination() : "";
    if (dest.empty()) return "";
    if (dest == r.InputPath) return pbp::kSameFileMessage;
    NoteRunFiles(temp, {dest + ".part"});
    res = pbp::ReconstructEboot(r.InputPath, dest, temp, ctx.folders.work, job, host);
    DeleteFileIfExists(temp + kRunNote);
    if (res == "Success.") outcome.rebuiltTo = dest;
    return res;
  }
  res = pbp::PatchEbootInPlace(r.InputPath, temp, job, host);
  DeleteNullFile(ctx.folders.work);
  if (res != "Success.") return res;
  if (r.PalFixScreen || r.PalFixGraphics) {
    res = RunPalFix(r.InputPath, true, r, nullptr, nullptr, host, outcome.palPatches, temp);
    if (!res.empty()) return res;
  }
  return "Success.";
}

}  // namespace

std::string RunConversion(ConversionRequest& r, const ConversionContext& ctx,
                          ConversionOutcome* outcomeOut) {
  // The converter runs in the output folder, so every path it is given must stand alone.
  r.InputPath = AbsolutePath(r.InputPath);
  if (!r.OutputFolder.empty()) r.OutputFolder = AbsolutePath(r.OutputFolder);
  ConversionOutcome local;
  ConversionOutcome& outcome = outcomeOut ? *outcomeOut : local;
  Host& host = *ctx.host;
  const std::string work = WithTrailingSep(ctx.folders.work);
  const bool isPbp = Extension4(r.InputPath) == ".PBP";
  const bool inPlace = isPbp && !r.RecompressEboot;

  if (std::string refused = NotAFileMessage(r.InputPath); !refused.empty()) return refused;
  if (!FileExists(r.InputPath)) return kMsgInputMissing;
  if (r.InputPath.size() < 4) return kMsgInputTooShort;
  if (!inPlace) {
    if (!MakeFolders(r.OutputFolder)) return kMsgOutputInvalid;
    if (IsDataFolder(ctx.folders.tree, r.OutputFolder)) return kMsgOutputIsData;
  }
  r.OutputFolder = WithTrailingSep(r.OutputFolder);
  if (r.Title.empty()) return "No Game Title supplied.";
  if (r.SaveName.empty()) return "No Game Save supplied.";
  if (!IsKnownGameIdShape(r.GameID)) return "Invalid Game ID.";
  const std::string temp = TempFolder(work);

  if (isPbp) {
    // A patch of this package that never ended is undone before the package is read.
    if (std::string said = pbp::RollBackLeftoverPatch(r.InputPath); !said.empty()) {
      if (said.find("could not be undone") != std::string::npos) return said;
      host.Log(said + "\r\n");
    }
    std::string check = pbp::CheckEbootForJob(r.InputPath);
    if (!check.empty()) return check;
    if (inPlace) return PackageJob(r, ctx, outcome);
  }

  RunCleanup cleanup(work, r.OutputFolder);
  std::optional<pbp::TocArea> toc;
  DeleteFileIfExists(r.OutputFolder + "ISO.TOC");
  NoteRunFiles(temp, {r.OutputFolder + "ISO.TOC"});

  if (isPbp) {
    // A package to recompress: its disc image comes out first, with its TOC, so that a
    // multi-track disc keeps its tracks.
    const std::string iso = temp + "TempISO.iso";
    std::string res = pbp::ExtractDiscImage(r.InputPath, iso, true,
                                            std::max(1, ctx.settings.ebootTocExtract), host);
    if (res != "Success.") return res;
    r.InputPath = iso;
    toc = LoadToc(temp + "ISO.TOC");
    if (toc) CopyFileTo(temp + "ISO.TOC", r.OutputFolder + "ISO.TOC");
  }

  // A sheet's TOC goes to ISO.TOC; an image that is not already raw sectors, or the files
  // of a sheet to be joined, become Temp/TempBIN.bin.
  const std::string tempBin = temp + "TempBIN.bin";
  DiscPreparation prep = PrepareDiscImage(r.InputPath, r.OutputFolder, tempBin,
                                          ctx.settings.addIsoPadding, isPbp, {host, r.LogMode});
  if (prep.result != "Success.") return prep.result;
  r.InputPath = prep.imagePath;
  if (!isPbp) toc = LoadToc(r.OutputFolder + "ISO.TOC");

  ConvertPictures(r, ctx);
  if (std::string res = ValidateAssets(r, ctx); !res.empty()) return res;

  const AssetPaths assets = EffectiveAssets(r);
  if (std::string res = CheckConverterPresent(ctx.folders); !res.empty()) return res;
  for (const char* name : {"Data/BASE.PBP", "Data/DATA.PSP"})
    if (!FileExists(FindRuntimeFile(ctx.folders, name))) return kMsgMissingFiles;
  for (const std::string& a : assets)
    if (!FileExists(a)) return kMsgMissingFiles;

  const std::string basePbp = FindRuntimeFile(ctx.folders, "Data/BASE.PBP");
  const std::string sizedAssets[5] = {r.Icon0Path, r.Icon1Path, r.Pic0Path, r.Pic1Path, r.Snd0Path};
  const uint64_t expected = ExpectedEbootSize(r.InputPath, sizedAssets, basePbp, r.GamebootPath);
  if (std::string res = CheckFreeSpace(r.OutputFolder, expected, ctx.freeSpace); !res.empty())
    return res;

  if (!r.LogMode) {
    const std::pair<const char*, std::string> targets[] = {
        {"tarnwick.exe", ""},       {"BASE.PBP", ""},         {"EBOOT.PBP", ""},
        {"ICON0.PNG", r.Icon0Path}, {"PIC0.PNG", r.Pic0Path}, {"PIC1.PNG", r.Pic1Path},
        {"ICON1.PMF", r.Icon1Path}, {"SND0.AT3", r.Snd0Path}, {"BOOT.PNG", r.GamebootPath}};
    for (const auto& [name, source] : targets)
      if (ConfirmOverwrite(host, r.OutputFolder, name, source)) return "";
  }

  const bool palFix = r.PalFixScreen || r.PalFixGraphics;
  bool palDone = false;
  if (palFix && r.CompressionLevel > 0) {
    // A compressed image cannot be patched afterwards: the fix goes onto the source image,
    // and the clean-up puts the original bytes back.
    if (!r.LogMode && !host.AskYesNo(kPalFixCompressedQuestion, false, MsgIcon::Exclamation))
      return "";
    const bool usersFile = r.InputPath != tempBin && r.InputPath != temp + "TempISO.iso";
    std::optional<PalJournal> journal;
    if (usersFile) {
      journal.emplace(work, r.InputPath);
      cleanup.PalTarget(r.InputPath);
    }
    CancelConfirmGuard confirm;
    std::string res = RunPalFix(r.InputPath, false, r, usersFile ? &cleanup.palUndo() : nullptr,
                                journal ? &*journal : nullptr, host, outcome.palPatches);
    if (!res.empty()) return res;
    palDone = true;
  }

  {
    std::vector<std::string> leftovers = StagedFilePaths(r.OutputFolder, assets);
    leftovers.push_back(r.OutputFolder + kPartialPackageName);
    NoteRunFiles(temp, leftovers);
  }
  if (std::string res = StageConverterFiles(ctx.folders, r.OutputFolder, assets); !res.empty()) {
    cleanup.Staged(assets);
    return res;
  }
  cleanup.Staged(assets);

  ConverterRunOptions run;
  run.outputFolder = r.OutputFolder;
  run.title = r.Title;
  run.gameId = r.GameID;
  run.level = r.CompressionLevel;
  run.inputPath = r.InputPath;
  run.expectedSize = expected;
  run.logMode = r.LogMode;
  run.pollInterval = ctx.pollInterval;
  // The converter writes under a temporary name; only a checked, patched package becomes
  // EBOOT.PBP, so no way out of the run leaves a torn one under that name.
  run.outputName = kPartialPackageName;
  const std::string partial = r.OutputFolder + kPartialPackageName;
  DeleteFileIfExists(partial);

  if (std::string res = RunConverter(run, host); res != "Success.") return res;
  if (std::string res = pbp::CheckWrittenPackage(partial); !res.empty()) return res;

  pbp::EbootJob job = JobFor(r);
  job.toc = toc;
  std::string res = pbp::PatchConvertedEboot(partial, temp, job, host);
  DeleteNullFile(work);
  DeleteFileIfExists(temp + pbp::kStartDatFile);
  if (res != "Success.") return res.empty() ? std::string(kMsgNewPackageNotWritten) : res;

  if (palFix && !palDone) {
    res = RunPalFix(partial, true, r, nullptr, nullptr, host, outcome.palPatches);
    if (!res.empty()) return res;
  }
  if (TakeCancelRequest()) return "Cancelled.";
  std::string why;
  if (!RenameReplacing(partial, r.OutputFolder + "EBOOT.PBP", &why))
    return "The new package could not be named EBOOT.PBP in " + r.OutputFolder + " (" + why + ")";
  return "Success.";
}

std::string RecoverInterruptedPalFix(const std::string& workFolder) {
  const std::string journal = TempFolder(workFolder) + kPalJournal;
  if (!FileExists(journal)) return "";
  Bytes bytes;
  if (!ReadWholeFile(journal, bytes, 64ull << 20)) return "The PAL fix journal could not be read.";
  std::vector<std::string> lines =
      SplitLines(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  if (lines.empty() || lines[0].empty()) {
    DeleteFileIfExists(journal);
    return "";
  }
  std::vector<PalPatch> undo;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    PalPatch p;
    unsigned long long off = 0;
    unsigned w0 = 0, w1 = 0;
    if (std::sscanf(lines[i].c_str(), "%llu %x %x", &off, &w0, &w1) != 3) continue;
    p.offset = off;
    p.w0 = w0;
    p.w1 = w1;
    undo.push_back(p);
  }
  std::string err = undo.empty() ? "" : ReplayPalUndo(lines[0], undo);
  if (!err.empty()) return "The PAL fix on " + lines[0] + " could not be undone: " + err;
  DeleteFileIfExists(journal);
  return "";
}

}  // namespace ebf
