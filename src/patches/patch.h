#pragma once
// Patch files made against a disc image: PPF 1.0-3.0, IPS, BPS, and VCDIFF as xdelta3
// writes it. A patch is opened (its header read and bounded), checked against the image it
// is to go onto before anything is written, then applied as a stream through fixed
// buffers. Nothing here knows about discs beyond byte offsets.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/progress.h"
#include "patches/patch_io.h"

namespace ebf::patches {

// The extensions a patch file has, lower case: a file beside an image with the image's name
// and one of these is offered as that image's patch.
inline const std::vector<std::string> kPatchExtensions = {".ppf", ".ips", ".bps", ".xdelta",
                                                          ".vcdiff"};

class Patch {
 public:
  explicit Patch(std::string path) : path_(std::move(path)) {}
  virtual ~Patch() = default;
  Patch(const Patch&) = delete;
  Patch& operator=(const Patch&) = delete;

  const std::string& path() const { return path_; }
  // "PPF 3.0", "IPS", "BPS", "VCDIFF", "VCDIFF (LZMA)".
  virtual std::string FormatName() const = 0;
  // What the patch says about itself, for the log (PPF's description and file_id.diz);
  // empty when it says nothing.
  virtual std::vector<std::string> Notes() const { return {}; }
  // PPF and IPS change a copy of the image record by record; BPS and VCDIFF make a new
  // image from the old one.
  virtual bool ChangesInPlace() const = 0;
  // The patch's own checks against the image (check block, image size, source CRC, the
  // source ranges it copies from). Success, or a failure that names the check.
  virtual Outcome Check(SourceImage& source, CancelToken& cancel) = 0;
  // Carries the patch out: onto `target` opened in place over a copy of the image, or into
  // `target` created empty. Progress in bytes; cancel between pieces.
  virtual Outcome Apply(SourceImage& source, TargetImage& target, Progress& progress,
                        CancelToken& cancel) = 0;

 protected:
  // "The patch "x.ppf" is damaged: <detail>."
  Outcome Damaged(const std::string& detail) const;
  // "The patch "x.ppf" was made for another version of the disc: <check>. Nothing was
  // written."
  Outcome NotForThisImage(const std::string& check) const;
  // A read or write of the images that failed.
  Outcome IoFailed(const std::string& detail) const;

 private:
  std::string path_;
};

struct OpenedPatch {
  Outcome outcome = Outcome::Success();
  std::unique_ptr<Patch> patch;
};

// Reads the patch's header and tells its format by its first bytes (not its name).
OpenedPatch OpenPatch(const std::string& path);

// Applies `patch` to the image at `source`, giving the image at `target`. The patch's
// checks come first: when one fails, nothing is written. The result is written under
// `target` + ".part" and takes its name when complete; the source is only read. When
// `target` is `source` (a work file of the caller's), PPF and IPS change it directly (a
// failure then leaves it part patched: the caller throws it away), BPS and VCDIFF replace it.
Outcome ApplyPatchFile(Patch& patch, const std::string& source, const std::string& target,
                       Progress& progress, CancelToken& cancel, uint64_t limit = kMaxPatchedImage);

// The caption of the stage that applies a patch.
std::string ApplyingCaption(const Patch& patch);

}  // namespace ebf::patches
