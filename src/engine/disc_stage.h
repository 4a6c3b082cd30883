#pragma once
// Discs prepared before their run: a queue prepares the next game's discs (the join, the
// CHD or ECM decode) while the converter compresses the game before it. The files are the
// stage's own, in the work folder's Temp under names of their own, until the run takes them
// under its names; whatever no run took is removed with the stage.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/progress.h"
#include "engine/image_prep.h"

namespace ebf {

class DiscStage {
 public:
  // `tag` keeps the names of two stages apart (the queue's row id).
  DiscStage(std::string workFolder, int tag);
  ~DiscStage();
  DiscStage(const DiscStage&) = delete;
  DiscStage& operator=(const DiscStage&) = delete;

  // Prepares each disc as a run would. A failure or a cancel stops it: what was written for
  // that disc is gone, the discs before it stay staged.
  Outcome Prepare(const std::vector<std::string>& discs, bool addIsoPadding, Progress& progress,
                  CancelToken& cancel);

  // For the run: disc `disc` (from 1) when it was staged from `source` with the same padding
  // and the source has not changed since. Its image becomes `imagePath` and its TOC (when
  // the disc has one) `tocPath`; both are moved, not copied. Nothing when the disc was not
  // staged, when anything differs, or when the files cannot be moved.
  std::optional<DiscPreparation> Take(int disc, const std::string& source, bool addIsoPadding,
                                      const std::string& imagePath, const std::string& tocPath);

 private:
  struct Staged {
    std::string source;
    bool padding = false;
    uint64_t size = 0;
    std::filesystem::file_time_type modified{};
    std::string image, toc, warning;
  };
  // The source's size and time of change, or nothing when it cannot be told.
  static bool Stamp(const std::string& path, uint64_t& size,
                    std::filesystem::file_time_type& modified);
  void Remove(const Staged& s) const;

  std::string temp_, prefix_;
  std::vector<std::optional<Staged>> discs_;
};

}  // namespace ebf
