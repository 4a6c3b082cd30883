#include "engine/disc_stage.h"

#include <system_error>

#include "common/files.h"

namespace ebf {

DiscStage::DiscStage(std::string workFolder, int tag)
    : temp_(TempFolder(workFolder)), prefix_("AHEAD" + std::to_string(tag) + "-") {}

DiscStage::~DiscStage() {
  for (const std::optional<Staged>& s : discs_)
    if (s) Remove(*s);
}

bool DiscStage::Stamp(const std::string& path, uint64_t& size,
                      std::filesystem::file_time_type& modified) {
  std::error_code ec;
  modified = std::filesystem::last_write_time(std::filesystem::u8path(path), ec);
  const std::optional<uint64_t> bytes = FileSize(path);
  size = bytes.value_or(0);
  return !ec && bytes;
}

void DiscStage::Remove(const Staged& s) const {
  if (!s.image.empty()) DeleteFileIfExists(s.image);
  if (!s.toc.empty()) DeleteFileIfExists(s.toc);
}

Outcome DiscStage::Prepare(const std::vector<std::string>& discs, bool addIsoPadding,
                           Progress& progress, CancelToken& cancel) {
  for (std::size_t i = 0; i < discs.size(); ++i) {
    Stage stage(progress, "", 1.0 / static_cast<double>(discs.size()));
    const std::string name = prefix_ + std::to_string(i + 1);
    Staged s;
    s.source = AbsolutePath(discs[i]);
    s.padding = addIsoPadding;
    s.toc = temp_ + name + ".TOC";
    DeleteFileIfExists(s.toc);
    if (!Stamp(s.source, s.size, s.modified))
      return Outcome::Failed("The disc image could not be read: " + s.source);
    const std::string bin = temp_ + name + ".bin";
    DiscPreparation prep = PrepareDiscImage(s.source, temp_, bin, addIsoPadding, false, progress,
                                            cancel, name + ".TOC");
    if (!FileExists(s.toc)) s.toc.clear();
    if (!prep.outcome.succeeded()) {
      Remove(s);
      return prep.outcome;
    }
    // A disc used as it is (raw sectors already) has nothing to stage beyond its TOC, which
    // the run writes again in no time.
    if (prep.imagePath == bin) {
      s.image = bin;
      s.warning = prep.warning;
      discs_.resize(i + 1);
      discs_[i] = std::move(s);
    } else {
      Remove(s);
    }
    stage.Done();
  }
  return Outcome::Success();
}

std::optional<DiscPreparation> DiscStage::Take(int disc, const std::string& source,
                                               bool addIsoPadding, const std::string& imagePath,
                                               const std::string& tocPath) {
  if (disc < 1 || disc > static_cast<int>(discs_.size()) || !discs_[disc - 1]) return std::nullopt;
  const Staged s = *discs_[disc - 1];
  discs_[disc - 1].reset();
  uint64_t size = 0;
  std::filesystem::file_time_type modified{};
  const bool same = s.source == AbsolutePath(source) && s.padding == addIsoPadding &&
                    Stamp(s.source, size, modified) && size == s.size && modified == s.modified;
  if (!same || !RenameReplacing(s.image, imagePath) ||
      (!s.toc.empty() && !RenameReplacing(s.toc, tocPath))) {
    Remove(s);
    DeleteFileIfExists(imagePath);
    return std::nullopt;
  }
  return DiscPreparation{Outcome::Success(), imagePath, s.warning};
}

}  // namespace ebf
