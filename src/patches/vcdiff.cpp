// VCDIFF (RFC 3284) as xdelta3 writes it: the default code table, source windows, an
// Adler-32 of each window's target (xdelta3's own window bit), and no secondary
// compression or LZMA. The target is made window by window and written front to back.
#include <libdeflate.h>

#include "common/files.h"
#include "common/mapped_view.h"
#include "patches/formats.h"
#include "patches/vcdiff_window.h"

namespace ebf::patches {
namespace {

using namespace vcdiff;

std::string Hex(uint64_t v) {
  char t[24];
  std::snprintf(t, sizeof t, "0x%llX", static_cast<unsigned long long>(v));
  return t;
}

uint32_t Adler32(const WindowPieces& window) {
  uint32_t sum = 1;
  for (const auto& piece : window.pieces())
    sum = libdeflate_adler32(sum, piece.data(), piece.size());
  return sum;
}

class VcdiffPatch final : public Patch {
 public:
  using Patch::Patch;

  Outcome Open() {
    PatchCursor c;
    if (!c.Open(path())) return IoFailed(c.error());
    uint8_t magic[4];
    c.Read(magic);
    if (!c.ok() || magic[0] != 0xD6 || magic[1] != 0xC3 || magic[2] != 0xC4)
      return Damaged("it is no VCDIFF file");
    if (magic[3] != 0) return Damaged("it is of a VCDIFF version after the first");
    const uint8_t header = c.U8();
    if (!c.ok()) return Damaged("its header is cut short");
    if (header & ~(kHeaderSecondary | kHeaderCodeTable | kHeaderApplication))
      return Damaged("its header has indicator bits no VCDIFF writer sets");
    if (header & kHeaderSecondary) {
      const uint8_t id = c.U8();
      if (id == kSecondaryDjw || id == kSecondaryFgk)
        return Outcome::Failed(
            "The patch \"" + FileNameOf(path()) + "\" is compressed with xdelta3's " +
            (id == kSecondaryDjw ? "DJW" : "FGK") +
            " coding, which this program does not read. Make it again with \"xdelta3 -S lzma\" "
            "or \"xdelta3 -S none\".");
      if (id != kSecondaryLzma)
        return Damaged("it names secondary compressor " + std::to_string(id) +
                       ", which xdelta3 does not have");
      lzma_ = true;
    }
    if (header & kHeaderCodeTable)
      return Damaged("it brings a code table of its own, which xdelta3 never writes");
    if (header & kHeaderApplication) {
      const auto length = ReadInteger(c);
      if (!length || !c.Skip(*length)) return Damaged("its header is cut short");
    }
    if (!c.ok()) return Damaged("its header is cut short");
    windowsBegin_ = c.pos();
    // Every window's header is read now: a damaged one is found before anything is
    // written, and the source ranges are known for the check.
    while (c.pos() < c.size()) {
      WindowHeader w;
      if (std::string bad = ReadWindowHeader(c, lzma_, w); !bad.empty()) return Damaged(bad);
      if (w.indicator & kWindowTarget)
        return Damaged("a window copies from the target made so far, which xdelta3 never writes");
      if (w.indicator & kWindowSource && w.sourceOffset + w.sourceLength > sourceEnd_) {
        sourceEnd_ = w.sourceOffset + w.sourceLength;
        sourceStart_ = w.sourceOffset;
      }
      targetSize_ += w.targetLength;
      if (targetSize_ > kMaxPatchedImage)
        return Damaged("the image it makes would be larger than " + FormatSize(kMaxPatchedImage));
      c.Skip(w.sectionsLength());
    }
    return Outcome::Success();
  }

  std::string FormatName() const override { return lzma_ ? "VCDIFF (LZMA)" : "VCDIFF"; }
  bool ChangesInPlace() const override { return false; }

  Outcome Check(SourceImage& source, CancelToken& /*cancel*/) override {
    if (sourceEnd_ > source.size())
      return NotForThisImage("it copies from bytes " + Hex(sourceStart_) + " to " +
                             Hex(sourceEnd_) +
                             " of the image it was made from, past the end "
                             "of this one (" +
                             Hex(source.size()) + " bytes)");
    return Outcome::Success();
  }

  Outcome Apply(SourceImage& source, TargetImage& target, Progress& progress,
                CancelToken& cancel) override {
    PatchCursor c;
    if (!c.Open(path())) return IoFailed(c.error());
    c.Seek(windowsBegin_);
    LzmaSections lzma;
    std::vector<uint8_t> sections, decoded[3], segmentCopy;
    WindowPieces window;
    while (c.pos() < c.size()) {
      WindowHeader w;
      if (std::string bad = ReadWindowHeader(c, lzma_, w); !bad.empty()) return Damaged(bad);
      sections.resize(w.sectionsLength());
      if (!c.Read(sections)) return IoFailed(c.error());
      std::span<const uint8_t> part[3];
      const uint64_t lengths[3] = {w.dataLength, w.instLength, w.addrLength};
      for (int k = 0, at = 0; k < 3; at += static_cast<int>(lengths[k]), ++k) {
        part[k] = std::span<const uint8_t>(sections).subspan(at, lengths[k]);
        if (w.deltaIndicator & (1 << k)) {
          if (std::string bad = lzma.Decode(k, part[k], decoded[k]); !bad.empty())
            return Damaged(bad);
          part[k] = decoded[k];
        }
      }
      // The source segment is read where it lies: mapped, not copied.
      MappedView view;
      std::span<const uint8_t> segment;
      if (w.indicator & kWindowSource && w.sourceLength > 0) {
        segment = source.View(w.sourceOffset, w.sourceLength, view, segmentCopy);
        if (segment.empty()) return IoFailed(source.error());
      }
      if (auto error = DecodeWindow(w, part[0], part[1], part[2], segment, window))
        return error->io ? IoFailed(error->text) : Damaged(error->text);
      if (w.adler32 && Adler32(window) != *w.adler32)
        return NotForThisImage("the result differs from what it was made to give at byte " +
                               Hex(target.size()) + " (its window checksum)");
      if (!target.AppendPieces(window.pieces())) return IoFailed(target.error());
      if (cancel.Take()) return Outcome::Cancelled();
      progress.Advance(target.size(), targetSize_);
    }
    if (!c.ok()) return IoFailed(c.error());
    return Outcome::Success();
  }

 private:
  bool lzma_ = false;
  uint64_t windowsBegin_ = 0, targetSize_ = 0, sourceStart_ = 0, sourceEnd_ = 0;
};

}  // namespace

OpenedPatch OpenVcdiff(const std::string& path) {
  auto patch = std::make_unique<VcdiffPatch>(path);
  Outcome opened = patch->Open();
  if (!opened.succeeded()) return {opened, nullptr};
  return {opened, std::move(patch)};
}

}  // namespace ebf::patches
