#pragma once
// PPF and IPS: records of bytes written at offsets of the image, applied in file order onto
// a copy of it. What the two share: the walk that finds a record starting past the end of
// the image, and the apply.

#include <functional>
#include <optional>

#include "patches/patch.h"

namespace ebf::patches {

class RecordPatch : public Patch {
 public:
  using Patch::Patch;
  bool ChangesInPlace() const override { return true; }
  Outcome Check(SourceImage& source, CancelToken& cancel) override;
  Outcome Apply(SourceImage& source, TargetImage& target, Progress& progress,
                CancelToken& cancel) override;

 protected:
  struct Record {
    uint64_t offset = 0;
    uint32_t length = 0;
    bool run = false;  // `length` copies of `value` (IPS RLE); else `length` bytes follow
    uint8_t value = 0;
  };
  using Visit = std::function<Outcome(const Record&, PatchCursor&)>;
  // Visits every record in file order. For a record with bytes, the cursor stands at them
  // and `visit` reads or skips exactly `length` bytes. A damaged record stops the walk.
  virtual Outcome Walk(PatchCursor& cursor, const Visit& visit) const = 0;
  // The format's checks against the image before the records' own.
  virtual Outcome CheckHeader(SourceImage& /*source*/) { return Outcome::Success(); }
  // The size the image is cut to after the records (IPS's truncation).
  virtual std::optional<uint64_t> CutTo() const { return std::nullopt; }

  // Walks the patch once with nothing to apply: a damaged record is found on opening.
  Outcome Validate();
};

}  // namespace ebf::patches
