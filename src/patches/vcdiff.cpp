// VCDIFF (RFC 3284) as xdelta3 writes it: the default code table, source windows, an
// Adler-32 of each window's target (xdelta3's own window bit), and no secondary
// compression or LZMA. The target is made window by window and written front to back.
#include <libdeflate.h>

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

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

// Writes a window's pieces from where they lie (the mapped image, the sections) in gathered
// writes of about 1 MiB, each summed just before it is written: the bytes are read from
// memory once, for the checksum, and are still in the cache for the write. A window whose
// checksum is wrong is written all the same, into the temporary file that its failure
// throws away. The window's Adler-32, or nothing when a write failed.
std::optional<uint32_t> WriteSummed(const WindowPieces& window, TargetImage& target,
                                    std::vector<std::span<const uint8_t>>& batch) {
  constexpr std::size_t kBatch = 1 << 20;
  uint32_t sum = 1;
  std::size_t batched = 0;
  batch.clear();
  auto write = [&] {
    for (const auto& piece : batch) sum = libdeflate_adler32(sum, piece.data(), piece.size());
    const bool written = target.AppendPieces(batch);
    batch.clear();
    batched = 0;
    return written;
  };
  for (std::span<const uint8_t> piece : window.pieces()) {
    while (!piece.empty()) {
      const std::size_t n = std::min(piece.size(), kBatch - batched);
      batch.push_back(piece.first(n));
      piece = piece.subspan(n);
      batched += n;
      if (batched == kBatch && !write()) return std::nullopt;
    }
  }
  if (!batch.empty() && !write()) return std::nullopt;
  return sum;
}

// One window made ready to write: its header, the buffers its pieces point into, and the
// pieces.
struct ReadyWindow {
  WindowHeader w;
  std::vector<uint8_t> sections, decoded[3], segmentCopy;
  MappedView view;
  std::span<const uint8_t> segment;
  WindowPieces pieces;
};

// Decodes windows on a second thread, one ahead of the window being written: the next
// window's LZMA and instructions take no time from the writing.
class WindowPipeline {
 public:
  WindowPipeline(std::function<bool()> more, std::function<Outcome(ReadyWindow&)> decode)
      : more_(std::move(more)), decode_(std::move(decode)), thread_([this] { Run(); }) {}
  ~WindowPipeline() {
    {
      std::lock_guard lock(m_);
      stop_ = true;
    }
    cv_.notify_all();
    thread_.join();
  }
  WindowPipeline(const WindowPipeline&) = delete;
  WindowPipeline& operator=(const WindowPipeline&) = delete;

  // The next window, decoded; nullptr when there are no more or decoding failed
  // (failure()).
  const ReadyWindow* Next() {
    std::unique_lock lock(m_);
    Slot& s = slots_[next_ % 2];
    cv_.wait(lock, [&] { return s.ready || finished_; });
    return s.ready ? &s.window : nullptr;
  }
  // The window from Next() is written: its buffers may take the one after next.
  void Release() {
    {
      std::lock_guard lock(m_);
      slots_[next_++ % 2].ready = false;
    }
    cv_.notify_all();
  }
  Outcome failure() {
    std::lock_guard lock(m_);
    return failure_;
  }

 private:
  struct Slot {
    ReadyWindow window;
    bool ready = false;
  };
  void Run() {
    for (uint64_t i = 0;; ++i) {
      Slot& s = slots_[i % 2];
      {
        std::unique_lock lock(m_);
        cv_.wait(lock, [&] { return !s.ready || stop_; });
        if (stop_) return;
      }
      Outcome decoded = more_() ? decode_(s.window) : Outcome::Declined();
      {
        std::lock_guard lock(m_);
        if (decoded.succeeded()) {
          s.ready = true;
        } else {
          if (decoded.failed()) failure_ = decoded;
          finished_ = true;
        }
      }
      cv_.notify_all();
      if (!decoded.succeeded()) return;
    }
  }

  std::function<bool()> more_;
  std::function<Outcome(ReadyWindow&)> decode_;
  std::mutex m_;
  std::condition_variable cv_;
  Slot slots_[2];
  uint64_t next_ = 0;
  bool stop_ = false, finished_ = false;
  Outcome failure_ = Outcome::Success();
  std::thread thread_;  // last: it starts once everything above is made
};

class VcdiffPatch final : public Patch {
 public:
  using Patch::Patch;

  Outcome Open() {
    PatchCursor c;
    // The walk over the windows' headers skips their sections.
    if (!c.Open(path(), 4096)) return IoFailed(c.error());
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
    Decoding d;
    if (!d.cursor.Open(path())) return IoFailed(d.cursor.error());
    d.cursor.Seek(windowsBegin_);
    WindowPipeline pipeline([&] { return d.cursor.pos() < d.cursor.size(); },
                            [&](ReadyWindow& r) { return DecodeNext(d, source, r); });
    std::vector<std::span<const uint8_t>> batch;
    while (const ReadyWindow* r = pipeline.Next()) {
      const uint64_t at = target.size();
      const std::optional<uint32_t> sum = WriteSummed(r->pieces, target, batch);
      if (!sum) return IoFailed(target.error());
      if (r->w.adler32 && *sum != *r->w.adler32)
        return NotForThisImage("the result differs from what it was made to give at byte " +
                               Hex(at) + " (its window checksum)");
      pipeline.Release();
      if (cancel.Take()) return Outcome::Cancelled();
      progress.Advance(target.size(), targetSize_);
    }
    if (!pipeline.failure().succeeded()) return pipeline.failure();
    if (!d.cursor.ok()) return IoFailed(d.cursor.error());
    return Outcome::Success();
  }

 private:
  // What the decoding thread keeps from window to window.
  struct Decoding {
    PatchCursor cursor;
    LzmaSections lzma;
  };

  // Reads the next window and decodes it.
  Outcome DecodeNext(Decoding& d, SourceImage& source, ReadyWindow& r) {
    WindowHeader& w = r.w;
    if (std::string bad = ReadWindowHeader(d.cursor, lzma_, w); !bad.empty()) return Damaged(bad);
    r.sections.resize(w.sectionsLength());
    if (!d.cursor.Read(r.sections)) return IoFailed(d.cursor.error());
    std::span<const uint8_t> part[3];
    const uint64_t lengths[3] = {w.dataLength, w.instLength, w.addrLength};
    for (int k = 0, at = 0; k < 3; at += static_cast<int>(lengths[k]), ++k) {
      part[k] = std::span<const uint8_t>(r.sections).subspan(at, lengths[k]);
      if (w.deltaIndicator & (1 << k)) {
        if (std::string bad = d.lzma.Decode(k, part[k], r.decoded[k]); !bad.empty())
          return Damaged(bad);
        part[k] = r.decoded[k];
      }
    }
    // The source segment is read where it lies: mapped, not copied.
    r.view.Reset();
    r.segment = {};
    if (w.indicator & kWindowSource && w.sourceLength > 0) {
      r.segment = source.View(w.sourceOffset, w.sourceLength, r.view, r.segmentCopy);
      if (r.segment.empty()) return IoFailed(source.error());
    }
    if (auto error = DecodeWindow(w, part[0], part[1], part[2], r.segment, r.pieces))
      return error->io ? IoFailed(error->text) : Damaged(error->text);
    return Outcome::Success();
  }

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
