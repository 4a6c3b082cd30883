// PPF (PlayStation Patch Format) 1.0, 2.0 and 3.0. Little-endian; offsets address the raw
// image. 2.0 and 3.0 may carry a copy of 1,024 bytes of the image they were made from, and
// a file_id.diz text at their end.
#include <array>
#include <cstring>

#include "common/ansi.h"
#include "common/text.h"
#include "patches/formats.h"
#include "patches/record_patch.h"

namespace ebf::patches {
namespace {

constexpr std::size_t kDescriptionAt = 6, kDescriptionSize = 50;
constexpr std::size_t kCheckBlockSize = 1024;
// Where the check block was copied from: a BIN image, or a PrimoDVD (GI) image.
constexpr uint64_t kCheckAtBin = 0x9320, kCheckAtGi = 0x80A0;
constexpr const char* kDizBegin = "@BEGIN_FILE_ID.DIZ";
constexpr const char* kDizEnd = "@END_FILE_ID.DIZ";
constexpr std::size_t kMaxDiz = 64 * 1024;

std::string Hex(uint64_t v) {
  char t[24];
  std::snprintf(t, sizeof t, "0x%llX", static_cast<unsigned long long>(v));
  return t;
}

// Text of the patch's own as the log shows it: ANSI, trailing blanks and NULs dropped,
// control characters but line breaks gone.
std::string Printable(const std::string& raw) {
  std::string text = raw.substr(0, raw.find('\0'));
  std::string out;
  for (char c : text)
    if (c == '\n' || static_cast<unsigned char>(c) >= 0x20) out += c;
  while (!out.empty() && (out.back() == ' ' || out.back() == '\n')) out.pop_back();
  return AnsiToUtf8(out);
}

class PpfPatch final : public RecordPatch {
 public:
  using RecordPatch::RecordPatch;

  Outcome Open() {
    PatchCursor c;
    if (!c.Open(path())) return IoFailed(c.error());
    uint8_t head[kDescriptionAt];  // the description follows the magic and version
    c.Read(head);
    version_ = head[3] - '0';
    if (!c.ok() || std::memcmp(head, "PPF", 3) != 0 || head[4] != '0' || version_ < 1 ||
        version_ > 3)
      return Damaged("it is no PPF 1.0, 2.0 or 3.0 file");
    std::string description(kDescriptionSize, '\0');
    c.Read(std::span<uint8_t>(reinterpret_cast<uint8_t*>(description.data()), description.size()));
    description_ = Printable(description);
    uint64_t records = 56;
    if (version_ == 2) {
      imageSize_ = c.Le32();
      checkAt_ = kCheckAtBin;
      records = 60 + kCheckBlockSize;
    } else if (version_ == 3) {
      const uint8_t imageType = c.U8();
      const uint8_t blockCheck = c.U8();
      undo_ = c.U8() != 0;
      c.U8();
      if (imageType > 1)
        return Damaged("its image type " + std::to_string(imageType) + " is unknown");
      if (blockCheck) {
        checkAt_ = imageType == 1 ? kCheckAtGi : kCheckAtBin;
        records = 60 + kCheckBlockSize;
      } else {
        records = 60;
      }
    }
    if (checkAt_) c.Read(checkBlock_);
    if (!c.ok() || c.size() < records) return Damaged("its header is cut short");
    recordsBegin_ = records;
    recordsEnd_ = c.size();
    if (version_ >= 2) {
      if (Outcome diz = ReadDiz(c); !diz.succeeded()) return diz;
    }
    return Validate();
  }

  std::string FormatName() const override { return "PPF " + std::to_string(version_) + ".0"; }

  std::vector<std::string> Notes() const override {
    std::vector<std::string> notes;
    if (!description_.empty()) notes.push_back(description_);
    if (!diz_.empty()) notes.push_back(diz_);
    return notes;
  }

 protected:
  Outcome CheckHeader(SourceImage& source) override {
    if (imageSize_ && *imageSize_ != source.size())
      return NotForThisImage("it expects an image of " + std::to_string(*imageSize_) +
                             " bytes, this one has " + std::to_string(source.size()));
    if (checkAt_) {
      std::array<uint8_t, kCheckBlockSize> here{};
      if (source.size() < *checkAt_ + kCheckBlockSize)
        return NotForThisImage("the image ends before the 1,024 bytes at " + Hex(*checkAt_) +
                               " that it checks");
      if (!source.Read(*checkAt_, here)) return IoFailed(source.error());
      if (here != checkBlock_)
        return NotForThisImage("the 1,024 bytes it checks at " + Hex(*checkAt_) +
                               " differ from this image's");
    }
    return Outcome::Success();
  }

  Outcome Walk(PatchCursor& c, const Visit& visit) const override {
    c.Limit(recordsEnd_);
    c.Seek(recordsBegin_);
    while (c.ok() && c.pos() < recordsEnd_) {
      Record r;
      r.offset = version_ == 3 ? c.Le64() : c.Le32();
      r.length = c.U8();
      if (!c.ok() || c.remaining() < r.length * (undo_ ? 2u : 1u))
        return Damaged("the record at byte " + std::to_string(c.pos()) + " is cut short");
      if (Outcome v = visit(r, c); !v.succeeded()) return v;
      // Undo data (the bytes the record replaces) are of no use going forward.
      if (undo_) c.Skip(r.length);
    }
    if (!c.ok()) return c.error().empty() ? Damaged("a record is cut short") : IoFailed(c.error());
    return Outcome::Success();
  }

 private:
  // The file_id.diz text at the end: the begin marker, the text, the end marker and its
  // length (u32 in 2.0, u16 in 3.0). Found from the end; the records stop before it.
  Outcome ReadDiz(PatchCursor& c) {
    const uint64_t lengthSize = version_ == 2 ? 4 : 2;
    const uint64_t endMarker = std::strlen(kDizEnd), beginMarker = std::strlen(kDizBegin);
    if (c.size() < recordsBegin_ + endMarker + lengthSize) return Outcome::Success();
    const uint64_t markerAt = c.size() - lengthSize - endMarker;
    std::string marker(endMarker, '\0');
    c.Seek(markerAt);
    c.Read(std::span<uint8_t>(reinterpret_cast<uint8_t*>(marker.data()), marker.size()));
    if (!c.ok()) return IoFailed(c.error());
    if (marker != kDizEnd) return Outcome::Success();
    const uint64_t length = version_ == 2 ? c.Le32() : c.Le16();
    if (length > kMaxDiz || markerAt < recordsBegin_ + beginMarker + length)
      return Damaged("its file_id.diz length does not fit the file");
    const uint64_t beginAt = markerAt - length - beginMarker;
    std::string text(beginMarker + length, '\0');
    c.Seek(beginAt);
    c.Read(std::span<uint8_t>(reinterpret_cast<uint8_t*>(text.data()), text.size()));
    if (!c.ok()) return IoFailed(c.error());
    if (text.compare(0, beginMarker, kDizBegin) != 0)
      return Damaged("its file_id.diz has no beginning");
    diz_ = Printable(ReplaceAll(text.substr(beginMarker), "\r\n", "\n"));
    recordsEnd_ = beginAt;
    return Outcome::Success();
  }

  int version_ = 1;
  bool undo_ = false;
  std::string description_, diz_;
  std::optional<uint32_t> imageSize_;
  std::optional<uint64_t> checkAt_;
  std::array<uint8_t, kCheckBlockSize> checkBlock_{};
  uint64_t recordsBegin_ = 0, recordsEnd_ = 0;
};

}  // namespace

OpenedPatch OpenPpf(const std::string& path) {
  auto patch = std::make_unique<PpfPatch>(path);
  Outcome opened = patch->Open();
  if (!opened.succeeded()) return {opened, nullptr};
  return {opened, std::move(patch)};
}

}  // namespace ebf::patches
