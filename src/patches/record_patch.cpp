#include "patches/record_patch.h"

#include <vector>

namespace ebf::patches {
namespace {

constexpr uint32_t kCancelEvery = 4096;  // records

std::string Hex(uint64_t v) {
  char t[24];
  std::snprintf(t, sizeof t, "0x%llX", static_cast<unsigned long long>(v));
  return t;
}

}  // namespace

Outcome RecordPatch::Validate() {
  PatchCursor cursor;
  if (!cursor.Open(path())) return IoFailed(cursor.error());
  return Walk(cursor, [](const Record& r, PatchCursor& c) {
    if (!r.run) c.Skip(r.length);
    return Outcome::Success();
  });
}

Outcome RecordPatch::Check(SourceImage& source, CancelToken& /*cancel*/) {
  if (Outcome header = CheckHeader(source); !header.succeeded()) return header;
  // A record may lengthen the image at its end, never start past it: one that does was
  // made for a longer image, another disc.
  PatchCursor cursor;
  if (!cursor.Open(path())) return IoFailed(cursor.error());
  uint64_t size = source.size();
  return Walk(cursor, [&](const Record& r, PatchCursor& c) {
    if (r.offset > size)
      return NotForThisImage("it writes at byte " + Hex(r.offset) +
                             ", past the end of this image (" + Hex(size) + " bytes)");
    size = std::max<uint64_t>(size, r.offset + r.length);
    if (!r.run) c.Skip(r.length);
    return Outcome::Success();
  });
}

Outcome RecordPatch::Apply(SourceImage& /*source*/, TargetImage& target, Progress& progress,
                           CancelToken& cancel) {
  PatchCursor cursor;
  if (!cursor.Open(path())) return IoFailed(cursor.error());
  const uint64_t total = std::max<uint64_t>(cursor.size(), 1);
  std::vector<uint8_t> bytes;
  uint32_t count = 0;
  Outcome walked = Walk(cursor, [&](const Record& r, PatchCursor& c) {
    bool written;
    if (r.run) {
      written = target.FillAt(r.offset, r.value, r.length);
    } else {
      bytes.resize(r.length);
      if (!c.Read(bytes)) return Damaged("a record is cut short");
      written = target.WriteAt(r.offset, bytes);
    }
    if (!written) return IoFailed(target.error());
    if (++count % kCancelEvery == 0) {
      if (cancel.Take()) return Outcome::Cancelled();
      progress.Advance(c.pos(), total);
    }
    return Outcome::Success();
  });
  if (!walked.succeeded()) return walked;
  if (auto cut = CutTo(); cut && *cut < target.size() && !target.Resize(*cut))
    return IoFailed(target.error());
  progress.Advance(total, total);
  return Outcome::Success();
}

}  // namespace ebf::patches
