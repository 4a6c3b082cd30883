#include "disc/pal_fix_journalled.h"

#include <optional>
#include <vector>

#include "common/file_io.h"
#include "pbp/inspect.h"
#include "pbp/patch.h"
#include "pbp/patch_journal.h"
#include "pbp/psar.h"

namespace ebf {

JournalledPalFixResult ApplyPalFixJournalled(const std::string& path, bool package,
                                             const PalFixOptions& options,
                                             const std::string& tempFolder, Host& host,
                                             const std::function<void(const PalPatch&)>& onPatch) {
  JournalledPalFixResult out;
  File f(path, File::Mode::ReadWrite);
  if (!f) {
    out.error = f.LastError();
    return out;
  }
  std::vector<FileSpan> spans{{0, f.Size()}};
  if (package) {
    auto image = pbp::PalFixSpans(f);
    if (!image) {
      out.error = pbp::kEbootNotValid;
      return out;
    }
    spans = std::move(*image);
  }
  PalFixOptions dry = options;
  dry.write = false;
  std::vector<PalPatch> found;
  PalFixResult seen = ApplyPalFix(f, spans, dry, &found, host, {});
  if (seen.cancelled) {
    out.cancelled = true;
    return out;
  }
  if (!seen.error.empty()) {
    out.error = seen.error;
    return out;
  }
  if (found.empty()) return out;
  // A window may straddle a block's stored-mode head, so each region takes the head too.
  std::vector<FileSpan> regions;
  for (const PalPatch& p : found) regions.push_back({p.offset, 8 + pbp::kStoredHeadSize});
  pbp::PatchJournal journal(path, tempFolder);
  if (std::string e = journal.Begin(f, regions); !e.empty()) {
    out.error = e;
    return out;
  }
  PalFixResult res = ApplyPalFix(f, spans, options, nullptr, host, onPatch);
  if (res.error.empty() && !res.cancelled && !f.Sync()) res.error = f.LastError();
  if (!f.Close() && res.error.empty()) res.error = f.LastError();
  if (res.cancelled || !res.error.empty()) {
    const std::string undone = journal.RollBack();
    out.cancelled = res.cancelled;
    out.error = res.error;
    if (!undone.empty()) out.error += (out.error.empty() ? "" : ". ") + undone;
    return out;
  }
  journal.Finish();
  out.patches = res.patches;
  return out;
}

}  // namespace ebf
