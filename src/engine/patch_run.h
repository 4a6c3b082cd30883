#pragma once
// The run's part of patches and LibCrypt: each disc's patches applied to its prepared image
// in the work folder, and the .sbi files beside the package, asked about before anything is
// written, written under temporary names and named with the package.

#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/progress.h"
#include "common/questions.h"
#include "engine/plan.h"

namespace ebf {

// Right after disc `disc` was prepared: its patches, in order, go onto the prepared image.
// `image` names it; when it is the user's own file the patched image is made in `temp` (the
// work folder's Temp) and `image` then names that. The patches and what they say about
// themselves, and the disc's LibCrypt key, go to the log.
Outcome PatchPreparedDisc(const ConversionPlan& plan, int disc, std::string& image,
                          const std::string& temp, Progress& progress, CancelToken& cancel);

// The .sbi files of the discs with LibCrypt data, beside the package. What is not named at
// the end is removed on every way out.
class LibCryptFiles {
 public:
  explicit LibCryptFiles(const ConversionPlan& plan);
  ~LibCryptFiles();
  LibCryptFiles(const LibCryptFiles&) = delete;
  LibCryptFiles& operator=(const LibCryptFiles&) = delete;

  // The overwrite question for each file of that name already there (asked as the one
  // before EBOOT.PBP is replaced): No declines the run.
  Outcome Confirm(Questions& questions) const;
  // The temporary names, for the run's note of what it may leave in the output folder.
  std::vector<std::string> PartialPaths() const;
  // Writes every file under its temporary name.
  Outcome WritePartial();
  // Names them (after EBOOT.PBP was named) and says once, when a protected disc has no
  // patch, that a PSP needs one and that emulators read the files just written.
  Outcome Commit(Progress& progress);

 private:
  struct Entry {
    std::string name, partial;
    const Bytes* sbi = nullptr;
  };
  std::string folder_;
  std::vector<Entry> entries_;
  bool unpatched_ = false;
};

// The LibCrypt data beside a package for its disc `disc` (EBOOT.sbi, or EBOOT_N.sbi for a
// package of several discs); "" when there is none.
std::string PackageSbiPath(const std::string& package, int disc);
// An image taken out of a package gets the package's LibCrypt data for its disc beside it,
// as <image name>.sbi; a file of that name already there is replaced only when the
// overwrite question says so (No: the image stays without).
Outcome CopyPackageSbi(const std::string& package, int disc, const std::string& image,
                       Questions& questions);

}  // namespace ebf
