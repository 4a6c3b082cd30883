#include "engine/patch_run.h"

#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"
#include "engine/converter_run.h"
#include "patches/patch.h"
#include "pbp/disc_table.h"

namespace ebf {

Outcome PatchPreparedDisc(const ConversionPlan& plan, int disc, std::string& image,
                          const std::string& temp, Progress& progress, CancelToken& cancel) {
  const DiscPatchPlan& planned = plan.discPatches;
  if (disc == 1)
    for (const std::string& note : planned.notes) progress.Log(note + "\r\n");
  for (const DiscLibCrypt& lc : planned.libcrypt)
    if (lc.disc == disc) progress.Log(LibCryptKeyLine(lc) + "\r\n");
  std::vector<const PlannedPatch*> mine;
  for (const PlannedPatch& p : planned.patches)
    if (p.disc == disc) mine.push_back(&p);
  if (mine.empty()) return Outcome::Success();

  // The user's image is only read: the first patch makes the disc's work image from it,
  // and every later one changes (or replaces) that.
  const std::string work = temp + TempImageName("TempBIN", ".bin", disc);
  const bool usersFile = image != work && image != temp + TempImageName("TempISO", ".iso", disc);
  const std::string target = usersFile ? work : image;
  std::string source = image;
  for (const PlannedPatch* p : mine) {
    Stage stage(progress, "", 1.0 / static_cast<double>(mine.size()));
    patches::OpenedPatch opened = patches::OpenPatch(p->path);
    if (!opened.outcome.succeeded()) return opened.outcome;
    progress.Log("Patch " + FileNameOf(p->path) + " (" + opened.patch->FormatName() + ")" +
                 (plan.discCount() > 1 ? " for disc " + std::to_string(disc) : "") + "\r\n");
    for (const std::string& note : opened.patch->Notes())
      progress.Log("  " + ReplaceAll(note, "\n", "\r\n  ") + "\r\n");
    Outcome applied = patches::ApplyPatchFile(*opened.patch, source, target, progress, cancel);
    if (!applied.succeeded()) return applied;
    source = target;
    stage.Done();
  }
  image = target;
  return Outcome::Success();
}

LibCryptFiles::LibCryptFiles(const ConversionPlan& plan) : folder_(plan.output) {
  for (const DiscLibCrypt& d : plan.discPatches.libcrypt) {
    const std::string name = SbiFileName(d.disc, plan.discCount());
    entries_.push_back({name, folder_ + name + ".part", &d.sbi});
    if (!plan.discPatches.PatchesFor(d.disc)) unpatched_ = true;
  }
}

LibCryptFiles::~LibCryptFiles() {
  for (const Entry& e : entries_) DeleteFileIfExists(e.partial);
}

Outcome LibCryptFiles::Confirm(Questions& questions) const {
  for (const Entry& e : entries_)
    if (ConfirmOverwrite(questions, folder_, e.name, "")) return Outcome::Declined();
  return Outcome::Success();
}

std::vector<std::string> LibCryptFiles::PartialPaths() const {
  std::vector<std::string> paths;
  for (const Entry& e : entries_) paths.push_back(e.partial);
  return paths;
}

Outcome LibCryptFiles::WritePartial() {
  for (const Entry& e : entries_) {
    File out(e.partial, File::Mode::Write);
    if (!out || !out.Write(*e.sbi) || !out.Close())
      return Outcome::Failed("The LibCrypt file " + e.partial + " could not be written (" +
                             out.LastError() + ")");
  }
  return Outcome::Success();
}

Outcome LibCryptFiles::Commit(Progress& progress) {
  std::vector<std::string> names;
  for (const Entry& e : entries_) {
    std::string why;
    if (!RenameReplacing(e.partial, folder_ + e.name, &why))
      return Outcome::Failed("The LibCrypt file could not be named " + folder_ + e.name + " (" +
                             why + ")");
    names.push_back(e.name);
  }
  if (unpatched_) progress.Log(LibCryptNotice(names) + "\r\n");
  return Outcome::Success();
}

std::string PackageSbiPath(const std::string& package, int disc) {
  const int count = pbp::PackageDiscCount(package);
  const std::string stem = WithoutExtension(package);
  const std::string path =
      ResolveCaseBlind(count > 1 ? stem + "_" + std::to_string(disc) + ".sbi" : stem + ".sbi");
  return IsRegularFile(path) ? path : std::string();
}

Outcome CopyPackageSbi(const std::string& package, int disc, const std::string& image,
                       Questions& questions) {
  const std::string from = PackageSbiPath(package, disc);
  if (from.empty()) return Outcome::Success();
  const std::string to = WithoutExtension(image) + ".sbi";
  const std::string folder = WithTrailingSep(FolderOf(AbsolutePath(to)));
  if (ConfirmOverwrite(questions, folder, FileNameOf(to), from)) return Outcome::Declined();
  const std::string partial = to + ".part";
  std::string why;
  if (!CopyFileTo(from, partial, &why) || !RenameReplacing(partial, to, &why)) {
    DeleteFileIfExists(partial);
    return Outcome::Failed("The LibCrypt file " + to + " could not be written (" + why + ")");
  }
  return Outcome::Success();
}

}  // namespace ebf
