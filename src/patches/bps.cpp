// BPS: "BPS1", the source, target and metadata sizes as variable-length numbers, the
// metadata, the actions, then the CRC32s of the source, the target and the patch itself.
// The target is written front to back; actions copy from the source, from the patch, or
// from what the target already holds.
#include <libdeflate.h>

#include <cstring>
#include <vector>

#include "patches/formats.h"

namespace ebf::patches {
namespace {

constexpr uint64_t kFooter = 12;
constexpr std::size_t kPiece = 1 << 20;
constexpr uint32_t kCancelEvery = 1024;  // actions

enum Action : uint8_t { kSourceRead, kTargetRead, kSourceCopy, kTargetCopy };

std::string Crc(uint32_t v) {
  char t[16];
  std::snprintf(t, sizeof t, "%08X", v);
  return t;
}

// A number of 7 bits a byte, low bits first, the last byte marked by its high bit; each
// further byte also adds the weight of the bytes before it. Nothing when it would not fit
// 64 bits.
std::optional<uint64_t> Number(PatchCursor& c) {
  uint64_t value = 0, shift = 1;
  for (int i = 0; i < 10; ++i) {
    const uint8_t x = c.U8();
    if (!c.ok()) return std::nullopt;
    const uint64_t part = (x & 0x7F) * shift;
    if (part / shift != static_cast<uint64_t>(x & 0x7F) || value + part < value)
      return std::nullopt;
    value += part;
    if (x & 0x80) return value;
    if (shift > (UINT64_MAX >> 7)) return std::nullopt;
    shift <<= 7;
    if (value + shift < value) return std::nullopt;
    value += shift;
  }
  return std::nullopt;
}

class BpsPatch final : public Patch {
 public:
  using Patch::Patch;

  Outcome Open() {
    PatchCursor c;
    if (!c.Open(path())) return IoFailed(c.error());
    uint8_t magic[4];
    c.Read(magic);
    if (!c.ok() || std::memcmp(magic, "BPS1", 4) != 0) return Damaged("it is no BPS file");
    if (c.size() < 4 + 3 + kFooter) return Damaged("it is cut short");
    c.Limit(c.size() - kFooter);
    const auto source = Number(c), target = Number(c), metadata = Number(c);
    if (!source || !target || !metadata || *metadata > c.remaining())
      return Damaged("its header is cut short");
    if (*target > kMaxPatchedImage)
      return Damaged("the image it makes would have " + std::to_string(*target) + " bytes");
    sourceSize_ = *source;
    targetSize_ = *target;
    c.Skip(*metadata);
    actionsBegin_ = c.pos();
    actionsEnd_ = c.size() - kFooter;
    c.Limit(c.size());
    c.Seek(actionsEnd_);
    sourceCrc_ = c.Le32();
    targetCrc_ = c.Le32();
    const uint32_t patchCrc = c.Le32();
    if (!c.ok()) return IoFailed(c.error());
    // The patch's own CRC32 covers everything but itself.
    uint32_t crc = 0;
    std::vector<uint8_t> piece(kPiece);
    c.Seek(0);
    for (uint64_t left = c.size() - 4; left > 0;) {
      const std::size_t n = static_cast<std::size_t>(std::min<uint64_t>(left, piece.size()));
      if (!c.Read(std::span<uint8_t>(piece.data(), n))) return IoFailed(c.error());
      crc = libdeflate_crc32(crc, piece.data(), n);
      left -= n;
    }
    if (crc != patchCrc)
      return Damaged("its CRC32 is " + Crc(crc) + " where it says " + Crc(patchCrc));
    return Outcome::Success();
  }

  std::string FormatName() const override { return "BPS"; }
  bool ChangesInPlace() const override { return false; }

  Outcome Check(SourceImage& source, CancelToken& cancel) override {
    if (source.size() != sourceSize_)
      return NotForThisImage("it expects an image of " + std::to_string(sourceSize_) +
                             " bytes, this one has " + std::to_string(source.size()));
    uint32_t crc = 0;
    bool cancelled = false;
    const bool read = source.ForEachPiece([&](std::span<const uint8_t> piece) {
      crc = libdeflate_crc32(crc, piece.data(), piece.size());
      return !(cancelled = cancel.Take());
    });
    if (cancelled) return Outcome::Cancelled();
    if (!read) return IoFailed(source.error());
    if (crc != sourceCrc_)
      return NotForThisImage("the CRC32 of the image it was made from is " + Crc(sourceCrc_) +
                             ", this image's is " + Crc(crc));
    return Outcome::Success();
  }

  Outcome Apply(SourceImage& source, TargetImage& target, Progress& progress,
                CancelToken& cancel) override {
    PatchCursor c;
    if (!c.Open(path())) return IoFailed(c.error());
    c.Limit(actionsEnd_);
    c.Seek(actionsBegin_);
    std::vector<uint8_t> piece(kPiece);
    uint32_t crc = 0;
    uint64_t out = 0, sourceAt = 0, targetAt = 0;
    target.KeepTail();
    auto put = [&](std::size_t n) {
      crc = libdeflate_crc32(crc, piece.data(), n);
      out += n;
      return target.Append(std::span<const uint8_t>(piece.data(), n));
    };
    // Moves a copy's own position by the signed number that follows the action.
    auto move = [&](uint64_t& at, uint64_t limit) {
      const auto d = Number(c);
      if (!d) return false;
      const uint64_t step = *d >> 1;
      if (*d & 1) {
        if (step > at) return false;
        at -= step;
      } else {
        if (step > limit || at > limit - step) return false;
        at += step;
      }
      return true;
    };
    for (uint32_t count = 1; c.pos() < actionsEnd_; ++count) {
      const auto data = Number(c);
      if (!data) return Damaged("an action is cut short");
      const auto kind = static_cast<Action>(*data & 3);
      const uint64_t length = (*data >> 2) + 1;
      if (length > targetSize_ - out)
        return Damaged("its actions make more than the " + std::to_string(targetSize_) +
                       " bytes it says");
      if (kind == kSourceCopy && !move(sourceAt, sourceSize_))
        return Damaged("a copy from the image starts outside it");
      if (kind == kTargetCopy && (!move(targetAt, targetSize_) || targetAt >= out))
        return Damaged("a copy within the result starts where nothing is written yet");
      if ((kind == kSourceRead && (out > sourceSize_ || length > sourceSize_ - out)) ||
          (kind == kSourceCopy && length > sourceSize_ - sourceAt))
        return Damaged("a copy from the image runs past its end");
      for (uint64_t left = length; left > 0;) {
        std::size_t n = static_cast<std::size_t>(std::min<uint64_t>(left, kPiece));
        std::span<uint8_t> into(piece.data(), n);
        switch (kind) {
          case kSourceRead:
            if (!source.Read(out, into)) return IoFailed(source.error());
            break;
          case kTargetRead:
            if (!c.Read(into)) return Damaged("an action's bytes are cut short");
            break;
          case kSourceCopy:
            if (!source.Read(sourceAt, into)) return IoFailed(source.error());
            sourceAt += n;
            break;
          case kTargetCopy:
            // A copy may read what it writes itself (a repeated run): never more at once
            // than is already there.
            n = static_cast<std::size_t>(std::min<uint64_t>(n, out - targetAt));
            into = into.first(n);
            if (!target.ReadBack(targetAt, into)) return IoFailed(target.error());
            targetAt += n;
            break;
        }
        if (!put(n)) return IoFailed(target.error());
        left -= n;
      }
      if (count % kCancelEvery == 0) {
        if (cancel.Take()) return Outcome::Cancelled();
        progress.Advance(out, targetSize_);
      }
    }
    if (!c.ok()) return c.error().empty() ? Damaged("an action is cut short") : IoFailed(c.error());
    if (out != targetSize_)
      return Damaged("its actions make " + std::to_string(out) + " bytes where it says " +
                     std::to_string(targetSize_));
    if (crc != targetCrc_)
      return NotForThisImage("the CRC32 of the result is " + Crc(crc) + " where it says " +
                             Crc(targetCrc_));
    progress.Advance(out, targetSize_);
    return Outcome::Success();
  }

 private:
  uint64_t sourceSize_ = 0, targetSize_ = 0;
  uint32_t sourceCrc_ = 0, targetCrc_ = 0;
  uint64_t actionsBegin_ = 0, actionsEnd_ = 0;
};

}  // namespace

OpenedPatch OpenBps(const std::string& path) {
  auto patch = std::make_unique<BpsPatch>(path);
  Outcome opened = patch->Open();
  if (!opened.succeeded()) return {opened, nullptr};
  return {opened, std::move(patch)};
}

}  // namespace ebf::patches
