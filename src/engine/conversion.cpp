#include "engine/conversion.h"

#include <deque>
#include <optional>

#include "app/startup.h"
#include "assets/convert.h"
#include "assets/validate.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/run_lock.h"
#include "common/text.h"
#include "engine/converter_run.h"
#include "engine/patch_run.h"
#include "imaging/dib.h"
#include "pbp/container.h"
#include "pbp/disc_table.h"
#include "pbp/extract.h"
#include "pbp/inspect.h"
#include "pbp/package_check.h"
#include "pbp/patch.h"
#include "pbp/patch_journal.h"
#include "pbp/rebuild.h"
#include "pbp/toc.h"

namespace ebf {
namespace {

constexpr const char* kMsgNewPackageNotWritten =
    "The new package could not be finished; no EBOOT.PBP was written.";

// Every file a disc-image run may leave behind, and the PAL fix made on the user's image,
// are undone here on every way out: success, failure, cancel, a converter that crashed.
class RunCleanup {
 public:
  RunCleanup(std::string workFolder, std::string outputFolder)
      : work_(std::move(workFolder)), out_(std::move(outputFolder)) {}
  ~RunCleanup() { Finish(); }
  RunCleanup(const RunCleanup&) = delete;
  RunCleanup& operator=(const RunCleanup&) = delete;

  // Cleans up (once); returns what could not be put back on the user's images, or "".
  std::string Finish() {
    if (finished_) return {};
    finished_ = true;
    // The new package under its temporary name never outlives the run: by now it either
    // became EBOOT.PBP or is not to be trusted. It is the only file the run made in the
    // output folder.
    DeleteFileIfExists(out_ + kPartialPackageName);
    const std::string temp = TempFolder(work_);
    DeleteFileIfExists(temp + kRunNote);
    for (int disc = 1; disc <= kMaxPackageDiscs; ++disc) {
      for (const std::string& name :
           {TempImageName("TempISO", ".iso", disc), TempImageName("TempISO", ".ccd", disc),
            TempImageName("TempBIN", ".bin", disc), pbp::DiscTocFileName(disc)})
        DeleteFileIfExists(temp + name);
    }
    for (const char* name : {"START.DAT", "null"}) DeleteFileIfExists(temp + name);
    DeleteFileIfExists(WithTrailingSep(work_) + "null");
    return RevertPalFixes();
  }

  // The undo list of a fix made on the user's own image of disc `disc`.
  std::vector<PalPatch>& PalTarget(int disc, const std::string& path) {
    fixed_.push_back({disc, path, {}});
    return fixed_.back().undo;
  }

 private:
  std::string RevertPalFixes() {
    std::string failed;
    for (FixedImage& f : fixed_) {
      const std::string error = f.undo.empty() ? "" : ReplayPalUndo(f.path, f.undo);
      // The journal stays when the revert fails, so the next start tries again.
      if (error.empty())
        DeleteFileIfExists(TempFolder(work_) + PalJournalName(f.disc));
      else
        failed += (failed.empty() ? "" : " ") + std::string("The PAL -> NTSC fix on ") + f.path +
                  " could not be undone (" + error +
                  "); the next start of the program tries again.";
    }
    fixed_.clear();
    return failed;
  }
  struct FixedImage {
    int disc;
    std::string path;
    std::vector<PalPatch> undo;
  };
  std::string work_, out_;
  bool finished_ = false;
  std::deque<FixedImage> fixed_;  // a deque: the undo lists handed out stay where they are
};

// Names the files of the output folder that the next start removes should this program
// be killed before its clean-up runs (the clean-up removes the note with them): the package
// under its temporary name. A note that cannot be written stops the run: what it would leave
// could not be found again.
Outcome NoteRunFiles(const std::string& temp, const std::vector<std::string>& paths) {
  File note(temp + kRunNote, File::Mode::Write);
  bool written = static_cast<bool>(note);
  for (const std::string& p : paths) written = written && note.Write(p + "\n");
  written = written && note.Sync() && note.Close();
  if (written) return Outcome::Success();
  return Outcome::Failed("The work folder could not be written: " + temp + kRunNote + " (" +
                         note.LastError() + ")");
}

AssetPaths PlannedAssets(const ConversionPlan& plan) {
  AssetPaths paths;
  for (int i = 0; i < kSlotCount; ++i) paths[i] = plan.assets[i].path;
  return paths;
}

// ICON0, PIC1 and the gameboot become PNGs of the PSP's sizes when they are other pictures;
// the returned paths name what the package gets.
AssetPaths ConvertPictures(const ConversionPlan& plan) {
  AssetPaths paths = PlannedAssets(plan);
  c32bppDIB image;
  const int mode = plan.settings.imgResMode;
  const bool centre = plan.settings.imgResCentre;
  const std::pair<int, SlotTarget> pictures[] = {
      {kSlotIcon0, kIcon0Target}, {kSlotPic1, kPic1Target}, {kSlotGameboot, kGamebootTarget}};
  for (const auto& [slot, target] : pictures)
    ConvertSlotPictureToPng(plan.folders.work, paths[slot], target.slotWord, image, target.width,
                            target.height, mode, centre);
  return paths;
}

// Every file the user supplied is tested, in the slots' order; the first refusal stops.
Outcome ValidateAssets(const ConversionPlan& plan, const AssetPaths& paths) {
  for (int i = 0; i < kSlotCount; ++i) {
    Outcome verdict = ValidateSlot(kSlots[i], plan.assets[i].ticked, plan.assets[i].text, paths[i]);
    if (!verdict.succeeded()) return verdict;
  }
  return Outcome::Success();
}

pbp::EbootJob JobFor(const ConversionPlan& plan, const AssetPaths& assets) {
  pbp::EbootJob job;
  job.title = plan.title;
  job.gameId = plan.gameId;
  job.saveName = plan.saveName;
  job.icon0 = assets[kIcon0];
  job.icon1 = assets[kIcon1];
  job.pic0 = assets[kPic0];
  job.pic1 = assets[kPic1];
  job.snd0 = assets[kSnd0];
  job.gameboot = assets[kBoot];
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

// A package given as input: what a patch of it that never ended left is undone before it is
// read, then it is checked as a job's input.
Outcome ReadyPackage(const ConversionPlan& plan, Progress& progress) {
  if (std::string said = pbp::RollBackLeftoverPatch(plan.input); !said.empty()) {
    if (said.find("could not be undone") != std::string::npos) return Outcome::Failed(said);
    progress.Log(said + "\r\n");
  }
  if (std::string check = pbp::CheckEbootForJob(plan.input); !check.empty())
    return Outcome::Failed(check);
  return Outcome::Success();
}

// A package patched in place, or rebuilt into a new file when the new assets do not fit.
ConversionResult PatchPackage(const ConversionPlan& plan, Progress& progress, Questions& questions,
                              CancelToken& cancel) {
  ConversionResult result;
  const std::string temp = TempFolder(plan.folders.work);
  // The new pictures and files are tested as a new package's are before either way is
  // chosen, so that a rebuild takes nothing a new package would refuse.
  const AssetPaths assets = ConvertPictures(plan);
  if (Outcome valid = ValidateAssets(plan, assets); !valid.succeeded()) {
    result.outcome = valid;
    return result;
  }
  pbp::PackageUpdate update =
      pbp::UpdateEboot(plan.input, temp, plan.folders.work, JobFor(plan, assets), progress,
                       questions, cancel, [&](const std::string& partial) {
                         const Outcome noted = NoteRunFiles(temp, {partial});
                         return noted.failed() ? noted.text() : std::string();
                       });
  DeleteFileIfExists(temp + kRunNote);
  DeleteNullFile(plan.folders.work);
  result.outcome = update.outcome;
  if (!update.outcome.succeeded()) return result;
  if (!update.rebuiltTo.empty()) {
    result.package = update.rebuiltTo;
    result.rebuilt = true;
    return result;
  }
  result.package = plan.input;
  if (plan.palFix()) {
    PalFixRun pal{plan.palFixScreen, plan.palFixGraphics, progress, cancel};
    result.outcome = FixAllOrNothing(plan.input, true, pal, temp);
    result.palPatches = pal.patches;
  }
  return result;
}

// The one file a new package writes into the output folder; an older one there is the user's
// and is replaced only when the user says so (--yes on the command line).
Outcome ConfirmPackageOverwrite(const ConversionPlan& plan, Questions& questions) {
  if (ConfirmOverwrite(questions, plan.output, "EBOOT.PBP", "")) return Outcome::Declined();
  return Outcome::Success();
}

// The discs of a package being recompressed, each taken out with its TOC so that a
// multi-track disc keeps its tracks: Temp/TempISO.iso (and Temp/ISO.TOC) for the first disc,
// TempISO2.iso (ISO2.TOC) ... for later ones.
struct PackageDiscs {
  Outcome outcome = Outcome::Success();
  std::vector<std::string> images;
  std::vector<std::string> laterIds;  // from each later disc's own section
};

PackageDiscs TakeDiscsOut(const ConversionPlan& plan, const std::string& temp, Progress& progress,
                          CancelToken& cancel) {
  PackageDiscs taken;
  const int discs = pbp::PackageDiscCount(plan.input);
  if (discs > 1) {
    File in(plan.input, File::Mode::Read);
    const auto psar = in ? pbp::ReadLe32At(in, pbp::kPsarOffsetPos) : std::nullopt;
    const pbp::DiscTable table = psar ? pbp::ReadDiscTable(in, *psar) : pbp::DiscTable{};
    if (static_cast<int>(table.discs.size()) != discs) {
      taken.outcome = Outcome::Failed(pbp::DiscTableMessage(plan.input, table.error));
      return taken;
    }
    for (int disc = 2; disc <= discs; ++disc)
      taken.laterIds.push_back(table.discs[disc - 1].discId);
  }
  for (int disc = 1; disc <= discs; ++disc) {
    Stage stage(progress, "", 1.0 / discs);
    const std::string iso = temp + TempImageName("TempISO", ".iso", disc);
    Outcome out =
        pbp::ExtractDiscImage(plan.input, iso, true, std::max(1, plan.settings.ebootTocExtract),
                              progress, cancel, {}, disc);
    if (!out.succeeded()) {
      taken.outcome = discs > 1 ? out.Within("Disc " + std::to_string(disc)) : out;
      return taken;
    }
    taken.images.push_back(iso);
    stage.Done();
  }
  return taken;
}

// A new package from a disc image, or from the disc image a package holds.
ConversionResult MakeNewPackage(const ConversionPlan& plan, Progress& progress,
                                Questions& questions, CancelToken& cancel, const RunTuning& tuning,
                                RunCleanup& cleanup) {
  ConversionResult result;
  auto stop = [&](Outcome why) {
    result.outcome = std::move(why);
    return result;
  };
  const std::string work = WithTrailingSep(plan.folders.work);
  const std::string temp = TempFolder(work);
  const std::string& out = plan.output;
  const bool fromPackage = plan.kind == JobKind::RecompressPackage;

  // Asked before any long work: the answer may end the run.
  if (Outcome asked = ConfirmPackageOverwrite(plan, questions); !asked.succeeded())
    return stop(asked);
  // The LibCrypt data beside the package (engine/patch_run.h): asked about like EBOOT.PBP.
  LibCryptFiles libcrypt(plan);
  if (Outcome asked = libcrypt.Confirm(questions); !asked.succeeded()) return stop(asked);
  for (int disc = 1; disc <= kMaxPackageDiscs; ++disc)
    DeleteFileIfExists(temp + pbp::DiscTocFileName(disc));

  // Each disc comes from its image, or from the package being recompressed.
  std::vector<std::string> sources = {plan.input};
  std::vector<std::string> laterIds;
  for (const PlannedDisc& d : plan.laterDiscs) {
    sources.push_back(d.input);
    laterIds.push_back(d.gameId);
  }
  std::optional<pbp::TocArea> toc;
  if (fromPackage) {
    PackageDiscs taken = TakeDiscsOut(plan, temp, progress, cancel);
    if (!taken.outcome.succeeded()) return stop(taken.outcome);
    sources = std::move(taken.images);
    laterIds = std::move(taken.laterIds);
    toc = LoadToc(temp + "ISO.TOC");
  }
  // A sheet's TOC goes to Temp/ISO.TOC (ISO2.TOC ... for later discs); an image that is not
  // already raw sectors, or the files of a sheet to be joined, become Temp/TempBIN.bin
  // (TempBIN2.bin ...).
  const int discs = static_cast<int>(sources.size());
  std::vector<std::string> images;
  for (int disc = 1; disc <= discs; ++disc) {
    Stage stage(progress, "", 1.0 / discs);
    DiscPreparation prep = PrepareDiscImage(
        sources[disc - 1], temp, temp + TempImageName("TempBIN", ".bin", disc),
        plan.settings.addIsoPadding, fromPackage, progress, cancel, pbp::DiscTocFileName(disc));
    if (!prep.outcome.succeeded())
      return stop(discs > 1 ? prep.outcome.Within("Disc " + std::to_string(disc)) : prep.outcome);
    images.push_back(prep.imagePath);
    if (!prep.warning.empty()) result.warnings.push_back(prep.warning);
    // The disc's patches go onto the prepared image (engine/patch_run.h).
    Outcome patched = PatchPreparedDisc(plan, disc, images.back(), temp, progress, cancel);
    if (!patched.succeeded())
      return stop(discs > 1 ? patched.Within("Disc " + std::to_string(disc)) : patched);
    stage.Done();
  }
  if (!fromPackage) toc = LoadToc(temp + "ISO.TOC");
  const std::string& image = images.front();

  const AssetPaths assets = ConvertPictures(plan);
  if (Outcome valid = ValidateAssets(plan, assets); !valid.succeeded()) return stop(valid);

  if (std::string res = CheckConverterPresent(plan.folders); !res.empty())
    return stop(Outcome::Failed(res));
  for (const char* name : {"Data/BASE.PBP", "Data/DATA.PSP"})
    if (!FileExists(FindRuntimeFile(plan.folders, name)))
      return stop(Outcome::Failed(kMsgMissingFiles));
  for (const std::string& a : assets)
    if (!FileExists(a)) return stop(Outcome::Failed(kMsgMissingFiles));

  const std::string basePbp = FindRuntimeFile(plan.folders, "Data/BASE.PBP");
  const std::string sizedAssets[5] = {assets[kIcon0], assets[kIcon1], assets[kPic0], assets[kPic1],
                                      assets[kSnd0]};
  uint64_t expected = ExpectedEbootSize(image, sizedAssets, basePbp, assets[kBoot]);
  for (std::size_t i = 1; i < images.size(); ++i) expected += FileSize(images[i]).value_or(0);
  if (std::string res = CheckFreeSpace(out, expected, tuning.freeSpace); !res.empty())
    return stop(Outcome::Failed(res));

  PalFixRun pal{plan.palFixScreen, plan.palFixGraphics, progress, cancel};
  bool palDone = false;
  if (plan.palFix() && plan.level > 0) {
    // A compressed image cannot be patched afterwards: the fix goes onto the source image,
    // and the clean-up puts the original bytes back.
    if (plan.confirm && !questions.AskYesNo(kPalFixCompressedQuestion, false, MsgIcon::Exclamation))
      return stop(Outcome::Declined());
    CancelToken::ConfirmScope confirm(cancel);
    for (int disc = 1; disc <= discs; ++disc) {
      const std::string& target = images[disc - 1];
      const bool usersFile = target != temp + TempImageName("TempBIN", ".bin", disc) &&
                             target != temp + TempImageName("TempISO", ".iso", disc);
      std::optional<PalJournal> journal;
      std::vector<PalPatch> scratch;
      std::vector<PalPatch>* undo = &scratch;
      if (usersFile) {
        journal.emplace(work, target, disc);
        undo = &cleanup.PalTarget(disc, target);
      }
      Outcome fixed = FixWholeImage(target, pal, *undo, journal ? &*journal : nullptr);
      result.palPatches = pal.patches;
      if (!fixed.succeeded()) return stop(fixed);
    }
    palDone = true;
  }

  const std::string partial = out + kPartialPackageName;
  {
    std::vector<std::string> leftovers = {partial};
    for (const std::string& p : libcrypt.PartialPaths()) leftovers.push_back(p);
    if (Outcome noted = NoteRunFiles(temp, leftovers); !noted.succeeded()) return stop(noted);
  }

  // The converter runs where it is installed, in the work folder, and is told where every
  // file is: nothing of it is copied, so a memory stick mounted noexec is no obstacle and the
  // output folder receives the package alone.
  ConverterRunOptions run;
  run.converter = ResolveCaseBlind(plan.folders.converter);
  run.workFolder = temp;
  // Only a checked, patched package becomes EBOOT.PBP, so no way out of the run leaves a
  // torn one under that name.
  run.output = partial;
  run.templatePackage = basePbp;
  run.dataPsp = FindRuntimeFile(plan.folders, "Data/DATA.PSP");
  run.assets = assets;
  run.title = plan.title;
  run.gameId = plan.gameId;
  run.level = plan.level;
  run.inputPath = image;
  auto tocOf = [&](int disc) {
    const std::string path = temp + pbp::DiscTocFileName(disc);
    return FileExists(path) ? path : std::string();
  };
  run.toc = tocOf(1);
  for (std::size_t i = 1; i < images.size(); ++i)
    run.laterDiscs.push_back({laterIds[i - 1], images[i], tocOf(static_cast<int>(i) + 1)});
  run.expectedSize = expected;
  run.pollInterval = tuning.pollInterval;
  run.printed = &result.converterOutput;
  DeleteFileIfExists(partial);

  if (Outcome converted = RunConverter(run, progress, cancel); !converted.succeeded())
    return stop(converted);
  if (std::string res = pbp::CheckWrittenPackage(partial); !res.empty())
    return stop(Outcome::Failed(res));

  pbp::EbootJob job = JobFor(plan, assets);
  job.toc = toc;
  Outcome patched = pbp::PatchConvertedEboot(partial, temp, job, questions, cancel);
  DeleteNullFile(work);
  DeleteFileIfExists(temp + pbp::kStartDatFile);
  if (patched.kind() == OutcomeKind::Declined)
    return stop(Outcome::Failed(kMsgNewPackageNotWritten));
  if (!patched.succeeded()) return stop(patched);

  if (plan.palFix() && !palDone) {
    Outcome fixed = FixPackageImage(partial, pal);
    result.palPatches = pal.patches;
    if (!fixed.succeeded()) return stop(fixed);
  }
  if (cancel.Take()) return stop(Outcome::Cancelled());
  if (Outcome written = libcrypt.WritePartial(); !written.succeeded()) return stop(written);
  std::string why;
  if (!RenameReplacing(partial, out + "EBOOT.PBP", &why))
    return stop(Outcome::Failed("The new package could not be named EBOOT.PBP in " + out + " (" +
                                why + ")"));
  result.package = out + "EBOOT.PBP";
  if (Outcome named = libcrypt.Commit(progress); !named.succeeded()) return stop(named);
  result.outcome = Outcome::Success();
  return result;
}

// A new package, and the clean-up after it on every way out. A PAL fix that could not be
// taken off the user's image again is told, whatever else happened.
ConversionResult NewPackage(const ConversionPlan& plan, Progress& progress, Questions& questions,
                            CancelToken& cancel, const RunTuning& tuning) {
  RunCleanup cleanup(WithTrailingSep(plan.folders.work), plan.output);
  ConversionResult result = MakeNewPackage(plan, progress, questions, cancel, tuning, cleanup);
  if (std::string left = cleanup.Finish(); !left.empty()) {
    const std::string before = result.outcome.failed() ? result.outcome.text() + "\r\n\r\n" : "";
    result.outcome = Outcome::Failed(before + left);
  }
  return result;
}

}  // namespace

ConversionResult RunConversion(const ConversionPlan& plan, Progress& progress, Questions& questions,
                               CancelToken& cancel, const RunTuning& tuning) {
  ConversionResult refused;
  const std::string& work = plan.folders.work;
  const bool package = plan.kind != JobKind::NewPackage;
  if (package && IsRegularFile(pbp::JournalPathFor(plan.input))) {
    // A change to this package that never ended is undone first, but only while no other
    // run is under way: the change may be that run's own.
    RunLock alone(work, RunLockMode::Exclusive);
    if (!alone.held()) {
      refused.outcome = Outcome::Failed(
          "\"" + plan.input + "\" has an unfinished change (its journal " +
          pbp::JournalPathFor(plan.input) +
          " is there) and another run of the program is under way; try again when that run "
          "has ended.");
      return refused;
    }
    if (Outcome ready = ReadyPackage(plan, progress); !ready.succeeded()) {
      refused.outcome = ready;
      return refused;
    }
  }
  for (const std::string& warning : plan.warnings) progress.Log("Warning: " + warning + "\r\n");
  // Held for the whole run: the notes it leaves for the next start are its own, and no
  // start takes them for a dead run's while it lives.
  RunLock lock(work, RunLockMode::Shared, kRunLockPatience);
  if (!lock.held()) {
    refused.outcome = Outcome::Failed(RunLockBusyMessage(work));
    return refused;
  }
  if (package) {
    if (Outcome ready = ReadyPackage(plan, progress); !ready.succeeded()) {
      refused.outcome = ready;
      return refused;
    }
  }
  if (plan.kind == JobKind::PatchPackage) return PatchPackage(plan, progress, questions, cancel);
  return NewPackage(plan, progress, questions, cancel, tuning);
}

}  // namespace ebf
