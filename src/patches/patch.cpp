#include "patches/patch.h"

#include <cstring>

#include "common/files.h"
#include "patches/formats.h"

namespace ebf::patches {
namespace {

// The result under its temporary name, removed on every way out but success.
class PartialFile {
 public:
  explicit PartialFile(std::string path) : path_(std::move(path)) { DeleteFileIfExists(path_); }
  ~PartialFile() {
    if (!kept_) DeleteFileIfExists(path_);
  }
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;
  const std::string& path() const { return path_; }
  // Gives the finished file its name.
  Outcome RenameTo(const std::string& target) {
    std::string why;
    if (!RenameReplacing(path_, target, &why))
      return Outcome::Failed("The patched image could not be named " + target + " (" + why + ")");
    kept_ = true;
    return Outcome::Success();
  }

 private:
  std::string path_;
  bool kept_ = false;
};

}  // namespace

Outcome Patch::Damaged(const std::string& detail) const {
  return Outcome::Failed("The patch \"" + FileNameOf(path_) + "\" is damaged: " + detail + ".");
}

Outcome Patch::NotForThisImage(const std::string& check) const {
  return Outcome::Failed("The patch \"" + FileNameOf(path_) +
                         "\" was made for another version of the disc: " + check +
                         ". Nothing was written.");
}

Outcome Patch::IoFailed(const std::string& detail) const {
  return Outcome::Failed("The patch \"" + FileNameOf(path_) + "\" could not be applied: " + detail);
}

OpenedPatch OpenPatch(const std::string& path) {
  if (std::string refused = NotAFileMessage(path); !refused.empty())
    return {Outcome::Failed(refused), nullptr};
  File file(path, File::Mode::Read);
  if (!file)
    return {Outcome::Failed("The patch \"" + path + "\" could not be read: " + file.LastError()),
            nullptr};
  uint8_t head[5] = {};
  const std::size_t n = file.Read(head);
  file.Close();
  if (n >= 3 && std::memcmp(head, "PPF", 3) == 0) return OpenPpf(path);
  if (n >= 5 && std::memcmp(head, "PATCH", 5) == 0) return OpenIps(path);
  if (n >= 4 && std::memcmp(head, "BPS1", 4) == 0) return OpenBps(path);
  if (n >= 3 && head[0] == 0xD6 && head[1] == 0xC3 && head[2] == 0xC4) return OpenVcdiff(path);
  return {Outcome::Failed("\"" + FileNameOf(path) +
                          "\" is not a patch this program reads (PPF, IPS, BPS, or VCDIFF as "
                          "xdelta3 makes it)."),
          nullptr};
}

std::string ApplyingCaption(const Patch& patch) {
  return "Applying " + FileNameOf(patch.path()) + "...";
}

Outcome ApplyPatchFile(Patch& patch, const std::string& source, const std::string& target,
                       Progress& progress, CancelToken& cancel, uint64_t limit) {
  Stage stage(progress, ApplyingCaption(patch));
  SourceImage image;
  if (!image.Open(source))
    return Outcome::Failed("The disc image " + source + " could not be read: " + image.error());
  if (Outcome fits = patch.Check(image, cancel); !fits.succeeded()) return fits;

  const bool inPlace = patch.ChangesInPlace();
  const bool scratch = target == source;
  std::optional<PartialFile> partial;
  if (!(inPlace && scratch)) partial.emplace(target + ".part");
  const std::string& writing = partial ? partial->path() : target;

  TargetImage out(limit);
  if (inPlace) {
    if (!scratch) {
      Stage copy(progress, "", 0.9);
      Outcome copied = CopyImage(source, writing, [&](uint64_t done, uint64_t total) {
        copy.Advance(done, total);
        return !cancel.Take();
      });
      if (!copied.succeeded()) return copied;
      copy.Done();
    }
    if (!out.OpenInPlace(writing))
      return Outcome::Failed("The patched image " + writing +
                             " could not be opened: " + out.error());
  } else if (!out.Create(writing)) {
    return Outcome::Failed("The patched image " + writing +
                           " could not be written: " + out.error());
  }
  Stage apply(progress, "", inPlace && !scratch ? 0.1 : 1.0);
  Outcome applied = patch.Apply(image, out, progress, cancel);
  const bool finished = out.Finish();
  if (!applied.succeeded()) return applied;
  if (!finished)
    return Outcome::Failed("The patched image " + writing +
                           " could not be written: " + out.error());
  apply.Done();
  image.Close();
  if (partial) {
    if (Outcome named = partial->RenameTo(target); !named.succeeded()) return named;
  }
  stage.Done();
  return Outcome::Success();
}

}  // namespace ebf::patches
