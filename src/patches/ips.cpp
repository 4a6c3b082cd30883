// IPS: "PATCH", records of a 24-bit big-endian offset and a 16-bit size (size 0: a run of
// one byte value), "EOF", and optionally a 24-bit length the image is cut to. The offsets
// reach the first 16 MiB of an image only.
#include <cstring>

#include "patches/formats.h"
#include "patches/record_patch.h"

namespace ebf::patches {
namespace {

constexpr uint32_t kEof = 0x454F46;  // "EOF"

class IpsPatch final : public RecordPatch {
 public:
  using RecordPatch::RecordPatch;

  Outcome Open() {
    PatchCursor c;
    if (!c.Open(path())) return IoFailed(c.error());
    uint8_t magic[5];
    c.Read(magic);
    if (!c.ok() || std::memcmp(magic, "PATCH", 5) != 0) return Damaged("it is no IPS file");
    // One walk finds where the records end; what follows "EOF" is the truncation or nothing.
    Outcome walked = Validate();
    if (!walked.succeeded()) return walked;
    const uint64_t after = c.size() - eofEnd_;
    if (after == 3) {
      c.Seek(eofEnd_);
      cutTo_ = c.Be24();
      if (!c.ok()) return IoFailed(c.error());
    } else if (after != 0) {
      return Damaged("it has " + std::to_string(after) + " unknown bytes after its end");
    }
    return Outcome::Success();
  }

  std::string FormatName() const override { return "IPS"; }

 protected:
  std::optional<uint64_t> CutTo() const override { return cutTo_; }

  Outcome Walk(PatchCursor& c, const Visit& visit) const override {
    c.Seek(5);
    for (;;) {
      const uint32_t offset = c.Be24();
      if (!c.ok()) return Damaged("it has no \"EOF\" at its end");
      if (offset == kEof) break;
      Record r;
      r.offset = offset;
      r.length = c.Be16();
      if (r.length == 0) {
        r.run = true;
        r.length = c.Be16();
        r.value = c.U8();
      }
      if (!c.ok() || (!r.run && c.remaining() < r.length))
        return Damaged("the record at byte " + std::to_string(c.pos()) + " is cut short");
      if (Outcome v = visit(r, c); !v.succeeded()) return v;
    }
    eofEnd_ = c.pos();
    return Outcome::Success();
  }

 private:
  mutable uint64_t eofEnd_ = 0;
  std::optional<uint64_t> cutTo_;
};

}  // namespace

OpenedPatch OpenIps(const std::string& path) {
  auto patch = std::make_unique<IpsPatch>(path);
  Outcome opened = patch->Open();
  if (!opened.succeeded()) return {opened, nullptr};
  return {opened, std::move(patch)};
}

}  // namespace ebf::patches
