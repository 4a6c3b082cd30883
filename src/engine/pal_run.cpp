#include "engine/pal_run.h"

#include <cinttypes>
#include <cstdio>
#include <optional>

#include "common/files.h"
#include "common/text.h"
#include "disc/classify.h"
#include "disc/cue_sheet.h"
#include "engine/converter_run.h"
#include "pbp/inspect.h"
#include "pbp/patch.h"
#include "pbp/patch_journal.h"
#include "pbp/psar.h"

namespace ebf {
namespace {

PalFixOptions OptionsFor(const PalFixRun& run) {
  PalFixOptions options;
  options.screenHeight = run.screen;
  options.graphics = run.graphics;
  return options;
}

Outcome Finish(const PalFixResult& res, const std::string& path, PalFixRun& run) {
  run.patches += res.patches;
  if (res.cancelled) {
    run.cancel.Take();
    return Outcome::Cancelled();
  }
  if (!res.error.empty())
    return Outcome::Failed("The PAL -> NTSC fix failed on " + path + ": " + res.error);
  return Outcome::Success();
}

std::string CannotOpen(const std::string& path, const File& f) {
  return "The PAL -> NTSC fix could not open " + path + " (" + f.LastError() + ")";
}

}  // namespace

std::string PalJournalName(int disc) {
  return disc <= 1 ? kPalJournal : "PALFIX" + std::to_string(disc) + ".UNDO";
}

bool IsPalJournalName(const std::string& name) {
  for (int disc = 1; disc <= kMaxPackageDiscs; ++disc)
    if (name == PalJournalName(disc)) return true;
  return false;
}

PalJournal::PalJournal(const std::string& workFolder, const std::string& image, int disc)
    : path_(TempFolder(workFolder) + PalJournalName(disc)) {
  file_.Open(path_, File::Mode::Write);
  ok_ = file_ && file_.Write(image + "\n") && file_.Sync();
}

bool PalJournal::Add(const PalPatch& p) {
  if (!ok_) return false;
  char line[64];
  std::snprintf(line, sizeof line, "%" PRIu64 " %08X %08X\n", p.offset, p.w0, p.w1);
  ok_ = file_.Write(std::string_view(line)) && file_.Sync();
  return ok_;
}

bool PalJournal::Close() {
  ok_ = file_.Close() && ok_;
  return ok_;
}

Outcome FixWholeImage(const std::string& path, PalFixRun& run, std::vector<PalPatch>& undo,
                      PalJournal* journal) {
  File f(path, File::Mode::ReadWrite);
  if (!f) return Outcome::Failed(CannotOpen(path, f));
  // A change whose note did not reach the disk would survive a crash unnoticed: the scan
  // stops before writing it.
  PalFixResult res =
      ApplyPalFix(f, std::vector<FileSpan>{{0, f.Size()}}, OptionsFor(run), &undo, run.progress,
                  run.cancel, [&](const PalPatch& p) { return !journal || journal->Add(p); });
  if (!f.Close() && res.error.empty()) res.error = f.LastError();
  if (journal && !journal->Close() && res.error.empty())
    res.error = "its journal in Temp could not be written";
  return Finish(res, path, run);
}

namespace {

// The spans to scan: the whole file, or the disc images of a package.
std::optional<std::vector<FileSpan>> SpansOf(File& f, bool package) {
  if (!package) return std::vector<FileSpan>{{0, f.Size()}};
  return pbp::PalFixSpans(f);
}

}  // namespace

Outcome FixPackageImage(const std::string& path, PalFixRun& run) {
  File f(path, File::Mode::ReadWrite);
  if (!f) return Outcome::Failed(CannotOpen(path, f));
  auto spans = SpansOf(f, true);
  if (!spans) return Outcome::Failed(pbp::kEbootNotValid);
  PalFixResult res = ApplyPalFix(f, *spans, OptionsFor(run), nullptr, run.progress, run.cancel);
  if (!f.Close() && res.error.empty()) res.error = f.LastError();
  return Finish(res, path, run);
}

Outcome FixAllOrNothing(const std::string& path, bool package, PalFixRun& run,
                        const std::string& tempFolder,
                        const std::function<bool(const PalPatch&)>& onPatch) {
  File f(path, File::Mode::ReadWrite);
  if (!f) return Outcome::Failed(CannotOpen(path, f));
  auto spans = SpansOf(f, package);
  if (!spans) return Outcome::Failed(pbp::kEbootNotValid);
  PalFixOptions dry = OptionsFor(run);
  dry.write = false;
  std::vector<PalPatch> found;
  NoProgress quiet;
  PalFixResult seen = ApplyPalFix(f, *spans, dry, &found, quiet, run.cancel);
  if (seen.cancelled || !seen.error.empty()) return Finish(seen, path, run);
  if (found.empty()) return Outcome::Success();
  // A window may straddle a block's stored-mode head, so each note takes the head too.
  std::vector<FileSpan> regions;
  for (const PalPatch& p : found) regions.push_back({p.offset, 8 + pbp::kStoredHeadSize});
  pbp::PatchJournal journal(path, tempFolder);
  if (std::string e = journal.Begin(f, regions); !e.empty())
    return Outcome::Failed("The PAL -> NTSC fix failed on " + path + ": " + e);
  PalFixResult res =
      ApplyPalFix(f, *spans, OptionsFor(run), nullptr, run.progress, run.cancel, onPatch);
  if (res.error.empty() && !res.cancelled && !f.Sync()) res.error = f.LastError();
  if (!f.Close() && res.error.empty()) res.error = f.LastError();
  if (res.cancelled || !res.error.empty()) {
    // Nothing of a fix that did not finish stays in the user's file.
    const std::string undone = journal.RollBack();
    res.patches = 0;
    if (!undone.empty()) res.error += (res.error.empty() ? "" : ". ") + undone;
    if (res.cancelled && !undone.empty()) res.cancelled = false;
  } else {
    journal.Finish();
  }
  return Finish(res, path, run);
}

namespace {

std::string RecoverJournal(const std::string& journal) {
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

}  // namespace

std::string RecoverInterruptedPalFix(const std::string& workFolder) {
  std::string said;
  for (int disc = 1; disc <= kMaxPackageDiscs; ++disc) {
    std::string s = RecoverJournal(TempFolder(workFolder) + PalJournalName(disc));
    if (!s.empty()) said += (said.empty() ? "" : "\n") + s;
  }
  return said;
}

std::string PalFixTarget(const std::string& input, std::string& target) {
  target.clear();
  std::string file = input;
  const std::string ext = Extension4(input);
  if (ext == ".CUE") {
    auto named = FindCueDataFile(input);
    if (!named) return CueInvalidMessage(input);
    file = *named;
  } else if (ext == ".CCD") {
    file = CcdImagePath(input);
  } else if (ext == ".MDS") {
    file = DescribedMdfPath(input);
    if (file.empty()) return input + ": the MDF it describes is not beside it.";
  }
  const std::string packed = Extension4(file);
  if (packed == ".CHD" || packed == ".ECM")
    return file + " is packed and cannot be changed in place; convert it with the fix instead.";
  target = file;
  return {};
}

}  // namespace ebf
