#include "disc/pal_fix.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define EBF_PAL_SSE2 1
#endif

#include "common/bytes.h"
#include "common/cancel.h"

namespace ebf {
namespace {

struct PalRule {
  uint8_t trigger1, trigger2;  // the window's first byte must be one of these
  uint32_t w0;
  uint32_t w1a, w1b;  // w1 must be one of these
  uint32_t new0, new1;
  bool screen;
};

// Screen height: two immediate additions of 0x13 and 0x10 (display offsets) become
// additions of 0. Graphics: the load of the video-mode variable becomes "load 0" + nop.
constexpr std::array<PalRule, 4> kRules = {{
    {0x13, 0x13, 0x24910013, 0x24910010, 0x24910010, 0x24910000, 0x24910000, true},
    {0x13, 0x13, 0x24900013, 0x24900010, 0x24900010, 0x24900000, 0x24900000, true},
    {0x06, 0x07, 0x3C028006, 0x8C42DA30, 0x8C42F518, 0x20020000, 0x00000000, false},
    {0x06, 0x07, 0x3C028007, 0x8C42EC90, 0x8C42F19C, 0x20020000, 0x00000000, false},
}};

constexpr uint8_t kScreenTrigger = 0x13;

// The table row that matches the window, or -1.
int MatchWindow(const uint8_t* p, const PalFixOptions& options) {
  uint8_t first = p[0];
  bool screenOnly = options.screenHeight && first == kScreenTrigger;
  uint32_t w0 = LoadLe32(p), w1 = LoadLe32(p + 4);
  for (int i = 0; i < static_cast<int>(kRules.size()); ++i) {
    const PalRule& r = kRules[static_cast<std::size_t>(i)];
    if (r.screen ? !screenOnly : (screenOnly || !options.graphics)) continue;
    if (first != r.trigger1 && first != r.trigger2) continue;
    if (w0 == r.w0 && (w1 == r.w1a || w1 == r.w1b)) return i;
  }
  return -1;
}

// Where a match can start at all: the first byte is a trigger and the fourth is the high
// byte of w0 (0x24 for the screen rows, 0x3C for the graphics rows). Nearly every window
// fails this test, so it is made sixteen windows at a time where the processor allows.
class CandidateFinder {
 public:
  explicit CandidateFinder(const PalFixOptions& o) : screen_(o.screenHeight), gfx_(o.graphics) {}

  // The first window start in [from, to) that may match, or `to`. Windows are 8 bytes long
  // and lie within the buffer.
  std::size_t Next(const uint8_t* p, std::size_t from, std::size_t to) const {
#ifdef EBF_PAL_SSE2
    const __m128i v13 = _mm_set1_epi8(0x13), v06 = _mm_set1_epi8(0x06), v07 = _mm_set1_epi8(0x07),
                  v24 = _mm_set1_epi8(0x24), v3c = _mm_set1_epi8(0x3C);
    const int screenMask = screen_ ? 0xFFFF : 0, gfxMask = gfx_ ? 0xFFFF : 0;
    for (; from + 16 <= to; from += 16) {
      __m128i b0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + from));
      __m128i b3 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + from + 3));
      __m128i screen = _mm_and_si128(_mm_cmpeq_epi8(b0, v13), _mm_cmpeq_epi8(b3, v24));
      __m128i gfx = _mm_and_si128(_mm_or_si128(_mm_cmpeq_epi8(b0, v06), _mm_cmpeq_epi8(b0, v07)),
                                  _mm_cmpeq_epi8(b3, v3c));
      int m = (_mm_movemask_epi8(screen) & screenMask) | (_mm_movemask_epi8(gfx) & gfxMask);
      if (m) return from + static_cast<std::size_t>(std::countr_zero(static_cast<unsigned>(m)));
    }
#endif
    for (; from < to; ++from) {
      uint8_t b0 = p[from], b3 = p[from + 3];
      if (screen_ && b0 == kScreenTrigger && b3 == 0x24) return from;
      if (gfx_ && (b0 == 0x06 || b0 == 0x07) && b3 == 0x3C) return from;
    }
    return to;
  }

 private:
  bool screen_, gfx_;
};

}  // namespace

std::string PalRuleName(int rule) {
  if (rule < 0 || rule >= static_cast<int>(kRules.size())) return "unknown";
  const PalRule& r = kRules[static_cast<std::size_t>(rule)];
  char text[64];
  std::snprintf(text, sizeof text, "%s 0x%08X", r.screen ? "screen height" : "graphics", r.w0);
  return text;
}

namespace {

// The spans as one run of bytes: positions in the run map to file positions.
class SpanRun {
 public:
  SpanRun(File& file, const std::vector<FileSpan>& spans) : file_(file) {
    for (const FileSpan& span : spans) {
      if (span.length == 0) continue;
      spans_.push_back(span);
      starts_.push_back(size_);
      size_ += span.length;
    }
  }
  uint64_t size() const { return size_; }

  uint64_t FilePos(uint64_t pos) const {
    const std::size_t i = SpanOf(pos);
    return spans_[i].offset + (pos - starts_[i]);
  }

  // Up to out.size() bytes from `pos`; fewer at the end of the run or of the file.
  std::size_t ReadAt(uint64_t pos, std::span<uint8_t> out) {
    std::size_t done = 0;
    while (done < out.size() && pos + done < size_) {
      const std::size_t i = SpanOf(pos + done);
      const uint64_t within = pos + done - starts_[i];
      const std::size_t n = static_cast<std::size_t>(
          std::min<uint64_t>(out.size() - done, spans_[i].length - within));
      if (!file_.Seek(spans_[i].offset + within)) break;
      const std::size_t got = file_.Read(out.subspan(done, n));
      done += got;
      if (got < n) break;
    }
    return done;
  }

  bool WriteAt(uint64_t pos, std::span<const uint8_t> data) {
    std::size_t done = 0;
    while (done < data.size()) {
      const std::size_t i = SpanOf(pos + done);
      const uint64_t within = pos + done - starts_[i];
      const std::size_t n = static_cast<std::size_t>(
          std::min<uint64_t>(data.size() - done, spans_[i].length - within));
      if (!file_.Seek(spans_[i].offset + within) || !file_.Write(data.subspan(done, n)))
        return false;
      done += n;
    }
    return true;
  }

 private:
  std::size_t SpanOf(uint64_t pos) const {
    return static_cast<std::size_t>(std::upper_bound(starts_.begin(), starts_.end(), pos) -
                                    starts_.begin() - 1);
  }
  File& file_;
  std::vector<FileSpan> spans_;
  std::vector<uint64_t> starts_;
  uint64_t size_ = 0;
};

}  // namespace

PalFixResult ApplyPalFix(File& file, uint64_t end, const PalFixOptions& options,
                         std::vector<PalPatch>* undo, Progress& progress, const CancelToken& cancel,
                         const std::function<bool(const PalPatch&)>& onPatch) {
  const uint64_t start = file.Tell();
  return ApplyPalFix(file, {FileSpan{start, end > start ? end - start : 0}}, options, undo,
                     progress, cancel, onPatch);
}

PalFixResult ApplyPalFix(File& file, const std::vector<FileSpan>& spans,
                         const PalFixOptions& options, std::vector<PalPatch>* undo,
                         Progress& progress, const CancelToken& cancel,
                         const std::function<bool(const PalPatch&)>& onPatch) {
  PalFixResult result;
  Stage stage(progress, kPalFixCaption);
  if (!options.screenHeight && !options.graphics) {
    stage.Done();
    return result;
  }

  SpanRun run(file, spans);
  const uint64_t end = run.size();
  CandidateFinder candidates(options);
  std::vector<uint8_t> buf(kPalChunkSize);
  // A chunk after the first begins with the previous chunk's last window, carried over in
  // memory (patched bytes included), so that every byte is read once.
  uint64_t pos = 0;
  std::size_t carried = 0;
  uint32_t chunks = 0;
  while (pos < end) {
    std::size_t want = static_cast<std::size_t>(std::min<uint64_t>(kPalChunkSize, end - pos));
    std::size_t got = carried + run.ReadAt(pos + carried, std::span<uint8_t>(buf.data() + carried,
                                                                             want - carried));
    bool last = got < want || pos + got >= end;
    std::size_t windows = got >= kPalWindow ? got - kPalWindow + 1 : 0;
    // The carried window was tested as the previous chunk's last one.
    for (std::size_t i = carried ? 1 : 0; (i = candidates.Next(buf.data(), i, windows)) < windows;
         ++i) {
      int rule = MatchWindow(&buf[i], options);
      if (rule < 0) continue;
      const PalRule& r = kRules[static_cast<std::size_t>(rule)];
      PalPatch patch{run.FilePos(pos + i), LoadLe32(&buf[i]), LoadLe32(&buf[i + 4]), rule};
      StoreLe32(&buf[i], r.new0);
      StoreLe32(&buf[i + 4], r.new1);
      // Noted before it is written: undoing a change that never reached the file is
      // harmless, a change written without a note could never be undone.
      if (undo) undo->push_back(patch);
      if (onPatch && !onPatch(patch)) {
        result.error = "a change could not be noted before it was written";
        return result;
      }
      if (options.write && !run.WriteAt(pos + i, std::span<const uint8_t>(&buf[i], 8))) {
        result.error = file.LastError();
        return result;
      }
      ++result.patches;
    }
    if (last) break;
    std::copy(buf.begin() + static_cast<std::ptrdiff_t>(got - kPalWindow),
              buf.begin() + static_cast<std::ptrdiff_t>(got), buf.begin());
    carried = kPalWindow;
    pos += got - kPalWindow;
    if (++chunks % kPalChunksPerPump == 0) stage.Advance(pos, end);
    if (cancel.Requested()) {
      result.cancelled = true;
      break;
    }
  }
  if (options.write && result.patches && !file.Flush() && result.error.empty())
    result.error = file.LastError();
  if (!result.cancelled && result.error.empty()) stage.Done();
  return result;
}

std::string ReplayPalUndo(File& file, const std::vector<PalPatch>& undo) {
  for (const PalPatch& p : undo) {
    uint8_t words[8];
    StoreLe32(words, p.w0);
    StoreLe32(words + 4, p.w1);
    if (!file.Seek(p.offset) || !file.Write(std::span<const uint8_t>(words, 8)))
      return file.LastError();
  }
  if (!file.Flush()) return file.LastError();
  return {};
}

std::string ReplayPalUndo(const std::string& path, const std::vector<PalPatch>& undo) {
  File file(path, File::Mode::ReadWrite);
  if (!file) return file.LastError();
  std::string error = ReplayPalUndo(file, undo);
  if (!file.Close() && error.empty()) error = file.LastError();
  return error;
}

}  // namespace ebf
